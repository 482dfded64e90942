#include "nevra/snapshot/walk_order.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <utility>

#include "nevra/snapshot/key_order.h"
#include "nevra/snapshot/row_order.h"

namespace nevra {

namespace {

// The lists of groups, in ascending order of their keys.
struct GroupLists {
   const NodeTree &node;
   KeyTable keys;

   explicit GroupLists(const NodeTree &lists)
       : node(lists), keys{lists.listKeys.data(), 1, lists.listKeys.size()}
   {
   }

   size_t Find(uint64_t group) const { return FindKey(keys, &group, 0); }
};

// All groups in the order of a walk.
struct Walk {
   const GroupLists &lists;
   std::vector<bool> isVisited; // by the position of a list
   std::vector<uint64_t> groups;
   std::vector<uint64_t> waiting; // the next one last
};

void WalkTree(Walk &walk, uint64_t root)
{
   walk.waiting = {root};
   while (!walk.waiting.empty()) {
      const uint64_t group = walk.waiting.back();
      walk.waiting.pop_back();
      walk.groups.push_back(group);
      const size_t position = walk.lists.Find(group);
      // Visited: no tree, and no reader will have it. Here it must only come to an end.
      if (position == kNoPosition || walk.isVisited[position]) {
         continue;
      }
      walk.isVisited[position] = true;
      const auto values = walk.lists.node.listValues.begin();
      const uint32_t start = walk.lists.node.listStarts[position];
      for (uint32_t i = walk.lists.node.listStarts[position + 1]; i > start; i--) {
         walk.waiting.push_back(values[i - 1]);
      }
   }
}

std::vector<bool> FindListed(const GroupLists &lists)
{
   std::vector<bool> isListed(lists.keys.count);
   for (const uint64_t group : lists.node.listValues) {
      const size_t position = lists.Find(group);
      if (position != kNoPosition) {
         isListed[position] = true;
      }
   }
   return isListed;
}

std::vector<uint64_t> GroupsInWalkOrder(const GroupLists &lists)
{
   Walk walk = {lists, std::vector<bool>(lists.keys.count), {}, {}};
   WalkTree(walk, 0);
   const std::vector<bool> isListed = FindListed(lists);
   for (size_t position = 0; position < lists.keys.count; position++) {
      if (!isListed[position] && !walk.isVisited[position]) {
         WalkTree(walk, lists.keys.words[position]);
      }
   }
   return std::move(walk.groups);
}

// A group and its place in the walk, in ascending order of the groups, each once.
using Places = std::vector<std::pair<int64_t, uint32_t>>;

Places PlacesOf(const std::vector<uint64_t> &groups)
{
   Places places;
   places.reserve(groups.size());
   for (const uint64_t group : groups) {
      places.emplace_back(static_cast<int64_t>(group), static_cast<uint32_t>(places.size()));
   }
   std::sort(places.begin(), places.end());
   const auto isSame = [](const auto &left, const auto &right) { return left.first == right.first; };
   places.erase(std::unique(places.begin(), places.end(), isSame), places.end());
   return places;
}

// The order of ascending keys that follows the walk.
RowOrder OrderOf(const std::vector<uint64_t> &keys, const Places &places)
{
   std::vector<std::pair<uint32_t, uint32_t>> rows; // place and row
   rows.reserve(keys.size());
   auto place = places.begin();
   for (uint32_t row = 0; row < keys.size(); row++) {
      const auto group = static_cast<int64_t>(keys[row]);
      while (place != places.end() && place->first < group) {
         ++place;
      }
      rows.emplace_back(place != places.end() && place->first == group ? place->second : UINT32_MAX, row);
   }
   if (std::is_sorted(rows.begin(), rows.end())) {
      return {};
   }
   std::sort(rows.begin(), rows.end());
   RowOrder order;
   order.reserve(rows.size());
   for (const auto &[unused, row] : rows) {
      order.push_back(row);
   }
   return order;
}

// The position of each row.
std::vector<uint32_t> Inverse(const RowOrder &order)
{
   std::vector<uint32_t> positions(order.size());
   for (uint32_t position = 0; position < order.size(); position++) {
      positions[order[position]] = position;
   }
   return positions;
}

bool IsGroup(std::span<const KeyDomain> keys)
{
   return keys.size() == 1 && keys[0] == KeyDomain::Group;
}

} // namespace

void StoreInWalkOrder(SnapshotTree *tree)
{
   const auto &groups = tree->nodes[static_cast<size_t>(NodeId::sched_groups_members_groups)];
   const Places places = PlacesOf(GroupsInWalkOrder(GroupLists(groups)));
   for (const NevraNodeDef &definition : Definitions()) {
      NodeTree &node = tree->nodes[static_cast<size_t>(definition.id)];
      if (IsGroup(definition.recordKeys)) {
         const RowOrder order = OrderOf(node.keys, places);
         Reorder(&node.keys, 1, order);
         Reorder(&node.records, definition.record->size, order);
         node.keyOrder = Inverse(order);
      }
      if (IsGroup(definition.listKeys)) {
         const RowOrder order = OrderOf(node.listKeys, places);
         Reorder(&node.listKeys, 1, order);
         ReorderLists(&node, order);
         node.listOrder = Inverse(order);
      }
   }
}

} // namespace nevra
