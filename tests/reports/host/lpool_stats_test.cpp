#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scripted/scenario.h"

using namespace scripted;

namespace {

LPagePoolRecord Pool(uint32_t start)
{
   LPagePoolRecord pool = {.nrLPages = start,
                           .nrFreeSPages = start + 1,
                           .nrSPageAllocs = start + 2,
                           .nrSPageFrees = start + 3,
                           .nrReapAttempts = start + 4,
                           .nrSPagesReaped = start + 5,
                           .nrDefragAttempts = start + 6,
                           .nrDefragCancelled = start + 7,
                           .nrDefragReaped = start + 8,
                           .nrLPagesDefragged = start + 9,
                           .peakDefragAttempts = start + 10,
                           .nrCachehit = start + 11};
   memset(pool.reserved48, 0xee, sizeof pool.reserved48);
   return pool;
}

Scenario Host(uint32_t memNodes, uint32_t vms)
{
   Scenario scenario;
   MemInfoRecord memInfo;
   memset(&memInfo, 0xee, sizeof memInfo);
   memInfo.numMemNodes = memNodes;
   scenario.Record(NodeId::memory_memInfo, {}, memInfo);
   scenario.Record(NodeId::sched_globalStats_numVMs, {}, NumVMsRecord{vms});
   return scenario;
}

Scenario TwoNodes()
{
   Scenario scenario = Host(2, 7);
   scenario.Record(NodeId::memory_lpage_nodeList_psharePool, {0}, Pool(100));
   scenario.Record(NodeId::memory_lpage_nodeList_psharePool, {1}, Pool(200));
   scenario.List(NodeId::memory_lpage_nodeList_vmPools, {0}, {"vm.1", "vm.2"});
   scenario.List(NodeId::memory_lpage_nodeList_vmPools, {1}, {});
   scenario.Record(NodeId::memory_lpage_nodeList_vmPools, {0, "vm.1"}, Pool(1000));
   scenario.Record(NodeId::memory_lpage_nodeList_vmPools, {0, "vm.2"}, Pool(2000));
   return scenario;
}

RunResult RunLPool(const Scenario &scenario, const std::vector<std::string> &options = {})
{
   std::vector<std::string> arguments = {"-r", "lpool-stats"};
   arguments.insert(arguments.end(), options.begin(), options.end());
   return RunHostmem(scenario, arguments);
}

const std::string kCsvHeader =
   "name,nodeID,nrLPages,nrFreeSPages,nrSPageAllocs,nrSPageFrees,nrReapAttempts,nrSPagesReaped,"
   "nrDefragAttempts,nrDefragCancelled,nrDefragReaped,nrLPagesDefragged,peakDefragAttempts,nrCachehit\n";
const std::string kPShare0 = "pshare-0,0,100,101,102,103,104,105,106,107,108,109,110,111\n";
const std::string kPShare1 = "pshare-1,1,200,201,202,203,204,205,206,207,208,209,210,211\n";
const std::string kVm1 = "vm.1,0,1000,1001,1002,1003,1004,1005,1006,1007,1008,1009,1010,1011\n";
const std::string kVm2 = "vm.2,0,2000,2001,2002,2003,2004,2005,2006,2007,2008,2009,2010,2011\n";

// The Total row of pools that start at `start` in all, and are so many.
std::string CsvTotal(uint32_t start, uint32_t pools)
{
   std::string row = "Total,";
   for (uint32_t field = 0; field < 12; field++) {
      row += ',' + std::to_string(start + field * pools);
   }
   return row + '\n';
}

TEST(LPoolStats, PrintsThePoolsOfEveryNodeAndTheTotal)
{
   const RunResult run = RunLPool(TwoNodes(), {"-q"});
   EXPECT_EQ(run.out, kCsvHeader + kPShare0 + kVm1 + kVm2 + kPShare1 + CsvTotal(3300, 4));
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_THAT(run, RanCleanly());
}

TEST(LPoolStats, PrintsTheTableAndTheUnitNote)
{
   EXPECT_EQ(RunLPool(TwoNodes(), {"-v", "-s", "nodeID:nrLPages:nrCachehit"}).out,
             "\n LPAGE POOL STATS: Tue Nov 14 22:13:20 2023\n"
             " -------------------------------------------\n"
             "   Selected columns : name:nodeID:nrLPages:nrCachehit\n"
             "\n"
             "---------------------------------------------------------\n"
             "           name  nodeID         nrLPages       nrCachehit\n"
             "---------------------------------------------------------\n"
             "       pshare-0       0              100              111\n"
             "           vm.1       0             1000             1011\n"
             "           vm.2       0             2000             2011\n"
             "       pshare-1       1              200              211\n"
             "---------------------------------------------------------\n"
             "          Total                     3300             3344\n"
             "---------------------------------------------------------\n"
             "Description of report header labels:\n"
             "                name: Large page pool name\n"
             "              nodeID: Home memory node the pool\n"
             "            nrLPages: # of large pages in the pool\n"
             "          nrCachehit: Hit count in lpage victim cache\n"
             "Displayed stats are either in small 4K page (SPage) or large 2M page (LPage) units\n");
}

TEST(LPoolStats, WidensColumnsToTheirNames)
{
   const std::vector<std::string> lines = RunLPool(TwoNodes()).OutLines();
   EXPECT_EQ(lines[3], "   Selected columns : (all)");
   EXPECT_EQ(lines[6],
             "           name  nodeID         nrLPages     nrFreeSPages    nrSPageAllocs     nrSPageFrees   "
             "nrReapAttempts   nrSPagesReaped nrDefragAttempts nrDefragCancelled   nrDefragReaped "
             "nrLPagesDefragged peakDefragAttempts       nrCachehit");
   EXPECT_EQ(lines[8],
             "       pshare-0       0              100              101              102              103   "
             "           104              105              106               107              108 "
             "              109                110              111");
}

// "attemts" is kept for compatibility.
TEST(LPoolStats, DescribesAllColumns)
{
   EXPECT_EQ(RunLPool(Host(0, 0), {"-q", "--verbose"}).out,
             kCsvHeader +
                "Total,,0,0,0,0,0,0,0,0,0,0,0,0\n"
                "Description of report header labels:\n"
                "                name: Large page pool name\n"
                "              nodeID: Home memory node the pool\n"
                "            nrLPages: # of large pages in the pool\n"
                "        nrFreeSPages: # of small pages free\n"
                "       nrSPageAllocs: Total small page alloc count\n"
                "        nrSPageFrees: Total small page free count\n"
                "      nrReapAttempts: Total reap attemts\n"
                "      nrSPagesReaped: Total number of small pages reaped\n"
                "    nrDefragAttempts: Total large page defrag attempts\n"
                "   nrDefragCancelled: Total defrag attempts cancelled\n"
                "      nrDefragReaped: Total defrag attempts reaped\n"
                "   nrLPagesDefragged: Total number of large pages defragged\n"
                "  peakDefragAttempts: Peak defrag attempts for any large page\n"
                "          nrCachehit: Hit count in lpage victim cache\n"
                "Displayed stats are either in small 4K page (SPage) or large 2M page (LPage) units\n");
}

TEST(LPoolStats, ReadsInOrder)
{
   EXPECT_EQ(JoinLines(RunLPool(TwoNodes(), {"-q"}).trace),
             "Nevra_CheckSig(21) = 0\n"
             "Nevra_Get(memory_memInfo, null, 48) = 0\n"
             "Nevra_Get(sched_globalStats_numVMs, null, 4) = 0\n"
             "Nevra_ParamListCreate(1, 1) = #1\n"
             "Nevra_ParamListAddInt(#1, 0) = 0\n"
             "Nevra_Get(memory_lpage_nodeList_psharePool, #1 [0], 96) = 0\n"
             "Nevra_ParamListDestroy(#1)\n"
             "Nevra_ParamListCreate(1, 2) = #1\n"
             "Nevra_ParamListAddInt(#1, 0) = 0\n"
             "Nevra_GetInstanceListAllocHint(memory_lpage_nodeList_vmPools, #1 [0], 7) = 0 #2 [\"vm.1\", "
             "\"vm.2\"]\n"
             "Nevra_ParamListDestroy(#1)\n"
             "Nevra_ParamListUsedCount(#2) = 2\n"
             "Nevra_ParamListGetString(#2, 0) = 0 \"vm.1\"\n"
             "Nevra_ParamListCreate(1, 2) = #1\n"
             "Nevra_ParamListAddInt(#1, 0) = 0\n"
             "Nevra_ParamListAddString(#1, \"vm.1\") = 0\n"
             "Nevra_Get(memory_lpage_nodeList_vmPools, #1 [0, \"vm.1\"], 96) = 0\n"
             "Nevra_ParamListDestroy(#1)\n"
             "Nevra_ParamListGetString(#2, 1) = 0 \"vm.2\"\n"
             "Nevra_ParamListCreate(1, 2) = #1\n"
             "Nevra_ParamListAddInt(#1, 0) = 0\n"
             "Nevra_ParamListAddString(#1, \"vm.2\") = 0\n"
             "Nevra_Get(memory_lpage_nodeList_vmPools, #1 [0, \"vm.2\"], 96) = 0\n"
             "Nevra_ParamListDestroy(#1)\n"
             "Nevra_ParamListDestroy(#2)\n"
             "Nevra_ParamListCreate(1, 1) = #1\n"
             "Nevra_ParamListAddInt(#1, 1) = 0\n"
             "Nevra_Get(memory_lpage_nodeList_psharePool, #1 [1], 96) = 0\n"
             "Nevra_ParamListDestroy(#1)\n"
             "Nevra_ParamListCreate(1, 2) = #1\n"
             "Nevra_ParamListAddInt(#1, 1) = 0\n"
             "Nevra_GetInstanceListAllocHint(memory_lpage_nodeList_vmPools, #1 [1], 7) = 0 #2 []\n"
             "Nevra_ParamListDestroy(#1)\n"
             "Nevra_ParamListUsedCount(#2) = 0\n"
             "Nevra_ParamListDestroy(#2)\n");
}

TEST(LPoolStats, KeepsTheNameOfASelection)
{
   Scenario scenario = Host(1, 0);
   scenario.Record(NodeId::memory_lpage_nodeList_psharePool, {0}, Pool(5));
   scenario.List(NodeId::memory_lpage_nodeList_vmPools, {0}, {});
   EXPECT_EQ(RunLPool(scenario, {"-q", "-s", "nrLPages"}).out, "name,nrLPages\npshare-0,5\nTotal,5\n");
}

TEST(LPoolStats, SumsIn32And64BitsAndSumsPeaksToo)
{
   Scenario scenario = Host(1, 0);
   scenario.Record(NodeId::memory_lpage_nodeList_psharePool, {0},
                   LPagePoolRecord{.nrLPages = 4294967295,
                                   .nrFreeSPages = 4294967290,
                                   .nrSPageAllocs = 4294967295,
                                   .nrSPageFrees = UINT64_MAX,
                                   .peakDefragAttempts = 9});
   scenario.List(NodeId::memory_lpage_nodeList_vmPools, {0}, {"a"});
   scenario.Record(
      NodeId::memory_lpage_nodeList_vmPools, {0, "a"},
      LPagePoolRecord{
         .nrLPages = 2, .nrFreeSPages = 10, .nrSPageAllocs = 1, .nrSPageFrees = 3, .peakDefragAttempts = 4});
   EXPECT_EQ(RunLPool(scenario, {"-q"}).OutLines()[3], "Total,,1,4,4294967296,2,0,0,0,0,0,0,13,0");
}

TEST(LPoolStats, GoesOnAfterAPoolThatCannotBeRead)
{
   Scenario scenario = TwoNodes();
   scenario.FailRead(NodeId::memory_lpage_nodeList_psharePool, {0}, 0xbad0003);
   scenario.FailRead(NodeId::memory_lpage_nodeList_vmPools, {0, "vm.1"}, 0xbad000a);
   const RunResult run = RunLPool(scenario, {"-q"});
   EXPECT_EQ(run.out, kCsvHeader + kVm2 + kPShare1 + CsvTotal(2200, 2));
   EXPECT_EQ(run.err, "KelmarGetVmPoolStats() failure, error code: 195887107\n"
                      "KelmarGetVmPoolStats() failure, error code: 195887114\n");
   EXPECT_EQ(run.exitStatus, 0);
}

TEST(LPoolStats, EndsWithAnOpenTableWhenPoolsCannotBeListed)
{
   Scenario scenario = TwoNodes();
   scenario.FailList(NodeId::memory_lpage_nodeList_vmPools, {1}, 0xbad0003);
   const RunResult run = RunLPool(scenario, {"-v", "-s", "nrLPages"});
   EXPECT_EQ(run.out, "\n LPAGE POOL STATS: Tue Nov 14 22:13:20 2023\n"
                      " -------------------------------------------\n"
                      "   Selected columns : name:nrLPages\n"
                      "\n"
                      "--------------------------------\n"
                      "           name         nrLPages\n"
                      "--------------------------------\n"
                      "       pshare-0              100\n"
                      "           vm.1             1000\n"
                      "           vm.2             2000\n"
                      "       pshare-1              200\n");
   EXPECT_EQ(run.err, "KelmarTraverseLPools: Nevra_GetInstanceListAllocHint() failure\n");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_THAT(run, RanCleanly());
}

// A host of one node with one VM pool: the calls of a run are few enough to say what each fault shows.
Scenario OneNode()
{
   Scenario scenario = Host(1, 1);
   scenario.Record(NodeId::memory_lpage_nodeList_psharePool, {0}, Pool(100));
   scenario.List(NodeId::memory_lpage_nodeList_vmPools, {0}, {"vm.1"});
   scenario.Record(NodeId::memory_lpage_nodeList_vmPools, {0, "vm.1"}, Pool(1000));
   return scenario;
}

ExpectedFault ExpectLPoolFault(const Fault &fault)
{
   const std::string code = std::to_string(fault.status) + '\n';
   const std::string opened = kCsvHeader + kPShare0;
   const ExpectedFault withoutPShare = {0, std::nullopt, kCsvHeader + kVm1 + CsvTotal(1000, 1)};
   const ExpectedFault withoutVm = {0, std::nullopt, opened + CsvTotal(100, 1)};
   const auto says = [](ExpectedFault expected, const std::string &message) {
      expected.err = message;
      return expected;
   };
   const std::string operation = fault.operation;
   if (operation == "Nevra_ParamListCreate") {
      switch (fault.call) {
      case 1:
         return says(withoutPShare, "KelmarGetPSharePoolStats: Nevra_ParamListCreate() failure\n");
      case 2:
         return {1, "KelmarTraverseLPools: Nevra_ParamListCreate() failure\n", opened};
      default:
         return says(withoutVm, "KelmarGetVmPoolStats: Nevra_ParamListCreate() failure\n");
      }
   }
   if (operation == "Nevra_ParamListAddInt") {
      switch (fault.call) {
      case 1:
         return says(withoutPShare,
                     "KelmarGetPSharePoolStats: Nevra_ParamListAddInt() failure, error code: " + code);
      case 2:
         return {1, "KelmarTraverseLPools: Nevra_ParamListAddInt() failure, error code: " + code, opened};
      default:
         return says(withoutVm, "KelmarGetVmPoolStats: Nevra_ParamListAddInt() failure, error code: " + code);
      }
   }
   if (operation == "Nevra_ParamListAddString") {
      return says(withoutVm, "KelmarGetVmPoolStats: Nevra_ParamListAddString() failure, error code: " + code);
   }
   if (operation == "Nevra_GetInstanceListAllocHint") {
      return {1, "KelmarTraverseLPools: Nevra_GetInstanceListAllocHint() failure\n", opened};
   }
   if (operation == "Nevra_ParamListGetString") {
      return {1, "KelmarTraverseLPools: Nevra_ParamListGetString() failure\n", opened};
   }
   // The first two messages lack an "e". Kept for compatibility.
   switch (fault.call) {
   case 1:
      return {1, "KelmarTraversLPools: Nevra_Get hardwareInfo failure\n", kCsvHeader};
   case 2:
      return {1, "KelmarTraversLPools: Nevra_Get numVMs failure\n", kCsvHeader};
   case 3:
      return says(withoutPShare, "KelmarGetVmPoolStats() failure, error code: " + code);
   default:
      return says(withoutVm, "KelmarGetVmPoolStats() failure, error code: " + code);
   }
}

TEST(LPoolStats, ReportsEveryFault)
{
   EXPECT_EQ(RunLPool(OneNode(), {"-q"}).out, kCsvHeader + kPShare0 + kVm1 + CsvTotal(1100, 2));
   CheckEveryFault(OneNode(), {"-r", "lpool-stats", "-q"}, ExpectLPoolFault);
}

TEST(LPoolStats, FreesEveryListWhateverFails)
{
   CheckEveryFault(TwoNodes(), {"-r", "lpool-stats"});
}

TEST(LPoolStats, PrintsPoolNamesOfAnyLength)
{
   const std::string name(300, 'p');
   Scenario scenario = Host(1, 0);
   scenario.List(NodeId::memory_lpage_nodeList_vmPools, {0}, {name});
   scenario.Record(NodeId::memory_lpage_nodeList_vmPools, {0, name}, Pool(1));
   EXPECT_EQ(RunLPool(scenario, {"-q", "-s", "nrLPages"}).out, "name,nrLPages\n" + name + ",1\nTotal,1\n");
   EXPECT_THAT(RunLPool(scenario), RanCleanly());
}

TEST(LPoolStats, HasNoUnitAndIgnoresUnknownOptions)
{
   EXPECT_EQ(RunLPool(Host(0, 0), {"-u", "-q", "-x", "-s", "nrLPages"}).out, "name,nrLPages\nTotal,0\n");
}

} // namespace
