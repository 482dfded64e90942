// The full verification of a snapshot: all that opening leaves to the first read, and all that reading shrugs
// off.
#ifndef NEVRA_SNAPSHOT_SNAPSHOT_VERIFY_H
#define NEVRA_SNAPSHOT_SNAPSHOT_VERIFY_H

#include <string>

#include "nevra/snapshot/snapshot_file.h"

namespace nevra {

// Checks every checksum, order and reference of an open snapshot. False with the first problem found. Cost:
// two passes over the file.
bool VerifySnapshot(const SnapshotFile &file, std::string *problem);

} // namespace nevra

#endif
