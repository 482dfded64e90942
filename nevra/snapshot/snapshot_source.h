// The snapshot source: answers from a snapshot file, read in place.
#ifndef NEVRA_SNAPSHOT_SNAPSHOT_SOURCE_H
#define NEVRA_SNAPSHOT_SNAPSHOT_SOURCE_H

#include <memory>

#include "nevra/source.h"

namespace nevra {

// Opens and checks the file at `path`. On failure the reason has been given in one Warning, and the status is
// the system's ("Not found", "No permission", ...) or "Metadata read error" for a file that is no snapshot or
// a damaged one, "Version mismatch" for a format of another version.
NevraStatus OpenSnapshotSource(const char *path, std::unique_ptr<Source> *source);

} // namespace nevra

#endif
