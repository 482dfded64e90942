// The snapshot source: answers from a snapshot file, read in place.
#ifndef NEVRA_SNAPSHOT_SNAPSHOT_SOURCE_H
#define NEVRA_SNAPSHOT_SNAPSHOT_SOURCE_H

#include <cstdint>
#include <memory>
#include <span>

#include "nevra/snapshot/snapshot_file.h"
#include "nevra/source.h"

namespace nevra {

// Opens and checks the file at `path`. On failure the reason has been given in one Warning, and the status is
// the system's ("Not found", "No permission", ...) or "Metadata read error" for a file that is no snapshot or
// a damaged one, "Version mismatch" for a format of another version.
//
// The source answers "Bad parameter" for a node that the snapshot holds by another definition, and "Read
// error" for every read of a node whose content is damaged; the first such read gives the reason in one
// Warning. A file that is cut short while it is open ends the process, see OpenSnapshotFile.
NevraStatus OpenSnapshotSource(const char *path, std::unique_ptr<Source> *source);

// The same for a snapshot in memory, which is copied; `name` stands for the path in warnings.
NevraStatus OpenSnapshotSourceFromMemory(std::span<const uint8_t> bytes, const char *name,
                                         std::unique_ptr<Source> *source);

// The same for a snapshot that is open already.
std::unique_ptr<Source> MakeSnapshotSource(SnapshotFile file, const char *name);

} // namespace nevra

#endif
