// The directory of a snapshot: what opening takes from it.
#ifndef NEVRA_SNAPSHOT_SNAPSHOT_DIRECTORY_H
#define NEVRA_SNAPSHOT_SNAPSHOT_DIRECTORY_H

#include <string>

#include "nevra/snapshot/snapshot_file.h"

namespace nevra {

// Fills in the header, the nodes and the texts from `file->directory`, whose checksum holds. The vectors are
// located in `file->bytes` and not read. False with the problem, and the status in `*status`.
bool TakeDirectory(SnapshotFile *file, std::string *problem, NevraStatus *status);

} // namespace nevra

#endif
