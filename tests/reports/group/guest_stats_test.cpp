// guest-stats.
#include <gtest/gtest.h>

#include "tests/reports/group/query_faults.h"
#include "tests/reports/group/vm_scenario.h"

using namespace scripted;

namespace {

// Figures that all differ, in column order: base + 1, base + 2 and so on.
GuestStatsRecord GuestFrom(uint32_t base)
{
   return {.memTotal = base + 1,
           .lpageTotal = base + 2,
           .memNeeded = base + 3,
           .memNeededResv = base + 4,
           .memFree = base + 5,
           .pageSize = base + 6,
           .pageInRate = base + 7};
}

Scenario VmsWith(const std::vector<GuestStatsRecord> &guests)
{
   Scenario scenario = HostWithVms(static_cast<uint32_t>(guests.size()));
   for (uint32_t vm = 1; vm <= guests.size(); vm++) {
      scenario.Record(NodeId::sched_memClients_kelmar_guest, {LeaderOf(vm)}, guests[vm - 1]);
   }
   return scenario;
}

Scenario TwoVms()
{
   return VmsWith({GuestFrom(100), GuestFrom(200)});
}

// The rows of a run over these guests, without the header.
std::string Rows(const std::vector<GuestStatsRecord> &guests, const char *unit)
{
   const std::vector<std::string> lines =
      RunHostmem(VmsWith(guests), {"-r", "guest-stats", "-q", "-u", unit}).OutLines();
   return JoinLines({lines.begin() + 1, lines.end()});
}

TEST(GuestStats, PrintsItsTable)
{
   const RunResult run = RunHostmem(TwoVms(), {"-r", "guest-stats", "-v"});
   EXPECT_EQ(run.out, R"(
 GUEST STATS: Tue Nov 14 22:13:20 2023
 -------------------------------------
   Start Group ID   : 0
   No. of levels    : 12
   Unit             : KB
   Selected columns : (all)

----------------------------------------------------------------------------------------------------------------------------------------
                name   schedGrp parSchedGroup   worldGrp   memTotal lpageTotal  memNeeded memNeededResv    memFree   pageSize pageInRate
----------------------------------------------------------------------------------------------------------------------------------------
                vm.1          1             0         71        101        102        103           104        105        106        107
                vm.2          2             0         72        201        202        203           204        205        206        207
----------------------------------------------------------------------------------------------------------------------------------------
               Total                                            302        304        306           308        310                   314
----------------------------------------------------------------------------------------------------------------------------------------
Description of report header labels:
                name: Virtual machine name
            schedGrp: Scheduler group ID
       parSchedGroup: Parent scheduler group ID
            worldGrp: World group ID
            memTotal: Total memory
          lpageTotal: Total large pages available for guest apps
           memNeeded: Memory required by current workload
       memNeededResv: Buffer of memory included in memNeeded
             memFree: Free memory from a guest point of view
            pageSize: Page size from a guest point of view
          pageInRate: Pages swapped in per second
)");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_THAT(run, RanCleanly());
}

TEST(GuestStats, ReadsItsRecordByTheGroupLeader)
{
   const RunResult run = RunHostmem(TwoVms(), {"-r", "guest-stats", "-g", "1", "-l", "1", "-q"});
   EXPECT_EQ(JoinLines(run.trace),
             JoinLines(WalkOverGroup1(VmIdentityReads() +
                                      OneKeyRead("sched_memClients_kelmar_guest", LeaderOf(1), 48))));
}

TEST(GuestStats, ConvertsMemoryButNotCounts)
{
   const GuestStatsRecord guest = {.memTotal = 4096,
                                   .lpageTotal = 4096,
                                   .memNeeded = 1025,
                                   .memNeededResv = 1,
                                   .memFree = 1024,
                                   .pageSize = 4,
                                   .pageInRate = 4096};
   EXPECT_EQ(Rows({guest}, "mb"),
             JoinLines({"vm.1,1,0,71,4,4096,2,1,1,1,4096", "Total,,,,4,4096,2,1,1,,4096"}));
}

// Kept for compatibility: the size of a page is converted like any amount of memory.
TEST(GuestStats, ConvertsThePageSize)
{
   const GuestStatsRecord guest = {.pageSize = 4};
   const std::pair<const char *, const char *> kUnits[] = {
      {"kb", "4"}, {"pg", "1"}, {"mb", "1"}, {"gb", "1"}};
   for (const auto &[unit, size] : kUnits) {
      EXPECT_EQ(RunColumns(VmsWith({guest}), "guest-stats", "name:pageSize", {"-u", unit}).out,
                std::string("name,pageSize\nvm.1,") + size + "\nTotal,\n");
   }
}

TEST(GuestStats, ShowsAllOnesAndLeavesItOutOfTheTotals)
{
   const GuestStatsRecord unknown = {.memTotal = UINT64_MAX,
                                     .lpageTotal = UINT32_MAX,
                                     .memNeeded = UINT64_MAX,
                                     .memNeededResv = UINT64_MAX,
                                     .memFree = UINT64_MAX,
                                     .pageSize = UINT64_MAX,
                                     .pageInRate = UINT32_MAX};
   EXPECT_EQ(Rows({GuestFrom(2048), unknown}, "mb"),
             JoinLines({"vm.1,1,0,71,3,2050,3,3,3,3,2055", "vm.2,2,0,72,-1,-1,-1,-1,-1,-1,-1",
                        "Total,,,,3,2050,3,3,3,,2055"}));
}

// All ones of 32 bits is a figure like any other in a field of 64.
TEST(GuestStats, TellsAllOnesByTheWidthOfTheField)
{
   const GuestStatsRecord guest = {.memTotal = UINT32_MAX};
   EXPECT_EQ(RunColumns(VmsWith({guest}), "guest-stats", "name:memTotal").out,
             "name,memTotal\nvm.1,4294967295\nTotal,4294967295\n");
}

TEST(GuestStats, SumsCountsIn32Bits)
{
   const GuestStatsRecord guest = {.lpageTotal = 0x80000001, .pageInRate = 0xfffffffe};
   EXPECT_EQ(RunColumns(VmsWith({guest, guest}), "guest-stats", "name:lpageTotal:pageInRate").out,
             "name,lpageTotal,pageInRate\n"
             "vm.1,-2147483647,-2\n"
             "vm.2,-2147483647,-2\n"
             "Total,2,-4\n");
}

TEST(GuestStats, AVmWithoutAGuestRecordIsLeftOutInSilence)
{
   Scenario scenario = TwoVms();
   scenario.FailRead(NodeId::sched_memClients_kelmar_guest, {LeaderOf(1)}, NEVRA_NOT_FOUND);
   const RunResult run = RunColumns(scenario, "guest-stats", "name:memFree");
   EXPECT_EQ(run.out, "name,memFree\nvm.2,205\nTotal,205\n");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
}

TEST(GuestStats, EveryFaultIsReportedAndLeavesNoRow)
{
   CheckFaultsLeaveNoRow(TwoVms(), "guest-stats", {{"sched_memClients_kelmar_guest", "KelmarGuestGetStats"}});
}

TEST(GuestStats, EveryFaultInAWholeTreeFreesItsLists)
{
   CheckEveryFault(TwoVms(), {"-r", "guest-stats", "-q"});
}

} // namespace
