// Host-wide memory accounting and memory states over recorded trees.
#include <string>

#include <gtest/gtest.h>

#include "nevra/linux/kernel_text.h"
#include "tests/nevra/linux/live_source.h"
#include "tests/nevra/linux/recorded_tree.h"

namespace {

using nevra::NodeId;

CompMemMapStats Comprehensive(const RecordedTree &tree)
{
   LiveSource source(tree.Root());
   return source.Read<CompMemMapStats>(NodeId::memory_comprehensive);
}

TEST(LinuxHostMemory, EveryFigureAndTheirSum)
{
   RecordedTree tree;
   tree.HostMemory();
   const CompMemMapStats stats = Comprehensive(tree);
   const uint64_t pageKB = nevra::PageKB();
   const uint64_t ram = uint64_t{4} * 0x200000 - 1024 + 636; // 8 GB but for the hole below 1 MB
   EXPECT_EQ(ram, +stats.total);
   EXPECT_EQ(8000000u, +stats.managedByMemMap);
   EXPECT_EQ(2000000u, +stats.free);
   EXPECT_EQ(16384u, +stats.kernelCode);
   const uint64_t heap = 400000 + 20000 + 30000 + 1000 + 5000;
   EXPECT_EQ(8192u + 4096 + 2048 + heap, +stats.dataAndHeap);
   EXPECT_EQ(9000 * pageKB, +stats.buddyOvhd);
   EXPECT_EQ(158 * pageKB, +stats.rsvdLow);
   EXPECT_EQ(0u, +stats.reliableMem);
   EXPECT_EQ(1000000u + 100000 + 40960, +stats.otherConsumed);
   EXPECT_EQ(6000000u - heap - 1000 * pageKB - 1140960, +stats.orskaClientConsumed);
   EXPECT_EQ(+stats.total, stats.discarded + stats.kernelCode + stats.dataAndHeap + stats.buddyOvhd +
                              stats.rsvdLow + stats.orskaClientConsumed + stats.otherConsumed + stats.free);
}

TEST(LinuxHostMemory, TotalIsWhatIsManagedWhereAddressesAreHidden)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.File("proc/iomem", "00000000-00000000 : Reserved\n00000000-00000000 : System RAM\n"
                           "  00000000-00000000 : Kernel code\n");
   const CompMemMapStats stats = Comprehensive(tree);
   EXPECT_EQ(8000000u, +stats.total);
   EXPECT_EQ(0u, +stats.kernelCode);
   EXPECT_EQ(0u, +stats.discarded);
   tree.Remove("proc/iomem");
   EXPECT_EQ(8000000u, +Comprehensive(tree).total);
}

TEST(LinuxHostMemory, RangesThatAreNoneAreNotMemory)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.File("proc/iomem", "System RAM\n1000-\n-1fff : System RAM\nx-y : System RAM\n2000-1000 : System RAM\n"
                           "5000-5000 : System RAM\n100000-1fffff : System RAM (kexec)\n200000-2fffff\n"
                           "  100000-1003ff : Kernel code\n");
   const CompMemMapStats stats = Comprehensive(tree);
   EXPECT_EQ(1u, +stats.kernelCode);
   EXPECT_EQ(8000000u, +stats.total) << "less than the kernel manages cannot be all";
}

TEST(LinuxHostMemory, AKernelWithFewerLinesGivesZeros)
{
   RecordedTree tree;
   tree.File("proc/meminfo", "MemTotal: 1000 kB\nMemFree: 400 kB\n");
   const CompMemMapStats stats = Comprehensive(tree);
   EXPECT_EQ(1000u, +stats.total);
   EXPECT_EQ(400u, +stats.free);
   EXPECT_EQ(0u, +stats.dataAndHeap);
   EXPECT_EQ(0u, +stats.buddyOvhd);
   EXPECT_EQ(0u, +stats.rsvdLow);
   EXPECT_EQ(600u, +stats.orskaClientConsumed);
   LiveSource source(tree.Root());
   const auto global = source.Read<GlobalMemSchedInfo>(NodeId::sched_globalStats_memory_kelmar);
   EXPECT_EQ(1000u, +global.managedByMemSched);
   EXPECT_EQ(0u, +global.minFree);
   EXPECT_EQ(5u, +global.memState) << "unknown";
}

TEST(LinuxHostMemory, WithoutMeminfoNothingIsFound)
{
   RecordedTree tree;
   LiveSource source(tree.Root());
   EXPECT_EQ(NEVRA_NOT_FOUND, source.StatusOf<CompMemMapStats>(NodeId::memory_comprehensive));
   EXPECT_EQ(NEVRA_NOT_FOUND, source.StatusOf<GlobalMemSchedInfo>(NodeId::sched_globalStats_memory_kelmar));
}

TEST(LinuxHostMemory, StateFollowsFreePagesAndWatermarks)
{
   const auto stateWith = [](uint64_t freePages) {
      RecordedTree tree;
      tree.HostMemory();
      tree.File("proc/zoneinfo", "Node 0, zone   Normal\n  pages free     " + std::to_string(freePages) +
                                    "\n        min      100\n        low      200\n        high     300\n"
                                    "        present  5000\n        managed  5000\n");
      LiveSource source(tree.Root());
      const auto global = source.Read<GlobalMemSchedInfo>(NodeId::sched_globalStats_memory_kelmar);
      EXPECT_EQ(67584u, +global.minFree);
      EXPECT_EQ(8000000u, +global.managedByMemSched);
      return global.memState;
   };
   EXPECT_EQ(0u, stateWith(601));
   EXPECT_EQ(1u, stateWith(600));
   EXPECT_EQ(1u, stateWith(301));
   EXPECT_EQ(2u, stateWith(300));
   EXPECT_EQ(2u, stateWith(201));
   EXPECT_EQ(3u, stateWith(200));
   EXPECT_EQ(3u, stateWith(101));
   EXPECT_EQ(4u, stateWith(100));
   EXPECT_EQ(4u, stateWith(0));
}

TEST(LinuxHostMemory, TransitionsAreReclaimRunsAndTheirWayBack)
{
   RecordedTree tree;
   tree.HostMemory();
   LiveSource source(tree.Root());
   const auto of = [&source](const char *state) {
      return source.Read<MemStateTransitions>(NodeId::sched_globalStats_memory_stateTransitions, {state});
   };
   EXPECT_EQ(0u, +of("high").numToLower);
   EXPECT_EQ(0u, +of("clear").numToHigher);
   EXPECT_EQ(12u, +of("clear").numToLower);
   EXPECT_EQ(12u, +of("soft").numToHigher);
   EXPECT_EQ(5u, +of("soft").numToLower);
   EXPECT_EQ(5u, +of("hard").numToHigher);
   EXPECT_EQ(0u, +of("hard").numToLower);
   EXPECT_EQ(0u, +of("low").numToHigher);
   EXPECT_EQ(NEVRA_NOT_FOUND, source.StatusOf<MemStateTransitions>(
                                 NodeId::sched_globalStats_memory_stateTransitions, {"unknown"}));
}

TEST(LinuxHostMemory, AHostThatIsStillLowHasNotComeBackYet)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.File("proc/zoneinfo", "Node 0, zone   Normal\n  pages free     150\n        min      100\n"
                              "        low      200\n        high     300\n        managed  5000\n");
   tree.File("proc/vmstat", "allocstall 7\npageoutrun 3\n");
   LiveSource source(tree.Root());
   const auto of = [&source](const char *state) {
      return source.Read<MemStateTransitions>(NodeId::sched_globalStats_memory_stateTransitions, {state});
   };
   EXPECT_EQ(3u, +of("clear").numToLower);
   EXPECT_EQ(2u, +of("soft").numToHigher);
   EXPECT_EQ(7u, +of("soft").numToLower);
   EXPECT_EQ(6u, +of("hard").numToHigher);
}

TEST(LinuxHostMemory, NoVmsWithoutAnyProcess)
{
   RecordedTree tree;
   LiveSource source(tree.Root());
   EXPECT_EQ(0u, +source.Read<NumVMsRecord>(NodeId::sched_globalStats_numVMs).numVMs);
}

} // namespace
