// Host-wide memory accounting and memory states over recorded trees.
#include <string>

#include <gtest/gtest.h>

#include "nevra/linux/host_memory.h"
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
   EXPECT_EQ(+stats.total, ram);
   EXPECT_EQ(+stats.managedByMemMap, 8000000u);
   EXPECT_EQ(+stats.free, 2000000u);
   EXPECT_EQ(+stats.kernelCode, 16384u);
   const uint64_t heap = 400000 + 20000 + 30000 + 1000 + 5000;
   EXPECT_EQ(+stats.dataAndHeap, 8192u + 4096 + 2048 + heap);
   EXPECT_EQ(+stats.buddyOvhd, 9000 * pageKB);
   EXPECT_EQ(+stats.rsvdLow, 158 * pageKB);
   EXPECT_EQ(+stats.reliableMem, 0u);
   EXPECT_EQ(+stats.otherConsumed, 1000000u + 100000 + 40960);
   EXPECT_EQ(+stats.orskaClientConsumed, 6000000u - heap - 1000 * pageKB - 1140960);
   EXPECT_EQ(+stats.total, stats.discarded + stats.kernelCode + stats.dataAndHeap + stats.buddyOvhd +
                              stats.rsvdLow + stats.orskaClientConsumed + stats.otherConsumed + stats.free);
}

using nevra::KernelFigures;

TEST(LinuxKernelDetail, IsEveryAmountInTheOrderOfTheFile)
{
   EXPECT_EQ(nevra::ParseKernelDetail("MemTotal:        8000000 kB\n"
                                      "Active(anon):          0 kB\n"
                                      "Committed_AS:          7 kB\n"
                                      "HugePages_Total:       5\n"
                                      "DirectMap1G:     1048576 kB"),
             (KernelFigures{
                {"MemTotal", 8000000}, {"Active(anon)", 0}, {"Committed_AS", 7}, {"DirectMap1G", 1048576}}));
   EXPECT_EQ(nevra::ParseKernelDetail(""), KernelFigures{});
}

TEST(LinuxKernelDetail, LinesThatCannotBeKeptAreLeftOut)
{
   const std::string longest(nevra::kMaxKernelFigureName, 'n');
   const std::string lines[] = {"Mem\x1bTotal: 1 kB\n",
                                "M\xc3\xa4m: 1 kB\n",
                                ": 1 kB\n",
                                "Slab 5 kB\n",
                                "Slab: 5 MB\n",
                                " Slab: 5 kB\n",
                                "Slab: -5 kB\n",
                                "Slab: kB\n",
                                "Slab: 5 kBytes\n",
                                "Slab:\n",
                                "\n",
                                "Two Words: 5 kB\n",
                                longest + "n: 1 kB\n",
                                "Large: 9007199254740993 kB\n",
                                "Huge: 99999999999999999999 kB\n"};
   for (const std::string &line : lines) {
      EXPECT_EQ(nevra::ParseKernelDetail(line + "Shmem: 1 kB\n" + line), (KernelFigures{{"Shmem", 1}}))
         << line;
   }
   EXPECT_EQ(nevra::ParseKernelDetail("Slab: 1 kB\nSlab: 2 kB\n"), (KernelFigures{{"Slab", 1}}));
   EXPECT_EQ(nevra::ParseKernelDetail(longest + ": 9007199254740992 kB\n"),
             (KernelFigures{{longest, 9007199254740992}}));
}

TEST(LinuxKernelDetail, HasALargestNumberOfLines)
{
   std::string text;
   for (size_t i = 0; i < 2 * nevra::kMaxKernelFigures; i++) {
      text += "Line" + std::to_string(i) + ": 1 kB\n";
   }
   const KernelFigures figures = nevra::ParseKernelDetail(text);
   ASSERT_EQ(figures.size(), nevra::kMaxKernelFigures);
   EXPECT_EQ(figures.back().name, "Line255");
}

TEST(LinuxKernelDetail, OfASourceIsWhatItsRecordsWereReadFrom)
{
   RecordedTree tree;
   tree.HostMemory();
   const KernelFigures before = nevra::ReadKernelDetail(tree.Root());
   ASSERT_EQ(before.size(), 14u);
   EXPECT_EQ(before[0], (nevra::KernelFigure{"MemTotal", 8000000}));
   EXPECT_EQ(before[13], (nevra::KernelFigure{"Hugetlb", 40960}));
   LiveSource source(tree.Root());
   EXPECT_EQ(source.Read<CompMemMapStats>(NodeId::memory_comprehensive).managedByMemMap, 8000000u);
   tree.File("proc/meminfo", "MemTotal: 9000000 kB\n");
   EXPECT_EQ((*source).KernelDetail(), before);
   EXPECT_EQ(nevra::ReadKernelDetail(tree.Root()), (KernelFigures{{"MemTotal", 9000000}}));
}

TEST(LinuxHostMemory, TotalIsWhatIsManagedWhereAddressesAreHidden)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.File("proc/iomem", "00000000-00000000 : Reserved\n00000000-00000000 : System RAM\n"
                           "  00000000-00000000 : Kernel code\n");
   const CompMemMapStats stats = Comprehensive(tree);
   EXPECT_EQ(+stats.total, 8000000u);
   EXPECT_EQ(+stats.kernelCode, 0u);
   EXPECT_EQ(+stats.discarded, 0u);
   tree.Remove("proc/iomem");
   EXPECT_EQ(+Comprehensive(tree).total, 8000000u);
}

TEST(LinuxHostMemory, RangesThatAreNoneAreNotMemory)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.File("proc/iomem", "System RAM\n1000-\n-1fff : System RAM\nx-y : System RAM\n2000-1000 : System RAM\n"
                           "5000-5000 : System RAM\n100000-1fffff : System RAM (kexec)\n200000-2fffff\n"
                           "  100000-1003ff : Kernel code\n");
   const CompMemMapStats stats = Comprehensive(tree);
   EXPECT_EQ(+stats.kernelCode, 1u);
   EXPECT_EQ(+stats.total, 8000000u) << "less than the kernel manages cannot be all";
}

TEST(LinuxHostMemory, AKernelWithFewerLinesGivesZeros)
{
   RecordedTree tree;
   tree.File("proc/meminfo", "MemTotal: 1000 kB\nMemFree: 400 kB\n");
   const CompMemMapStats stats = Comprehensive(tree);
   EXPECT_EQ(+stats.total, 1000u);
   EXPECT_EQ(+stats.free, 400u);
   EXPECT_EQ(+stats.dataAndHeap, 0u);
   EXPECT_EQ(+stats.buddyOvhd, 0u);
   EXPECT_EQ(+stats.rsvdLow, 0u);
   EXPECT_EQ(+stats.orskaClientConsumed, 600u);
   LiveSource source(tree.Root());
   const auto global = source.Read<GlobalMemSchedInfo>(NodeId::sched_globalStats_memory_kelmar);
   EXPECT_EQ(+global.managedByMemSched, 1000u);
   EXPECT_EQ(+global.minFree, 0u);
   EXPECT_EQ(+global.memState, 5u) << "unknown";
}

TEST(LinuxHostMemory, WithoutMeminfoNothingIsFound)
{
   RecordedTree tree;
   LiveSource source(tree.Root());
   EXPECT_EQ(source.StatusOf<CompMemMapStats>(NodeId::memory_comprehensive), NEVRA_NOT_FOUND);
   EXPECT_EQ(source.StatusOf<GlobalMemSchedInfo>(NodeId::sched_globalStats_memory_kelmar), NEVRA_NOT_FOUND);
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
      EXPECT_EQ(+global.minFree, 67584u);
      EXPECT_EQ(+global.managedByMemSched, 8000000u);
      return global.memState;
   };
   EXPECT_EQ(stateWith(601), 0u);
   EXPECT_EQ(stateWith(600), 1u);
   EXPECT_EQ(stateWith(301), 1u);
   EXPECT_EQ(stateWith(300), 2u);
   EXPECT_EQ(stateWith(201), 2u);
   EXPECT_EQ(stateWith(200), 3u);
   EXPECT_EQ(stateWith(101), 3u);
   EXPECT_EQ(stateWith(100), 4u);
   EXPECT_EQ(stateWith(0), 4u);
}

TEST(LinuxHostMemory, TransitionsAreReclaimRunsAndTheirWayBack)
{
   RecordedTree tree;
   tree.HostMemory();
   LiveSource source(tree.Root());
   const auto of = [&source](const char *state) {
      return source.Read<MemStateTransitions>(NodeId::sched_globalStats_memory_stateTransitions, {state});
   };
   EXPECT_EQ(+of("high").numToLower, 0u);
   EXPECT_EQ(+of("clear").numToHigher, 0u);
   EXPECT_EQ(+of("clear").numToLower, 12u);
   EXPECT_EQ(+of("soft").numToHigher, 12u);
   EXPECT_EQ(+of("soft").numToLower, 5u);
   EXPECT_EQ(+of("hard").numToHigher, 5u);
   EXPECT_EQ(+of("hard").numToLower, 0u);
   EXPECT_EQ(+of("low").numToHigher, 0u);
   EXPECT_EQ(
      source.StatusOf<MemStateTransitions>(NodeId::sched_globalStats_memory_stateTransitions, {"unknown"}),
      NEVRA_NOT_FOUND);
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
   EXPECT_EQ(+of("clear").numToLower, 3u);
   EXPECT_EQ(+of("soft").numToHigher, 2u);
   EXPECT_EQ(+of("soft").numToLower, 7u);
   EXPECT_EQ(+of("hard").numToHigher, 6u);
}

// kswapd starts below low and keeps up: nobody had to wait for it.
TEST(LinuxHostMemory, AHostBelowLowIsHardWithoutAStall)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.File("proc/zoneinfo", "Node 0, zone   Normal\n  pages free     150\n        min      100\n"
                              "        low      200\n        high     300\n        managed  5000\n");
   tree.File("proc/vmstat", "allocstall_normal 0\npageoutrun 1\n");
   LiveSource source(tree.Root());
   constexpr uint32_t kHard = 3;
   EXPECT_EQ(+source.Read<GlobalMemSchedInfo>(NodeId::sched_globalStats_memory_kelmar).memState, kHard);
   const auto of = [&source](const char *state) {
      return source.Read<MemStateTransitions>(NodeId::sched_globalStats_memory_stateTransitions, {state});
   };
   EXPECT_EQ(+of("clear").numToLower, 1u);
   EXPECT_EQ(+of("soft").numToLower, 0u);
}

TEST(LinuxHostMemory, NoVmsWithoutAnyProcess)
{
   RecordedTree tree;
   LiveSource source(tree.Root());
   EXPECT_EQ(+source.Read<NumVMsRecord>(NodeId::sched_globalStats_numVMs).numVMs, 0u);
}

} // namespace
