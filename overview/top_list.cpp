#include "overview/top_list.h"

#include <algorithm>
#include <functional>

#include "export/growth.h"

namespace overview {

namespace {

// Calls visit for each group of the kind. What is below a VM is a part of it.
template <typename Visit> void ForEachOf(const std::vector<GroupRow> &groups, GroupKind kind, Visit visit)
{
   const std::vector<bool> areBelowVms = AreBelowVms(groups);
   for (size_t i = 1; i < groups.size(); i++) { // after the root
      if (!areBelowVms[i] && KindOf(groups[i]) == kind) {
         visit(groups[i]);
      }
   }
}

SizesByName SizesOf(const std::vector<GroupRow> &groups, GroupKind kind)
{
   SizesByName sizes;
   ForEachOf(groups, kind, [&sizes](const GroupRow &group) {
      SizeOfName &size = sizes[group.name];
      size.kb += group.consumed;
      size.rows++;
   });
   return sizes;
}

} // namespace

TopList LargestOf(const std::vector<GroupRow> &groups, GroupKind kind)
{
   TopList list;
   uint64_t sum = 0;
   ForEachOf(groups, kind, [&list, &sum](const GroupRow &group) {
      list.entries.push_back({group.name, static_cast<int64_t>(group.consumed)});
      sum += group.consumed;
   });
   list.kb = kind == GroupKind::Group ? 0 : static_cast<int64_t>(sum);
   list.count = list.entries.size();
   std::ranges::stable_sort(list.entries, std::greater(), &TopEntry::kb);
   return list;
}

TopList GrowthOf(const std::vector<GroupRow> &before, const std::vector<GroupRow> &now, GroupKind kind)
{
   TopList list = LargestOf(now, kind);
   list.entries.clear();
   for (const Growth &growth : CompareSizes(SizesOf(before, kind), SizesOf(now, kind))) {
      list.entries.push_back({growth.name, growth.Change()});
   }
   return list;
}

} // namespace overview
