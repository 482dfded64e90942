#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scripted/scenario.h"

using namespace scripted;

namespace {

constexpr unsigned kOrders = 19;
const char *const kSizes[kOrders] = {"4KB",   "8KB",   "16KB",  "32KB",  "64KB", "128KB", "256KB",
                                     "512KB", "1MB",   "2MB",   "4MB",   "8MB",  "16MB",  "32MB",
                                     "64MB",  "128MB", "256MB", "512MB", "1GB"};

// Order k has free + k buffers free and used + k used.
BuddyComprehensiveInfo Buffers(uint32_t free, uint32_t used)
{
   BuddyComprehensiveInfo info;
   memset(&info, 0xee, sizeof info);
   for (uint32_t k = 0; k < kOrders; k++) {
      info.orders[k].numFree = free + k;
      info.orders[k].numUsed = used + k;
   }
   return info;
}

MemNodeInfo OnNumaNode(uint8_t numaNode)
{
   MemNodeInfo info;
   memset(&info, 0xee, sizeof info);
   info.numaNode = numaNode;
   return info;
}

Scenario TwoBuddies()
{
   Scenario scenario;
   scenario.List(NodeId::system_buddy, {}, {"heap-7-lo", "memmap-01-hi", "memmap-00-lo"});
   scenario.Record(NodeId::memory_memNodes, {0}, OnNumaNode(4));
   scenario.Record(NodeId::memory_memNodes, {1}, OnNumaNode(255));
   scenario.Record(NodeId::system_buddy_comprehensive, {"memmap-00-lo"}, Buffers(100, 200));
   scenario.Record(NodeId::system_buddy_comprehensive, {"memmap-01-hi"}, Buffers(1000, 2000));
   return scenario;
}

// A buddy of every name, with order k counting k free and 100 + k used.
Scenario Buddies(const std::vector<std::string> &names)
{
   Scenario scenario;
   Keys keys;
   for (const std::string &name : names) {
      keys.push_back(name);
      scenario.Record(NodeId::system_buddy_comprehensive, {name.substr(0, 15)}, Buffers(0, 100));
   }
   for (int memNode = 0; memNode < 100; memNode++) {
      scenario.Record(NodeId::memory_memNodes, {memNode}, OnNumaNode(static_cast<uint8_t>(memNode + 100)));
   }
   return scenario.List(NodeId::system_buddy, {}, keys);
}

RunResult RunBuddy(const Scenario &scenario, const std::vector<std::string> &options = {})
{
   std::vector<std::string> arguments = {"-r", "buddy-stats"};
   arguments.insert(arguments.end(), options.begin(), options.end());
   return RunHostmem(scenario, arguments);
}

std::string Counts(uint32_t free, uint32_t used, const char *cell, uint32_t step = 1)
{
   std::string text;
   for (const uint32_t start : {free, used}) {
      for (uint32_t k = 0; k < kOrders; k++) {
         char number[32];
         std::snprintf(number, sizeof number, cell, start + k * step);
         text += number;
      }
   }
   return text;
}

std::string TableRow(const char *name, const char *memNode, const char *type, const char *numaNode,
                     const std::string &counts)
{
   char start[64];
   std::snprintf(start, sizeof start, "%20s %7s %4s %8s", name, memNode, type, numaNode);
   return start + counts + '\n';
}

std::string Names(const char *cell)
{
   std::string text;
   for (const char *what : {"free", "used"}) {
      for (const char *size : kSizes) {
         char name[32];
         std::snprintf(name, sizeof name, cell, (std::string(size) + what).c_str());
         text += name;
      }
   }
   return text;
}

const std::string kCsvHeader = "name,memNode,type,numaNode" + Names(",%s") + '\n';
const std::string kCsvLow = "memmap-00-lo,0,low,4" + Counts(100, 200, ",%u") + '\n';
const std::string kCsvHigh = "memmap-01-hi,1,high,255" + Counts(1000, 2000, ",%u") + '\n';
const std::string kCsvTotal = "Total,,," + Counts(1100, 2200, ",%u", 2) + '\n';
const std::string kCsvEmptyTotal = "Total,,," + Counts(0, 0, ",%u", 0) + '\n';

TEST(BuddyStats, PrintsBuddiesByMemoryNodeAndTheTotal)
{
   const RunResult run = RunBuddy(TwoBuddies());
   const std::string rule(20 + 8 + 5 + 9 + 38 * 11, '-');
   EXPECT_EQ(run.out, "\n MEMMAP BUDDY STATS: Tue Nov 14 22:13:20 2023\n"
                      " --------------------------------------------\n"
                      "   Selected columns : (all)\n"
                      "\n" +
                         rule + '\n' + TableRow("name", "memNode", "type", "numaNode", Names(" %10s")) +
                         rule + '\n' + TableRow("memmap-00-lo", "0", "low", "4", Counts(100, 200, " %10u")) +
                         TableRow("memmap-01-hi", "1", "high", "255", Counts(1000, 2000, " %10u")) + rule +
                         '\n' + TableRow("Total", "", "", "", Counts(1100, 2200, " %10u", 2)) + rule + '\n');
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_THAT(run, RanCleanly());
}

TEST(BuddyStats, ReadsInOrderWithAListForEachRead)
{
   const RunResult run = RunBuddy(TwoBuddies(), {"-q"});
   EXPECT_EQ(JoinLines(run.trace),
             "Nevra_CheckSig(21) = 0\n"
             "Nevra_ParamListCreateAndAllocateParams(1, 99, 12672) = #1\n"
             "Nevra_GetInstanceList(system_buddy, null, #1) = 0 #1 [\"heap-7-lo\", \"memmap-01-hi\", "
             "\"memmap-00-lo\"]\n"
             "Nevra_ParamListUsedCount(#1) = 3\n"
             "Nevra_ParamListGetString(#1, 0) = 0 \"heap-7-lo\"\n"
             "Nevra_ParamListUsedCount(#1) = 3\n"
             "Nevra_ParamListGetString(#1, 1) = 0 \"memmap-01-hi\"\n"
             "Str_Strcpy(\"memmap-01-hi\", 16)\n"
             "Nevra_ParamListCreate(1, 1) = #2\n"
             "Nevra_ParamListAddInt(#2, 1) = 0\n"
             "Nevra_Get(memory_memNodes, #2 [1], 28) = 0\n"
             "Nevra_ParamListDestroy(#2)\n"
             "Nevra_ParamListUsedCount(#1) = 3\n"
             "Nevra_ParamListGetString(#1, 2) = 0 \"memmap-00-lo\"\n"
             "Str_Strcpy(\"memmap-00-lo\", 16)\n"
             "Nevra_ParamListCreate(1, 1) = #2\n"
             "Nevra_ParamListAddInt(#2, 0) = 0\n"
             "Nevra_Get(memory_memNodes, #2 [0], 28) = 0\n"
             "Nevra_ParamListDestroy(#2)\n"
             "Nevra_ParamListUsedCount(#1) = 3\n"
             "Nevra_ParamListDestroy(#1)\n"
             "Nevra_ParamListCreate(1, 1) = #1\n"
             "Nevra_ParamListAddString(#1, \"memmap-00-lo\") = 0\n"
             "Nevra_Get(system_buddy_comprehensive, #1 [\"memmap-00-lo\"], 236) = 0\n"
             "Nevra_ParamListDestroy(#1)\n"
             "Nevra_ParamListCreate(1, 1) = #1\n"
             "Nevra_ParamListAddString(#1, \"memmap-01-hi\") = 0\n"
             "Nevra_Get(system_buddy_comprehensive, #1 [\"memmap-01-hi\"], 236) = 0\n"
             "Nevra_ParamListDestroy(#1)\n");
}

TEST(BuddyStats, PrintsCsv)
{
   EXPECT_EQ(RunBuddy(TwoBuddies(), {"-q"}).out, kCsvHeader + kCsvLow + kCsvHigh + kCsvTotal);
}

TEST(BuddyStats, PrintsAZeroTotalWithoutBuddies)
{
   Scenario others;
   others.List(NodeId::system_buddy, {}, {"heap", "memma", "xmemmap-00-lo", ""});
   for (const Scenario &scenario : {Scenario().List(NodeId::system_buddy, {}, {}), others}) {
      const RunResult run = RunBuddy(scenario, {"-q"});
      EXPECT_EQ(run.out, kCsvHeader + kCsvEmptyTotal);
      EXPECT_EQ(run.err, "");
      EXPECT_EQ(run.exitStatus, 0);
      EXPECT_THAT(run, RanCleanly());
   }
}

TEST(BuddyStats, KeepsTheKeyColumnAndBlanksItOnTheTotalRow)
{
   EXPECT_EQ(RunBuddy(TwoBuddies(), {"-s", "4KBfree"}).out,
             "\n MEMMAP BUDDY STATS: Tue Nov 14 22:13:20 2023\n"
             " --------------------------------------------\n"
             "   Selected columns : memNode:4KBfree\n"
             "\n"
             "------------------\n"
             "memNode    4KBfree\n"
             "------------------\n"
             "      0        100\n"
             "      1       1000\n"
             "------------------\n"
             "              1100\n"
             "------------------\n");
}

// The column says 256MB where it counts 512MB. Kept for compatibility.
TEST(BuddyStats, Describes512MBAs256MB)
{
   const std::vector<std::string> lines = RunBuddy(TwoBuddies(), {"-q", "-v"}).OutLines();
   ASSERT_EQ(lines.size(), 4u + 1u + 42u);
   EXPECT_EQ(lines[4], "Description of report header labels:");
   EXPECT_EQ(lines[5], "                name: Name of the buddy");
   EXPECT_EQ(lines[6], "             memNode: Memory node the buddy belongs to");
   EXPECT_EQ(lines[7], "                type: Legacy memory type name");
   EXPECT_EQ(lines[8], "            numaNode: NUMA node the buddy belongs to");
   for (unsigned k = 0; k < kOrders; k++) {
      std::string size = kSizes[k];
      if (size == "128KB" || size == "256KB" || size == "512KB") {
         size.insert(3, " ");
      }
      char line[80];
      std::snprintf(line, sizeof line, "%20s: free %s buffers", (std::string(kSizes[k]) + "free").c_str(),
                    size == "512MB" ? "256MB" : size.c_str());
      EXPECT_EQ(lines[9 + k], line);
      std::snprintf(line, sizeof line, "%20s: used %s buffers", (std::string(kSizes[k]) + "used").c_str(),
                    size.c_str());
      EXPECT_EQ(lines[9 + kOrders + k], line);
   }
}

const std::vector<std::string> kNamesAndNodes = {"-q", "-s", "name:type:numaNode"};

TEST(BuddyStats, SortsByMemoryNodeWithTheLowBuddyFirst)
{
   EXPECT_EQ(RunBuddy(Buddies({"memmap-10-lo", "memmap-02-hi", "memmap-00-hi", "memmap-10-hi", "memmap-02-lo",
                               "memmap-00-lo"}),
                      kNamesAndNodes)
                .out,
             "name,memNode,type,numaNode\n"
             "memmap-00-lo,0,low,100\n"
             "memmap-00-hi,0,high,100\n"
             "memmap-02-lo,2,low,102\n"
             "memmap-02-hi,2,high,102\n"
             "memmap-10-lo,10,low,110\n"
             "memmap-10-hi,10,high,110\n"
             "Total,,,\n");
}

// "low" in the column is the name's last letter; in the order of the rows it is "lo" after the node.
TEST(BuddyStats, TellsLowByTheLastLetterOfTheCutName)
{
   EXPECT_EQ(RunBuddy(Buddies({"memmap-01-zero", "memmap-02-lo-far-away", "memmap-03-xxx-o-", "memmap"}),
                      kNamesAndNodes)
                .out,
             "name,memNode,type,numaNode\n"
             "memmap,0,high,100\n"
             "memmap-01-zero,1,low,101\n"
             "memmap-02-lo-fa,2,high,102\n"
             "memmap-03-xxx-o,3,low,103\n"
             "Total,,,\n");
}

TEST(BuddyStats, ReadsTheMemoryNodeUpToTheFirstNonDigit)
{
   const RunResult run = RunBuddy(Buddies({"memmap-07x", "memmap:12", "memmap-", "memmap-xx"}), {"-q"});
   EXPECT_EQ(
      run.Calls({"Nevra_ParamListAddInt"}),
      (std::vector<std::string>{"Nevra_ParamListAddInt(#2, 7) = 0", "Nevra_ParamListAddInt(#2, 12) = 0",
                                "Nevra_ParamListAddInt(#2, 0) = 0", "Nevra_ParamListAddInt(#2, 0) = 0"}));
   EXPECT_THAT(run, RanCleanly());
}

TEST(BuddyStats, TakesANegativeMemoryNodeAsUnsigned)
{
   Scenario scenario;
   scenario.List(NodeId::system_buddy, {}, {"memmap--1"});
   const RunResult run = RunBuddy(scenario, {"-q"});
   EXPECT_EQ(run.err, "Error 0xbad0003 while reading /memory/memNodes/4294967295");
   EXPECT_EQ(run.out, kCsvHeader + kCsvEmptyTotal);
}

TEST(BuddyStats, LeavesOutABuddyWhoseMemoryNodeCannotBeRead)
{
   Scenario scenario = TwoBuddies();
   scenario.List(NodeId::system_buddy, {}, {"memmap-05-long-lo", "memmap", "memmap-01-hi"});
   scenario.FailRead(NodeId::memory_memNodes, {0}, 0xbad000a);
   const RunResult run = RunBuddy(scenario, {"-q"});
   EXPECT_EQ(run.err, "Error 0xbad0003 while reading /memory/memNodes/5"
                      "Error 0xbad000a while reading /memory/memNodes/0");
   EXPECT_EQ(run.out, kCsvHeader + kCsvHigh + "Total,,," + Counts(1000, 2000, ",%u") + '\n');
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_THAT(run, RanCleanly());
}

// A memory node's list is freed right after the read, a buddy's only after its failure has been reported.
TEST(BuddyStats, FreesTheListOfAFailedReadBeforeOrBehindTheMessage)
{
   const std::vector<std::string> operations = {"Warning", "Nevra_ParamListDestroy"};
   Scenario scenario = TwoBuddies();
   scenario.FailRead(NodeId::memory_memNodes, {0}, 0xbad000a);
   scenario.FailRead(NodeId::system_buddy_comprehensive, {"memmap-01-hi"}, 0xbad000b);
   EXPECT_EQ(RunBuddy(scenario, {"-q"}).Calls(operations),
             (std::vector<std::string>{
                "Nevra_ParamListDestroy(#2)", "Nevra_ParamListDestroy(#2)",
                "Warning(\"Error 0xbad000a while reading /memory/memNodes/0\")", "Nevra_ParamListDestroy(#1)",
                "Warning(\"Error 0xbad000b while reading memmap-01-hi/comprehensive\")",
                "Nevra_ParamListDestroy(#1)"}));
}

TEST(BuddyStats, WrapsTheTotals)
{
   Scenario scenario = TwoBuddies();
   scenario.Record(NodeId::system_buddy_comprehensive, {"memmap-00-lo"}, Buffers(4294967000, 0));
   const std::string total = RunBuddy(scenario, {"-q", "-s", "4KBfree:1GBfree"}).OutLines()[3];
   EXPECT_EQ(total, ",704,740");
}

std::string LowBuddy(unsigned memNode)
{
   char name[32];
   std::snprintf(name, sizeof name, "memmap-%02u-lo", memNode);
   return name;
}

TEST(BuddyStats, KeepsSixtyFourBuddies)
{
   for (const unsigned listed : {64u, 65u, 99u}) {
      std::vector<std::string> names;
      for (unsigned i = 0; i < listed; i++) {
         names.push_back(LowBuddy(i));
      }
      const RunResult run = RunBuddy(Buddies(names), {"-q", "-s", "name:1GBused"});
      const std::vector<std::string> lines = run.OutLines();
      ASSERT_EQ(lines.size(), 1 + 64 + 1u);
      for (unsigned i = 0; i < 64; i++) {
         EXPECT_EQ(lines[1 + i], names[i] + ',' + std::to_string(i) + ",118");
      }
      EXPECT_EQ(lines[65], "Total,,7552");
      EXPECT_EQ(run.err, "");
      EXPECT_EQ(run.exitStatus, 0);
      EXPECT_THAT(run, RanCleanly());
   }
}

TEST(BuddyStats, SurvivesBuddiesThatHaveNoConsistentOrder)
{
   std::vector<std::string> names;
   for (unsigned i = 0; i < 64; i++) {
      names.push_back(std::string("memmap-00-") + std::to_string(i));
   }
   const RunResult run = RunBuddy(Buddies(names), {"-q", "-s", "4KBused"});
   ASSERT_EQ(run.OutLines().size(), 1 + 64 + 1u);
   EXPECT_EQ(run.OutLines()[65], ",6400");
   EXPECT_THAT(run, RanCleanly());
}

// What a run with one fault shows. Calls are counted over both steps: the memory nodes of 01-hi and 00-lo,
// then the counts of 00-lo and 01-hi.
ExpectedFault ExpectBuddyFault(const Fault &fault)
{
   const bool first = fault.call % 2 == 1;
   char status[16];
   std::snprintf(status, sizeof status, "%#x", fault.status);
   if (fault.operation == "Nevra_ParamListCreateAndAllocateParams" ||
       fault.operation == "Nevra_GetInstanceList") {
      return {0, "", kCsvHeader + kCsvEmptyTotal};
   }
   const std::string onlyLow = kCsvHeader + kCsvLow + "Total,,," + Counts(100, 200, ",%u") + '\n';
   const std::string onlyHigh = kCsvHeader + kCsvHigh + "Total,,," + Counts(1000, 2000, ",%u") + '\n';
   if (fault.operation == "Nevra_ParamListGetString") {
      return {0, "", fault.call == 3 ? onlyHigh : kCsvHeader + kCsvEmptyTotal};
   }
   std::string message;
   if (fault.operation == "Nevra_ParamListAddInt" ||
       (fault.operation != "Nevra_ParamListAddString" && fault.call <= 2)) {
      const std::string memNode = first ? "1" : "0";
      if (fault.operation == "Nevra_ParamListCreate") {
         message = "KelmarMemNode2NUMANode: Nevra_ParamListCreate() failure\n";
      } else if (fault.operation == "Nevra_ParamListAddInt") {
         message = "The param list for memNode " + memNode + " could not be created: " + status;
      } else {
         message = std::string("Error ") + status + " while reading /memory/memNodes/" + memNode;
      }
      return {0, message, first ? onlyLow : onlyHigh};
   }
   const std::string name = first ? "memmap-00-lo" : "memmap-01-hi";
   if (fault.operation == "Nevra_ParamListCreate") {
      message = "KelmarBuddyGetStats: Nevra_ParamListCreate() failure\n";
   } else if (fault.operation == "Nevra_ParamListAddString") {
      message = "The param list for buddy " + name + " could not be created: " + status;
   } else {
      message = std::string("Error ") + status + " while reading " + name + "/comprehensive";
   }
   return {1, message, first ? kCsvHeader : kCsvHeader + kCsvLow};
}

TEST(BuddyStats, ReportsEveryFault)
{
   CheckEveryFault(TwoBuddies(), {"-r", "buddy-stats", "-q"}, ExpectBuddyFault);
}

// The table is left open: no separator, no Total row.
TEST(BuddyStats, EndsWithoutATotalWhenABuddyCannotBeRead)
{
   Scenario scenario = TwoBuddies();
   scenario.FailRead(NodeId::system_buddy_comprehensive, {"memmap-01-hi"}, 0xbad0003);
   const RunResult run = RunBuddy(scenario, {"-s", "4KBfree", "-v"});
   EXPECT_EQ(run.out, "\n MEMMAP BUDDY STATS: Tue Nov 14 22:13:20 2023\n"
                      " --------------------------------------------\n"
                      "   Selected columns : memNode:4KBfree\n"
                      "\n"
                      "------------------\n"
                      "memNode    4KBfree\n"
                      "------------------\n"
                      "      0        100\n");
   EXPECT_EQ(run.exitStatus, 1);
}

TEST(BuddyStats, HasNoUnit)
{
   EXPECT_EQ(RunBuddy(TwoBuddies(), {"-q", "-u", "--unit", "-s", "4KBfree"}).out,
             "memNode,4KBfree\n0,100\n1,1000\n,1100\n");
}

} // namespace
