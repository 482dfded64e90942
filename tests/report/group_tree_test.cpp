// The walk of the group tree on the scripted platform.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sysinfo/status.h"
#include "tests/scripted/scenario.h"
#include "tests/scripted/trace_lines.h"

using namespace scripted;

namespace {

RunResult Walk(const Scenario &scenario, const std::vector<std::string> &arguments)
{
   RunOptions options;
   options.executable = QUERY_PROGRAM;
   std::vector<std::string> words = {"walk"};
   words.insert(words.end(), arguments.begin(), arguments.end());
   RunResult run = RunHostmem(scenario, words, options);
   EXPECT_THAT(run, RanCleanly());
   return run;
}

//  0 ── 30 ── 31 ── 32
//    └─ 10 ── 12
//    │     └─ 11
//    └─ 20
Scenario Tree()
{
   Scenario scenario;
   scenario.Group(0).Children({30, 10, 20});
   scenario.Group(30).Children({31});
   scenario.Group(31).Children({32});
   scenario.Group(32);
   scenario.Group(10).Children({12, 11});
   scenario.Group(12);
   scenario.Group(11);
   scenario.Group(20);
   return scenario;
}

TEST(TraverseGroups, VisitsParentsBeforeChildrenInTheKernelsOrder)
{
   EXPECT_EQ(Walk(Tree(), {"0", "12", "0"}).out, "visit 0 3 0\n"
                                                 "visit 30 1 0\n"
                                                 "visit 31 1 0\n"
                                                 "visit 32 0 0\n"
                                                 "visit 10 2 0\n"
                                                 "visit 12 0 0\n"
                                                 "visit 11 0 0\n"
                                                 "visit 20 0 0\n"
                                                 "status 0\n");
}

TEST(TraverseGroups, GoesAsDeepAsItIsTold)
{
   EXPECT_EQ(Walk(Tree(), {"0", "1", "0"}).out, "visit 0 3 0\nstatus 0\n");
   EXPECT_EQ(Walk(Tree(), {"0", "2", "0"}).out, "visit 0 3 0\nvisit 30 1 0\nvisit 10 2 0\nvisit 20 0 0\n"
                                                "status 0\n");
   EXPECT_EQ(Walk(Tree(), {"30", "2", "0"}).out, "visit 30 1 0\nvisit 31 1 0\nstatus 0\n");
   EXPECT_EQ(Walk(Tree(), {"30", "0", "0"}).out, "visit 30 1 0\nvisit 31 1 0\nvisit 32 0 0\nstatus 0\n");
}

TEST(TraverseGroups, HandsTheCsvFlagThrough)
{
   EXPECT_EQ(Walk(Tree(), {"20", "12", "1"}).out, "visit 20 0 1\nstatus 0\n");
   EXPECT_EQ(Walk(Tree(), {"20", "12", "200"}).out, "visit 20 0 200\nstatus 0\n");
}

TEST(TraverseGroups, HoldsOneChildListALevel)
{
   const RunResult run = Walk(Tree(), {"10", "12", "0"});
   TraceLines expected = ChildListing(10, {12, 11});
   expected += {"Nevra_ParamListUsedCount(#2) = 2", "Nevra_ParamListGetInt64(#2, 0) = 0 12"};
   // List 1 is free again, and goes to the next parameter list; the child's list is the third.
   const auto childless = [](int64_t id) {
      const std::string text = std::to_string(id);
      return TraceLines{"Nevra_ParamListCreate(1, 2) = #1",
                        "Nevra_ParamListAddInt(#1, " + text + ") = 0",
                        "Nevra_GetInstanceListAlloc(sched_groups_members_groups, #1 [" + text +
                           "]) = 0 #3 []",
                        "Nevra_ParamListRemoveLastParam(#1) = 0",
                        "Nevra_ParamListDestroy(#1)",
                        "Nevra_ParamListUsedCount(#3) = 0",
                        "Nevra_ParamListDestroy(#3)"};
   };
   expected += childless(12);
   expected += {"Nevra_ParamListGetInt64(#2, 1) = 0 11"};
   expected += childless(11);
   expected += {"Nevra_ParamListDestroy(#2)"};
   EXPECT_EQ(JoinLines(run.trace), JoinLines(expected));
}

TEST(TraverseGroups, DoesNotReadChildrenBeyondTheLevel)
{
   const RunResult run = Walk(Tree(), {"0", "1", "0"});
   EXPECT_EQ(run.Count("Nevra_ParamListUsedCount"), 1U);
   EXPECT_EQ(run.Count("Nevra_ParamListGetInt64"), 0U);
}

TEST(TraverseGroups, PrunesBelowAVisitThatFailsAndGoesOnBesideIt)
{
   EXPECT_EQ(Walk(Tree(), {"0", "12", "0", "30", "0xbad0001", "11", "0xbad0014"}).out, "visit 0 3 0\n"
                                                                                       "visit 30 1 0\n"
                                                                                       "visit 10 2 0\n"
                                                                                       "visit 12 0 0\n"
                                                                                       "visit 11 0 0\n"
                                                                                       "visit 20 0 0\n"
                                                                                       "status 0\n");
}

TEST(TraverseGroups, ReturnsTheVisitOfTheStartGroup)
{
   EXPECT_EQ(Walk(Tree(), {"0", "12", "0", "0", "0xbad0014"}).out, "visit 0 3 0\nstatus 0xbad0014\n");
}

TEST(TraverseGroups, IsSilentAboutAStartGroupThatDoesNotExist)
{
   const RunResult run = Walk(Tree(), {"99", "12", "0"});
   EXPECT_EQ(run.out, "status 0xbad0003\n");
   EXPECT_EQ(run.err, "");
}

TEST(TraverseGroups, ReportsAListingThatFails)
{
   for (const NevraStatus status : kFaultStatuses) {
      Scenario scenario = Tree();
      scenario.Group(0).FailChildren(status);
      const RunResult run = Walk(scenario, {"0", "12", "0"});
      EXPECT_EQ(run.out, "status " + StatusInTrace(status) + '\n');
      EXPECT_EQ(run.err, status == 0xbad0003
                            ? ""
                            : std::string("KelmarTraverseGroups: Nevra_GetInstanceListAlloc failure: ") +
                                 ORSKA_ReturnStatusToString(status) + '\n');
      // The parameter list is gone before anything is said.
      EXPECT_EQ(run.trace[4], "Nevra_ParamListDestroy(#1)");
   }
}

TEST(TraverseGroups, IgnoresTheStatusOfAChildsWalk)
{
   Scenario scenario = Tree();
   scenario.Group(20).FailChildren(0xbad0001);
   const RunResult run = Walk(scenario, {"0", "2", "0"});
   EXPECT_EQ(run.out, "visit 0 3 0\nvisit 30 1 0\nvisit 10 2 0\nstatus 0\n");
   EXPECT_EQ(run.err, "KelmarTraverseGroups: Nevra_GetInstanceListAlloc failure: Failure\n");
}

TEST(TraverseGroups, ReportsItsParameterList)
{
   Scenario scenario = Tree();
   scenario.Fail("Nevra_ParamListCreate", 1);
   RunResult run = Walk(scenario, {"0", "12", "0"});
   EXPECT_EQ(run.out, "status 0xbad0001\n");
   EXPECT_EQ(run.err, "KelmarGroupNevraGet: Nevra_ParamListCreate() failure\n");
   for (const NevraStatus status : kFaultStatuses) {
      scenario = Tree();
      scenario.Fail("Nevra_ParamListAddInt", 1, status);
      run = Walk(scenario, {"0", "12", "0"});
      EXPECT_EQ(run.out, "status " + StatusInTrace(status) + '\n');
      EXPECT_EQ(run.err, std::string("KelmarTraverseGroups: Nevra_ParamListAddInt() failure: ") +
                            ORSKA_ReturnStatusToString(status) + '\n');
   }
}

TEST(TraverseGroups, ReturnsTheStatusOfTheLastChildRead)
{
   Scenario last = Tree();
   last.Fail("Nevra_ParamListGetInt64", 3, 0xbad0007);
   RunResult run = Walk(last, {"0", "2", "0"});
   EXPECT_EQ(run.out, "visit 0 3 0\nvisit 30 1 0\nvisit 10 2 0\nstatus 0xbad0007\n");
   EXPECT_EQ(run.err, "");
   // An earlier one is replaced by the reads that follow.
   Scenario first = Tree();
   first.Fail("Nevra_ParamListGetInt64", 1, 0xbad0007);
   run = Walk(first, {"0", "2", "0"});
   EXPECT_EQ(run.out, "visit 0 3 0\nvisit 10 2 0\nvisit 20 0 0\nstatus 0\n");
   EXPECT_EQ(run.err, "");
}

TEST(TraverseGroups, SurvivesEveryFault)
{
   RunOptions options;
   options.executable = QUERY_PROGRAM;
   EXPECT_EQ(CheckEveryFault(Tree(), {"walk", "0", "12", "0"}, nullptr, options),
             8 /* creates */ +
                kFaultsPerCall * (8 /* adds */ + 8 /* removes */ + 8 /* listings */ + 7 /* child IDs */));
}

} // namespace
