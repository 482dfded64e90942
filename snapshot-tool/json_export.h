// Writes a snapshot in its readable form.
#ifndef SNAPSHOT_TOOL_JSON_EXPORT_H
#define SNAPSHOT_TOOL_JSON_EXPORT_H

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>

#include "nevra/snapshot/snapshot_file.h"
#include "snapshot-tool/progress.h"

// Writes the verified `file` to `output`, one instance a line. False, with nothing written, when it has nodes
// that this build defines otherwise, and when writing fails; `*problem` says why.
bool ExportSnapshot(const nevra::SnapshotFile &file, FILE *output, Progress *progress, std::string *problem);

// One value as it stands in the readable form.
std::string TextAsJson(std::string_view text);
std::string FieldAsJson(const nevra::RecordField &field, const uint8_t *element);
std::string WordsAsJson(const nevra::SnapshotFile &file, std::span<const uint64_t> words,
                        nevra::SnapshotKeyShape shape);
std::string ListAsJson(const nevra::SnapshotFile &file, std::span<const uint64_t> values, bool areTexts);

#endif
