#include "nevra/snapshot/group_tree_check.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace nevra {

namespace {

// The walk over all lists. A list is known by its position.
struct Walk {
   const SnapshotNode &node;
   std::vector<bool> isVisited;
   std::vector<bool> isListed;
   std::vector<uint64_t> childless; // listed groups without a list of their own
   size_t next = 0;                 // the position where the next list is likely to be
   size_t root = 0;                 // of the tree that is being walked
   std::string *problem;
};

bool Fails(const Walk &walk, uint64_t group, const char *what)
{
   *walk.problem = "group " + std::to_string(static_cast<int64_t>(group)) + what;
   return false;
}

// A list on the way down, and what is left of it.
struct Step {
   const uint64_t *value;
   const uint64_t *end;
};

Step Enter(Walk &walk, size_t position)
{
   walk.isVisited[position] = true;
   walk.next = position + 1;
   std::span<const uint64_t> values;
   ListAt(walk.node, position, &values);
   return {values.data(), values.data() + values.size()};
}

// Walks the tree below a list that no list visited so far leads to. A list that was visited before as such a
// root may turn up below a later one; the tree that is being walked cannot lie below it, as it would have
// been visited then.
bool WalkTree(Walk &walk, size_t root)
{
   walk.root = root;
   std::vector<Step> steps = {Enter(walk, root)};
   while (!steps.empty()) {
      Step &step = steps.back();
      if (step.value == step.end) {
         steps.pop_back();
         continue;
      }
      const uint64_t group = *step.value++;
      const size_t position = FindKey(walk.node.listKeys, &group, walk.next);
      if (position == kNoPosition) {
         walk.childless.push_back(group);
         continue;
      }
      if (walk.isListed[position]) {
         return Fails(walk, group, " is listed twice");
      }
      if (position == walk.root) {
         return Fails(walk, group, " is below itself");
      }
      walk.isListed[position] = true;
      if (!walk.isVisited[position]) {
         steps.push_back(Enter(walk, position));
      }
   }
   return true;
}

} // namespace

bool IsGroupTree(const SnapshotNode &node, std::string *problem)
{
   const size_t count = node.listKeys.count;
   Walk walk = {node, std::vector<bool>(count), std::vector<bool>(count), {}, 0, 0, problem};
   for (size_t position = 0; position < count; position++) {
      if (!walk.isVisited[position] && !WalkTree(walk, position)) {
         return false;
      }
   }
   std::sort(walk.childless.begin(), walk.childless.end());
   const auto repeated = std::adjacent_find(walk.childless.begin(), walk.childless.end());
   return repeated == walk.childless.end() || Fails(walk, *repeated, " is listed twice");
}

} // namespace nevra
