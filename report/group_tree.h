// The walk over the scheduler-group tree.
#ifndef REPORT_GROUP_TREE_H
#define REPORT_GROUP_TREE_H

#include <cstdint>

#include "nevra/nevra.h"

// Called for each group with its number of children; `csv` is what the walk was given. 0 to go on into the
// group's children, any other status to leave them out. The callback reports its own failures.
using GroupVisitFn = NevraStatus (*)(uint64_t groupID, uint32_t childCount, uint8_t csv, void *context);

// Visits the start group and its descendants in pre-order, children in the kernel's order, `levels`
// generations deep (1: the start group alone). Returns the start group's status: "Not found", silently, when
// it does not exist; a failing listing, reported; the visit's; or that of the last read of a child's ID. The
// status of a child's walk is ignored. `csv` is part of the interface of the walk and goes to the visits as
// it is; nothing reads it.
NevraStatus TraverseGroups(uint64_t startGroupID, uint32_t levels, uint8_t csv, GroupVisitFn visit,
                           void *context);

#endif
