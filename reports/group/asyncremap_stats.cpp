#include "nevra/records.h"
#include "report/figure_table.h"
#include "report/flag_filter.h"
#include "report/group_queries.h"
#include "report/group_report.h"
#include "reports/report_list.h"
#include "sysinfo/node_read.h"

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

constexpr auto kReason = FailureMessage::Reason;

// The numbers in the messages tell which call failed; they never change.
NevraStatus ReadRemapStats(AsyncRemapRow *row)
{
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
   NevraStatus status;
   const ParamListPtr params = MakeKeyList(
      1, kSilent,
      {{static_cast<int32_t>(clientID), {"KelmarAsyncRemapReportCallbackInt:300 failure: ", kReason}}},
      &status);
   if (params == nullptr) {
      return status;
   }
   status = ListInstances(NEVRA_NODE_sched_memClients_remapTypes, params.get(), &types);
   if (status != NEVRA_OK) {
      return Fail({"KelmarAsyncRemapReportCallbackInt:302 failure: ", kReason}, status);
   }
   for (uint32_t j = 0; j < Nevra_ParamListUsedCount(types.get()); j++) {
      row.type = "";
      status = Nevra_ParamListGetString(types.get(), j, &row.type);
      if (status != NEVRA_OK) {
         return Fail({"KelmarAsyncRemapReportCallbackInt:305 failure: ", kReason}, status);
      }
      status = KelmarAsyncRemapGetStats(&row, run);
      if (status != NEVRA_OK) {
         return Fail({"KelmarAsyncRemapReportCallbackInt:307 failure: ", kReason}, status);
      }
   }
   return NEVRA_OK;
}

// Puts out the rows of all memory clients of a group.
NevraStatus PutMemClients(uint64_t groupID, const GroupNameRecord &name, Run *run)
{
   ParamListPtr clients; // outlives the parameters
   NevraStatus status;
   const ParamListPtr params = MakeKeyList(
      1, kSilent,
      {{static_cast<int64_t>(groupID), {"KelmarAsyncRemapReportCallback:391 failure: ", kReason}}}, &status);
   if (params == nullptr) {
      return status;
   }
   status = ListInstances(NEVRA_NODE_sched_groups_members_memClients, params.get(), &clients);
   if (status != NEVRA_OK) {
      return Fail({"KelmarAsyncRemapReportCallback:393 failure: ", kReason}, status);
   }
   for (uint32_t i = 0; i < Nevra_ParamListUsedCount(clients.get()); i++) {
      uint32_t clientID = 0;
      status = Nevra_ParamListGetUInt32(clients.get(), i, &clientID);
      if (status != NEVRA_OK) {
         return Fail({"KelmarAsyncRemapReportCallback:398 failure: ", kReason}, status);
      }
      status = KelmarAsyncRemapReportCallbackInt(name, clientID, run);
      if (status != NEVRA_OK) {
         return Fail({"KelmarAsyncRemapReportCallback:400 failure: ", kReason}, status);
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

constexpr option kLongOptions[] = {kGidOption,     kUnitOption, kSelectionOption,
                                   kVerboseOption, kCsvOption,  kEndOfOptions};

constexpr GroupReport kReport = {.shortOptions = "g:s:u:vq",
                                 .longOptions = kLongOptions,
                                 .title = "ASYNC_REMAP STATS",
                                 .ruleLength = 43,
                                 .columns = table.columns,
                                 .visit = KelmarAsyncRemapReportCallback,
                                 .putSummary = PutTotals<&table, Row>,
                                 .hasLevels = false};

} // namespace

constinit const ReportDescription asyncRemapStatsDescription =
   DescribeGroupReport(kReport, USAGE_REPORT_OPTIONS USAGE_GID USAGE_UNIT USAGE_UNIT_NOTE);

NevraStatus AsyncRemapStatsReport(const ReportArguments &arguments)
{
   auto run = MakeRun(table);
   return RunGroupReport(kReport, arguments, &run);
}
