// The full verification of a snapshot: what opening leaves to the first read, for all nodes at once.
#ifndef NEVRA_SNAPSHOT_SNAPSHOT_VERIFY_H
#define NEVRA_SNAPSHOT_SNAPSHOT_VERIFY_H

#include <cstdint>
#include <functional>
#include <string>

#include "nevra/snapshot/snapshot_file.h"

namespace nevra {

// Checks the texts, every node and the checksum of the file. False with the first problem found. Cost: two
// passes over the file. Calls progress(done, total) now and then, if there is one.
bool VerifySnapshot(const SnapshotFile &file, std::string *problem,
                    const std::function<void(uint64_t, uint64_t)> &progress = nullptr);

} // namespace nevra

#endif
