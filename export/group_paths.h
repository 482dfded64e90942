// Where the groups of a host stand, as the rows of group-stats come.
#ifndef EXPORT_GROUP_PATHS_H
#define EXPORT_GROUP_PATHS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "export/metric_rows.h"

// What a row of group-stats says about a group's place.
struct GroupRow {
   uint64_t id;
   bool hasParent;
   uint64_t parent;
   std::string_view name;
   uint32_t flags;
   uint64_t children;
};

class GroupPaths {
 public:
   struct Place {
      std::string path;     // "/machine/web"; of the root: empty
      uint32_t depth = 0;   // 0 for the root
      bool holds = false;   // what contains others: no process, no VM, and nothing inside of one
      bool isInner = false; // another one that is shown stands below it
   };

   // Groups deeper than that are not shown.
   explicit GroupPaths(uint32_t deepest) : deepestShown(deepest) {}

   // The place of a group. A parent comes before its children; one whose parent has not come stands below the
   // root. Null for a group that has come before.
   const Place *Add(const GroupRow &row);

   bool IsInner(uint64_t id) const { return places.at(id).isInner; }

 private:
   uint32_t deepestShown;
   DistinctNames paths;
   std::unordered_map<uint64_t, Place> places;
};

#endif
