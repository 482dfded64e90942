// The group queries on the scripted platform, each as a process of its own.
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "sysinfo/status.h"
#include "tests/scripted/scenario.h"
#include "tests/scripted/trace_lines.h"

using namespace scripted;

namespace {

RunResult RunQuery(const Scenario &scenario, const std::string &query, int64_t id)
{
   RunOptions options;
   options.executable = QUERY_PROGRAM;
   RunResult run = RunHostmem(scenario, {query, std::to_string(id)}, options);
   EXPECT_THAT(run, RanCleanly());
   return run;
}

std::string StatusLine(NevraStatus status)
{
   return "status " + StatusInTrace(status) + '\n';
}

constexpr int64_t kGroup = 5;

// A query that is one read keyed by its ID.
struct OneRead {
   const char *query;
   NodeId node;
   const char *identifier;
   size_t recordSize;
   std::vector<NevraStatus> silent; // failures without a message
   const char *message;             // what comes before the status, which is a number or a text
   bool statusAsText;
};

const OneRead kOneReads[] = {
   {"name",
    NodeId::sched_groups_groupName,
    "sched_groups_groupName",
    64,
    {},
    "Kelmar_GroupGetName() failure, error code: ",
    false},
   {"tag",
    NodeId::sched_groups_groupTag,
    "sched_groups_groupTag",
    8,
    {},
    "Kelmar_GroupGetTag() failure, error code: ",
    false},
   {"parent",
    NodeId::sched_groups_parentGroupID,
    "sched_groups_parentGroupID",
    8,
    {0xbad0003},
    "Kelmar_GroupGetParentID() failure, error code: ",
    false},
   {"flags",
    NodeId::sched_groups_groupFlags,
    "sched_groups_groupFlags",
    4,
    {0xbad0003, 0xbad0031},
    "Kelmar_GroupGetFlags() failure, error code: ",
    false},
   {"alloc",
    NodeId::sched_groups_memAllocationInKB,
    "sched_groups_memAllocationInKB",
    36,
    {0xbad0003},
    "Kelmar_GroupGetAlloc() failure, error code: ",
    false},
   {"memoryStats",
    NodeId::sched_groups_stats_memoryStats,
    "sched_groups_stats_memoryStats",
    320,
    {0xbad0003},
    "KelmarGroupGetMemoryStats() failure, error code: ",
    false},
   {"vmmLeader",
    NodeId::worldGroups_vmmLeaderID,
    "worldGroups_vmmLeaderID",
    4,
    {0xbad0003},
    "Kelmar_GetVmmLeaderID() failure: ",
    true},
   {"totalCommon",
    NodeId::sched_memClients_kelmar_totalCommon,
    "sched_memClients_kelmar_totalCommon",
    264,
    {0xbad0003},
    "Kelmar_MemClientGetTotalCommonStats() failure: ",
    true},
};

bool IsMemClientQuery(const OneRead &read)
{
   return std::string(read.query) == "totalCommon";
}

std::string Message(const OneRead &read, NevraStatus status)
{
   for (const NevraStatus silent : read.silent) {
      if (status == silent) {
         return "";
      }
   }
   return read.message +
          (read.statusAsText ? std::string(ORSKA_ReturnStatusToString(status)) : std::to_string(status)) +
          '\n';
}

const NevraStatus kStatuses[] = {0xbad0001, 0xbad0003, 0xbad0007, 0xbad0014, 0xbad0031, 0x2bad0001, 5};

TEST(GroupQuery, ReadsOneRecordByOneKey)
{
   for (const OneRead &read : kOneReads) {
      Scenario scenario;
      scenario.RecordBytes(read.node, {kGroup}, std::string(read.recordSize, '\x01'));
      const RunResult run = RunQuery(scenario, read.query, kGroup);
      EXPECT_EQ(JoinLines(run.trace), JoinLines(OneKeyRead(read.identifier, kGroup, read.recordSize)));
      EXPECT_EQ(run.OutLines().back(), "status 0");
      EXPECT_EQ(run.err, "");
   }
}

TEST(GroupQuery, ReportsTheFailuresThatAreNotExpected)
{
   for (const OneRead &read : kOneReads) {
      for (const NevraStatus status : kStatuses) {
         Scenario scenario;
         scenario.FailRead(read.node, {kGroup}, status);
         const RunResult run = RunQuery(scenario, read.query, kGroup);
         EXPECT_EQ(run.err, Message(read, status)) << read.query << std::hex << status;
         EXPECT_EQ(run.OutLines().back() + '\n', StatusLine(status));
         TraceLines expected = OneKeyRead(read.identifier, kGroup, read.recordSize, 1, status);
         if (!run.err.empty()) {
            expected.push_back("Warning(\"" + run.err.substr(0, run.err.size() - 1) + "\\n\")");
         }
         EXPECT_EQ(JoinLines(run.trace), JoinLines(expected));
      }
   }
}

TEST(GroupQuery, ReportsAListThatCannotBeMade)
{
   for (const OneRead &read : kOneReads) {
      Scenario scenario;
      scenario.Fail("Nevra_ParamListCreate", 1);
      const RunResult run = RunQuery(scenario, read.query, kGroup);
      EXPECT_EQ(run.err, std::string(IsMemClientQuery(read)
                                        ? "Kelmar_MemClientNevraGet: Nevra_ParamListCreate() failure\n"
                                        : "KelmarGroupNevraGet: Nevra_ParamListCreate() failure\n") +
                            Message(read, 0xbad0001));
      EXPECT_EQ(run.OutLines().back(), "status 0xbad0001");
      EXPECT_EQ(run.Count("Nevra_Get"), 0U);
   }
}

// Kept for compatibility: "faiure" for groups.
TEST(GroupQuery, ReportsAKeyThatCannotBeAdded)
{
   for (const OneRead &read : kOneReads) {
      for (const NevraStatus status : kStatuses) {
         Scenario scenario;
         scenario.Fail("Nevra_ParamListAddInt", 1, status);
         const RunResult run = RunQuery(scenario, read.query, kGroup);
         const std::string message =
            IsMemClientQuery(read)
               ? std::string("Kelmar_MemClientNevraGet: Nevra_ParamListAddInt() failure: ") +
                    ORSKA_ReturnStatusToString(status) + '\n'
               : "KelmarGroupNevraGet: Nevra_ParamListAddInt() faiure, error code: " +
                    std::to_string(status) + '\n';
         EXPECT_EQ(run.err, message + Message(read, status));
         EXPECT_EQ(run.OutLines().back() + '\n', StatusLine(status));
         EXPECT_EQ(run.Count("Nevra_Get"), 0U);
         EXPECT_EQ(run.Count("Nevra_ParamListRemoveLastParam"), 0U);
         EXPECT_EQ(run.Count("Nevra_ParamListDestroy"), 1U);
         EXPECT_EQ(run.trace[2].substr(0, 8), "Warning("); // said before the list goes
         EXPECT_EQ(run.trace[3], "Nevra_ParamListDestroy(#1)");
      }
   }
}

TEST(GroupQuery, DoesNotMindAKeyThatCannotBeRemoved)
{
   for (const OneRead &read : kOneReads) {
      Scenario scenario;
      scenario.RecordBytes(read.node, {kGroup}, std::string(read.recordSize, '\x01'));
      scenario.Fail("Nevra_ParamListRemoveLastParam", 1, 0xbad0007);
      const RunResult run = RunQuery(scenario, read.query, kGroup);
      EXPECT_EQ(run.err, "");
      EXPECT_EQ(run.OutLines().back(), "status 0");
   }
}

TEST(GroupNodeGet, IsSilentAboutAFailedRead)
{
   for (const NevraStatus status : kStatuses) {
      Scenario scenario;
      scenario.FailRead(NodeId::sched_groups_stats_capacity, {kGroup}, status);
      const RunResult run = RunQuery(scenario, "group", kGroup);
      EXPECT_EQ(run.err, "");
      EXPECT_EQ(run.out, StatusLine(status));
   }
}

TEST(MemClientNodeGet, IsSilentAboutAFailedRead)
{
   for (const NevraStatus status : kStatuses) {
      Scenario scenario;
      scenario.FailRead(NodeId::sched_memClients_kelmar_uw, {kGroup}, status);
      const RunResult run = RunQuery(scenario, "memClient", kGroup);
      EXPECT_EQ(run.err, "");
      EXPECT_EQ(run.out, StatusLine(status));
   }
}

TEST(GroupQuery, AddsItsIdAsASigned64BitNumber)
{
   Scenario scenario;
   scenario.Group(-2).Name("x");
   EXPECT_EQ(RunQuery(scenario, "name", -2).out, "x\nstatus 0\n");
}

TEST(GroupQuery, EndsATextThatThePlatformDidNotEnd)
{
   Scenario scenario;
   scenario.Group(kGroup).Name(std::string(64, 'n')).Tag("12345678");
   EXPECT_EQ(RunQuery(scenario, "name", kGroup).out, std::string(63, 'n') + "\nstatus 0\n");
   EXPECT_EQ(RunQuery(scenario, "tag", kGroup).out, "1234567\nstatus 0\n");
}

// ---- the group leader

TEST(GroupLeader, IsReadForVmsAndUserWorlds)
{
   for (const uint32_t flags : {0x4U, 0x8U, 0xcU, 0x2006U}) {
      Scenario scenario;
      scenario.Group(kGroup).Flags(flags).Leader(4000000000);
      const RunResult run = RunQuery(scenario, "leader", kGroup);
      EXPECT_EQ(run.out, "4000000000\nstatus 0\n");
      EXPECT_EQ(JoinLines(run.trace), JoinLines(OneKeyRead("sched_groups_groupFlags", kGroup, 4) +
                                                OneKeyRead("sched_groups_groupLeaderID", kGroup, 4)));
   }
}

TEST(GroupLeader, IsABadParameterForAnyOtherGroup)
{
   for (const uint32_t flags : {0U, 0x1U, 0x10U, 0xfffffff3U}) {
      Scenario scenario;
      scenario.Group(kGroup).Flags(flags).Leader(9);
      const RunResult run = RunQuery(scenario, "leader", kGroup);
      EXPECT_EQ(run.out, "0\nstatus 0xbad0007\n");
      EXPECT_EQ(run.err, "");
      EXPECT_EQ(run.Count("Nevra_Get"), 1U);
   }
}

TEST(GroupLeader, PassesOnWhatTheFlagsSay)
{
   for (const NevraStatus status : kStatuses) {
      Scenario scenario;
      scenario.Group(kGroup).FailRead(NodeId::sched_groups_groupFlags, status).Leader(9);
      const RunResult run = RunQuery(scenario, "leader", kGroup);
      EXPECT_EQ(run.out, "0\n" + StatusLine(status));
      const bool silent = status == 0xbad0003 || status == 0xbad0031;
      EXPECT_EQ(run.err,
                silent ? "" : "Kelmar_GroupGetFlags() failure, error code: " + std::to_string(status) + '\n');
   }
}

TEST(GroupLeader, ReportsEveryFailureOfItsRead)
{
   for (const NevraStatus status : kStatuses) {
      Scenario scenario;
      scenario.Group(kGroup).Flags(GROUP_VM).FailRead(NodeId::sched_groups_groupLeaderID, status);
      const RunResult run = RunQuery(scenario, "leader", kGroup);
      EXPECT_EQ(run.out, "0\n" + StatusLine(status));
      EXPECT_EQ(run.err,
                "Kelmar_GroupGetGroupLeaderID() failure, error code: " + std::to_string(status) + '\n');
   }
}

// ---- the allocation of a VM

Scenario VmWithChildren()
{
   Scenario scenario;
   scenario.Group(kGroup)
      .Flags(GROUP_VM)
      .Alloc({.min = 1, .max = 2, .shares = 3, .minLimit = 4})
      .Children({10, 11, 12});
   scenario.Group(10).Flags(GROUP_UW_SUB_CONTAINER);
   scenario.Group(11).Flags(GROUP_VMM_SUB_CONTAINER).Alloc({.min = 5, .max = 6, .shares = 7, .minLimit = 8});
   scenario.Group(12).Flags(GROUP_VMM_SUB_CONTAINER).Alloc({.min = 9, .max = 9, .shares = 9, .minLimit = 9});
   return scenario;
}

// Kept for compatibility: the mix of the two records.
TEST(VmmAllocation, MixesTheSubContainersWithTheVms)
{
   const RunResult run = RunQuery(VmWithChildren(), "vmmAlloc", kGroup);
   EXPECT_EQ(run.out, "5 6 3 4\nstatus 0\n");
   TraceLines expected = ChildListing(kGroup, {10, 11, 12});
   expected += {"Nevra_ParamListUsedCount(#2) = 3", "Nevra_ParamListGetInt64(#2, 0) = 0 10"};
   expected += OneKeyRead("sched_groups_groupFlags", 10, 4);
   expected += {"Nevra_ParamListGetInt64(#2, 1) = 0 11"};
   expected += OneKeyRead("sched_groups_groupFlags", 11, 4);
   expected += {"Nevra_ParamListDestroy(#2)"};
   expected += OneKeyRead("sched_groups_memAllocationInKB", kGroup, 36);
   expected += OneKeyRead("sched_groups_memAllocationInKB", 11, 36);
   EXPECT_EQ(JoinLines(run.trace), JoinLines(expected));
}

TEST(VmmAllocation, PassesOverChildrenThatCannotBeRead)
{
   Scenario scenario = VmWithChildren();
   scenario.Group(11).FailRead(NodeId::sched_groups_groupFlags, 0xbad0003);
   EXPECT_EQ(RunQuery(scenario, "vmmAlloc", kGroup).out, "9 9 3 4\nstatus 0\n");
   scenario = VmWithChildren();
   scenario.Group(11).FailRead(NodeId::sched_groups_groupFlags, 0xbad0007);
   const RunResult reported = RunQuery(scenario, "vmmAlloc", kGroup);
   EXPECT_EQ(reported.out, "9 9 3 4\nstatus 0\n");
   EXPECT_EQ(reported.err, "Kelmar_GroupGetFlags() failure, error code: 195887111\n");
   scenario = VmWithChildren();
   scenario.Fail("Nevra_ParamListGetInt64", 2, 0xbad0007);
   const RunResult unreadable = RunQuery(scenario, "vmmAlloc", kGroup);
   EXPECT_EQ(unreadable.out, "9 9 3 4\nstatus 0\n");
   EXPECT_EQ(unreadable.err, "");
}

TEST(VmmAllocation, IsNotFoundWithoutASubContainer)
{
   Scenario childless;
   childless.Group(kGroup).Flags(GROUP_VM);
   Scenario others = VmWithChildren();
   others.Group(kGroup).Children({10});
   Scenario allOnes;
   allOnes.Group(kGroup).Children({-1});
   allOnes.Group(-1).Flags(GROUP_VMM_SUB_CONTAINER);
   for (const Scenario &scenario : {childless, others, allOnes}) {
      const RunResult run = RunQuery(scenario, "vmmAlloc", kGroup);
      EXPECT_EQ(run.out, "0 0 0 0\nstatus 0xbad0003\n");
      EXPECT_EQ(run.err, "");
   }
}

TEST(VmmAllocation, ReportsEveryFailureOfItsListing)
{
   for (const NevraStatus status : kStatuses) {
      Scenario scenario = VmWithChildren();
      scenario.Group(kGroup).FailChildren(status);
      const RunResult run = RunQuery(scenario, "vmmAlloc", kGroup);
      EXPECT_EQ(run.out, "0 0 0 0\n" + StatusLine(status));
      EXPECT_EQ(run.err, std::string("Kelmar_GroupGetVMMAlloc: GetInstanceListAlloc failure: ") +
                            ORSKA_ReturnStatusToString(status) + '\n');
   }
}

TEST(VmmAllocation, ReportsItsParameterList)
{
   Scenario scenario = VmWithChildren();
   scenario.Fail("Nevra_ParamListCreate", 1);
   RunResult run = RunQuery(scenario, "vmmAlloc", kGroup);
   EXPECT_EQ(run.out, "0 0 0 0\nstatus 0xbad0001\n");
   EXPECT_EQ(run.err, "KelmarGroupNevraGet: Nevra_ParamListCreate() failure\n");
   scenario = VmWithChildren();
   scenario.Fail("Nevra_ParamListAddInt", 1, 0xbad0014);
   run = RunQuery(scenario, "vmmAlloc", kGroup);
   EXPECT_EQ(run.out, "0 0 0 0\nstatus 0xbad0014\n");
   EXPECT_EQ(run.err, "Kelmar_GroupGetVMMAlloc: Nevra_ParamListAddInt() failure: Out of memory\n");
}

TEST(VmmAllocation, ReportsTheReadsOfBothRecords)
{
   for (const NevraStatus status : kStatuses) {
      const std::string number = std::to_string(status);
      // The getter says it first, but for "Not found"; the query says it for every status.
      const std::string first =
         status == 0xbad0003 ? "" : "Kelmar_GroupGetAlloc() failure, error code: " + number + '\n';
      Scenario vm = VmWithChildren();
      vm.Group(kGroup).FailRead(NodeId::sched_groups_memAllocationInKB, status);
      RunResult run = RunQuery(vm, "vmmAlloc", kGroup);
      EXPECT_EQ(run.out, "0 0 0 0\n" + StatusLine(status));
      EXPECT_EQ(run.err,
                first + "Kelmar_GroupGetVMMAlloc: VM GroupGetAlloc failure, error code: " + number + '\n');
      Scenario vmm = VmWithChildren();
      vmm.Group(11).FailRead(NodeId::sched_groups_memAllocationInKB, status);
      run = RunQuery(vmm, "vmmAlloc", kGroup);
      EXPECT_EQ(run.out, "0 0 0 0\n" + StatusLine(status));
      EXPECT_EQ(run.err,
                first + "Kelmar_GroupGetVMMAlloc: GroupGetAlloc failure, error code: " + number + '\n');
   }
}

TEST(VmmAllocation, SurvivesEveryFault)
{
   RunOptions options;
   options.executable = QUERY_PROGRAM;
   EXPECT_EQ(CheckEveryFault(VmWithChildren(), {"vmmAlloc", std::to_string(kGroup)}, nullptr, options),
             5 /* creates */ + kFaultsPerCall * (5 /* adds */ + 5 /* removes */ + 4 /* reads */ +
                                                 1 /* listing */ + 2 /* child IDs */));
}

} // namespace
