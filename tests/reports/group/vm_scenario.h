// Hosts with virtual machines, as the tests of the per-VM reports have them.
#ifndef TESTS_REPORTS_GROUP_VM_SCENARIO_H
#define TESTS_REPORTS_GROUP_VM_SCENARIO_H

#include <string>
#include <vector>

#include "tests/scripted/scenario.h"
#include "tests/scripted/trace_lines.h"

// The IDs that go with VM n: its group is n itself.
inline constexpr uint32_t LeaderOf(uint32_t vm)
{
   return 70 + vm;
}
inline constexpr uint32_t VmmLeaderOf(uint32_t vm)
{
   return 90 + vm;
}

// A host, group 0, with VMs "vm.1", "vm.2" and so on below it, which have no figures yet.
inline scripted::Scenario HostWithVms(uint32_t count)
{
   scripted::Scenario scenario;
   scripted::Keys children;
   for (uint32_t vm = 1; vm <= count; vm++) {
      children.push_back(vm);
      scenario.Group(vm)
         .Name("vm." + std::to_string(vm))
         .Parent(0)
         .Flags(GROUP_VM | GROUP_LEAF)
         .VmmLeader(LeaderOf(vm), VmmLeaderOf(vm));
   }
   scenario.Group(0).Name("host").Flags(GROUP_PREDEFINED).Children(children);
   return scenario;
}

// Runs a report as CSV with these columns selected, and what else is asked.
inline scripted::RunResult RunColumns(const scripted::Scenario &scenario, const std::string &report,
                                      const std::string &selection,
                                      const std::vector<std::string> &options = {})
{
   std::vector<std::string> arguments = {"-r", report, "-q", "-s", selection};
   arguments.insert(arguments.end(), options.begin(), options.end());
   scripted::RunResult run = scripted::RunHostmem(scenario, arguments);
   EXPECT_THAT(run, scripted::RanCleanly());
   return run;
}

// The trace of a run that walks over group 1 alone (-g 1 -l 1): what is read of it, between the listing of
// its children and the end of that list.
inline scripted::TraceLines WalkOverGroup1(const scripted::TraceLines &reads,
                                           const std::vector<int64_t> &children = {})
{
   using namespace scripted;
   return TraceLines{"Nevra_CheckSig(21) = 0"} + ChildListing(1, children) +
          TraceLines{"Nevra_ParamListUsedCount(#2) = " + std::to_string(children.size())} + reads +
          TraceLines{"Nevra_ParamListDestroy(#2)"};
}

// The reads of group 1 that all per-VM reports begin with.
inline scripted::TraceLines VmIdentityReads()
{
   using namespace scripted;
   return OneKeyRead("sched_groups_groupFlags", 1, 4) + OneKeyRead("sched_groups_groupName", 1, 64) +
          OneKeyRead("sched_groups_parentGroupID", 1, 8) + OneKeyRead("sched_groups_groupFlags", 1, 4) +
          OneKeyRead("sched_groups_groupLeaderID", 1, 4);
}

#endif
