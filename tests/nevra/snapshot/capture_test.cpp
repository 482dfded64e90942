#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "nevra/records.h"
#include "nevra/snapshot/capture.h"
#include "nevra/snapshot/snapshot_file.h"
#include "nevra/snapshot/snapshot_source.h"
#include "nevra/snapshot/snapshot_writer.h"
#include "tests/nevra/snapshot/fake_source.h"

using nevra::NodeId;
using testing::Contains;
using testing::Not;

namespace {

std::vector<uint8_t> Capture(nevra::Source &source)
{
   nevra::SnapshotTree tree;
   std::string problem;
   EXPECT_TRUE(CaptureTree(
      source, &tree, [](uint64_t) {}, &problem, nevra::kMaxSnapshotBytes))
      << problem;
   nevra::SnapshotImage image;
   EXPECT_TRUE(MakeSnapshotImage(&tree, &image, &problem)) << problem;
   return BytesOfImage(image);
}

void PutGroup(FakeSource *source, int64_t group, uint32_t flags, const std::vector<Key> &children)
{
   source->PutRecord(NodeId::sched_groups_groupFlags, {group}, GroupFlagsRecord{flags});
   source->PutList(NodeId::sched_groups_members_groups, {group}, children);
}

// Group 0 holds a VM (group 1, leader 100), a user world (2, leader 200) and a container (3) that has a
// leader ID but no business with it.
FakeSource SmallHost()
{
   FakeSource source;
   PutGroup(&source, 0, 0x801, {1, 2, 3});
   PutGroup(&source, 1, 0x4, {});
   PutGroup(&source, 2, 0x8, {});
   PutGroup(&source, 3, 0x800, {});
   source.PutList(NodeId::sched_groups_members_memClients, {2}, {200, 201});
   for (const int64_t group : {1, 2, 3}) {
      source.PutRecord(NodeId::sched_groups_groupLeaderID, {group},
                       GroupLeaderIDRecord{static_cast<uint32_t>(100 * group)});
   }
   source.PutRecord(NodeId::worldGroups_vmmLeaderID, {100}, VmmLeaderIDRecord{4000000000});
   source.PutList(NodeId::sched_memClients_remapTypes, {200}, {"b", "a", "b"});
   MemInfoRecord info = {};
   info.numMemNodes = 2;
   source.PutRecord(NodeId::memory_memInfo, {}, info);
   source.PutList(NodeId::system_buddy, {}, {"memmap-05-hi", "other", "memmap-xx-hi"});
   source.PutList(NodeId::memory_lpage_nodeList_vmPools, {5}, {"pool"});
   source.PutList(NodeId::hardware_pci_seg, {}, {0});
   source.PutList(NodeId::hardware_pci_seg_bus, {0}, {3});
   source.PutList(NodeId::hardware_pci_seg_bus_slot, {0, 3}, {4});
   source.PutList(NodeId::hardware_pci_seg_bus_slot_func, {0, 3, 4}, {1});
   source.PutStatus(NodeId::memory_pshare_stats, {}, NEVRA_NO_PERMISSION);
   source.PutStatus(NodeId::system_heaps, {}, NEVRA_IO_ERROR);
   return source;
}

TEST(Capture, AsksForLeadersOfVmsAndUserWorldsOnly)
{
   FakeSource source = SmallHost();
   Capture(source);
   EXPECT_THAT(source.questions, Contains("sched/memClients/kelmar/vmm [100]"));
   EXPECT_THAT(source.questions, Contains("sched/memClients/kelmar/uw [200]"));
   EXPECT_THAT(source.questions, Not(Contains("sched/memClients/kelmar/uw [300]")));
}

nevra::KernelFigures CapturedDetail(FakeSource &source)
{
   nevra::SnapshotFile file;
   std::string problem;
   EXPECT_EQ(OpenSnapshotBytes(Capture(source), &file, &problem), NEVRA_OK) << problem;
   return file.kernelDetail;
}

TEST(Capture, TakesTheDetailOfTheKernelWhoseMemoryItIs)
{
   FakeSource source = SmallHost();
   source.kernelDetail = {{"MemTotal", 8000000}, {"Slab", 400000}};
   EXPECT_EQ(CapturedDetail(source), nevra::KernelFigures{}) << "no record says whose it is";
   CompMemMapStats memory = {};
   memory.managedByMemMap = 8000000;
   source.PutRecord(NodeId::memory_comprehensive, {}, memory);
   EXPECT_EQ(CapturedDetail(source), source.kernelDetail);
   memory.managedByMemMap++;
   source.PutRecord(NodeId::memory_comprehensive, {}, memory);
   EXPECT_EQ(CapturedDetail(source), nevra::KernelFigures{}) << "the detail is of another host";
   source.kernelDetail = {{"MemFree", 8000001}};
   EXPECT_EQ(CapturedDetail(source), nevra::KernelFigures{}) << "nothing says whose it is";
}

TEST(Capture, AsksForVmmLeadersByTheIdsThatTheirRecordsGive)
{
   FakeSource source = SmallHost();
   Capture(source);
   EXPECT_THAT(source.questions, Contains("vm/vmmGroupInfo [4000000000]"));
   EXPECT_THAT(source.questions, Contains("sched/memClients/swapInfo [4000000000]"));
   EXPECT_THAT(source.questions, Contains("memory/lpage/vmLPage [4000000000]"));
}

TEST(Capture, AsksForMemoryNodesThatAreCountedOrNamedByABuddy)
{
   FakeSource source = SmallHost();
   Capture(source);
   for (const char *question :
        {"memory/memNodes [0]", "memory/memNodes [1]", "memory/memNodes [5]",
         "memory/lpage/nodeList/vmPools* [5]", "memory/lpage/nodeList/vmPools [5, pool]",
         "system/buddy/comprehensive [memmap-xx-hi]"}) {
      EXPECT_THAT(source.questions, Contains(question));
   }
   EXPECT_THAT(source.questions, Not(Contains("memory/memNodes [2]")));
}

TEST(Capture, AsksForClientsStatesAndHardware)
{
   FakeSource source = SmallHost();
   Capture(source);
   for (const char *question :
        {"sched/memClients/kelmar/totalCommon [201]", "sched/memClients/remapTypes* [201]",
         "sched/memClients/remapTypes [200, a]", "sched/globalStats/memory/stateTransitions [high]",
         "sched/globalStats/memory/stateTransitions [clear]",
         "sched/globalStats/memory/stateTransitions [soft]",
         "sched/globalStats/memory/stateTransitions [hard]",
         "sched/globalStats/memory/stateTransitions [low]", "hardware/cpu/cpuList [0]",
         "hardware/nvd/dimm* []", "hardware/pci/seg/bus/slot/func/pciConfigHeader [0, 3, 4, 1]"}) {
      EXPECT_THAT(source.questions, Contains(question));
   }
}

// A process is a group, a leader and a memory client: asked about in a row, it is read once.
TEST(Capture, AsksAboutAGroupItsLeadersAndItsClientsInARow)
{
   FakeSource source = SmallHost();
   Capture(source);
   std::vector<std::string> ids;
   for (const std::string &question : source.questions) {
      const size_t key = question.find('[') + 1;
      const std::string id = question.substr(key, question.find_first_of(",]") - key);
      if (question.starts_with("memory/comprehensive")) {
         break; // of the host
      }
      if (!id.empty() && (ids.empty() || ids.back() != id)) {
         ids.push_back(id);
      }
   }
   EXPECT_THAT(ids, testing::ElementsAre("0", "3", "2", "200", "201", "200", "1", "100", "4000000000"));
}

TEST(Capture, AsksEveryQuestionOnce)
{
   FakeSource source = SmallHost();
   Capture(source);
   const std::set<std::string> different(source.questions.begin(), source.questions.end());
   EXPECT_EQ(different.size(), source.questions.size());
}

TEST(Capture, AsksEveryNodeThatCannotBeSetAndNoOther)
{
   FakeSource source = SmallHost();
   source.PutList(NodeId::system_heaps, {}, {"heap"});
   source.PutList(NodeId::memory_pmem_volumes, {}, {"volume"});
   source.PutList(NodeId::memory_pmem_volumes_extents, {"volume"}, {1});
   source.PutList(NodeId::memory_pmem_volumes_regionStore_regions, {"volume"}, {"region"});
   source.PutList(NodeId::memory_pmem_volumes_regionStore_regions_numaAllocInfo, {"volume", "region"}, {0});
   Capture(source);
   for (const NevraNodeDef &node : nevra::Definitions()) {
      const auto asksFor = [&](const std::string &start) {
         return std::any_of(source.questions.begin(), source.questions.end(),
                            [&](const std::string &question) { return question.starts_with(start); });
      };
      EXPECT_EQ(asksFor(node.path + std::string(" [")), node.record != nullptr && !node.settable)
         << node.path;
      EXPECT_EQ(asksFor(node.path + std::string("* [")), node.listed != nevra::KeyDomain::None) << node.path;
   }
}

TEST(Capture, SnapshotGivesTheAnswersThatTheSourceGave)
{
   FakeSource source = SmallHost();
   const auto snapshot = OpenBytes(Capture(source));
   ASSERT_NE(snapshot, nullptr);
   EXPECT_STREQ(snapshot->KernelBuildText(), "fake 1");
   for (const int64_t group : {0, 1, 2, 3, 4}) {
      EXPECT_EQ(AskRecord(*snapshot, NodeId::sched_groups_groupFlags, {group}),
                AskRecord(source, NodeId::sched_groups_groupFlags, {group}));
      EXPECT_EQ(AskRecord(*snapshot, NodeId::sched_groups_groupName, {group}),
                AskRecord(source, NodeId::sched_groups_groupName, {group}));
      EXPECT_EQ(AskList(*snapshot, NodeId::sched_groups_members_groups, {group}),
                AskList(source, NodeId::sched_groups_members_groups, {group}));
   }
   EXPECT_EQ(AskList(*snapshot, NodeId::sched_memClients_remapTypes, {200}), "0: b a")
      << "the second \"b\" is dropped";
   EXPECT_EQ(AskRecord(*snapshot, NodeId::memory_pshare_stats, {}), Status(NEVRA_NO_PERMISSION));
   EXPECT_EQ(AskList(*snapshot, NodeId::system_heaps, {}), Status(NEVRA_IO_ERROR));
}

TEST(Capture, SameTreeGivesTheSameBytes)
{
   FakeSource first = SmallHost();
   FakeSource second = SmallHost();
   EXPECT_EQ(Capture(first), Capture(second));
}

// A group that moves while it is captured is in the old list and in the new one; a report must not walk it
// twice.
TEST(Capture, GroupAndClientStandInTheListThatWasReadFirst)
{
   FakeSource source;
   PutGroup(&source, 0, 0, {1, 2});
   PutGroup(&source, 1, 0, {3, 4});
   PutGroup(&source, 2, 0, {3, 5});
   source.PutList(NodeId::sched_groups_members_memClients, {1}, {10, 11});
   source.PutList(NodeId::sched_groups_members_memClients, {2}, {11, 12});
   const auto snapshot = OpenBytes(Capture(source));
   ASSERT_NE(snapshot, nullptr);
   EXPECT_EQ(AskList(*snapshot, NodeId::sched_groups_members_groups, {2}), "0: 3 5");
   EXPECT_EQ(AskList(*snapshot, NodeId::sched_groups_members_groups, {1}), "0: 4");
   EXPECT_EQ(AskList(*snapshot, NodeId::sched_groups_members_memClients, {2}), "0: 11 12");
   EXPECT_EQ(AskList(*snapshot, NodeId::sched_groups_members_memClients, {1}), "0: 10");
}

TEST(Capture, NamesThatNoSnapshotHoldsMakeTheListingAFailure)
{
   for (const std::string &name : {std::string(256, 'a'), std::string("a\x1b[2J"), std::string("\xff")}) {
      FakeSource source;
      source.PutList(NodeId::system_heaps, {}, {"heap", name.c_str()});
      const auto snapshot = OpenBytes(Capture(source));
      ASSERT_NE(snapshot, nullptr);
      EXPECT_EQ(AskList(*snapshot, NodeId::system_heaps, {}), Status(NEVRA_LIMIT_EXCEEDED)) << name;
   }
}

TEST(Capture, GroupsThatListTheirParentsEndTheWalk)
{
   FakeSource source;
   PutGroup(&source, 0, 0, {1, 0});
   PutGroup(&source, 1, 0, {2, 0});
   PutGroup(&source, 2, 0, {1, 2, 1});
   const auto snapshot = OpenBytes(Capture(source));
   EXPECT_EQ(AskList(*snapshot, NodeId::sched_groups_members_groups, {0}), "0: 1");
   EXPECT_EQ(AskList(*snapshot, NodeId::sched_groups_members_groups, {1}), "0: 2");
   EXPECT_EQ(AskList(*snapshot, NodeId::sched_groups_members_groups, {2}), "0:");
}

TEST(Capture, TreeMayBeDeep)
{
   constexpr int64_t kDepth = 20000;
   FakeSource source;
   for (int64_t group = 0; group < kDepth; group++) {
      PutGroup(&source, group, 0, {group + 1});
   }
   const auto snapshot = OpenBytes(Capture(source));
   EXPECT_EQ(AskList(*snapshot, NodeId::sched_groups_members_groups, {kDepth - 1}),
             "0: " + std::to_string(kDepth));
   EXPECT_EQ(AskList(*snapshot, NodeId::sched_groups_members_groups, {kDepth}), Status(NEVRA_NOT_FOUND));
}

TEST(Capture, ClaimOfFourBillionMemoryNodesEnds)
{
   FakeSource source;
   MemInfoRecord info = {};
   info.numMemNodes = UINT32_MAX;
   source.PutRecord(NodeId::memory_memInfo, {}, info);
   const auto snapshot = OpenBytes(Capture(source));
   ASSERT_NE(snapshot, nullptr);
   EXPECT_EQ(AskRecord(*snapshot, NodeId::memory_memInfo, {}), Status(NEVRA_LIMIT_EXCEEDED));
}

TEST(Capture, ListWithEntriesOfAnotherTypeIsAFailure)
{
   FakeSource source = SmallHost();
   source.PutList(NodeId::system_heaps, {}, {"heap", 7});
   const auto snapshot = OpenBytes(Capture(source));
   EXPECT_EQ(AskList(*snapshot, NodeId::system_heaps, {}), Status(NEVRA_FAILURE));
}

TEST(Capture, ShortageEndsIt)
{
   for (const NevraStatus shortage : {NEVRA_TOO_MANY_OPEN_FILES, NEVRA_OUT_OF_MEMORY}) {
      FakeSource lists = SmallHost();
      lists.PutStatus(NodeId::sched_groups_members_memClients, {1}, shortage);
      FakeSource records = SmallHost();
      records.PutStatus(NodeId::sched_groups_groupName, {2}, shortage);
      for (FakeSource *source : {&lists, &records}) {
         nevra::SnapshotTree tree;
         std::string problem;
         EXPECT_FALSE(CaptureTree(
            *source, &tree, [](uint64_t) {}, &problem, nevra::kMaxSnapshotBytes));
         EXPECT_EQ(problem, shortage == NEVRA_OUT_OF_MEMORY ? "out of memory" : "too many open files");
      }
   }
}

TEST(Capture, TreeAboveTheLimitIsRefused)
{
   FakeSource source;
   for (int64_t group = 0; group < 3000; group++) {
      PutGroup(&source, group, 0, {group + 1});
   }
   nevra::SnapshotTree tree;
   std::string problem;
   EXPECT_FALSE(CaptureTree(
      source, &tree, [](uint64_t) {}, &problem, 100000));
   EXPECT_EQ(problem, "too large for a snapshot: more than 100000 bytes");
}

} // namespace
