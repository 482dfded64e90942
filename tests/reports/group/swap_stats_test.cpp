// swap-stats.
#include <gtest/gtest.h>

#include "tests/reports/group/query_faults.h"
#include "tests/reports/group/vm_scenario.h"

using namespace scripted;

namespace {

constexpr uint64_t kAllOnes = UINT64_MAX;

// Figures that all differ, in column order: base + 1, base + 2 and so on.
SwapInfoRecord SwapFrom(uint32_t base)
{
   SwapInfoRecord swap = {};
   swap.isSwapping = 1;
   swap.curSwapper = 1;
   swap.cacheUsage = base + 1;
   swap.swapoutReady = base + 2;
   swap.swapTgt = base + 3;
   swap.swapped = base + 4;
   swap.swapRead = base + 5;
   swap.swapIn = base + 6;
   swap.swapOut = base + 7;
   swap.discarded = base + 8;
   swap.COWSwapper = base + 9;
   swap.vmmSwapOn = base + 10;
   swap.orskaSwapOn = base + 11;
   swap.totalReg = base + 14;
   swap.freeReg = base + 15;
   swap.cptTgt = base + 16;
   swap.cptRead = base + 17;
   swap.cptWritten = base + 18;
   swap.totalMig = base + 19;
   swap.freeMig = base + 20;
   swap.gblSwapRead = base + 21;
   swap.gblSwapIn = base + 22;
   swap.gblSwapOut = base + 23;
   return swap;
}

VmmStatsRecord VmmFrom(uint32_t base)
{
   VmmStatsRecord vmm = {};
   vmm.llswapped = base + 12;
   vmm.llswapUsed = base + 13;
   return vmm;
}

void SetSwap(Scenario *scenario, uint32_t vm, const SwapInfoRecord &swap, const VmmStatsRecord &vmm)
{
   scenario->Record(NodeId::sched_memClients_swapInfo, {VmmLeaderOf(vm)}, swap);
   scenario->Record(NodeId::sched_memClients_kelmar_vmm, {LeaderOf(vm)}, vmm);
}

Scenario TwoVms()
{
   Scenario scenario = HostWithVms(2);
   SetSwap(&scenario, 1, SwapFrom(100), VmmFrom(100));
   SwapInfoRecord second = SwapFrom(200);
   second.isSwapping = 0;
   second.curSwapper = 0;
   SetSwap(&scenario, 2, second, VmmFrom(200));
   return scenario;
}

Scenario OneVm(const SwapInfoRecord &swap)
{
   Scenario scenario = HostWithVms(1);
   SetSwap(&scenario, 1, swap, {});
   return scenario;
}

TEST(SwapStats, PrintsItsTable)
{
   const RunResult run = RunHostmem(TwoVms(), {"-r", "swap-stats", "-v"});
   EXPECT_EQ(run.out, R"(
 VIRTUAL MACHINE SWAP STATS: Tue Nov 14 22:13:20 2023
 ----------------------------------------------------
   Start Group ID   : 0
   No. of levels    : 12
   Unit             : KB
   Selected columns : (all)

-----------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------
                name   schedGrp parSchedGroup   worldGrp isSwapping CurSwapper cacheUsage swapoutReady    swapTgt    swapped   swapRead     swapIn    swapOut  discarded COWSwapper  vmmSwapOn orskaSwapOn  llswapped llswapUsed   totalReg    freeReg     cptTgt    cptRead cptWritten   totalMig    freeMig gblSwapRead  gblSwapIn gblSwapOut
-----------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------
                vm.1          1             0         71          y      orska        101          102        103        104        105        106        107        108        109        110         111        112        113        114        115        116        117        118        119        120         121        122        123
                vm.2          2             0         72          n        vmm        201          202        203        204        205        206        207        208        209        210         211        212        213        214        215        216        217        218        219        220         221        222        223
-----------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------
               Total                                                                                          306        308        310        312        314        316        318        320         322        324        326        328        330        332        334        336        338        340         342        344        346
-----------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------
Description of report header labels:
                name: Virtual machine name
            schedGrp: Scheduler group ID
       parSchedGroup: Parent scheduler group ID
            worldGrp: World group ID
          isSwapping: is the VM currently swapping out
          CurSwapper: orska or vmm swapper currently active
          cacheUsage: Swap slot cache usage
        swapoutReady: Ready-time spent by swap-out client
             swapTgt: Host swap target
             swapped: Amount swapped by host
            swapRead: Total guest phsyical memory read, and not released, from swap space
              swapIn: Total guest phsyical memory swapped in, and released, from swap space
             swapOut: Total guest physical memory swapped out to swap space
           discarded: Total swapped memory discarded from swap space
          COWSwapper: Total guest physical memory swapped out which was marked as COW by Tarvos
           vmmSwapOn: Number of times vmm swapper was turned on
         orskaSwapOn: Number of times orska swapper was turned on
           llswapped: Memory swapped to llswap
          llswapUsed: Total space used in llswap including internal fragmentation
            totalReg: Total space in the regular swap file
             freeReg: Free space in the regular swap file
              cptTgt: Total checkpoint memory to read
             cptRead: Checkpoint memory read from checkpoint file
          cptWritten: Checkpoint memory written to checkpoint file
            totalMig: Total space in the migration swap file
             freeMig: Free space in the migration swap file
         gblSwapRead: Guest physical memory read from global swap file
           gblSwapIn: Guest physical memory swapped in from global swap file
          gblSwapOut: Guest physical memory swapped out to global swap file
)");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_THAT(run, RanCleanly());
}

TEST(SwapStats, ReadsTheSwapRecordByTheVmmLeaderAndTheVmmRecordByTheGroupLeader)
{
   const RunResult run = RunHostmem(TwoVms(), {"-r", "swap-stats", "-g", "1", "-l", "1", "-q"});
   EXPECT_EQ(
      JoinLines(run.trace),
      JoinLines(WalkOverGroup1(VmIdentityReads() + OneKeyRead("worldGroups_vmmLeaderID", LeaderOf(1), 4) +
                               OneKeyRead("sched_memClients_swapInfo", VmmLeaderOf(1), 220) +
                               OneKeyRead("sched_memClients_kelmar_vmm", LeaderOf(1), 336))));
}

TEST(SwapStats, AddressesLeadersOf2To31AndMoreWithoutASign)
{
   Scenario scenario;
   scenario.Group(1).Name("far").Flags(GROUP_VM).VmmLeader(0x80000001, 0xfffffffe);
   scenario.Record(NodeId::sched_memClients_swapInfo, {4294967294}, SwapInfoRecord{});
   scenario.Record(NodeId::sched_memClients_kelmar_vmm, {2147483649}, VmmStatsRecord{});
   EXPECT_EQ(RunColumns(scenario, "swap-stats", "name:worldGrp", {"-g", "1"}).out,
             "name,worldGrp\nfar,-2147483647\nTotal,\n");
}

TEST(SwapStats, AVmAsStartGroupGivesOneRow)
{
   EXPECT_EQ(RunColumns(TwoVms(), "swap-stats", "name:swapped", {"-g", "2", "-l", "1"}).out,
             "name,swapped\nvm.2,204\nTotal,204\n");
}

TEST(SwapStats, ShowsWhoSwaps)
{
   SwapInfoRecord swap = {};
   swap.isSwapping = 2;
   swap.curSwapper = 0x100;
   EXPECT_EQ(RunColumns(OneVm(swap), "swap-stats", "isSwapping:CurSwapper").out,
             "isSwapping,CurSwapper\ny,orska\n,\n");
   EXPECT_EQ(RunColumns(OneVm({}), "swap-stats", "isSwapping:CurSwapper").out,
             "isSwapping,CurSwapper\nn,vmm\n,\n");
}

TEST(SwapStats, ConvertsMemoryButNeitherCountsNorTheReadyTime)
{
   const std::vector<std::string> expected = {
      "vm.1,1,0,71,y,orska,1,102,1,1,1,1,1,1,1,110,111,1,1,1,1,1,1,1,1,1,1,1,1",
      "vm.2,2,0,72,n,vmm,1,202,1,1,1,1,1,1,1,210,211,1,1,1,1,1,1,1,1,1,1,1,1",
      "Total,,,,,,,,1,1,1,1,1,1,1,320,322,1,1,1,1,1,1,1,1,1,1,1,1"};
   const RunResult run = RunHostmem(TwoVms(), {"-r", "swap-stats", "-q", "-u", "mb"});
   const std::vector<std::string> lines = run.OutLines();
   EXPECT_EQ(JoinLines({lines.begin() + 1, lines.end()}), JoinLines(expected));
}

TEST(SwapStats, RoundsUpInEveryUnit)
{
   SwapInfoRecord swap = {};
   swap.swapTgt = 1;
   swap.swapped = 5;
   swap.swapRead = 1025;
   swap.swapIn = 0x100001;
   const Scenario scenario = OneVm(swap);
   const std::pair<const char *, const char *> kUnits[] = {
      {"kb", "1,5,1025,1048577"}, {"pg", "1,2,257,262145"}, {"mb", "1,1,2,1025"}, {"gb", "1,1,1,2"}};
   for (const auto &[unit, figures] : kUnits) {
      EXPECT_EQ(RunColumns(scenario, "swap-stats", "name:swapTgt:swapped:swapRead:swapIn", {"-u", unit}).out,
                std::string("name,swapTgt,swapped,swapRead,swapIn\nvm.1,") + figures + "\nTotal," + figures +
                   "\n");
   }
}

TEST(SwapStats, SumsBeforeItConverts)
{
   Scenario scenario = HostWithVms(2);
   SwapInfoRecord swap = {};
   swap.swapped = 100;
   SetSwap(&scenario, 1, swap, {});
   SetSwap(&scenario, 2, swap, {});
   EXPECT_EQ(RunColumns(scenario, "swap-stats", "name:swapped", {"-u", "mb"}).out,
             "name,swapped\nvm.1,1\nvm.2,1\nTotal,1\n");
}

// Kept for compatibility: no value is too large to be summed.
TEST(SwapStats, AllOnesIsShownAsItIsAndWrapsTheSum)
{
   Scenario scenario = HostWithVms(2);
   SwapInfoRecord swap = {};
   swap.swapped = kAllOnes;
   swap.vmmSwapOn = UINT32_MAX;
   SetSwap(&scenario, 1, swap, {});
   swap.swapped = 2048;
   SetSwap(&scenario, 2, swap, {});
   EXPECT_EQ(RunColumns(scenario, "swap-stats", "name:swapped:vmmSwapOn", {"-u", "mb"}).out,
             "name,swapped,vmmSwapOn\n"
             "vm.1,18446744073709551615,4294967295\n"
             "vm.2,2,4294967295\n"
             "Total,2,8589934590\n"); // 2047 KB, and counts of 64 bits
}

TEST(SwapStats, AVmWithoutASwapRecordIsLeftOutInSilence)
{
   Scenario scenario = TwoVms();
   scenario.FailRead(NodeId::sched_memClients_swapInfo, {VmmLeaderOf(1)}, NEVRA_NOT_FOUND);
   const RunResult run = RunColumns(scenario, "swap-stats", "name:swapped");
   EXPECT_EQ(run.out, "name,swapped\nvm.2,204\nTotal,204\n");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
}

// The walk goes on beside the VM, but not below it, and a failure below the start group is none of the run's.
TEST(SwapStats, AVmThatCannotBeReadIsLeftOutWithItsChildren)
{
   Scenario scenario = TwoVms();
   scenario.Group(1).Children({3});
   scenario.Group(3).Name("below").Flags(GROUP_VM).VmmLeader(LeaderOf(3), VmmLeaderOf(3));
   SetSwap(&scenario, 3, SwapFrom(300), VmmFrom(300));
   EXPECT_EQ(RunColumns(scenario, "swap-stats", "name:swapped").out,
             "name,swapped\nvm.1,104\nbelow,304\nvm.2,204\nTotal,612\n");
   scenario.FailRead(NodeId::sched_memClients_kelmar_vmm, {LeaderOf(1)}, NEVRA_BAD_PARAMETER);
   const RunResult run = RunColumns(scenario, "swap-stats", "name:swapped");
   EXPECT_EQ(run.out, "name,swapped\nvm.2,204\nTotal,204\n");
   EXPECT_EQ(run.err, "KelmarVMGetVMMStats() failure, error code: 195887111\n");
   EXPECT_EQ(run.exitStatus, 0);
}

TEST(SwapStats, EveryFaultIsReportedAndLeavesNoRow)
{
   CheckFaultsLeaveNoRow(TwoVms(), "swap-stats",
                         {{"sched_memClients_swapInfo", "KelmarSwapGetSwapStats"},
                          {"sched_memClients_kelmar_vmm", "KelmarVMGetVMMStats"}});
}

TEST(SwapStats, EveryFaultInAWholeTreeFreesItsLists)
{
   CheckEveryFault(TwoVms(), {"-r", "swap-stats", "-q"});
}

} // namespace
