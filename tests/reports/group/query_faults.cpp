#include "tests/reports/group/query_faults.h"

#include <algorithm>

using namespace scripted;

namespace {

constexpr NevraStatus kFailure = 0xbad0001;
constexpr NevraStatus kNotFound = 0xbad0003;
constexpr NevraStatus kNotInitialized = 0xbad0031;

bool IsRead(const std::string &line)
{
   return line.starts_with("Nevra_Get(") || line.starts_with("Nevra_GetInstanceListAlloc(");
}

bool Reads(const std::string &line, const std::string &node)
{
   return line.starts_with("Nevra_Get(" + node + ",");
}

bool Failed(const Fault &fault, const char *operation)
{
   return fault.operation == operation;
}

std::string WalkMessages(const Fault &fault)
{
   if (Failed(fault, "Nevra_ParamListCreate")) {
      return "KelmarGroupNevraGet: Nevra_ParamListCreate() failure\n";
   }
   if (Failed(fault, "Nevra_ParamListAddInt")) {
      return "KelmarTraverseGroups: Nevra_ParamListAddInt() failure: " + StatusText(fault.status) + '\n';
   }
   return fault.status == kNotFound
             ? ""
             : "KelmarTraverseGroups: Nevra_GetInstanceListAlloc failure: " + StatusText(fault.status) + '\n';
}

// What is said of a list that cannot be made or filled.
std::string ParamListMessages(const Fault &fault, bool ofMemClient)
{
   const std::string number = std::to_string(fault.status);
   if (Failed(fault, "Nevra_ParamListCreate")) {
      return ofMemClient ? "Kelmar_MemClientNevraGet: Nevra_ParamListCreate() failure\n"
                         : "KelmarGroupNevraGet: Nevra_ParamListCreate() failure\n";
   }
   if (Failed(fault, "Nevra_ParamListAddInt")) {
      return ofMemClient
                ? "Kelmar_MemClientNevraGet: Nevra_ParamListAddInt() failure: " + StatusText(fault.status) +
                     '\n'
                : "KelmarGroupNevraGet: Nevra_ParamListAddInt() faiure, error code: " + number + '\n';
   }
   return "";
}

struct GroupQuery {
   const char *node;
   const char *message; // but for the status
   bool asText;
   std::vector<NevraStatus> silent;
};

const std::vector<GroupQuery> kGroupQueries = {
   {"sched_groups_groupName", "Kelmar_GroupGetName() failure, error code: ", false, {}},
   {"sched_groups_parentGroupID", "Kelmar_GroupGetParentID() failure, error code: ", false, {kNotFound}},
   {"sched_groups_groupFlags",
    "Kelmar_GroupGetFlags() failure, error code: ",
    false,
    {kNotFound, kNotInitialized}},
   {"sched_groups_groupLeaderID", "Kelmar_GroupGetGroupLeaderID() failure, error code: ", false, {}},
   {"sched_groups_memAllocationInKB", "Kelmar_GroupGetAlloc() failure, error code: ", false, {kNotFound}},
   {"sched_groups_stats_memoryStats",
    "KelmarGroupGetMemoryStats() failure, error code: ",
    false,
    {kNotFound}},
   {"worldGroups_vmmLeaderID", "Kelmar_GetVmmLeaderID() failure: ", true, {kNotFound}},
};

} // namespace

std::string StatusText(NevraStatus status)
{
   switch (status) {
   case kFailure:
      return "Failure";
   case kNotFound:
      return "Not found";
   case 0xbad0007:
      return "Bad parameter";
   case 0xbad0014:
      return "Out of memory";
   case kNotInitialized:
      return "Not initialized";
   default:
      ADD_FAILURE() << "no text for status " << status;
      return "";
   }
}

std::string ReadOfFault(const Fault &fault, const std::vector<std::string> &cleanTrace)
{
   const auto call = cleanTrace.begin() + static_cast<ptrdiff_t>(fault.traceIndex);
   return *std::find_if(call, cleanTrace.end(), IsRead);
}

std::string QueryMessages(const Fault &fault, const std::string &read,
                          const std::vector<StatsRead> &statsReads)
{
   for (const GroupQuery &query : kGroupQueries) {
      if (Reads(read, query.node)) {
         const std::string text = query.asText ? StatusText(fault.status) : std::to_string(fault.status);
         const bool silent = std::ranges::count(query.silent, fault.status) > 0;
         return ParamListMessages(fault, false) + (silent ? "" : query.message + text + '\n');
      }
   }
   for (const StatsRead &stats : statsReads) {
      if (Reads(read, stats.node)) {
         const std::string message =
            stats.operation + "() failure, error code: " + std::to_string(fault.status) + '\n';
         return ParamListMessages(fault, true) + (fault.status == kNotFound ? "" : message);
      }
   }
   ADD_FAILURE() << "no message for a fault in " << read;
   return "";
}

void CheckFaultsLeaveNoRow(const Scenario &scenario, const std::string &report,
                           const std::vector<StatsRead> &statsReads, const OwnMessages &own)
{
   const std::vector<std::string> arguments = {"-r", report, "-g", "1", "-l", "1", "-q"};
   const RunResult clean = RunHostmem(scenario, arguments);
   ASSERT_EQ(clean.OutLines().size(), 3U) << clean.out;
   const RunResult none = RunHostmem(Scenario(), arguments);
   const std::string walk = *std::ranges::find_if(clean.trace, IsRead);
   CheckEveryFault(scenario, arguments, [&](const Fault &fault) -> ExpectedFault {
      if (Failed(fault, "Nevra_ParamListRemoveLastParam")) {
         return {0, "", clean.out};
      }
      const std::string read = ReadOfFault(fault, clean.trace);
      if (read == walk) {
         return {1, WalkMessages(fault), none.out};
      }
      const std::optional<std::string> messages = own ? own(fault, read) : std::nullopt;
      return {1, messages ? *messages : QueryMessages(fault, read, statsReads), none.out};
   });
}
