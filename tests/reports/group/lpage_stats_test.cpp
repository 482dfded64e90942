// lpage-stats.
#include <gtest/gtest.h>

#include "tests/reports/group/query_faults.h"
#include "tests/reports/group/vm_scenario.h"

using namespace scripted;

namespace {

// Figures that all differ, in column order: base + 1, base + 2 and so on.
VmLPageRecord LPageFrom(uint32_t base)
{
   VmLPageRecord lpage = {};
   lpage.nrBackings2M = base + 1;
   lpage.nrAllocSuccess = base + 2;
   lpage.nrLockSuccessFirst = base;
   lpage.nrLockSuccessSecond = 3;
   lpage.nrBroken = base + 4;
   lpage.maxSwapThreshold = base + 5;
   lpage.nrFailPinned = base + 6;
   lpage.nrFailSwapped = base + 7;
   lpage.nrFailPinnedLate = base + 8;
   lpage.nrFailNoMem = base + 9;
   return lpage;
}

Scenario VmsWith(const std::vector<VmLPageRecord> &records)
{
   Scenario scenario = HostWithVms(static_cast<uint32_t>(records.size()));
   for (uint32_t vm = 1; vm <= records.size(); vm++) {
      scenario.Record(NodeId::memory_lpage_vmLPage, {VmmLeaderOf(vm)}, records[vm - 1]);
   }
   return scenario;
}

Scenario TwoVms()
{
   return VmsWith({LPageFrom(100), LPageFrom(200)});
}

TEST(LPageStats, PrintsItsTable)
{
   const RunResult run = RunHostmem(TwoVms(), {"-r", "lpage-stats", "-v"});
   EXPECT_EQ(run.out, R"(
 VIRTUAL MACHINE LARGE PAGE STATS: Tue Nov 14 22:13:20 2023
 ----------------------------------------------------------
   Start Group ID   : 0
   No. of levels    : 12
   Unit             : LPage (2M)
   Selected columns : (all)

------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------
                name   schedGrp parSchedGroup   worldGrp nrBackings nrAllocSuccess nrLockSuccess   nrBroken maxSwapThreshold nrFailPinned nrFailSwapped nrFailPinnedLate nrFailNoMem
------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------
                vm.1          1             0         71        101            102           103        104              105          106           107              108         109
                vm.2          2             0         72        201            202           203        204              205          206           207              208         209
------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------
               Total                                            302            304           306        308              310          312           314              316         318
------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------
Description of report header labels:
                name: Virtual machine name
            schedGrp: Scheduler group ID
       parSchedGroup: Parent scheduler group ID
            worldGrp: World group ID
          nrBackings: Current number of lpage backings
      nrAllocSuccess: Number of lpage backing attempts succeeded
       nrLockSuccess: Number of guest lpage locking attempts
            nrBroken: Number of guest lpage backings broken
    maxSwapThreshold: Current max swap-in threshold to back with lpage
        nrFailPinned: Number of lpage backing attempts failed due to pinning
       nrFailSwapped: Number of lpage backing attempts failed to avoid excessive swapins
    nrFailPinnedLate: Number of lpage backing attempts failed due to late pinning
         nrFailNoMem: Number of lpage backing attempts failed due to lack of memory
)");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_THAT(run, RanCleanly());
}

TEST(LPageStats, ReadsItsRecordByTheVmmLeader)
{
   const RunResult run = RunHostmem(TwoVms(), {"-r", "lpage-stats", "-g", "1", "-l", "1", "-q"});
   EXPECT_EQ(
      JoinLines(run.trace),
      JoinLines(WalkOverGroup1(VmIdentityReads() + OneKeyRead("worldGroups_vmmLeaderID", LeaderOf(1), 4) +
                               OneKeyRead("memory_lpage_vmLPage", VmmLeaderOf(1), 200))));
}

TEST(LPageStats, ABackingOf1GCountsFor512)
{
   VmLPageRecord lpage = {};
   lpage.nrBackings2M = 3;
   lpage.nrBackings1G = 2;
   EXPECT_EQ(RunColumns(VmsWith({lpage}), "lpage-stats", "name:nrBackings").out,
             "name,nrBackings\nvm.1,1027\nTotal,1027\n");
}

// Kept for compatibility: backings and locks are summed in 32 bits, and the backings of all VMs too.
TEST(LPageStats, SumsOf32BitsWrap)
{
   VmLPageRecord lpage = {};
   lpage.nrBackings2M = 0xfffffffe;
   lpage.nrBackings1G = 0x800001; // 2^32 + 512 large pages
   lpage.nrLockSuccessFirst = 0xffffffff;
   lpage.nrLockSuccessSecond = 6;
   EXPECT_EQ(RunColumns(VmsWith({lpage}), "lpage-stats", "name:nrBackings:nrLockSuccess").out,
             "name,nrBackings,nrLockSuccess\nvm.1,510,5\nTotal,510,5\n");
   lpage.nrBackings2M = 0xc0000000;
   lpage.nrBackings1G = 0;
   lpage.nrLockSuccessSecond = 0;
   EXPECT_EQ(RunColumns(VmsWith({lpage, lpage}), "lpage-stats", "name:nrBackings:nrLockSuccess").out,
             "name,nrBackings,nrLockSuccess\n"
             "vm.1,3221225472,4294967295\n"
             "vm.2,3221225472,4294967295\n"
             "Total,2147483648,8589934590\n");
}

TEST(LPageStats, AllOnesIsACountLikeAnyOther)
{
   VmLPageRecord lpage = {};
   lpage.nrBroken = UINT64_MAX;
   VmLPageRecord other = {};
   other.nrBroken = 3;
   EXPECT_EQ(RunColumns(VmsWith({lpage, other}), "lpage-stats", "name:nrBroken").out,
             "name,nrBroken\nvm.1,18446744073709551615\nvm.2,3\nTotal,2\n");
}

TEST(LPageStats, ShowsTheGroupLeaderUnsigned)
{
   Scenario scenario;
   scenario.Group(1).Name("far").Flags(GROUP_VM).VmmLeader(0x80000001, 91);
   scenario.Record(NodeId::memory_lpage_vmLPage, {91}, VmLPageRecord{});
   EXPECT_EQ(RunColumns(scenario, "lpage-stats", "name:worldGrp", {"-g", "1"}).out,
             "name,worldGrp\nfar,2147483649\nTotal,\n");
}

// Kept for compatibility: a unit is checked, and then nothing comes of it.
TEST(LPageStats, TheUnitChangesNothing)
{
   const std::string inKB = RunHostmem(TwoVms(), {"-r", "lpage-stats"}).out;
   EXPECT_THAT(inKB, testing::HasSubstr("\n   Unit             : LPage (2M)\n"));
   for (const char *unit : {"gb", "mb", "kb", "pg"}) {
      EXPECT_EQ(RunHostmem(TwoVms(), {"-r", "lpage-stats", "-u", unit}).out, inKB);
   }
}

TEST(LPageStats, AVmWithoutALeaderOrARecordIsLeftOutInSilence)
{
   for (const auto &[node, key] : {std::pair(NodeId::worldGroups_vmmLeaderID, LeaderOf(1)),
                                   std::pair(NodeId::memory_lpage_vmLPage, VmmLeaderOf(1))}) {
      Scenario scenario = TwoVms();
      scenario.FailRead(node, {key}, NEVRA_NOT_FOUND);
      const RunResult run = RunColumns(scenario, "lpage-stats", "name:nrBackings");
      EXPECT_EQ(run.out, "name,nrBackings\nvm.2,201\nTotal,201\n");
      EXPECT_EQ(run.err, "");
      EXPECT_EQ(run.exitStatus, 0);
   }
}

TEST(LPageStats, EveryFaultIsReportedAndLeavesNoRow)
{
   CheckFaultsLeaveNoRow(TwoVms(), "lpage-stats", {{"memory_lpage_vmLPage", "KelmarLPageGetLPageStats"}});
}

TEST(LPageStats, EveryFaultInAWholeTreeFreesItsLists)
{
   CheckEveryFault(TwoVms(), {"-r", "lpage-stats", "-q"});
}

} // namespace
