// The largest of a kind, and those that grew most.
#ifndef OVERVIEW_TOP_LIST_H
#define OVERVIEW_TOP_LIST_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "overview/group_kind.h"
#include "overview/host_rows.h"

namespace overview {

struct TopEntry {
   std::string name;
   int64_t kb = 0; // consumed, or how much more than before
};

// VMs, processes that serve none, or groups that hold groups, the root left out.
struct TopList {
   size_t count = 0; // of all
   int64_t kb = 0;   // that they consume together; of groups, which hold each other, 0
   std::vector<TopEntry> entries;
};

// All of a kind, the largest first.
TopList LargestOf(const std::vector<GroupRow> &groups, GroupKind kind);

// Those that changed, by name, those that grew most first. Several of one name count as one.
TopList GrowthOf(const std::vector<GroupRow> &before, const std::vector<GroupRow> &now, GroupKind kind);

} // namespace overview

#endif
