#include "nevra/records.h"
#include "report/figure_table.h"
#include "report/flag_filter.h"
#include "report/group_queries.h"
#include "report/group_report.h"
#include "reports/report_list.h"
#include "sysinfo/node_read.h"
#include "sysinfo/status.h"

namespace {

// One remap type of one memory client.
struct AsyncRemapRow {
   GroupNameRecord name;
   uint32_t grpLeader; // memory-client ID
   const char *type;   // owned by the client's list of remap types
   RemapStatsRecord pages;
};

using Row = AsyncRemapRow;

constexpr Figure kFigures[] = {
   {{"name", "Group name", 27, "s", kNotTotalled, kSelectable, kShown, Unit::Text, Role::Label},
    ROW_FIELD(name.name)},
   {{"grpLeader", "Group leader ID", 10, "d", kNotTotalled, kSelectable, kShown, Unit::Id, Role::Label},
    ROW_FIELD(grpLeader)},
   {{"type", "Type of remap", 28, "s", kNotTotalled, kKey, kShown, Unit::Text, Role::Label}, ROW_FIELD(type)},
   {{"added", "Total number of pages ever added", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Counter},
    ROW_PAGES(pages.added)},
   {{"prepared", "Number of pages ever prepared", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Counter},
    ROW_PAGES(pages.prepared)},
   {{"filtered", "Number of pages ever filtered", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Counter},
    ROW_PAGES(pages.filtered)},
   {{"staged", "Number of pages ever staged", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Counter},
    ROW_PAGES(pages.staged)},
   {{"remapped", "Total number of pages ever remapped", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Counter},
    ROW_PAGES(pages.remapped)},
   {{"canceled", "Total number of pages ever canceled", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Counter},
    ROW_PAGES(pages.canceled)},
   {{"cUnprepared", "Number of pages currently unprepared", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_PAGES(pages.cUnprepared)},
   {{"cPrepared", "Number of pages currently prepared", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_PAGES(pages.cPrepared)},
   {{"cStaged", "Number of pages currently staged", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_PAGES(pages.cStaged)},
};
constinit FigureTable<Row, kFigures> table;
using Run = decltype(MakeRun(table));

// The steps as their messages call them.
constexpr char kGroupStep[] = "KelmarAsyncRemapReportCallback";
constexpr char kClientStep[] = "KelmarAsyncRemapReportCallbackInt";

// The number names the failing call, for those who read the messages; it never changes.
NevraStatus ReportFailure(const char *step, uint32_t number, NevraStatus status)
{
   Warning("%s:%u failure: %s\n", step, number, ORSKA_ReturnStatusToString(status));
   return status;
}

NevraStatus AddClientID(const ParamListPtr &params, uint32_t clientID)
{
   return Nevra_ParamListAddInt(params.get(), static_cast<int32_t>(clientID));
}

NevraStatus ReadRemapStats(AsyncRemapRow *row)
{
   constexpr auto kReason = FailureMessage::Reason;
   return ReadNode(
      {.node = NEVRA_NODE_sched_memClients_remapTypes,
       .capacity = 2,
       .noRecord = {"KelmarAsyncRemapGetStats:140 failure: ", kReason}},
      {{static_cast<int32_t>(row->grpLeader), {"KelmarAsyncRemapGetStats:137 failure: ", kReason}},
       {row->type, {"KelmarAsyncRemapGetStats:138 failure: ", kReason}}},
      &row->pages, sizeof row->pages);
}

// Puts out the row of one remap type.
NevraStatus KelmarAsyncRemapGetStats(AsyncRemapRow *row, Run *run)
{
   row->pages = {};
   const NevraStatus status = ReadRemapStats(row);
   if (status != NEVRA_OK) {
      return status;
   }
   AddToSums(table, *row, &run->sums);
   PutFigures(*run->output, table, *row, run->unit);
   return NEVRA_OK;
}

// Puts out the rows of one memory client.
NevraStatus KelmarAsyncRemapReportCallbackInt(const GroupNameRecord &name, uint32_t clientID, Run *run)
{
   AsyncRemapRow row = {};
   row.name = name;
   row.grpLeader = clientID;
   ParamListPtr types; // outlives the parameters
   const ParamListPtr params = CreateParamList(1);
   if (params == nullptr) {
      return NEVRA_FAILURE;
   }
   NevraStatus status = AddClientID(params, clientID);
   if (status != NEVRA_OK) {
      return ReportFailure(kClientStep, 300, status);
   }
   status = ListInstances(NEVRA_NODE_sched_memClients_remapTypes, params.get(), &types);
   if (status != NEVRA_OK) {
      return ReportFailure(kClientStep, 302, status);
   }
   for (uint32_t j = 0; j < Nevra_ParamListUsedCount(types.get()); j++) {
      row.type = "";
      status = Nevra_ParamListGetString(types.get(), j, &row.type);
      if (status != NEVRA_OK) {
         return ReportFailure(kClientStep, 305, status);
      }
      status = KelmarAsyncRemapGetStats(&row, run);
      if (status != NEVRA_OK) {
         return ReportFailure(kClientStep, 307, status);
      }
   }
   return NEVRA_OK;
}

// Puts out the rows of all memory clients of a group.
NevraStatus PutMemClients(uint64_t groupID, const GroupNameRecord &name, Run *run)
{
   ParamListPtr clients; // outlives the parameters
   const ParamListPtr params = CreateParamList(1);
   if (params == nullptr) {
      return NEVRA_FAILURE;
   }
   NevraStatus status = Nevra_ParamListAddInt(params.get(), static_cast<int64_t>(groupID));
   if (status != NEVRA_OK) {
      return ReportFailure(kGroupStep, 391, status);
   }
   status = ListInstances(NEVRA_NODE_sched_groups_members_memClients, params.get(), &clients);
   if (status != NEVRA_OK) {
      return ReportFailure(kGroupStep, 393, status);
   }
   for (uint32_t i = 0; i < Nevra_ParamListUsedCount(clients.get()); i++) {
      uint32_t clientID = 0;
      status = Nevra_ParamListGetUInt32(clients.get(), i, &clientID);
      if (status != NEVRA_OK) {
         return ReportFailure(kGroupStep, 398, status);
      }
      status = KelmarAsyncRemapReportCallbackInt(name, clientID, run);
      if (status != NEVRA_OK) {
         return ReportFailure(kGroupStep, 400, status);
      }
   }
   return NEVRA_OK;
}

NevraStatus KelmarAsyncRemapReportCallback(uint64_t groupID, uint32_t, uint8_t, void *context)
{
   uint32_t flags = 0;
   NevraStatus status = Kelmar_GroupGetFlags(groupID, &flags);
   if (status != NEVRA_OK || (flags & GROUP_USER_WORLD) == 0) {
      return status;
   }
   GroupNameRecord name;
   status = Kelmar_GroupGetName(groupID, &name);
   if (status != NEVRA_OK) {
      return status;
   }
   return PutMemClients(groupID, name, static_cast<Run *>(static_cast<GroupRun *>(context)));
}

void PutRemapTotals(GroupRun *groupRun)
{
   const Run *run = static_cast<Run *>(groupRun);
   run->output->Section();
   PutSums(*run->output, RowKind::Total, table, {}, run->sums, run->unit);
}

constexpr option kLongOptions[] = {kGidOption,     kUnitOption, kSelectionOption,
                                   kVerboseOption, kCsvOption,  kEndOfOptions};

constexpr GroupReport kReport = {.shortOptions = "g:s:u:vq",
                                 .longOptions = kLongOptions,
                                 .title = "ASYNC_REMAP STATS",
                                 .ruleLength = 43,
                                 .columns = table.columns,
                                 .visit = KelmarAsyncRemapReportCallback,
                                 .putSummary = PutRemapTotals,
                                 .hasLevels = false};

} // namespace

constinit const ReportDescription asyncRemapStatsDescription =
   DescribeGroupReport(kReport, USAGE_REPORT_OPTIONS USAGE_GID USAGE_UNIT USAGE_UNIT_NOTE);

NevraStatus AsyncRemapStatsReport(const ReportArguments &arguments)
{
   auto run = MakeRun(table);
   return RunGroupReport(kReport, arguments, &run);
}
