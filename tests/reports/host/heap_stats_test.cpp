#include <cstdio>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scripted/scenario.h"

using namespace scripted;

namespace {

HeapStatsRecord Heap(const char *name)
{
   HeapStatsRecord heap;
   memset(&heap, 0xee, sizeof heap);
   SetText(heap.name, name);
   heap.dynGrow = 1;
   heap.lowerLimit = 2;
   heap.upperLimit = 4294967295;
   heap.reserved = 200;
   heap.numRanges = 3;
   heap.overhead = 1;
   heap.size = 1048577;
   heap.initial = 4096;
   heap.avail = 1024;
   heap.pctFreeOfCur = 11;
   heap.max = 1073741825;
   heap.maxAvail = 4294967295;
   heap.pctFreeOfMax = 12;
   heap.lowPctFreeOfMax = 13;
   heap.numSuccAllocs = 4294967295;
   heap.numFailAllocs = 15;
   heap.avgAllocSize = 1025;
   heap.numReqsPerGrowth = 17;
   heap.numGrowthOps = 18;
   heap.numShrinkOps = 19;
   return heap;
}

// The same with every figure 0.
HeapStatsRecord Empty(const char *name)
{
   HeapStatsRecord heap = {};
   SetText(heap.name, name);
   return heap;
}

Scenario With(const std::vector<HeapStatsRecord> &heaps)
{
   Scenario scenario;
   Keys names;
   for (const HeapStatsRecord &heap : heaps) {
      const std::string name(heap.name, strnlen(heap.name, sizeof heap.name));
      names.push_back(name);
      scenario.Record(NodeId::system_heaps_stats, {name}, heap);
   }
   return scenario.List(NodeId::system_heaps, {}, names);
}

RunResult RunHeap(const Scenario &scenario, const std::vector<std::string> &options = {})
{
   std::vector<std::string> arguments = {"-r", "heap-stats"};
   arguments.insert(arguments.end(), options.begin(), options.end());
   return RunHostmem(scenario, arguments);
}

const std::string kCsvHeader =
   "name,dynGrow,lowerLimit,upperLimit,reserved,numRanges,dlMallocOvdh,used,avail,size,initial,max,"
   "pctFreeOfCur,maxAvail,pctFreeOfMax,lowPctFreeOfMax,numSuccAllocs,numFailAllocs,numGrowthOps,numShrinkOps,"
   "numReqsPerGrowth,avgAllocSize\n";
const std::string kCsvMain = "main,1,2,-1,200,3,1,1047553,1024,1048577,4096,1073741825,11,4294967295,12,13,"
                             "4294967295,15,18,19,17,1025\n";
const std::string kCsvIdle = "idle,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0\n";
const std::string kCsvTotal = "Total,,,,,3,1,1047553,1024,1048577,4096,1073741825,,4294967295,,,,,18,19,,\n";
const std::string kCsvZeroTotal = "Total,,,,,0,0,0,0,0,0,0,,0,,,,,0,0,,\n";

// A line of cells, each right-aligned in its column.
std::string TableLine(const std::vector<std::string> &cells)
{
   constexpr int kWidths[] = {35, 12, 10, 10, 8,  9,  12, 10, 10, 10, 10,
                              11, 12, 12, 12, 15, 13, 13, 12, 12, 16, 12};
   std::string line;
   for (size_t i = 0; i < std::size(kWidths); i++) {
      char cell[64];
      std::snprintf(cell, sizeof cell, "%s%*s", i > 0 ? " " : "", kWidths[i], cells.at(i).c_str());
      line += cell;
   }
   return line;
}

// The cells of a CSV line without its line break.
std::vector<std::string> CellsOf(const std::string &csvLine)
{
   std::vector<std::string> cells = {""};
   for (const char c : csvLine) {
      if (c == ',') {
         cells.emplace_back();
      } else if (c != '\n') {
         cells.back() += c;
      }
   }
   return cells;
}

TEST(HeapStats, PrintsBytesUnlessAskedOtherwise)
{
   const RunResult run = RunHeap(With({Heap("main"), Empty("idle")}));
   const std::string header = TableLine(CellsOf(kCsvHeader));
   const std::string rule(header.size(), '-');
   EXPECT_EQ(JoinLines(run.OutLines()),
             JoinLines({"", " HEAP STATS: Tue Nov 14 22:13:20 2023", " ------------------------------------",
                        "   Unit             : Bytes", "   Selected columns : (all)", "", rule, header, rule,
                        TableLine(CellsOf(kCsvMain)), TableLine(CellsOf(kCsvIdle)), rule,
                        TableLine(CellsOf(kCsvTotal)), rule}));
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_THAT(run, RanCleanly());
}

TEST(HeapStats, ReadsWithOneListAndRemovesEachName)
{
   EXPECT_EQ(JoinLines(RunHeap(With({Heap("main"), Heap("net")}), {"-q"}).trace),
             "Nevra_CheckSig(21) = 0\n"
             "Nevra_GetInstanceListAlloc(system_heaps, null) = 0 #1 [\"main\", \"net\"]\n"
             "Nevra_ParamListUsedCount(#1) = 2\n"
             "Nevra_ParamListCreate(1, 1) = #2\n"
             "Nevra_ParamListGetString(#1, 0) = 0 \"main\"\n"
             "Nevra_ParamListAddString(#2, \"main\") = 0\n"
             "Nevra_Get(system_heaps_stats, #2 [\"main\"], 148) = 0\n"
             "Nevra_ParamListRemoveLastParam(#2) = 0\n"
             "Nevra_ParamListGetString(#1, 1) = 0 \"net\"\n"
             "Nevra_ParamListAddString(#2, \"net\") = 0\n"
             "Nevra_Get(system_heaps_stats, #2 [\"net\"], 148) = 0\n"
             "Nevra_ParamListRemoveLastParam(#2) = 0\n"
             "Nevra_ParamListDestroy(#2)\n"
             "Nevra_ParamListDestroy(#1)\n");
}

TEST(HeapStats, ConvertsToEveryUnit)
{
   const Scenario scenario = With({Heap("main")});
   const std::vector<std::string> columns = {
      "-q", "-s", "dlMallocOvdh:used:avail:size:initial:max:maxAvail:avgAllocSize", "-u"};
   const std::string header = "name,dlMallocOvdh,used,avail,size,initial,max,maxAvail,avgAllocSize\n";
   const std::pair<const char *, const char *> kUnits[] = {
      {"b", "1,1047553,1024,1048577,4096,1073741825,4294967295"},
      {"KB", "1,1024,1,1025,4,1048577,4194304"},
      {"mb", "1,1,1,2,1,1025,4096"},
      {"gb", "1,1,1,1,1,2,4"},
      {"pg", "1,256,1,257,1,262145,1048576"}};
   const char *const kAverages[] = {"1025", "2", "1", "1", "1"};
   for (size_t i = 0; i < std::size(kUnits); i++) {
      std::vector<std::string> options = columns;
      options.push_back(kUnits[i].first);
      const std::string sizes = kUnits[i].second;
      EXPECT_EQ(RunHeap(scenario, options).out,
                header + "main," + sizes + ',' + kAverages[i] + "\nTotal," + sizes + ",\n");
   }
}

TEST(HeapStats, SumsAllHeaps)
{
   HeapStatsRecord first = Heap("a");
   HeapStatsRecord second = Heap("b");
   second.numRanges = -5;
   second.numGrowthOps = -20;
   second.numShrinkOps = 4294967295;
   second.size = 4294967295;
   second.avail = 4294967295;
   EXPECT_EQ(RunHeap(With({first, second}), {"-q"}).OutLines()[3],
             "Total,,,,,-2,2,1047553,4294968319,4296015872,8192,2147483650,,8589934590,,,,,4294967294,18,,");
}

TEST(HeapStats, WrapsUsedIn32BitsOnARowAndIn64OnTheTotal)
{
   HeapStatsRecord heap = Empty("odd");
   heap.size = 10;
   heap.avail = 20;
   EXPECT_EQ(RunHeap(With({heap}), {"-q", "-s", "used"}).out,
             "name,used\nodd,4294967286\nTotal,18446744073709551606\n");
}

TEST(HeapStats, SkipsAHeapThatIsNotFound)
{
   Scenario scenario = With({Heap("main"), Heap("gone"), Empty("idle")});
   scenario.FailRead(NodeId::system_heaps_stats, {"gone"}, 0xbad0003);
   const RunResult run = RunHeap(scenario, {"-q"});
   EXPECT_EQ(run.out, kCsvHeader + kCsvMain + kCsvIdle + kCsvTotal);
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_THAT(run, RanCleanly());
}

TEST(HeapStats, PrintsAZeroTotalWhenAllHeapsAreGone)
{
   Scenario scenario;
   scenario.List(NodeId::system_heaps, {}, {"a", "b"});
   EXPECT_EQ(RunHeap(scenario, {"-q"}).out, kCsvHeader + kCsvZeroTotal);
}

TEST(HeapStats, SaysThatThereAreNoHeapsAndPrintsAZeroTotal)
{
   const RunResult run = RunHeap(With({}), {"-q"});
   EXPECT_EQ(run.out, kCsvHeader + kCsvZeroTotal);
   EXPECT_EQ(run.err, "KelmarHeapGetMemMapStats: Nevra_ParamListUsedCount() returned 0\n");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_EQ(JoinLines(run.trace),
             "Nevra_CheckSig(21) = 0\n"
             "Nevra_GetInstanceListAlloc(system_heaps, null) = 0 #1 []\n"
             "Nevra_ParamListUsedCount(#1) = 0\n"
             "Warning(\"KelmarHeapGetMemMapStats: Nevra_ParamListUsedCount() returned 0\\n\")\n"
             "Nevra_ParamListDestroy(#1)\n");
}

// Every failure ends in status 0, with nothing on standard output. Kept for compatibility.
ExpectedFault ExpectHeapFault(const Fault &fault)
{
   const auto fails = [](const char *message) {
      return ExpectedFault{0, std::string("KelmarHeapGetMemMapStats: ") + message + '\n', ""};
   };
   if (fault.operation == "Nevra_GetInstanceListAlloc") {
      return fails("Nevra_GetInstanceListAlloc() for heapList failure");
   }
   if (fault.operation == "Nevra_ParamListCreate") {
      return fails("Nevra_ParamListCreate() for heapParam failure");
   }
   if (fault.operation == "Nevra_ParamListGetString") {
      return fails("Nevra_ParamListGetString() failure");
   }
   if (fault.operation == "Nevra_ParamListAddString") {
      return fails("Nevra_ParamListAddString() failure");
   }
   if (fault.operation == "Nevra_Get" && fault.status != NEVRA_NOT_FOUND) {
      return fails("Nevra_Get() failure");
   }
   if (fault.operation == "Nevra_Get") {
      return {0, "",
              fault.call == 1 ? kCsvHeader + kCsvIdle + kCsvZeroTotal : kCsvHeader + kCsvMain + kCsvTotal};
   }
   return {0, std::nullopt, std::nullopt}; // a name that was not removed
}

TEST(HeapStats, ReportsEveryFault)
{
   const Scenario scenario = With({Heap("main"), Empty("idle")});
   EXPECT_EQ(RunHeap(scenario, {"-q"}).out, kCsvHeader + kCsvMain + kCsvIdle + kCsvTotal);
   CheckEveryFault(scenario, {"-r", "heap-stats", "-q"}, ExpectHeapFault);
}

TEST(HeapStats, RefusesAnUnknownUnitNamingBytes)
{
   const RunResult run = RunHeap(With({Heap("main")}), {"-u", "tb"});
   EXPECT_EQ(run.out, "");
   EXPECT_EQ(run.err, "Invalid unit specified. Choose from {mb, kb, pg, b}\n");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_TRUE(run.Calls().empty());
}

// --verbose is a -u without a text: the unit is bytes again and nothing is described. Kept for compatibility.
TEST(HeapStats, TakesVerboseAsTheUnitBytes)
{
   const Scenario scenario = With({Heap("main")});
   EXPECT_EQ(RunHeap(scenario, {"-u", "kb", "--verbose", "-q", "-s", "avail"}).out,
             "name,avail\nmain,1024\nTotal,1024\n");
   EXPECT_EQ(RunHeap(scenario, {"--verbose", "-u", "kb", "-q", "-s", "avail"}).out,
             "name,avail\nmain,1\nTotal,1\n");
   EXPECT_EQ(RunHeap(scenario, {"-u", "kb", "--verbose"}).OutLines()[3], "   Unit             : Bytes");
}

// numFailAllocs is described as numSuccAllocs. Kept for compatibility.
TEST(HeapStats, DescribesColumnsWithTheShortOption)
{
   EXPECT_EQ(RunHeap(With({Empty("idle")}), {"-q", "-v"}).out,
             kCsvHeader + kCsvIdle + kCsvZeroTotal +
                "Description of report header labels:\n"
                "                name: heap name\n"
                "             dynGrow: dynamically growable\n"
                "          lowerLimit: lower limit\n"
                "          upperLimit: upper limit\n"
                "            reserved: reserved\n"
                "           numRanges: num ranges\n"
                "        dlMallocOvdh: DL malloc overhead\n"
                "                used: current used\n"
                "               avail: current available\n"
                "                size: current size\n"
                "             initial: initial size\n"
                "                 max: max size\n"
                "        pctFreeOfCur: % free of current\n"
                "            maxAvail: max available\n"
                "        pctFreeOfMax: % free of max\n"
                "     lowPctFreeOfMax: lowest % free of max\n"
                "       numSuccAllocs: number of succeeded allocations\n"
                "       numFailAllocs: number of succeeded allocations\n"
                "        numGrowthOps: number of growth operations\n"
                "        numShrinkOps: number of shrink operations\n"
                "    numReqsPerGrowth: number of requests per growth operations\n"
                "        avgAllocSize: average allocation size\n");
}

TEST(HeapStats, BoundsANameThatIsNotTerminated)
{
   HeapStatsRecord heap = Empty("");
   memset(heap.name, 'n', sizeof heap.name);
   EXPECT_EQ(RunHeap(With({heap}), {"-q", "-s", "avail"}).out,
             std::string("name,avail\n") + std::string(36, 'n') + ",0\nTotal,0\n");
}

TEST(HeapStats, IgnoresUnknownOptions)
{
   EXPECT_EQ(RunHeap(With({Empty("idle")}), {"-x", "--gid", "-q", "-s", "avail"}).out,
             "name,avail\nidle,0\nTotal,0\n");
}

} // namespace
