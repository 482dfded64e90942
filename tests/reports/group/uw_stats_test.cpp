// uw-stats.
#include <gtest/gtest.h>

#include "tests/reports/group/query_faults.h"
#include "tests/reports/group/vm_scenario.h"

using namespace scripted;

namespace {

// Figures that all differ, in column order: base + 1, base + 2 and so on; consumed is base + 21.
UwStatsRecord UwFrom(uint32_t base)
{
   UwStatsRecord uw = {};
   uw.min = base + 1;
   uw.max = base + 2;
   uw.minLimit = base + 3;
   uw.shares = static_cast<int32_t>(base + 4);
   uw.totalResv = base + 5;
   uw.pinnedResv = base + 6;
   uw.memSizeLimit = static_cast<int32_t>(base + 7);
   uw.memSize = base + 8;
   uw.memBStore = base + 9;
   uw.swapBStore = base + 10;
   uw.mapped = base + 11;
   uw.touched = base + 12;
   uw.swappable = base + 13;
   uw.cow = base + 14;
   uw.pageable = base + 15;
   uw.pageableUnacct = base + 16;
   uw.pinned = base + 17;
   uw.prealloced = base + 18;
   uw.shm = base + 19;
   uw.allocTgt = base + 20;
   uw.vpmemUC = 30;
   uw.vpmemRW = 5;
   uw.sharedSaved = 15;
   uw.swapTgt = base + 22;
   uw.swapped = base + 23;
   uw.useReliableMem = 1;
   uw.swapScope = base + 24;
   return uw;
}

void AddUserWorld(Scenario *scenario, uint32_t group, const char *name, uint32_t flags,
                  const UwStatsRecord &uw)
{
   scenario->Group(group).Name(name).Parent(0).Flags(flags).Leader(LeaderOf(group));
   scenario->Record(NodeId::sched_memClients_kelmar_uw, {LeaderOf(group)}, uw);
}

// A stand-alone user world, one that belongs to a VM, and a VM.
Scenario Host()
{
   Scenario scenario;
   scenario.Group(0).Name("host").Flags(GROUP_PREDEFINED).Children({1, 2, 3});
   AddUserWorld(&scenario, 1, "app", GROUP_USER_WORLD | GROUP_LEAF, UwFrom(100));
   UwStatsRecord vmx = UwFrom(200);
   vmx.useReliableMem = 0;
   AddUserWorld(&scenario, 2, "vmx", GROUP_USER_WORLD | GROUP_VM, vmx);
   scenario.Group(3).Name("vm").Parent(0).Flags(GROUP_VM).Leader(LeaderOf(3));
   return scenario;
}

Scenario OneUserWorld(const UwStatsRecord &uw)
{
   Scenario scenario;
   AddUserWorld(&scenario, 1, "app", GROUP_USER_WORLD, uw);
   return scenario;
}

RunResult RunOne(const UwStatsRecord &uw, const std::string &selection, const char *unit = "kb")
{
   return RunColumns(OneUserWorld(uw), "uw-stats", selection, {"-g", "1", "-u", unit});
}

TEST(UwStats, PrintsItsTable)
{
   const RunResult run = RunHostmem(Host(), {"-r", "uw-stats", "-v"});
   EXPECT_EQ(run.out, R"(
 USER-WORLD STATS: Tue Nov 14 22:13:20 2023
 ------------------------------------------
   Start Group ID   : 0
   No. of levels    : 12
   Unit             : KB
   Inclusion filter : (all)
   Exclusion filter : (none)
   Selected columns : (all)

-------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------
                type                 name   schedGrp parSchedGroup   worldGrp        min        max   minLimit     shares  totalResv pinnedResv memSizeLimit    memSize  memBStore swapBStore     mapped    touched  swappable        cow   pageable pageableUnacct     pinned prealloced        shm   allocTgt   consumed    swapTgt    swapped useReliableMem swapScope
-------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------
                  uw                  app          1             0         71        101        102        103        104        105        106          107        108        109        110        111        112        113        114        115            116        117        118        119        120        121        122        123              y       124
               (all)                  vmx          2             0         72        201        202        203        204        205        206          207        208        209        210        211        212        213        214        215            216        217        218        219        220        221        222        223              n       224
-------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------
                                                                                     302                                         310        312                     316        318        320        322        324        326        328        330            332        334        336        338        340        342        344        346                         
-------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------
Description of report header labels:
                type: Type of user-world (uw: stand-alone, vm: VM-based)
                name: User world name
            schedGrp: Scheduler group ID
       parSchedGroup: Parent scheduler group ID
            worldGrp: World group ID
                 min: Configured memory reservation
                 max: Configured memory limit
            minLimit: Configured memory reservation limit
              shares: Configured memory shares
           totalResv: Total memory reservation
          pinnedResv: Memory reserved for pinning purposes
        memSizeLimit: Limit on virtual address-space size
             memSize: Current virtual address-space size
           memBStore: Memory backing store consumed
          swapBStore: Swap backing store consumed
              mapped: Virtual address-space size backed by physical memory (private + shared + pinned)
             touched: Virtual memory touched used by VM
           swappable: Non-shared mapped memory that can be reclaimed
                 cow: COW memory
            pageable: Accounted pageable memory
      pageableUnacct: Unaccounted pageable memory
              pinned: Non-swappable mapped memory
          prealloced: Preallocated memory
                 shm: SHM memory
            allocTgt: Physical memory allocation target
            consumed: Physical memory consumed
             swapTgt: Swap target
             swapped: Memory swapped to secondary storage
      useReliableMem: Uses Reliable memory
           swapScope: Swap scope
)");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_THAT(run, RanCleanly());
}

TEST(UwStats, ReadsItsRecordByTheGroupLeader)
{
   const RunResult run = RunHostmem(Host(), {"-r", "uw-stats", "-g", "1", "-l", "1", "-q"});
   EXPECT_EQ(JoinLines(run.trace),
             JoinLines(WalkOverGroup1(VmIdentityReads() +
                                      OneKeyRead("sched_memClients_kelmar_uw", LeaderOf(1), 360))));
}

TEST(UwStats, FiltersByType)
{
   const std::pair<std::vector<std::string>, const char *> kFilters[] = {
      {{}, "app\nvmx\n\n"},
      {{"-i", "vm"}, "vmx\n\n"},
      {{"-i", "uw"}, "app\nvmx\n\n"},
      {{"-e", "vm"}, "app\n\n"},
      {{"-e", "uw"}, "\n"},
      {{"-i", "VM:uw", "-e", "vm"}, "app\n\n"},
      {{"--iFilter", "vm", "--eFilter", "vm"}, "\n"},
      {{"-i", ":"}, "\n"},
   };
   for (const auto &[filter, names] : kFilters) {
      EXPECT_EQ(RunColumns(Host(), "uw-stats", "name", filter).out, std::string("name\n") + names);
   }
}

TEST(UwStats, AFilteredGroupIsWalkedBelow)
{
   Scenario scenario = Host();
   scenario.Group(1).Children({4});
   AddUserWorld(&scenario, 4, "below", GROUP_USER_WORLD | GROUP_VM, UwFrom(0));
   EXPECT_EQ(RunColumns(scenario, "uw-stats", "name", {"-i", "vm"}).out, "name\nbelow\nvmx\n\n");
}

TEST(UwStats, ShowsTheFiltersInItsBanner)
{
   const std::vector<std::string> lines =
      RunHostmem(Host(), {"-r", "uw-stats", "-i", "vm", "-e", "uw:vm"}).OutLines();
   EXPECT_EQ(lines[6], "   Inclusion filter : vm");
   EXPECT_EQ(lines[7], "   Exclusion filter : (all)");
}

TEST(UwStats, KnowsNoOtherFlags)
{
   for (const char *option : {"-i", "-e"}) {
      const RunResult run = RunHostmem(Host(), {"-r", "uw-stats", option, "uw:pre"});
      EXPECT_EQ(run.out, "");
      EXPECT_EQ(run.err, "Invalid flag (pre) in filter\n");
      EXPECT_EQ(run.exitStatus, 1);
      EXPECT_EQ(run.Calls(), std::vector<std::string>{});
   }
}

TEST(UwStats, LooksAtTheUnitThenTheSelectionThenTheFilters)
{
   const std::string tooLong(600, 'x');
   const std::string unit = "Invalid unit specified. Choose from {mb, kb, pg}\n";
   const std::string selection = "Selected columns is too long, selection might be ignored.\n";
   EXPECT_EQ(RunHostmem(Host(), {"-r", "uw-stats", "-u", "xx", "-s", tooLong, "-i", "foo"}).err, unit);
   EXPECT_EQ(RunHostmem(Host(), {"-r", "uw-stats", "-s", tooLong, "-e", "bar", "-i", "foo"}).err,
             selection + "Invalid flag (foo) in filter\n");
   EXPECT_EQ(RunHostmem(Host(), {"-r", "uw-stats", "-s", tooLong, "-e", "bar"}).err,
             selection + "Invalid flag (bar) in filter\n");
}

// Kept for compatibility: a VM-based user world has the bits of both types.
TEST(UwStats, TheTypeOfAVmBasedUserWorldIsAll)
{
   EXPECT_EQ(RunColumns(Host(), "uw-stats", "type:name").out, "type,name\nuw,app\n(all),vmx\n,\n");
}

TEST(UwStats, ConsumedLeavesOutWhatIsCachedAndShared)
{
   UwStatsRecord uw = {};
   uw.mapped = 1000;
   uw.vpmemUC = 200;
   uw.vpmemRW = 30;
   uw.sharedSaved = 4;
   EXPECT_EQ(RunOne(uw, "name:consumed").out, "name,consumed\napp,1166\n,1166\n");
   uw.sharedSaved = 1171;
   EXPECT_EQ(RunOne(uw, "name:consumed").out,
             "name,consumed\napp,18446744073709551615\n,18446744073709551615\n");
}

// Kept for compatibility: from 0xFFFFFFFFF0 itself on; the other reports take that for a number.
TEST(UwStats, ALimitOfTheThresholdIsNotAvailable)
{
   UwStatsRecord uw = {};
   uw.max = 0xFFFFFFFFF0;
   uw.minLimit = 0xFFFFFFFFEF;
   uw.min = 0xFFFFFFFFF1;
   EXPECT_EQ(RunOne(uw, "name:min:max:minLimit").out,
             "name,min,max,minLimit\napp,1099511627761,-1,1099511627759\n,1099511627761,,\n");
   uw.max = 0xFFFFFFFFEF;
   uw.minLimit = 0xFFFFFFFFF0;
   EXPECT_EQ(RunOne(uw, "name:max:minLimit", "mb").out, "name,max,minLimit\napp,1073741824,-1\n,,\n");
   uw.max = -5;
   EXPECT_EQ(RunOne(uw, "name:max").out, "name,max\napp,-1\n,\n");
}

TEST(UwStats, SharesAndTheSizeLimitAreSigned)
{
   UwStatsRecord uw = {};
   uw.shares = -3;
   uw.memSizeLimit = -1;
   EXPECT_EQ(RunOne(uw, "name:shares:memSizeLimit").out, "name,shares,memSizeLimit\napp,-3,-1\n,,\n");
   uw.memSizeLimit = -5;
   EXPECT_EQ(RunOne(uw, "name:shares:memSizeLimit").out, "name,shares,memSizeLimit\napp,-3,-5\n,,\n");
}

TEST(UwStats, ConvertsAllMemoryButNotShares)
{
   const RunResult run =
      RunHostmem(OneUserWorld(UwFrom(1024)), {"-r", "uw-stats", "-g", "1", "-q", "-u", "mb"});
   EXPECT_EQ(run.OutLines()[1], "uw,app,1,0,71,2,2,2,1028,2,2,2,2,2,2,2,2,2,2,2,2,2,2,2,2,2,2,2,y,1048");
   EXPECT_EQ(run.OutLines()[2], ",,,,,2,,,,2,2,,2,2,2,2,2,2,2,2,2,2,2,2,2,2,2,2,,");
}

TEST(UwStats, AUserWorldThatCannotBeReadIsLeftOutWithItsChildren)
{
   Scenario scenario = Host();
   scenario.Group(1).Children({4});
   AddUserWorld(&scenario, 4, "below", GROUP_USER_WORLD, UwFrom(0));
   scenario.FailRead(NodeId::sched_memClients_kelmar_uw, {LeaderOf(1)}, NEVRA_NOT_FOUND);
   RunResult run = RunColumns(scenario, "uw-stats", "name:swapped");
   EXPECT_EQ(run.out, "name,swapped\nvmx,223\n,223\n");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   scenario.FailRead(NodeId::sched_memClients_kelmar_uw, {LeaderOf(1)}, NEVRA_BAD_PARAMETER);
   run = RunColumns(scenario, "uw-stats", "name:swapped");
   EXPECT_EQ(run.out, "name,swapped\nvmx,223\n,223\n");
   EXPECT_EQ(run.err, "KelmarUWGetUWStats() failure, error code: 195887111\n");
   EXPECT_EQ(run.exitStatus, 0);
}

TEST(UwStats, EveryFaultIsReportedAndLeavesNoRow)
{
   CheckFaultsLeaveNoRow(Host(), "uw-stats", {{"sched_memClients_kelmar_uw", "KelmarUWGetUWStats"}});
}

TEST(UwStats, EveryFaultInAWholeTreeFreesItsLists)
{
   CheckEveryFault(Host(), {"-r", "uw-stats", "-q"});
}

} // namespace
