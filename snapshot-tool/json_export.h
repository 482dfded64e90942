// Writes a snapshot in its readable form.
#ifndef SNAPSHOT_TOOL_JSON_EXPORT_H
#define SNAPSHOT_TOOL_JSON_EXPORT_H

#include <cstdio>
#include <string>

#include "nevra/snapshot/snapshot_file.h"
#include "snapshot-tool/progress.h"

// Writes the verified `file` to `output`, one instance a line. False, with nothing written, when it has nodes
// that this build defines otherwise, and when writing fails; `*problem` says why.
bool ExportSnapshot(const nevra::SnapshotFile &file, FILE *output, Progress *progress, std::string *problem);

#endif
