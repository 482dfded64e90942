// The check that the lists of groups form a tree, so that every walk over them ends.
#ifndef NEVRA_SNAPSHOT_GROUP_TREE_CHECK_H
#define NEVRA_SNAPSHOT_GROUP_TREE_CHECK_H

#include <string>

#include "nevra/snapshot/snapshot_file.h"

namespace nevra {

// True when no group is listed twice, and none is below itself. The node has one integer key, lists integers,
// and its keys and lists are in order. Cost: one pass; a search for each listed group whose own list is not
// the next one.
bool IsGroupTree(const SnapshotNode &node, std::string *problem);

} // namespace nevra

#endif
