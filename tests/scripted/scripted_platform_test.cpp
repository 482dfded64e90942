// The scripted platform itself: that hostmem reaches it, and that it notices what it is there to notice.
#include <gtest/gtest.h>

#include "tests/scripted/scenario.h"
#include "tests/scripted/trace_lines.h"

using namespace scripted;

namespace
{

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
   EXPECT_EQ(JoinLines(expected), JoinLines(run.trace));
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
   const unsigned statuses = static_cast<unsigned>(kFaultStatuses.size());
   const unsigned reads = 2 * 8;
   const unsigned expected = reads + statuses * (reads /* add */ + reads /* read */ + reads /* remove */ + 1);
   EXPECT_EQ(CheckEveryFault(TwoGroups(), kGroupNames), expected);
}

} // namespace
