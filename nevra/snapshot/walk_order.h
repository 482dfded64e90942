// The order in which reports read groups, for a file that is read from front to back.
#ifndef NEVRA_SNAPSHOT_WALK_ORDER_H
#define NEVRA_SNAPSHOT_WALK_ORDER_H

#include "nevra/snapshot/snapshot_tree.h"

namespace nevra {

// Brings what is keyed by a group into the order of a walk: group 0, each group followed by the tree below
// it, then the other trees, then the groups that are in no list. The tree is sorted; the same tree gets the
// same order.
void StoreInWalkOrder(SnapshotTree *tree);

} // namespace nevra

#endif
