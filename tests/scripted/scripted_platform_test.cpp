// The scripted platform itself: that hostmem reaches it, and that it notices what it is there to notice.
#include <gtest/gtest.h>

#include "tests/scripted/scenario.h"
#include "tests/scripted/trace_lines.h"

using namespace scripted;

namespace {

Scenario TwoGroups()
{
   Scenario scenario;
   scenario.Group(0).Name("host").Flags(GROUP_PREDEFINED).Children({7});
   scenario.Group(7).Name("idle").Parent(0).Flags(GROUP_SYSTEM_WORLD);
   return scenario;
}

const std::vector<std::string> kGroupNames = {"-r", "group-stats", "-q", "-s", "name:parGid"};

TEST(ScriptedPlatform, AnswersHostmemWhicheverWayItIsFound)
{
   for (const Interposition way : {Interposition::LibraryPath, Interposition::Preload}) {
      RunOptions options;
      options.interposition = way;
      const RunResult run = RunHostmem(TwoGroups(), kGroupNames, options);
      EXPECT_EQ(run.out, "gid,name,parGid\n0,host,-1\n7,idle,0\n");
      EXPECT_EQ(run.err, "");
      EXPECT_EQ(run.exitStatus, 0);
      EXPECT_THAT(run, RanCleanly());
   }
}

TEST(ScriptedPlatform, TracesEveryCall)
{
   const RunResult run = RunHostmem(TwoGroups(), {"-r", "group-stats", "-q", "-l", "1"});
   TraceLines expected = {"Nevra_CheckSig(21) = 0"};
   expected += ChildListing(0, {7});
   expected += {"Nevra_ParamListUsedCount(#2) = 1"};
   expected += OneKeyRead("sched_groups_groupFlags", 0, 4);
   expected += OneKeyRead("sched_groups_groupName", 0, 64);
   expected += OneKeyRead("sched_groups_groupTag", 0, 8);
   expected += OneKeyRead("sched_groups_parentGroupID", 0, 8);
   expected += OneKeyRead("sched_groups_memAllocationInKB", 0, 36);
   expected += OneKeyRead("sched_groups_stats_capacity", 0, 24);
   expected += OneKeyRead("sched_groups_stats_memoryStats", 0, 320);
   expected += {"Nevra_ParamListDestroy(#2)"};
   EXPECT_EQ(JoinLines(run.trace), JoinLines(expected));
}

TEST(ScriptedPlatform, FixesTheTimeOfTheBanner)
{
   const RunResult run = RunHostmem(Scenario(), {"-r", "comp-stats"});
   EXPECT_EQ(run.OutLines()[1], std::string(" COMPREHENSIVE STATS: ") + kScriptedTimeText);
   Scenario later;
   later.Time(0);
   EXPECT_EQ(RunHostmem(later, {"-r", "comp-stats"}).OutLines()[1],
             " COMPREHENSIVE STATS: Thu Jan  1 00:00:00 1970");
}

TEST(ScriptedPlatform, TracesAnUnscriptedInstanceAsNotFound)
{
   const RunResult run = RunHostmem(Scenario(), {"-r", "comp-stats"});
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(run.Calls(),
             std::vector<std::string>{"Nevra_Get(memory_comprehensive, #1 [], 88) = 0xbad0003 unscripted"});
}

TEST(ScriptedPlatform, FailsTheCallThatItIsToldTo)
{
   Scenario scenario = TwoGroups();
   scenario.Fail("Nevra_Get", 9, 0xbad0007);
   const RunResult run = RunHostmem(scenario, kGroupNames);
   EXPECT_EQ(run.out, "gid,name,parGid\n0,host,-1\n");
   EXPECT_EQ(run.err, "Kelmar_GroupGetName() failure, error code: 195887111\n");
   EXPECT_THAT(run, RanCleanly());
}

TEST(ScriptedPlatform, GivesFurtherAnswersInTurn)
{
   Scenario scenario = TwoGroups();
   scenario.Group(0).Children({7, 7, 7});
   scenario.ThenRecord(NodeId::sched_groups_parentGroupID, {7}, ParentGroupIDRecord{41});
   scenario.ThenFailRead(NodeId::sched_groups_parentGroupID, {7}, 0xbad0003);
   EXPECT_EQ(RunHostmem(scenario, kGroupNames).out, "gid,name,parGid\n0,host,-1\n7,idle,0\n7,idle,41\n");
}

TEST(ScriptedPlatform, InjectsEveryFaultOnce)
{
   // Per group: a listing, seven reads; each makes a list and adds a key; a child ID is read once.
   const unsigned reads = 2 * 8;
   const unsigned expected =
      reads + kFaultsPerCall * (reads /* add */ + reads /* read */ + reads /* remove */ + 1);
   EXPECT_EQ(CheckEveryFault(TwoGroups(), kGroupNames), expected);
}

RunResult RunMisuse(const char *how)
{
   RunOptions options;
   options.executable = MISUSE_PROGRAM;
   return RunHostmem(Scenario(), {how}, options);
}

TEST(ScriptedPlatform, ReportsMisuse)
{
   const std::pair<const char *, const char *> kMisuses[] = {
      {"leak", "!! leaked #2, made by Nevra_ParamListCreate(1, 2)"},
      {"destroy-twice", "!! Nevra_ParamListDestroy of a destroyed list, made by Nevra_ParamListCreate(1, 2)"},
      {"use-after-destroy",
       "!! Nevra_ParamListUsedCount of a destroyed list, made by Nevra_ParamListCreate(1, 2)"},
      {"null-list", "!! Nevra_ParamListUsedCount of a null list"},
      {"destroy-null", "!! Nevra_ParamListDestroy of a null list"},
      {"past-the-end", "!! Nevra_ParamListGetInt64 past the end of a list"},
      {"another-type", "!! Nevra_ParamListGetString of an entry of another type"},
      {"record-size", "!! Nevra_Get of sched_groups_groupTag with a record of 64 bytes"},
      {"value-list", "!! Nevra_Set with a list that is not of values"},
      {"remove-from-empty", "!! Nevra_ParamListRemoveLastParam of an empty list"},
   };
   for (const auto &[how, line] : kMisuses) {
      const RunResult run = RunMisuse(how);
      EXPECT_EQ(run.misuse, std::vector<std::string>{line}) << how;
      EXPECT_EQ(run.leaks, how == std::string("leak") ? 1 : 0);
      EXPECT_TRUE(run.traceEnded);
      EXPECT_THAT(run, testing::Not(RanCleanly()));
   }
   EXPECT_THAT(RunMisuse("none"), RanCleanly());
}

TEST(ScriptedPlatform, EndsARunThatHangs)
{
   RunOptions options;
   options.executable = "/bin/sleep";
   options.timeout = std::chrono::milliseconds(50);
   const RunResult run = RunHostmem(Scenario(), {"100"}, options);
   EXPECT_TRUE(run.timedOut);
   EXPECT_THAT(run, testing::Not(RanCleanly()));
}

} // namespace
