// A made-up tree of scheduler groups of any size, for snapshots to measure with.
#ifndef BENCH_SYNTHETIC_GROUPS_H
#define BENCH_SYNTHETIC_GROUPS_H

#include <cstdint>
#include <memory>

#include "nevra/source.h"

// A source with `count` groups: each group has up to eight children, and figures of several digits that
// differ from group to group. It also answers what comp-stats reads. With `shuffledIDs` the IDs do not follow
// the walk's order, as the inode numbers of a long-running host do not.
std::unique_ptr<nevra::Source> MakeSyntheticGroups(uint32_t count, bool shuffledIDs);

#endif
