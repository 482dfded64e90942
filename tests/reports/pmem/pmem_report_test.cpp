// The four persistent-memory volume reports.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scripted/scenario.h"

using namespace scripted;

namespace {

constexpr const char *kReports[] = {"pmem-regionstore-stats", "pmem-region-stats", "pmem-extent-stats",
                                    "pmem-region-numa-stats"};

// Two volumes. A has the regions r1 and r2 and the extents 0 and -7; B has no region and the extent 3.
// r1 has memory on the NUMA nodes 0 and 1, r2 on none.
Scenario TwoVolumes()
{
   Scenario scenario;
   scenario.List(NodeId::memory_pmem_volumes, {}, {"A", "B"});
   for (const char *volume : {"A", "B"}) {
      scenario.Record(NodeId::memory_pmem_volumes_info, {volume}, PMemVolumeInfoRecord{});
      const uint32_t start = volume[0] == 'A' ? 10 : 4294967295;
      PMemRegionStoreRecord store;
      memset(&store, 0xee, sizeof store);
      store.allocated2MBlocks = 1;
      store.reserved2MBlocks = 2;
      store.available2MBlocks = 3;
      store.totalRegions = start;
      store.freeRegions = start - 1;
      store.total2MBlocks = 6;
      scenario.Record(NodeId::memory_pmem_volumes_regionStore_info, {volume}, store);
      scenario.Record(NodeId::memory_pmem_volumes_regionStore_isClean, {volume},
                      PMemCleanRecord{static_cast<uint8_t>(volume[0] == 'A' ? 0x80 : 0)});
   }
   scenario.List(NodeId::memory_pmem_volumes_regionStore_regions, {"A"}, {"r1", "r2"});
   scenario.List(NodeId::memory_pmem_volumes_regionStore_regions, {"B"}, {});
   for (const char *region : {"r1", "r2"}) {
      PMemRegionRecord info;
      memset(&info, 0xee, sizeof info);
      const bool first = region[1] == '1';
      info.size = first ? 1 : 1073741825;
      info.reserved2MBlocks = 11;
      info.flags = first ? 0x5 : 0;
      info.dataLossCounter = 12;
      info.openCount = 4294967295;
      info.allocated2MBlocks = 13;
      info.managementTag = first ? 65535 : 7;
      info.numaAffinityMask = first ? UINT64_MAX : 0;
      scenario.Record(NodeId::memory_pmem_volumes_regionStore_regions_info, {"A", region}, info);
   }
   scenario.List(NodeId::memory_pmem_volumes_extents, {"A"}, {0, -7});
   scenario.List(NodeId::memory_pmem_volumes_extents, {"B"}, {3});
   scenario.Record(NodeId::memory_pmem_volumes_extents, {"A", 0}, PMemExtentRecord{20, 21, 22, 23, 24});
   scenario.Record(NodeId::memory_pmem_volumes_extents, {"A", -7}, PMemExtentRecord{30, 31, 32, 33, 34});
   scenario.Record(NodeId::memory_pmem_volumes_extents, {"B", 3}, PMemExtentRecord{40, 41, 42, 43, 44});
   const NodeId numaNode = NodeId::memory_pmem_volumes_regionStore_regions_numaAllocInfo;
   scenario.List(numaNode, {"A", "r1"}, {0, 1});
   scenario.List(numaNode, {"A", "r2"}, {});
   scenario.Record(numaNode, {"A", "r1", 0}, PMemRegionNumaRecord{50, 51});
   scenario.Record(numaNode, {"A", "r1", 1}, PMemRegionNumaRecord{4294967295, 61});
   return scenario;
}

RunResult RunPMem(const Scenario &scenario, unsigned mode, const std::vector<std::string> &options = {})
{
   std::vector<std::string> arguments = {"-r", kReports[mode]};
   arguments.insert(arguments.end(), options.begin(), options.end());
   return RunHostmem(scenario, arguments);
}

const std::string kCsvHeaders[] = {
   "uuid,alloc2MBlocks,resvd2MBlocks,avail2MBlocks,totalRegions,freeRegions,total2MBlocks,isClean\n",
   "uuid,regionUuid,size,reserved,flags,dataLossCounter,numOpened,allocated,managementTag,numaAffinityMask\n",
   "uuid,extentID,numaNode,startBlk,endBlk,startMPN,endMPN\n", "uuid,regionUuid,numaNode,num2MAllocated\n"};
const std::vector<std::string> kCsvRows[] = {
   {"A,1,2,3,10,9,6,y\n", "B,1,2,3,4294967295,4294967294,6,n\n"},
   {"A,r1,1,11,allocated:locked,12,4294967295,13,65535,0xffffffffffffffff\n",
    "A,r2,1048577,11,(none),12,4294967295,13,7,0x0\n"},
   {"A,0,24,20,21,22,23\n", "A,18446744073709551609,34,30,31,32,33\n", "B,3,44,40,41,42,43\n"},
   {"A,r1,50,51\n", "A,r1,-1,61\n"}};

// The output of a run in CSV mode that printed the first rows of all.
std::string Csv(unsigned mode, size_t rows)
{
   std::string text = kCsvHeaders[mode];
   for (size_t i = 0; i < rows; i++) {
      text += kCsvRows[mode].at(i);
   }
   return text;
}

TEST(PMemReport, PrintsRowsInEveryMode)
{
   for (unsigned mode = 0; mode < 4; mode++) {
      const RunResult run = RunPMem(TwoVolumes(), mode, {"-q"});
      EXPECT_EQ(run.out, Csv(mode, kCsvRows[mode].size()));
      EXPECT_EQ(run.err, "");
      EXPECT_EQ(run.exitStatus, 0);
      EXPECT_THAT(run, RanCleanly());
   }
}

TEST(PMemReport, PrintsTheRegionStoreTable)
{
   const std::string rule = std::string(129, '-') + '\n';
   EXPECT_EQ(
      RunPMem(TwoVolumes(), 0).out,
      "\n PERSISTENT MEMORY REGIONSTORE STATS: Tue Nov 14 22:13:20 2023\n"
      " -------------------------------------------------\n"
      "   Unit             : KB\n"
      "   Selected columns : (all)\n"
      "\n" +
         rule +
         "                                    uuid alloc2MBlocks resvd2MBlocks avail2MBlocks totalRegions "
         "freeRegions total2MBlocks isClean\n" +
         rule + rule +
         "                                       A             1             2             3           10 "
         "          9             6       y\n"
         "                                       B             1             2             3   4294967295 "
         " 4294967294             6       n\n" +
         rule);
}

TEST(PMemReport, NamesTheModeAndTheUnitInTheBanner)
{
   const char *const kTitles[] = {"REGIONSTORE", "REGION", "EXTENT", "REGION NUMA"};
   for (unsigned mode = 0; mode < 4; mode++) {
      const std::vector<std::string> lines =
         RunPMem(TwoVolumes(), mode, {"-u", "pg", "-s", "uuid"}).OutLines();
      EXPECT_EQ(lines[0], "");
      EXPECT_EQ(lines[1],
                std::string(" PERSISTENT MEMORY ") + kTitles[mode] + " STATS: Tue Nov 14 22:13:20 2023");
      EXPECT_EQ(lines[2], " -------------------------------------------------");
      EXPECT_EQ(lines[3], "   Unit             : Page (4K)");
      EXPECT_EQ(lines[4], "   Selected columns : uuid");
      EXPECT_EQ(lines[5], "");
   }
}

TEST(PMemReport, PrintsTheSmallTable)
{
   EXPECT_EQ(RunPMem(TwoVolumes(), 3, {"-s", "numaNode:num2MAllocated", "-v"}).out,
             "\n PERSISTENT MEMORY REGION NUMA STATS: Tue Nov 14 22:13:20 2023\n"
             " -------------------------------------------------\n"
             "   Unit             : KB\n"
             "   Selected columns : numaNode:num2MAllocated\n"
             "\n"
             "-------------------------\n"
             "  numaNode num2MAllocated\n"
             "-------------------------\n"
             "-------------------------\n"
             "        50             51\n"
             "        -1             61\n"
             "-------------------------\n"
             "Description of report header labels:\n"
             "            numaNode: NUMA node\n"
             "      num2MAllocated: Number of 2M blocks allocated\n");
}

TEST(PMemReport, DescribesColumns)
{
   const std::string kDescriptions[] = {"Description of report header labels:\n"
                                        "                uuid: Volume UUID\n"
                                        "       alloc2MBlocks: Allocated 2M Blocks\n"
                                        "       resvd2MBlocks: Reserved 2M Blocks\n"
                                        "       avail2MBlocks: Available Reservable 2M Blocks\n"
                                        "        totalRegions: Total regions in the region store\n"
                                        "         freeRegions: Free regions in the region store\n"
                                        "       total2MBlocks: Total 2M Blocks\n"
                                        "             isClean: Is region store clean ?\n",
                                        "Description of report header labels:\n"
                                        "                uuid: Volume UUID\n"
                                        "          regionUuid: Region UUID\n"
                                        "                size: Region memory size\n"
                                        "            reserved: Reserved 2M blocks\n"
                                        "               flags: Flags\n"
                                        "     dataLossCounter: Data Loss Counter\n"
                                        "           numOpened: Open count\n"
                                        "           allocated: Allocated 2m blocks\n"
                                        "       managementTag: Management Tag\n"
                                        "    numaAffinityMask: NUMA affinity mask\n",
                                        "Description of report header labels:\n"
                                        "                uuid: Volume UUID\n"
                                        "            extentID: Extent Number\n"
                                        "            numaNode: NUMA Node of this extent\n"
                                        "            startBlk: Starting blocknum of extent\n"
                                        "              endBlk: Ending blocknum of extent\n"
                                        "            startMPN: Starting MPN of extent\n"
                                        "              endMPN: Ending MPN of extent\n",
                                        "Description of report header labels:\n"
                                        "                uuid: Volume UUID\n"
                                        "          regionUuid: Region UUID\n"
                                        "            numaNode: NUMA node\n"
                                        "      num2MAllocated: Number of 2M blocks allocated\n"};
   for (unsigned mode = 0; mode < 4; mode++) {
      EXPECT_EQ(RunPMem(TwoVolumes(), mode, {"-q", "--verbose"}).out,
                Csv(mode, kCsvRows[mode].size()) + kDescriptions[mode]);
   }
}

TEST(PMemReport, ConvertsOnlyTheSizeOfARegion)
{
   const std::pair<const char *, const char *> kSizes[] = {
      {"kb", "1\n1048577\n"}, {"MB", "1\n1025\n"}, {"gb", "1\n2\n"}, {"pg", "1\n262145\n"}};
   for (const auto &[unit, sizes] : kSizes) {
      EXPECT_EQ(RunPMem(TwoVolumes(), 1, {"-q", "-s", "size", "-u", unit}).out,
                std::string("size\n") + sizes);
      for (const unsigned mode : {0u, 2u, 3u}) {
         EXPECT_EQ(RunPMem(TwoVolumes(), mode, {"-q", "-u", unit}).out, Csv(mode, kCsvRows[mode].size()));
      }
   }
}

TEST(PMemReport, SelectsBeforeItRefusesTheUnit)
{
   for (unsigned mode = 0; mode < 4; mode++) {
      const RunResult run = RunPMem(TwoVolumes(), mode, {"-u", "b", "-s", std::string(513, 'x')});
      EXPECT_EQ(run.out, "");
      EXPECT_EQ(run.err, "Selected columns is too long, selection might be ignored.\n"
                         "Invalid unit specified. Choose from {mb, kb, pg}\n");
      EXPECT_EQ(run.exitStatus, 1);
      EXPECT_TRUE(run.Calls().empty());
   }
}

TEST(PMemReport, PrintsEveryRegionFlag)
{
   Scenario scenario = TwoVolumes();
   const NodeId node = NodeId::memory_pmem_volumes_regionStore_regions_info;
   scenario.Record(node, {"A", "r1"}, PMemRegionRecord{.flags = 0xff});
   scenario.Record(node, {"A", "r2"}, PMemRegionRecord{.flags = 0xffffff00});
   EXPECT_EQ(RunPMem(scenario, 1, {"-q", "-s", "flags"}).out,
             "flags\nallocated:dangling:locked:readOnly:blockDev:persistResv:system:zombie\n(none)\n");
}

TEST(PMemReport, PrintsAnEmptyTableWithoutVolumes)
{
   for (const Scenario &scenario : {Scenario().List(NodeId::memory_pmem_volumes, {}, {}),
                                    Scenario().FailList(NodeId::memory_pmem_volumes, {}, 0xbad0001)}) {
      const RunResult run = RunPMem(scenario, 3, {"-s", "numaNode"});
      EXPECT_EQ(run.out, "\n PERSISTENT MEMORY REGION NUMA STATS: Tue Nov 14 22:13:20 2023\n"
                         " -------------------------------------------------\n"
                         "   Unit             : KB\n"
                         "   Selected columns : numaNode\n"
                         "\n"
                         "----------\n"
                         "  numaNode\n"
                         "----------\n"
                         "----------\n"
                         "----------\n");
      EXPECT_EQ(run.err, "");
      EXPECT_EQ(run.exitStatus, 0);
      EXPECT_THAT(run, RanCleanly());
      for (unsigned mode = 0; mode < 4; mode++) {
         EXPECT_EQ(RunPMem(scenario, mode, {"-q"}).out, kCsvHeaders[mode]);
      }
   }
}

TEST(PMemReport, ReadsRegionStoresInOrder)
{
   EXPECT_EQ(JoinLines(RunPMem(TwoVolumes().List(NodeId::memory_pmem_volumes, {}, {"A"}), 0, {"-q"}).trace),
             "Nevra_CheckSig(21) = 0\n"
             "Nevra_GetInstanceListAlloc(memory_pmem_volumes, null) = 0 #1 [\"A\"]\n"
             "Nevra_ParamListUsedCount(#1) = 1\n"
             "Nevra_ParamListGetString(#1, 0) = 0 \"A\"\n"
             "Nevra_ParamListCreate(1, 1) = #2\n"
             "Nevra_ParamListAddString(#2, \"A\") = 0\n"
             "Nevra_Get(memory_pmem_volumes_info, #2 [\"A\"], 40) = 0\n"
             "Nevra_ParamListDestroy(#2)\n"
             "Nevra_ParamListCreate(1, 1) = #2\n"
             "Nevra_ParamListAddString(#2, \"A\") = 0\n"
             "Nevra_Get(memory_pmem_volumes_regionStore_info, #2 [\"A\"], 52) = 0\n"
             "Nevra_Get(memory_pmem_volumes_regionStore_isClean, #2 [\"A\"], 1) = 0\n"
             "Nevra_ParamListDestroy(#2)\n"
             "Nevra_ParamListDestroy(#1)\n");
}

TEST(PMemReport, ReadsRegionsInOrder)
{
   Scenario scenario = TwoVolumes();
   scenario.List(NodeId::memory_pmem_volumes_regionStore_regions, {"A"}, {"r2"});
   EXPECT_EQ(
      JoinLines(RunPMem(scenario, 1, {"-q"}).trace),
      "Nevra_CheckSig(21) = 0\n"
      "Nevra_GetInstanceListAlloc(memory_pmem_volumes, null) = 0 #1 [\"A\", \"B\"]\n"
      "Nevra_ParamListUsedCount(#1) = 2\n"
      "Nevra_ParamListGetString(#1, 0) = 0 \"A\"\n"
      "Nevra_ParamListCreate(1, 1) = #2\n"
      "Nevra_ParamListAddString(#2, \"A\") = 0\n"
      "Nevra_GetInstanceListAlloc(memory_pmem_volumes_regionStore_regions, #2 [\"A\"]) = 0 #3 [\"r2\"]\n"
      "Nevra_ParamListDestroy(#2)\n"
      "Nevra_ParamListUsedCount(#3) = 1\n"
      "Nevra_ParamListGetString(#3, 0) = 0 \"r2\"\n"
      "Nevra_ParamListCreate(1, 2) = #2\n"
      "Nevra_ParamListAddString(#2, \"A\") = 0\n"
      "Nevra_ParamListAddString(#2, \"r2\") = 0\n"
      "Nevra_Get(memory_pmem_volumes_regionStore_regions_info, #2 [\"A\", \"r2\"], 84) = 0\n"
      "Nevra_ParamListDestroy(#2)\n"
      "Nevra_ParamListDestroy(#3)\n"
      "Nevra_ParamListGetString(#1, 1) = 0 \"B\"\n"
      "Nevra_ParamListCreate(1, 1) = #2\n"
      "Nevra_ParamListAddString(#2, \"B\") = 0\n"
      "Nevra_GetInstanceListAlloc(memory_pmem_volumes_regionStore_regions, #2 [\"B\"]) = 0 #3 []\n"
      "Nevra_ParamListDestroy(#2)\n"
      "Nevra_ParamListUsedCount(#3) = 0\n"
      "Nevra_ParamListDestroy(#3)\n"
      "Nevra_ParamListDestroy(#1)\n");
}

TEST(PMemReport, ReadsExtentsInOrder)
{
   Scenario scenario = TwoVolumes();
   scenario.List(NodeId::memory_pmem_volumes, {}, {"B"});
   EXPECT_EQ(JoinLines(RunPMem(scenario, 2, {"-q"}).trace),
             "Nevra_CheckSig(21) = 0\n"
             "Nevra_GetInstanceListAlloc(memory_pmem_volumes, null) = 0 #1 [\"B\"]\n"
             "Nevra_ParamListUsedCount(#1) = 1\n"
             "Nevra_ParamListGetString(#1, 0) = 0 \"B\"\n"
             "Nevra_ParamListCreate(1, 1) = #2\n"
             "Nevra_ParamListAddString(#2, \"B\") = 0\n"
             "Nevra_GetInstanceListAlloc(memory_pmem_volumes_extents, #2 [\"B\"]) = 0 #3 [3]\n"
             "Nevra_ParamListDestroy(#2)\n"
             "Nevra_ParamListUsedCount(#3) = 1\n"
             "Nevra_ParamListGetInt32(#3, 0) = 0 3\n"
             "Nevra_ParamListCreate(1, 2) = #2\n"
             "Nevra_ParamListAddString(#2, \"B\") = 0\n"
             "Nevra_ParamListAddInt(#2, 3) = 0\n"
             "Nevra_Get(memory_pmem_volumes_extents, #2 [\"B\", 3], 40) = 0\n"
             "Nevra_ParamListDestroy(#2)\n"
             "Nevra_ParamListDestroy(#3)\n"
             "Nevra_ParamListDestroy(#1)\n");
}

TEST(PMemReport, ReadsNumaNodesInOrder)
{
   Scenario scenario = TwoVolumes();
   scenario.List(NodeId::memory_pmem_volumes, {}, {"A"});
   scenario.List(NodeId::memory_pmem_volumes_regionStore_regions, {"A"}, {"r1"});
   scenario.List(NodeId::memory_pmem_volumes_regionStore_regions_numaAllocInfo, {"A", "r1"}, {1});
   EXPECT_EQ(
      JoinLines(RunPMem(scenario, 3, {"-q"}).trace),
      "Nevra_CheckSig(21) = 0\n"
      "Nevra_GetInstanceListAlloc(memory_pmem_volumes, null) = 0 #1 [\"A\"]\n"
      "Nevra_ParamListUsedCount(#1) = 1\n"
      "Nevra_ParamListGetString(#1, 0) = 0 \"A\"\n"
      "Nevra_ParamListCreate(1, 1) = #2\n"
      "Nevra_ParamListAddString(#2, \"A\") = 0\n"
      "Nevra_GetInstanceListAlloc(memory_pmem_volumes_regionStore_regions, #2 [\"A\"]) = 0 #3 [\"r1\"]\n"
      "Nevra_ParamListDestroy(#2)\n"
      "Nevra_ParamListUsedCount(#3) = 1\n"
      "Nevra_ParamListGetString(#3, 0) = 0 \"r1\"\n"
      "Nevra_ParamListCreate(1, 2) = #2\n"
      "Nevra_ParamListAddString(#2, \"A\") = 0\n"
      "Nevra_ParamListAddString(#2, \"r1\") = 0\n"
      "Nevra_GetInstanceListAlloc(memory_pmem_volumes_regionStore_regions_numaAllocInfo, #2 [\"A\", \"r1\"]) "
      "= "
      "0 #4 [1]\n"
      "Nevra_ParamListDestroy(#2)\n"
      "Nevra_ParamListUsedCount(#4) = 1\n"
      "Nevra_ParamListGetInt32(#4, 0) = 0 1\n"
      "Nevra_ParamListCreate(1, 3) = #2\n"
      "Nevra_ParamListAddString(#2, \"A\") = 0\n"
      "Nevra_ParamListAddString(#2, \"r1\") = 0\n"
      "Nevra_ParamListAddInt(#2, 1) = 0\n"
      "Nevra_Get(memory_pmem_volumes_regionStore_regions_numaAllocInfo, #2 [\"A\", \"r1\", 1], 12) = 0\n"
      "Nevra_ParamListDestroy(#2)\n"
      "Nevra_ParamListDestroy(#4)\n"
      "Nevra_ParamListDestroy(#3)\n"
      "Nevra_ParamListDestroy(#1)\n");
}

// What the faults of an operation say: one text for each of its calls in a clean run, in turn, and the number
// of rows that were printed before.
struct CallFaults {
   const char *operation;
   std::vector<std::pair<const char *, size_t>> calls;
};

void ExpectFaults(unsigned mode, const Scenario &scenario, const std::vector<CallFaults> &faults)
{
   const std::vector<std::string> arguments = {"-r", kReports[mode], "-q"};
   CheckEveryFault(scenario, arguments, [&](const Fault &fault) {
      for (const CallFaults &of : faults) {
         if (fault.operation == of.operation) {
            const auto &[message, rows] = of.calls.at(fault.call - 1);
            return ExpectedFault{0, message, Csv(mode, rows)};
         }
      }
      ADD_FAILURE() << "no expectation for " << fault.operation;
      return ExpectedFault();
   });
}

TEST(PMemReport, EndsTheRegionStoresAtTheFirstFault)
{
   const char *const info = "PMemRegionStoreReport: PMemGetVolumeInfo failure\n";
   const char *const store = "PMemRegionStoreReport: PMemGetRegionStoreInfo failure\n";
   const std::string list = std::string("PMemGetVolumeInfo: Nevra_ParamListCreate failure\n") + info;
   const std::string add = std::string("PMemGetVolumeInfo: Nevra_ParamListAddString failure\n") + info;
   const std::string storeList =
      std::string("PMemGetRegionStoreInfo: Nevra_ParamListCreate failure\n") + store;
   const std::string storeAdd =
      std::string("PMemGetRegionStoreInfo: Nevra_ParamListAddString failure\n") + store;
   const std::string storeGet = std::string("PMemGetRegionStoreInfo: Nevra_Get failure\n") + store;
   const char *const name = "PMemRegionStoreReport: Nevra_ParamListGetString Failure\n";
   ExpectFaults(
      0, TwoVolumes(),
      {{"Nevra_GetInstanceListAlloc", {{"", 0}}},
       {"Nevra_ParamListGetString", {{name, 0}, {name, 1}}},
       {"Nevra_ParamListCreate",
        {{list.c_str(), 0}, {storeList.c_str(), 0}, {list.c_str(), 1}, {storeList.c_str(), 1}}},
       {"Nevra_ParamListAddString",
        {{add.c_str(), 0}, {storeAdd.c_str(), 0}, {add.c_str(), 1}, {storeAdd.c_str(), 1}}},
       {"Nevra_Get",
        {{info, 0}, {storeGet.c_str(), 0}, {store, 0}, {info, 1}, {storeGet.c_str(), 1}, {store, 1}}}});
}

TEST(PMemReport, EndsTheRegionsAtTheFirstFault)
{
   const char *const name = "PMemRegionsReport: Nevra_ParamListGetString failure\n";
   const char *const list = "PMemRegionsReport: Nevra_ParamListCreate failure\n";
   const char *const add = "PMemRegionsReport: Nevra_ParamListAddString failure\n";
   const char *const regionList = "GetRegionsInfo: Nevra_ParamListCreate failure\n"
                                  "PMemRegionsReport: GetRegionsInfo failure\n";
   const char *const regionAdd = "GetRegionsInfo: Nevra_ParamListAddString failure\n"
                                 "PMemRegionsReport: GetRegionsInfo failure\n";
   const char *const get = "GetRegionsInfo: Nevra_Get failure\n"
                           "PMemRegionsReport: GetRegionsInfo failure\n";
   ExpectFaults(1, TwoVolumes(),
                {{"Nevra_GetInstanceListAlloc", {{"", 0}, {"", 0}, {"", 2}}},
                 {"Nevra_ParamListGetString", {{name, 0}, {name, 0}, {name, 1}, {name, 2}}},
                 {"Nevra_ParamListCreate", {{list, 0}, {regionList, 0}, {regionList, 1}, {list, 2}}},
                 {"Nevra_ParamListAddString",
                  {{add, 0}, {regionAdd, 0}, {regionAdd, 0}, {regionAdd, 1}, {regionAdd, 1}, {add, 2}}},
                 {"Nevra_Get", {{get, 0}, {get, 1}}}});
}

TEST(PMemReport, EndsTheExtentsAtTheFirstFault)
{
   const char *const list = "PMemExtentsReport: Nevra_ParamListCreate failure\n";
   const char *const add = "PMemExtentsReport: Nevra_ParamListAddString failure\n";
   const char *const number = "PMemExtentsReport: Nevra_ParamListGetInt32 failure\n";
   const char *const extentList = "GetExtentsInfo: Nevra_ParamListCreate failure\n"
                                  "PMemExtentsReport: GetExtentsInfo failure\n";
   const char *const extentAdd = "GetExtentsInfo: Nevra_ParamListAddString failure\n"
                                 "PMemExtentsReport: GetExtentsInfo failure\n";
   const char *const extentInt = "GetExtentsInfo: Nevra_ParamListAddInt failure\n"
                                 "PMemExtentsReport: GetExtentsInfo failure\n";
   const char *const get = "GetExtentsInfo: Nevra_Get failure\n"
                           "PMemExtentsReport: GetExtentsInfo failure\n";
   ExpectFaults(
      2, TwoVolumes(),
      {{"Nevra_GetInstanceListAlloc", {{"", 0}, {"", 0}, {"", 2}}},
       // Not checked: the volume without a name has no extents.
       {"Nevra_ParamListGetString", {{"", 0}, {"", 2}}},
       {"Nevra_ParamListCreate", {{list, 0}, {extentList, 0}, {extentList, 1}, {list, 2}, {extentList, 2}}},
       {"Nevra_ParamListAddString", {{add, 0}, {extentAdd, 0}, {extentAdd, 1}, {add, 2}, {extentAdd, 2}}},
       {"Nevra_ParamListAddInt", {{extentInt, 0}, {extentInt, 1}, {extentInt, 2}}},
       {"Nevra_ParamListGetInt32", {{number, 0}, {number, 1}, {number, 2}}},
       {"Nevra_Get", {{get, 0}, {get, 1}, {get, 2}}}});
}

// "Regions" in some of the messages and "Region" in others. Kept for compatibility.
TEST(PMemReport, EndsTheNumaNodesAtTheFirstFault)
{
   const char *const list = "PMemRegionNumaReport: Nevra_ParamListCreate failure\n";
   const char *const add = "PMemRegionNumaReport: Nevra_ParamListAddString failure\n";
   const char *const number = "PMemRegionsNumaReport: Nevra_ParamListGetInt32 failure\n";
   const char *const nodeList = "GetRegionsNumaInfo: Nevra_ParamListCreate failure\n"
                                "PMemRegionsNumaReport: GetRegionsNumaInfo failure\n";
   const char *const nodeAdd = "GetRegionsNumaInfo: Nevra_ParamListAddString failure\n"
                               "PMemRegionsNumaReport: GetRegionsNumaInfo failure\n";
   const char *const nodeInt = "GetRegionsNumaInfo: Nevra_ParamListAddInt failure\n"
                               "PMemRegionsNumaReport: GetRegionsNumaInfo failure\n";
   const char *const get = "GetRegionsNumaInfo: Nevra_Get failure\n"
                           "PMemRegionsNumaReport: GetRegionsNumaInfo failure\n";
   ExpectFaults(
      3, TwoVolumes(),
      {{"Nevra_GetInstanceListAlloc", {{"", 0}, {"", 0}, {"", 0}, {"", 2}, {"", 2}}},
       // Not checked: what has no name has nothing.
       {"Nevra_ParamListGetString", {{"", 0}, {"", 0}, {"", 2}, {"", 2}}},
       {"Nevra_ParamListCreate", {{list, 0}, {list, 0}, {nodeList, 0}, {nodeList, 1}, {list, 2}, {list, 2}}},
       {"Nevra_ParamListAddString",
        {{add, 0},
         {add, 0},
         {add, 0},
         {nodeAdd, 0},
         {nodeAdd, 0},
         {nodeAdd, 1},
         {nodeAdd, 1},
         {add, 2},
         {add, 2},
         {add, 2}}},
       {"Nevra_ParamListAddInt", {{nodeInt, 0}, {nodeInt, 1}}},
       {"Nevra_ParamListGetInt32", {{number, 0}, {number, 1}}},
       {"Nevra_Get", {{get, 0}, {get, 1}}}});
}

TEST(PMemReport, ClosesTheTableAfterAFault)
{
   Scenario scenario = TwoVolumes();
   scenario.FailList(NodeId::memory_pmem_volumes_extents, {"B"}, 0xbad0003);
   const RunResult run = RunPMem(scenario, 2, {"-s", "startBlk", "-v"});
   EXPECT_EQ(run.out, "\n PERSISTENT MEMORY EXTENT STATS: Tue Nov 14 22:13:20 2023\n"
                      " -------------------------------------------------\n"
                      "   Unit             : KB\n"
                      "   Selected columns : startBlk\n"
                      "\n"
                      "----------\n"
                      "  startBlk\n"
                      "----------\n"
                      "----------\n"
                      "        20\n"
                      "        30\n"
                      "----------\n"
                      "Description of report header labels:\n"
                      "            startBlk: Starting blocknum of extent\n");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
}

// Volume A as in TwoVolumes, then one whose name, and that of its region, are given.
Scenario NamedVolume(const std::string &volume, const std::string &region)
{
   Scenario scenario = TwoVolumes();
   scenario.List(NodeId::memory_pmem_volumes, {}, {"A", volume, "B"});
   scenario.Record(NodeId::memory_pmem_volumes_info, {volume}, PMemVolumeInfoRecord{});
   scenario.Record(NodeId::memory_pmem_volumes_regionStore_info, {volume}, PMemRegionStoreRecord{});
   scenario.Record(NodeId::memory_pmem_volumes_regionStore_isClean, {volume}, PMemCleanRecord{1});
   scenario.List(NodeId::memory_pmem_volumes_regionStore_regions, {volume}, {region});
   scenario.Record(NodeId::memory_pmem_volumes_regionStore_regions_info, {volume, region},
                   PMemRegionRecord{});
   scenario.List(NodeId::memory_pmem_volumes_extents, {volume}, {5});
   scenario.Record(NodeId::memory_pmem_volumes_extents, {volume, 5}, PMemExtentRecord{});
   const NodeId numaNode = NodeId::memory_pmem_volumes_regionStore_regions_numaAllocInfo;
   scenario.List(numaNode, {volume, region}, {0});
   scenario.Record(numaNode, {volume, region, 0}, PMemRegionNumaRecord{});
   return scenario;
}

const std::string kLongestName = "01234567-89ab-cdef-0123-456789abcdef";

TEST(PMemReport, PrintsNamesThatFillTheirField)
{
   const Scenario scenario = NamedVolume(kLongestName, kLongestName);
   EXPECT_EQ(RunPMem(scenario, 0, {"-q", "-s", "uuid"}).out, "uuid\nA\n" + kLongestName + "\nB\n");
   EXPECT_EQ(RunPMem(scenario, 3, {"-q", "-s", "uuid:regionUuid"}).out,
             "uuid,regionUuid\nA,r1\nA,r1\n" + kLongestName + ',' + kLongestName + '\n');
}

// The process ends when the row is filled: after the reads, before the row, with an open table.
TEST(PMemReport, StopsAtAVolumeNameThatDoesNotFit)
{
   const std::string name = kLongestName + 'x';
   const size_t rowsOfA[] = {1, 2, 2, 2};
   const char *const lastReads[] = {
      "Nevra_Get(memory_pmem_volumes_regionStore_isClean, #2 [\"N\"], 1) = 0",
      "Nevra_Get(memory_pmem_volumes_regionStore_regions_info, #2 [\"N\", \"r\"], 84) = 0",
      "Nevra_Get(memory_pmem_volumes_extents, #2 [\"N\", 5], 40) = 0",
      "Nevra_Get(memory_pmem_volumes_regionStore_regions_numaAllocInfo, #2 [\"N\", \"r\", 0], 12) = 0"};
   for (unsigned mode = 0; mode < 4; mode++) {
      const RunResult run = RunPMem(NamedVolume(name, "r"), mode, {"-q", "-v"});
      EXPECT_EQ(run.out, Csv(mode, rowsOfA[mode]));
      EXPECT_EQ(run.err, "PMemReport: volume name " + name + " is longer than 36 characters\n");
      EXPECT_EQ(run.exitStatus, 1);
      std::string lastRead = lastReads[mode];
      lastRead.replace(lastRead.find("\"N\"") + 1, 1, name);
      EXPECT_EQ(run.Calls().back(), lastRead);
      EXPECT_THAT(run, RanCleanly());
   }
}

TEST(PMemReport, StopsAtARegionNameThatDoesNotFit)
{
   const std::string name(1000, 'r');
   for (const unsigned mode : {1u, 3u}) {
      const RunResult run = RunPMem(NamedVolume("V", name), mode, {"-q"});
      EXPECT_EQ(run.out, Csv(mode, 2));
      EXPECT_EQ(run.err, "PMemReport: region name " + name + " is longer than 36 characters\n");
      EXPECT_EQ(run.exitStatus, 1);
      EXPECT_THAT(run, RanCleanly());
   }
}

TEST(PMemReport, GoesOnPastALongNameThatNoRowNeeds)
{
   Scenario scenario = NamedVolume(std::string(500, 'v'), "r");
   scenario.List(NodeId::memory_pmem_volumes_extents, {std::string(500, 'v')}, {});
   const RunResult run = RunPMem(scenario, 2, {"-q"});
   EXPECT_EQ(run.out, Csv(2, 3));
   EXPECT_EQ(run.exitStatus, 0);
}

TEST(PMemReport, IgnoresUnknownOptions)
{
   EXPECT_EQ(RunPMem(TwoVolumes(), 0, {"-x", "--gid", "-q", "-s", "isClean"}).out, "isClean\ny\nn\n");
}

} // namespace
