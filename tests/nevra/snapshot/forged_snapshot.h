// Snapshots that somebody made on purpose: every checksum holds, whatever the content.
#ifndef TESTS_NEVRA_SNAPSHOT_FORGED_SNAPSHOT_H
#define TESTS_NEVRA_SNAPSHOT_FORGED_SNAPSHOT_H

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "snapshot_generated.h"

// The small snapshot with something changed, and every checksum right again.
std::vector<uint8_t> Forge(const std::function<void(nevra::snapshot::SnapshotT *)> &change);

// The node with this path, which must be there.
nevra::snapshot::NodeT *NodeOf(nevra::snapshot::SnapshotT *root, const char *path);

// The lists of a node with one key.
using Lists = std::vector<std::pair<uint64_t, std::vector<uint64_t>>>;

// Gives a node these lists instead of its own.
void PutLists(nevra::snapshot::NodeT *node, const Lists &lists);

#endif
