#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "nevra/records.h"
#include "nevra/snapshot/snapshot_file.h"
#include "nevra/snapshot/snapshot_format.h"
#include "nevra/snapshot/snapshot_source.h"
#include "nevra/snapshot/snapshot_verify.h"
#include "nevra/snapshot/snapshot_writer.h"
#include "snapshot_generated.h"
#include "tests/nevra/snapshot/small_tree.h"

using nevra::Definition;
using nevra::NodeId;

namespace {

TEST(SnapshotRoundTrip, RecordsComeBackUnderTheirKeys)
{
   const auto source = OpenBytes(SmallSnapshot());
   EXPECT_EQ(AskRecord(*source, NodeId::sched_groups_groupName, {0}), GroupNameBytes("host"));
   EXPECT_EQ(AskRecord(*source, NodeId::sched_groups_groupName, {7}), GroupNameBytes("seven"));
   EXPECT_EQ(AskRecord(*source, NodeId::sched_groups_groupName, {3}), GroupNameBytes("three"));
   EXPECT_EQ(AskRecord(*source, NodeId::sched_groups_groupName, {-2}), GroupNameBytes("below"));
   const std::string memory = AskRecord(*source, NodeId::memory_comprehensive, {});
   ASSERT_EQ(memory.size(), 3 + sizeof(CompMemMapStats));
   uint64_t total;
   std::copy_n(memory.data() + 3, sizeof total, reinterpret_cast<char *>(&total));
   EXPECT_EQ(total, 16777216u);
}

TEST(SnapshotRoundTrip, FailuresAreReplayedAndWhatIsNowhereIsNotFound)
{
   const auto source = OpenBytes(SmallSnapshot());
   EXPECT_EQ(AskRecord(*source, NodeId::sched_groups_groupName, {9}), Status(NEVRA_IO_ERROR));
   EXPECT_EQ(AskRecord(*source, NodeId::sched_groups_groupName, {8}), Status(NEVRA_NOT_FOUND));
   EXPECT_EQ(AskRecord(*source, NodeId::memory_pshare_stats, {}), Status(NEVRA_NOT_SUPPORTED));
   EXPECT_EQ(AskRecord(*source, NodeId::memory_memInfo, {}), Status(NEVRA_NOT_FOUND));
   EXPECT_EQ(AskRecord(*source, NodeId::memory_lpage_nodeList_vmPools, {1, "vmPool"}), Status(NEVRA_FAILURE));
   EXPECT_EQ(AskRecord(*source, NodeId::memory_lpage_nodeList_vmPools, {1, "anon"}), Status(NEVRA_NOT_FOUND));
}

TEST(SnapshotRoundTrip, ListingsKeepTheKernelsOrder)
{
   const auto source = OpenBytes(SmallSnapshot());
   EXPECT_EQ(AskList(*source, NodeId::sched_groups_members_groups, {0}), "0: 7 3");
   EXPECT_EQ(AskList(*source, NodeId::sched_groups_members_groups, {3}), "0:");
   EXPECT_EQ(AskList(*source, NodeId::sched_groups_members_groups, {7}), Status(NEVRA_NOT_FOUND));
   EXPECT_EQ(AskList(*source, NodeId::memory_lpage_nodeList_vmPools, {0}), "0: vmPool anon");
   EXPECT_EQ(AskList(*source, NodeId::memory_lpage_nodeList_vmPools, {1}), Status(NEVRA_NO_PERMISSION));
   EXPECT_EQ(AskList(*source, NodeId::system_heaps, {}), Status(NEVRA_NOT_FOUND));
}

TEST(SnapshotRoundTrip, ListingFillsAListUpToItsCapacity)
{
   const auto source = OpenBytes(SmallSnapshot());
   EXPECT_EQ(AskList(*source, NodeId::sched_groups_members_groups, {0}, 1), "0: 7");
   EXPECT_EQ(AskList(*source, NodeId::sched_groups_members_groups, {0}, 0), "0:");
   EXPECT_EQ(AskList(*source, NodeId::memory_lpage_nodeList_vmPools, {0}, 1), "0: vmPool");
}

TEST(SnapshotRoundTrip, HeaderComesBack)
{
   nevra::SnapshotFile file;
   std::string problem;
   ASSERT_EQ(OpenSnapshotBytes(SmallSnapshot(), &file, &problem), NEVRA_OK) << problem;
   EXPECT_STREQ(file.signature, nevra::DefinitionSignature());
   EXPECT_STREQ(file.kernelBuild, "build 17");
   EXPECT_STREQ(file.host, "elm");
   EXPECT_EQ(file.captured, 1700000000);
   EXPECT_TRUE(VerifySnapshot(file, &problem)) << problem;
}

TEST(SnapshotRoundTrip, KernelDetailComesBack)
{
   const nevra::KernelFigures detail = {{"MemTotal", 16000000}, {"Active(anon)", 123456}, {"Bounce", 0}};
   nevra::SnapshotFile file;
   std::string problem;
   ASSERT_EQ(OpenSnapshotBytes(SmallSnapshot(), &file, &problem), NEVRA_OK) << problem;
   EXPECT_EQ(file.kernelDetail, detail);
   EXPECT_EQ(OpenBytes(SmallSnapshot())->KernelDetail(), detail);
   EXPECT_EQ(*FindKernelFigure(file.kernelDetail, "Bounce"), detail[2]);
   EXPECT_EQ(FindKernelFigure(file.kernelDetail, "Active"), nullptr);
}

TEST(SnapshotRoundTrip, KernelDetailOfTheLargestSizeComesBack)
{
   nevra::SnapshotTree tree = SmallTree();
   tree.kernelDetail.clear();
   for (size_t i = 0; i < nevra::kMaxKernelFigures; i++) {
      std::string name = std::to_string(i) + std::string(nevra::kMaxKernelFigureName, '~');
      name.resize(nevra::kMaxKernelFigureName);
      tree.kernelDetail.push_back({name, nevra::kMaxKernelFigureKB});
   }
   const nevra::KernelFigures detail = tree.kernelDetail;
   const uint64_t estimate = EstimateSnapshotBytes(tree);
   nevra::SnapshotImage image;
   std::string problem;
   ASSERT_TRUE(MakeSnapshotImage(&tree, &image, &problem)) << problem;
   EXPECT_LE(BytesOfImage(image).size(), estimate);
   nevra::SnapshotFile file;
   ASSERT_EQ(OpenSnapshotBytes(BytesOfImage(image), &file, &problem), NEVRA_OK) << problem;
   EXPECT_EQ(file.kernelDetail, detail);
}

// As older builds wrote it.
TEST(SnapshotRoundTrip, WithoutKernelDetailTheFileHasNoFieldForIt)
{
   nevra::SnapshotTree tree = SmallTree();
   tree.kernelDetail.clear();
   nevra::SnapshotImage image;
   std::string problem;
   ASSERT_TRUE(MakeSnapshotImage(&tree, &image, &problem)) << problem;
   const std::vector<uint8_t> bytes = BytesOfImage(image);
   EXPECT_EQ(nevra::snapshot::GetSnapshot(bytes.data())->kernel_detail(), nullptr);
   EXPECT_EQ(OpenBytes(bytes)->KernelDetail(), nevra::KernelFigures{});
   EXPECT_EQ(AskEverything(*OpenBytes(bytes)), AskEverything(*OpenBytes(SmallSnapshot())));
}

TEST(SnapshotRoundTrip, EmptyTreeMakesASnapshotThatFindsNothing)
{
   nevra::SnapshotTree tree;
   tree.signature = nevra::DefinitionSignature();
   nevra::SnapshotImage image;
   std::string problem;
   ASSERT_TRUE(MakeSnapshotImage(&tree, &image, &problem)) << problem;
   const auto source = OpenBytes(BytesOfImage(image));
   ASSERT_NE(source, nullptr);
   for (const std::string &answer : AskEverything(*source)) {
      EXPECT_THAT(answer, testing::StartsWith(Status(NEVRA_NOT_FOUND)));
   }
}

// Group numbers in an order that is neither sorted nor reversed.
std::vector<uint64_t> ShuffledGroups(uint64_t count)
{
   std::vector<uint64_t> groups;
   for (uint64_t i = 0; i < count; i++) {
      groups.push_back(i * 7919 % count);
   }
   return groups;
}

std::vector<uint8_t> SnapshotOfGroups(const std::vector<uint64_t> &groups)
{
   nevra::SnapshotTree tree;
   tree.signature = nevra::DefinitionSignature();
   for (const uint64_t group : groups) {
      const ParentGroupIDRecord parent = {static_cast<int64_t>(group / 2)};
      AddRecord(&tree, Definition(NodeId::sched_groups_parentGroupID), {&group, 1}, &parent);
      const uint64_t children[] = {2 * group + 1, 2 * group + 2};
      AddList(&tree, Definition(NodeId::sched_groups_members_groups), {&group, 1}, children);
      const uint64_t type[] = {group, InternText(&tree, "type" + std::to_string(group % 5))};
      RemapStatsRecord remap = {};
      remap.added = group;
      AddRecord(&tree, Definition(NodeId::sched_memClients_remapTypes), type, &remap);
   }
   nevra::SnapshotImage image;
   std::string problem;
   return MakeSnapshotImage(&tree, &image, &problem) ? BytesOfImage(image) : std::vector<uint8_t>();
}

TEST(SnapshotRoundTrip, SameAnswersGiveTheSameBytesInWhateverOrderTheyCame)
{
   std::vector<uint64_t> groups = ShuffledGroups(1009);
   const std::vector<uint8_t> shuffled = SnapshotOfGroups(groups);
   std::sort(groups.begin(), groups.end());
   EXPECT_EQ(SnapshotOfGroups(groups), shuffled);
}

TEST(SnapshotRoundTrip, HundredThousandGroups)
{
   const std::vector<uint64_t> groups = ShuffledGroups(100003);
   const auto source = OpenBytes(SnapshotOfGroups(groups));
   ASSERT_NE(source, nullptr);
   for (const uint64_t group : groups) {
      std::string parent = "0: 12345678";
      const int64_t id = static_cast<int64_t>(group / 2);
      std::copy_n(reinterpret_cast<const char *>(&id), sizeof id, parent.data() + 3);
      const int64_t key = static_cast<int64_t>(group);
      ASSERT_EQ(AskRecord(*source, NodeId::sched_groups_parentGroupID, {key}), parent);
      ASSERT_EQ(AskList(*source, NodeId::sched_groups_members_groups, {key}),
                "0: " + std::to_string(2 * group + 1) + ' ' + std::to_string(2 * group + 2));
   }
}

TEST(SnapshotWriter, InstanceAnsweredTwiceIsRefused)
{
   nevra::SnapshotTree tree = SmallTree();
   const uint64_t keys[] = {1, InternText(&tree, "vmPool")};
   const LPagePoolRecord pool = {};
   AddRecord(&tree, Definition(NodeId::memory_lpage_nodeList_vmPools), keys, &pool);
   nevra::SnapshotImage image;
   std::string problem;
   EXPECT_FALSE(MakeSnapshotImage(&tree, &image, &problem));
   EXPECT_EQ(problem, "memory/lpage/nodeList/vmPools: duplicate instance [1, \"vmPool\"]");
}

TEST(SnapshotWriter, NodeWithoutKeysAnsweredTwiceIsRefused)
{
   nevra::SnapshotTree tree = SmallTree();
   AddFailure(&tree, Definition(NodeId::memory_comprehensive), {}, NEVRA_FAILURE);
   nevra::SnapshotImage image;
   std::string problem;
   EXPECT_FALSE(MakeSnapshotImage(&tree, &image, &problem));
   EXPECT_EQ(problem, "memory/comprehensive: duplicate instance []");
}

TEST(SnapshotWriter, TreeAboveTheLimitIsRefused)
{
   nevra::SnapshotTree tree = SmallTree();
   const uint64_t size = EstimateSnapshotBytes(tree);
   nevra::SnapshotImage image;
   std::string problem;
   EXPECT_FALSE(MakeSnapshotImage(&tree, &image, &problem, size - 1));
   EXPECT_EQ(problem, "too large for a snapshot: " + std::to_string(size) + " bytes, where " +
                         std::to_string(size - 1) + " are the limit");
   EXPECT_TRUE(MakeSnapshotImage(&tree, &image, &problem, size)) << problem;
   EXPECT_LE(image.bodySize + image.trailer.size(), size);
}

TEST(SnapshotWriter, DirectoryLiesInFrontOfEverythingThatGrows)
{
   const auto directorySize = [](uint64_t groups) {
      const std::vector<uint8_t> bytes = SnapshotOfGroups(ShuffledGroups(groups));
      uint64_t size;
      std::copy_n(bytes.end() - 24, sizeof size, reinterpret_cast<uint8_t *>(&size));
      return size;
   };
   EXPECT_LE(directorySize(10007), directorySize(11) + 16);
   EXPECT_LT(directorySize(11), 1500u);
}

TEST(SnapshotSource, CannotBeSet)
{
   const auto source = OpenBytes(SmallSnapshot());
   const NevraNodeDef &node =
      nevra::Definition(NodeId::hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr);
   Nevra_ParamList *empty = Nevra_ParamList::Create(NEVRA_LIST_VALUES, 0);
   EXPECT_EQ(source->Set(node, *empty, *empty), NEVRA_NOT_SUPPORTED);
   Nevra_ParamList::Destroy(empty);
}

} // namespace
