#include "export/group_paths.h"

#include "nevra/include/nevra/values.h"
#include "nevra/shown_text.h"

namespace {

bool IsLeaf(const GroupRow &row)
{
   constexpr uint32_t kOfVm = GROUP_VM | GROUP_VMM_SUB_CONTAINER | GROUP_UW_SUB_CONTAINER;
   constexpr uint32_t kWorlds = GROUP_USER_WORLD | GROUP_SYSTEM_WORLD;
   return (row.flags & kOfVm) != 0 || ((row.flags & kWorlds) != 0 && row.children == 0);
}

} // namespace

const GroupPaths::Place *GroupPaths::Add(const GroupRow &row)
{
   const auto [at, isNew] = places.try_emplace(row.id);
   if (!isNew) {
      return nullptr;
   }
   Place &place = at->second; // which stays where it is when others are added
   if (!row.hasParent) {
      place.holds = true;
      return &place;
   }
   const auto parent = places.find(row.parent);
   const bool isKnown = parent != places.end() && parent != at;
   place.depth = isKnown ? parent->second.depth + 1 : 1;
   place.holds = !IsLeaf(row) && (!isKnown || parent->second.holds);
   if (place.holds && place.depth <= deepestShown) {
      place.path = paths.Take((isKnown ? parent->second.path : "") + '/' + nevra::ShownText(row.name));
      if (isKnown) {
         parent->second.isInner = true;
      }
   }
   return &place;
}
