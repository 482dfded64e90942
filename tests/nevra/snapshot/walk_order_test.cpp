// The order in which groups are stored.
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "nevra/records.h"
#include "nevra/snapshot/snapshot_file.h"
#include "nevra/snapshot/snapshot_tree.h"
#include "nevra/snapshot/snapshot_writer.h"
#include "tests/nevra/snapshot/small_tree.h"

using nevra::Definition;
using nevra::NodeId;
using testing::ElementsAre;

namespace {

// The snapshot of a tree with these lists, and flags for these groups.
nevra::SnapshotFile FileOf(const std::vector<std::pair<uint64_t, std::vector<uint64_t>>> &lists,
                           const std::vector<uint64_t> &groups)
{
   nevra::SnapshotTree tree;
   tree.signature = nevra::DefinitionSignature();
   for (const auto &[group, children] : lists) {
      AddList(&tree, Definition(NodeId::sched_groups_members_groups), {&group, 1}, children);
   }
   for (const uint64_t group : groups) {
      const GroupFlagsRecord flags = {static_cast<uint32_t>(group)};
      AddRecord(&tree, Definition(NodeId::sched_groups_groupFlags), {&group, 1}, &flags);
   }
   nevra::SnapshotImage image;
   nevra::SnapshotFile file;
   std::string problem;
   EXPECT_TRUE(MakeSnapshotImage(&tree, &image, &problem)) << problem;
   EXPECT_EQ(OpenSnapshotBytes(BytesOfImage(image), &file, &problem), NEVRA_OK) << problem;
   return file;
}

std::vector<int64_t> StoredKeys(const nevra::KeyTable &keys)
{
   return {keys.words, keys.words + keys.count};
}

std::vector<int64_t> AscendingKeys(const nevra::KeyTable &keys)
{
   std::vector<int64_t> ascending;
   for (size_t rank = 0; rank < keys.count; rank++) {
      ascending.push_back(static_cast<int64_t>(*keys[keys.Ascending(rank)]));
   }
   return ascending;
}

TEST(WalkOrder, EachGroupIsFollowedByTheTreeBelowIt)
{
   const nevra::SnapshotFile file =
      FileOf({{0, {40, 10}}, {40, {20, 30}}, {20, {}}, {30, {5}}, {10, {}}}, {0, 5, 10, 20, 30, 40});
   const nevra::SnapshotNode &lists = file.nodes[0];
   const nevra::SnapshotNode &flags = file.nodes[1];
   EXPECT_THAT(StoredKeys(lists.listKeys), ElementsAre(0, 40, 20, 30, 10));
   EXPECT_THAT(lists.listValues, ElementsAre(40, 10, 20, 30, 5));
   EXPECT_THAT(StoredKeys(flags.keys), ElementsAre(0, 40, 20, 30, 5, 10));
   EXPECT_THAT(AscendingKeys(lists.listKeys), ElementsAre(0, 10, 20, 30, 40));
   EXPECT_THAT(AscendingKeys(flags.keys), ElementsAre(0, 5, 10, 20, 30, 40));
}

TEST(WalkOrder, OtherTreesAndGroupsInNoListComeLast)
{
   const nevra::SnapshotFile file =
      FileOf({{0, {9}}, {2, {}}, {4, {3, 1}}}, {static_cast<uint64_t>(-7), 0, 1, 2, 3, 4, 8, 9});
   EXPECT_THAT(StoredKeys(file.nodes[1].keys), ElementsAre(0, 9, 2, 4, 3, 1, -7, 8));
   EXPECT_THAT(AscendingKeys(file.nodes[1].keys), ElementsAre(-7, 0, 1, 2, 3, 4, 8, 9));
}

TEST(WalkOrder, IsLeftOutWhereKeysAscend)
{
   const nevra::SnapshotFile file = FileOf({{0, {1, 2}}, {1, {}}, {2, {}}}, {0, 1, 2});
   EXPECT_EQ(file.nodes[0].listKeys.order, nullptr);
   EXPECT_EQ(file.nodes[1].keys.order, nullptr);
}

TEST(WalkOrder, RecordsAreFoundWhereTheyAreStored)
{
   nevra::SnapshotTree tree;
   tree.signature = nevra::DefinitionSignature();
   constexpr uint64_t kGroups = 1000;
   const auto shuffled = [](uint64_t i) { return i == 0 ? 0 : i * 389 % kGroups; };
   for (uint64_t i = 0; i < kGroups; i++) {
      const uint64_t group = shuffled(i);
      const std::vector<uint64_t> next = {shuffled(i + 1)};
      AddList(&tree, Definition(NodeId::sched_groups_members_groups), {&group, 1},
              i + 1 < kGroups ? std::span(next) : std::span<const uint64_t>());
      const ParentGroupIDRecord parent = {static_cast<int64_t>(group * 3)};
      AddRecord(&tree, Definition(NodeId::sched_groups_parentGroupID), {&group, 1}, &parent);
   }
   nevra::SnapshotImage image;
   std::string problem;
   ASSERT_TRUE(MakeSnapshotImage(&tree, &image, &problem)) << problem;
   const auto source = OpenBytes(BytesOfImage(image));
   ASSERT_NE(source, nullptr);
   for (int64_t group = 0; group < static_cast<int64_t>(kGroups); group += 7) {
      std::string expected = "0: 12345678";
      const int64_t value = group * 3;
      std::copy_n(reinterpret_cast<const char *>(&value), sizeof value, expected.data() + 3);
      ASSERT_EQ(AskRecord(*source, NodeId::sched_groups_parentGroupID, {group}), expected);
   }
   EXPECT_EQ(AskRecord(*source, NodeId::sched_groups_parentGroupID, {1000}), Status(NEVRA_NOT_FOUND));
   EXPECT_EQ(AskRecord(*source, NodeId::sched_groups_parentGroupID, {-1}), Status(NEVRA_NOT_FOUND));
}

} // namespace
