// asyncremap-stats.
#include <gtest/gtest.h>

#include "tests/reports/group/query_faults.h"
#include "tests/reports/group/vm_scenario.h"

using namespace scripted;

namespace {

// Counts of 4 KB pages that all differ, in column order: base + 1, base + 2 and so on.
RemapStatsRecord RemapFrom(uint64_t base)
{
   RemapStatsRecord remap = {};
   remap.added = base + 1;
   remap.prepared = base + 2;
   remap.filtered = base + 3;
   remap.staged = base + 4;
   remap.remapped = base + 5;
   remap.canceled = base + 6;
   remap.cUnprepared = base + 7;
   remap.cPrepared = base + 8;
   remap.cStaged = base + 9;
   return remap;
}

RemapStatsRecord Added(uint64_t pages)
{
   RemapStatsRecord remap = {};
   remap.added = pages;
   return remap;
}

// A user world "app", group 1, of two memory clients, and a VM that has clients too.
Scenario Host()
{
   Scenario scenario;
   scenario.Group(0).Name("host").Flags(GROUP_PREDEFINED).Children({1, 2});
   scenario.Group(1).Name("app").Parent(0).Flags(GROUP_USER_WORLD).MemClients({71, 72});
   scenario.List(NodeId::sched_memClients_remapTypes, {71}, {"coldPages", "largePages"});
   scenario.List(NodeId::sched_memClients_remapTypes, {72}, {"coldPages"});
   scenario.Record(NodeId::sched_memClients_remapTypes, {71, "coldPages"}, RemapFrom(100));
   scenario.Record(NodeId::sched_memClients_remapTypes, {71, "largePages"}, RemapFrom(200));
   scenario.Record(NodeId::sched_memClients_remapTypes, {72, "coldPages"}, RemapFrom(300));
   scenario.Group(2).Name("vm").Parent(0).Flags(GROUP_VM).MemClients({71});
   return scenario;
}

// The same of one client with one remap type.
Scenario OneType(const RemapStatsRecord &remap)
{
   Scenario scenario;
   scenario.Group(1).Name("app").Flags(GROUP_USER_WORLD).MemClients({71});
   scenario.List(NodeId::sched_memClients_remapTypes, {71}, {"coldPages"});
   scenario.Record(NodeId::sched_memClients_remapTypes, {71, "coldPages"}, remap);
   return scenario;
}

TEST(AsyncRemapStats, PrintsItsTable)
{
   const RunResult run = RunHostmem(Host(), {"-r", "asyncremap-stats", "-v"});
   EXPECT_EQ(run.out, R"(
 ASYNC_REMAP STATS: Tue Nov 14 22:13:20 2023
 -------------------------------------------
   Start Group ID   : 0
   Unit             : KB
   Selected columns : (all)

-----------------------------------------------------------------------------------------------------------------------------------------------------------------------
                       name  grpLeader                         type      added   prepared   filtered     staged   remapped   canceled cUnprepared  cPrepared    cStaged
-----------------------------------------------------------------------------------------------------------------------------------------------------------------------
                        app         71                    coldPages        404        408        412        416        420        424         428        432        436
                        app         71                   largePages        804        808        812        816        820        824         828        832        836
                        app         72                    coldPages       1204       1208       1212       1216       1220       1224        1228       1232       1236
-----------------------------------------------------------------------------------------------------------------------------------------------------------------------
                                                                          2412       2424       2436       2448       2460       2472        2484       2496       2508
-----------------------------------------------------------------------------------------------------------------------------------------------------------------------
Description of report header labels:
                name: Group name
           grpLeader: Group leader ID
                type: Type of remap
               added: Total number of pages ever added
            prepared: Number of pages ever prepared
            filtered: Number of pages ever filtered
              staged: Number of pages ever staged
            remapped: Total number of pages ever remapped
            canceled: Total number of pages ever canceled
         cUnprepared: Number of pages currently unprepared
           cPrepared: Number of pages currently prepared
             cStaged: Number of pages currently staged
)");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_THAT(run, RanCleanly());
}

// Lists of one and of two entries, nothing removed from them, and the used count asked before every entry.
TEST(AsyncRemapStats, ReadsInThisOrder)
{
   const RunResult run = RunHostmem(OneType({}), {"-r", "asyncremap-stats", "-g", "1", "-q"});
   const TraceLines reads =
      OneKeyRead("sched_groups_groupFlags", 1, 4) + OneKeyRead("sched_groups_groupName", 1, 64) +
      TraceLines{"Nevra_ParamListCreate(1, 1) = #1",
                 "Nevra_ParamListAddInt(#1, 1) = 0",
                 "Nevra_GetInstanceListAlloc(sched_groups_members_memClients, #1 [1]) = 0 #3 [71]",
                 "Nevra_ParamListUsedCount(#3) = 1",
                 "Nevra_ParamListGetUInt32(#3, 0) = 0 71",
                 "Nevra_ParamListCreate(1, 1) = #4",
                 "Nevra_ParamListAddInt(#4, 71) = 0",
                 "Nevra_GetInstanceListAlloc(sched_memClients_remapTypes, #4 [71]) = 0 #5 [\"coldPages\"]",
                 "Nevra_ParamListUsedCount(#5) = 1",
                 "Nevra_ParamListGetString(#5, 0) = 0 \"coldPages\"",
                 "Nevra_ParamListCreate(1, 2) = #6",
                 "Nevra_ParamListAddInt(#6, 71) = 0",
                 "Nevra_ParamListAddString(#6, \"coldPages\") = 0",
                 "Nevra_Get(sched_memClients_remapTypes, #6 [71, \"coldPages\"], 80) = 0",
                 "Nevra_ParamListDestroy(#6)",
                 "Nevra_ParamListUsedCount(#5) = 1",
                 "Nevra_ParamListDestroy(#4)",
                 "Nevra_ParamListDestroy(#5)",
                 "Nevra_ParamListUsedCount(#3) = 1",
                 "Nevra_ParamListDestroy(#1)",
                 "Nevra_ParamListDestroy(#3)"};
   EXPECT_EQ(JoinLines(run.trace), JoinLines(WalkOverGroup1(reads)));
}

TEST(AsyncRemapStats, TwoClientsOfThreeTypesGiveSixRows)
{
   Scenario scenario;
   scenario.Group(1).Name("app").Flags(GROUP_USER_WORLD | GROUP_VM).MemClients({71, 72});
   for (const int client : {71, 72}) {
      scenario.List(NodeId::sched_memClients_remapTypes, {client}, {"a", "b", "c"});
      for (const char *type : {"a", "b", "c"}) {
         scenario.Record(NodeId::sched_memClients_remapTypes, {client, type}, Added(1));
      }
   }
   EXPECT_EQ(RunColumns(scenario, "asyncremap-stats", "name:grpLeader:added", {"-g", "1"}).out,
             "name,grpLeader,type,added\n"
             "app,71,a,4\napp,71,b,4\napp,71,c,4\n"
             "app,72,a,4\napp,72,b,4\napp,72,c,4\n"
             ",,,24\n");
}

TEST(AsyncRemapStats, AGroupThatIsNoUserWorldGivesNoRowButIsWalkedBelow)
{
   Scenario scenario = Host();
   scenario.Group(2).Children({3});
   scenario.Group(3).Name("vmx").Flags(GROUP_USER_WORLD).MemClients({72});
   EXPECT_EQ(RunColumns(scenario, "asyncremap-stats", "name:added", {"-g", "2"}).out,
             "name,type,added\nvmx,coldPages,1204\n,,1204\n");
}

TEST(AsyncRemapStats, TheTypeIsShownWhateverIsSelected)
{
   EXPECT_EQ(RunColumns(OneType(Added(3)), "asyncremap-stats", "added", {"-g", "1"}).out,
             "type,added\ncoldPages,12\n,12\n");
   EXPECT_EQ(RunColumns(OneType(Added(3)), "asyncremap-stats", "nothing", {"-g", "1"}).out,
             "type\ncoldPages\n\n");
}

TEST(AsyncRemapStats, CountsPagesOf4KB)
{
   const std::pair<const char *, const char *> kUnits[] = {
      {"kb", "12"}, {"pg", "3"}, {"mb", "1"}, {"gb", "1"}};
   for (const auto &[unit, amount] : kUnits) {
      EXPECT_EQ(RunColumns(OneType(Added(3)), "asyncremap-stats", "added", {"-g", "1", "-u", unit}).out,
                std::string("type,added\ncoldPages,") + amount + "\n," + amount + "\n");
   }
}

TEST(AsyncRemapStats, ConvertsAllAmountsAndSumsThemInKB)
{
   const RunResult run = RunHostmem(Host(), {"-r", "asyncremap-stats", "-q", "-u", "mb"});
   const std::vector<std::string> lines = run.OutLines();
   EXPECT_EQ(JoinLines({lines.begin() + 1, lines.end()}),
             JoinLines({"app,71,coldPages,1,1,1,1,1,1,1,1,1", "app,71,largePages,1,1,1,1,1,1,1,1,1",
                        "app,72,coldPages,2,2,2,2,2,2,2,2,2", ",,,3,3,3,3,3,3,3,3,3"}));
}

TEST(AsyncRemapStats, AClientOf2To31AndMoreIsAddressedAsSigned)
{
   Scenario scenario;
   scenario.Group(1).Name("app").Flags(GROUP_USER_WORLD).MemClients({4294967294});
   scenario.List(NodeId::sched_memClients_remapTypes, {-2}, {"coldPages"});
   scenario.Record(NodeId::sched_memClients_remapTypes, {-2, "coldPages"}, Added(1));
   EXPECT_EQ(RunColumns(scenario, "asyncremap-stats", "grpLeader:added", {"-g", "1"}).out,
             "grpLeader,type,added\n-2,coldPages,4\n,,4\n");
}

TEST(AsyncRemapStats, TheNameNeedsNoTerminator)
{
   Scenario scenario = OneType(Added(1));
   scenario.Group(1).Name(std::string(64, 'n'));
   EXPECT_EQ(RunColumns(scenario, "asyncremap-stats", "name", {"-g", "1"}).out,
             "name,type\n" + std::string(63, 'n') + ",coldPages\n,\n");
}

TEST(AsyncRemapStats, WalksTwelveLevelsAndHasNoOptionForThem)
{
   Scenario scenario;
   for (int group = 0; group < 14; group++) {
      scenario.Group(group).Name(std::to_string(group)).Flags(GROUP_SYSTEM_WORLD).Children({group + 1});
   }
   for (const std::vector<std::string> &options :
        {std::vector<std::string>{}, {"-l", "1"}, {"--level", "1"}}) {
      const RunResult run = RunColumns(scenario, "asyncremap-stats", "added", options);
      EXPECT_EQ(run.Calls({"Nevra_GetInstanceListAlloc"}).size(), 12U);
      EXPECT_EQ(run.out, "type,added\n,0\n");
      EXPECT_EQ(run.err, "");
      EXPECT_EQ(run.exitStatus, 0);
   }
}

// ---- failures

// What is reported when a call about the node fails: one line for each step that it goes through.
std::vector<std::pair<const char *, int>> Steps(const Fault &fault, const std::string &read)
{
   using Chain = std::vector<std::pair<const char *, int>>;
   const bool create = fault.operation == "Nevra_ParamListCreate";
   const bool add = fault.operation == "Nevra_ParamListAddInt";
   const Chain group = {{"KelmarAsyncRemapReportCallback", 400}};
   Chain type = {{"KelmarAsyncRemapReportCallbackInt", 307}, {"KelmarAsyncRemapReportCallback", 400}};
   if (fault.operation == "Nevra_ParamListGetUInt32") {
      return {{"KelmarAsyncRemapReportCallback", 398}};
   }
   if (fault.operation == "Nevra_ParamListGetString") {
      return {{"KelmarAsyncRemapReportCallbackInt", 305}, group[0]};
   }
   if (read.starts_with("Nevra_GetInstanceListAlloc(sched_groups_members_memClients")) {
      return create ? Chain{} : Chain{{"KelmarAsyncRemapReportCallback", add ? 391 : 393}};
   }
   if (read.starts_with("Nevra_GetInstanceListAlloc(")) {
      return create ? group : Chain{{"KelmarAsyncRemapReportCallbackInt", add ? 300 : 302}, group[0]};
   }
   if (!create) {
      const int number = add ? 137 : fault.operation == "Nevra_ParamListAddString" ? 138 : 140;
      type.insert(type.begin(), {"KelmarAsyncRemapGetStats", number});
   }
   return type;
}

std::optional<std::string> StepMessages(const Fault &fault, const std::string &read)
{
   if (read.starts_with("Nevra_Get(sched_groups_")) {
      return std::nullopt;
   }
   std::string messages;
   for (const auto &[step, number] : Steps(fault, read)) {
      messages +=
         std::string(step) + ':' + std::to_string(number) + " failure: " + StatusText(fault.status) + '\n';
   }
   return messages;
}

TEST(AsyncRemapStats, EveryFaultIsReportedByEveryStep)
{
   CheckFaultsLeaveNoRow(OneType(Added(1)), "asyncremap-stats", {}, StepMessages);
}

TEST(AsyncRemapStats, EveryFaultInAWholeTreeFreesItsLists)
{
   CheckEveryFault(Host(), {"-r", "asyncremap-stats", "-q"});
}

TEST(AsyncRemapStats, ReportsEachStepBeforeItsListsAreDestroyed)
{
   Scenario scenario = OneType({});
   scenario.FailRead(NodeId::sched_memClients_remapTypes, {71, "coldPages"}, NEVRA_NOT_FOUND);
   const RunResult run = RunHostmem(scenario, {"-r", "asyncremap-stats", "-g", "1", "-q"});
   const TraceLines expected = {"Warning(\"KelmarAsyncRemapGetStats:140 failure: Not found\\n\")",
                                "Nevra_ParamListDestroy(#6)",
                                "Warning(\"KelmarAsyncRemapReportCallbackInt:307 failure: Not found\\n\")",
                                "Nevra_ParamListDestroy(#4)",
                                "Nevra_ParamListDestroy(#5)",
                                "Warning(\"KelmarAsyncRemapReportCallback:400 failure: Not found\\n\")",
                                "Nevra_ParamListDestroy(#1)",
                                "Nevra_ParamListDestroy(#3)",
                                "Nevra_ParamListDestroy(#2)"};
   ASSERT_GT(run.trace.size(), expected.size());
   EXPECT_EQ(JoinLines({run.trace.end() - static_cast<ptrdiff_t>(expected.size()), run.trace.end()}),
             JoinLines(expected));
}

// A listing that is not found is reported too.
TEST(AsyncRemapStats, AGroupWithoutAListOfClientsIsReported)
{
   Scenario scenario;
   scenario.Group(1).Name("app").Flags(GROUP_USER_WORLD);
   scenario.FailList(NodeId::sched_groups_members_memClients, {1}, NEVRA_NOT_FOUND);
   const RunResult run = RunColumns(scenario, "asyncremap-stats", "added", {"-g", "1"});
   EXPECT_EQ(run.out, "type,added\n,0\n");
   EXPECT_EQ(run.err, "KelmarAsyncRemapReportCallback:393 failure: Not found\n");
   EXPECT_EQ(run.exitStatus, 1);
}

// A failure ends its group, below it too, but what was printed stays and counts.
TEST(AsyncRemapStats, RowsBeforeAFailureRemain)
{
   Scenario scenario = Host();
   scenario.Group(0).Children({1, 4});
   scenario.Group(1).Children({3});
   scenario.Group(3).Name("below").Flags(GROUP_USER_WORLD).MemClients({72});
   scenario.Group(4).Name("beside").Flags(GROUP_USER_WORLD).MemClients({72});
   scenario.FailRead(NodeId::sched_memClients_remapTypes, {71, "largePages"}, NEVRA_BAD_PARAMETER);
   const RunResult run = RunColumns(scenario, "asyncremap-stats", "name:added");
   EXPECT_EQ(run.out, "name,type,added\napp,coldPages,404\nbeside,coldPages,1204\n,,1608\n");
   EXPECT_EQ(run.err, "KelmarAsyncRemapGetStats:140 failure: Bad parameter\n"
                      "KelmarAsyncRemapReportCallbackInt:307 failure: Bad parameter\n"
                      "KelmarAsyncRemapReportCallback:400 failure: Bad parameter\n");
   EXPECT_EQ(run.exitStatus, 0);
}

} // namespace
