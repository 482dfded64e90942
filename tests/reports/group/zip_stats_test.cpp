// zip-stats.
#include <gtest/gtest.h>

#include "tests/reports/group/query_faults.h"
#include "tests/reports/group/vm_scenario.h"

using namespace scripted;

namespace {

// Figures that all differ, in column order: base + 1, base + 2 and so on.
MemzipInfoRecord ZipFrom(uint32_t base)
{
   MemzipInfoRecord zip = {};
   zip.totalCache = base + 1;
   zip.maxCache = base + 2;
   zip.usedCache = base + 3;
   zip.zipped = base + 4;
   zip.unZipped = base + 5;
   zip.zipRejected = base + 6;
   zip.nrFreeHalf = base + 7;
   zip.nrFreeQuarter = base + 8;
   zip.avgZipTime = base + 9;
   zip.avgUnzipTime = base + 10;
   return zip;
}

MemzipInfoRecord Times(uint64_t zip, uint64_t unzip)
{
   MemzipInfoRecord record = {};
   record.avgZipTime = zip;
   record.avgUnzipTime = unzip;
   return record;
}

Scenario VmsWith(const std::vector<MemzipInfoRecord> &records)
{
   Scenario scenario = HostWithVms(static_cast<uint32_t>(records.size()));
   for (uint32_t vm = 1; vm <= records.size(); vm++) {
      scenario.Record(NodeId::sched_memClients_memzipInfo, {LeaderOf(vm)}, records[vm - 1]);
   }
   return scenario;
}

Scenario TwoVms()
{
   return VmsWith({ZipFrom(100), ZipFrom(200)});
}

TEST(ZipStats, PrintsItsTable)
{
   const RunResult run = RunHostmem(TwoVms(), {"-r", "zip-stats", "-v"});
   EXPECT_EQ(run.out, R"(
 VIRTUAL MACHINE COMPRESSION STATS: Tue Nov 14 22:13:20 2023
 -------------------------------------------------------------
   Start Group ID   : 0
   No. of levels    : 12
   Unit             : KB
   Selected columns : (all)

----------------------------------------------------------------------------------------------------------------------------------------------------------------------------
                name   schedGrp parSchedGroup   worldGrp totalCache   maxCache  usedCache     zipped   unZipped zipRejected nrFreeHalf nrFreeQuarter avgZipTime avgUnzipTime
----------------------------------------------------------------------------------------------------------------------------------------------------------------------------
                vm.1          1             0         71        101        102        103        104        105         106        107           108        109          110
                vm.2          2             0         72        201        202        203        204        205         206        207           208        209          210
----------------------------------------------------------------------------------------------------------------------------------------------------------------------------
               Total                                            302        304        306        308        310         312        314           316        159          160
----------------------------------------------------------------------------------------------------------------------------------------------------------------------------
Description of report header labels:
                name: Virtual machine name
            schedGrp: Scheduler group ID
       parSchedGroup: Parent scheduler group ID
            worldGrp: World group ID
          totalCache: Total compression cache configured
            maxCache: Maximum compression cache
           usedCache: Total compression cache used
              zipped: Total memory compressed
            unZipped: Total memory decompressed
         zipRejected: Total memory rejected
          nrFreeHalf: Total free half pages
       nrFreeQuarter: Total free quarter pages
          avgZipTime: Average compression time in usec
        avgUnzipTime: Average decompression time in usec
)");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_THAT(run, RanCleanly());
}

TEST(ZipStats, ReadsItsRecordByTheGroupLeader)
{
   const RunResult run = RunHostmem(TwoVms(), {"-r", "zip-stats", "-g", "1", "-l", "1", "-q"});
   EXPECT_EQ(JoinLines(run.trace),
             JoinLines(WalkOverGroup1(VmIdentityReads() +
                                      OneKeyRead("sched_memClients_memzipInfo", LeaderOf(1), 136))));
}

TEST(ZipStats, ConvertsMemoryButNeitherCountsNorTimes)
{
   EXPECT_EQ(
      RunHostmem(VmsWith({ZipFrom(2048)}), {"-r", "zip-stats", "-q", "-u", "mb", "-g", "1"}).OutLines()[1],
      "vm.1,1,0,71,3,3,3,3,3,3,2055,2056,2057,2058");
   EXPECT_EQ(
      RunHostmem(VmsWith({ZipFrom(2048)}), {"-r", "zip-stats", "-q", "-u", "pg", "-g", "1"}).OutLines()[2],
      "Total,,,,513,513,513,513,514,514,2055,2056,2057,2058");
}

// Kept for compatibility: the plain mean of the VMs' averages, truncated.
TEST(ZipStats, TheTotalOfTheTimesIsTheirMeanTruncated)
{
   EXPECT_EQ(RunColumns(VmsWith({Times(10, 1), Times(20, 1), Times(31, 0)}), "zip-stats",
                        "name:avgZipTime:avgUnzipTime")
                .out,
             "name,avgZipTime,avgUnzipTime\nvm.1,10,1\nvm.2,20,1\nvm.3,31,0\nTotal,20,0\n");
}

TEST(ZipStats, AVmThatCannotBeReadDoesNotCountInTheMean)
{
   Scenario scenario = VmsWith({Times(10, 10), Times(20, 20), Times(31, 31)});
   scenario.FailRead(NodeId::sched_memClients_memzipInfo, {LeaderOf(2)}, NEVRA_BAD_PARAMETER);
   const RunResult run = RunColumns(scenario, "zip-stats", "name:avgZipTime");
   EXPECT_EQ(run.out, "name,avgZipTime\nvm.1,10\nvm.3,31\nTotal,20\n");
   EXPECT_EQ(run.err, "KelmarZipGetZipStats() failure, error code: 195887111\n");
   EXPECT_EQ(run.exitStatus, 0);
}

// Kept for compatibility: no value is too large to be summed.
TEST(ZipStats, AllOnesIsShownAsItIsAndWrapsTheSum)
{
   MemzipInfoRecord unknown = ZipFrom(0);
   unknown.usedCache = UINT64_MAX;
   unknown.avgZipTime = UINT64_MAX;
   EXPECT_EQ(
      RunColumns(VmsWith({unknown, ZipFrom(4096)}), "zip-stats", "name:usedCache:avgZipTime", {"-u", "mb"})
         .out,
      "name,usedCache,avgZipTime\n"
      "vm.1,18446744073709551615,18446744073709551615\n"
      "vm.2,5,4105\n"
      "Total,5,2052\n"); // 4098 KB, and 4104 microseconds for two
}

TEST(ZipStats, AVmWithoutARecordIsLeftOutInSilence)
{
   Scenario scenario = TwoVms();
   scenario.FailRead(NodeId::sched_memClients_memzipInfo, {LeaderOf(1)}, NEVRA_NOT_FOUND);
   const RunResult run = RunColumns(scenario, "zip-stats", "name:zipped:avgZipTime");
   EXPECT_EQ(run.out, "name,zipped,avgZipTime\nvm.2,204,209\nTotal,204,209\n");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
}

TEST(ZipStats, EveryFaultIsReportedAndLeavesNoRow)
{
   CheckFaultsLeaveNoRow(TwoVms(), "zip-stats", {{"sched_memClients_memzipInfo", "KelmarZipGetZipStats"}});
}

TEST(ZipStats, EveryFaultInAWholeTreeFreesItsLists)
{
   CheckEveryFault(TwoVms(), {"-r", "zip-stats", "-q"});
}

} // namespace
