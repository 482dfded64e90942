#include "reports/group/asyncremap_stats.h"

#include "nevra/records.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/flag_filter.h"
#include "report/grid.h"
#include "report/group_queries.h"
#include "report/group_report.h"
#include "report/row_figures.h"
#include "sysinfo/param_list.h"
#include "sysinfo/status.h"

namespace {

ReportColumn columns[] = {
   {"name", "Group name", 27, "s", 0, 0, 1},
   {"grpLeader", "Group leader ID", 10, "d", 0, 0, 1},
   {"type", "Type of remap", 28, "s", 0, 1, 1},
   {"added", "Total number of pages ever added", 10, "lu", 1, 0, 1},
   {"prepared", "Number of pages ever prepared", 10, "lu", 1, 0, 1},
   {"filtered", "Number of pages ever filtered", 10, "lu", 1, 0, 1},
   {"staged", "Number of pages ever staged", 10, "lu", 1, 0, 1},
   {"remapped", "Total number of pages ever remapped", 10, "lu", 1, 0, 1},
   {"canceled", "Total number of pages ever canceled", 10, "lu", 1, 0, 1},
   {"cUnprepared", "Number of pages currently unprepared", 10, "lu", 1, 0, 1},
   {"cPrepared", "Number of pages currently prepared", 10, "lu", 1, 0, 1},
   {"cStaged", "Number of pages currently staged", 10, "lu", 1, 0, 1},
   kEndOfColumns,
};

// One remap type of one memory client, or the sum of all. Memory in KB until it is converted.
struct AsyncRemapRow {
   GroupNameRecord name;
   uint32_t grpLeader; // memory-client ID
   const char *type;   // owned by the client's list of remap types
   uint64_t added;
   uint64_t prepared;
   uint64_t filtered;
   uint64_t staged;
   uint64_t remapped;
   uint64_t canceled;
   uint64_t cUnprepared;
   uint64_t cPrepared;
   uint64_t cStaged;
};

using Row = AsyncRemapRow;

constexpr uint64_t Row::*kAmounts[] = {&Row::added,       &Row::prepared,  &Row::filtered,
                                       &Row::staged,      &Row::remapped,  &Row::canceled,
                                       &Row::cUnprepared, &Row::cPrepared, &Row::cStaged};

struct AsyncRemapContext {
   DisplayUnit unit;
   AsyncRemapRow totals;
};

constexpr uint64_t kKBPerPage = 4;

// The steps as their messages call them.
constexpr char kGroupStep[] = "KelmarAsyncRemapReportCallback";
constexpr char kClientStep[] = "KelmarAsyncRemapReportCallbackInt";
constexpr char kTypeStep[] = "KelmarAsyncRemapGetStats";

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

void FillRemapRow(AsyncRemapRow *row, const RemapStatsRecord &pages)
{
   row->added = pages.added * kKBPerPage;
   row->prepared = pages.prepared * kKBPerPage;
   row->filtered = pages.filtered * kKBPerPage;
   row->staged = pages.staged * kKBPerPage;
   row->remapped = pages.remapped * kKBPerPage;
   row->canceled = pages.canceled * kKBPerPage;
   row->cUnprepared = pages.cUnprepared * kKBPerPage;
   row->cPrepared = pages.cPrepared * kKBPerPage;
   row->cStaged = pages.cStaged * kKBPerPage;
}

void PrintRemapRow(AsyncRemapRow *row, DisplayUnit unit, bool isTotalRow, bool csvMode)
{
   ConvertFigures(row, unit, kAmounts);
   PrintReportRow(columns, csvMode, isTotalRow,
                  {row->name.name, row->grpLeader, row->type, row->added, row->prepared, row->filtered,
                   row->staged, row->remapped, row->canceled, row->cUnprepared, row->cPrepared,
                   row->cStaged});
}

NevraStatus ReadRemapStats(const AsyncRemapRow &row, RemapStatsRecord *pages)
{
   const ParamListPtr params = CreateParamList(2);
   if (params == nullptr) {
      return NEVRA_FAILURE;
   }
   NevraStatus status = AddClientID(params, row.grpLeader);
   if (status != NEVRA_OK) {
      return ReportFailure(kTypeStep, 137, status);
   }
   status = Nevra_ParamListAddString(params.get(), row.type);
   if (status != NEVRA_OK) {
      return ReportFailure(kTypeStep, 138, status);
   }
   status = Nevra_Get(NEVRA_NODE_sched_memClients_remapTypes, params.get(), pages, sizeof *pages);
   return status == NEVRA_OK ? status : ReportFailure(kTypeStep, 140, status);
}

// Prints the row of one remap type.
NevraStatus KelmarAsyncRemapGetStats(AsyncRemapRow *row, bool csvMode, AsyncRemapContext *context)
{
   RemapStatsRecord pages = {};
   const NevraStatus status = ReadRemapStats(*row, &pages);
   if (status != NEVRA_OK) {
      return status;
   }
   FillRemapRow(row, pages);
   AddFigures(&context->totals, *row, kAmounts);
   PrintRemapRow(row, context->unit, false, csvMode);
   return NEVRA_OK;
}

// Prints the rows of one memory client.
NevraStatus KelmarAsyncRemapReportCallbackInt(const GroupNameRecord &name, uint32_t clientID, bool csvMode,
                                              AsyncRemapContext *context)
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
      status = KelmarAsyncRemapGetStats(&row, csvMode, context);
      if (status != NEVRA_OK) {
         return ReportFailure(kClientStep, 307, status);
      }
   }
   return NEVRA_OK;
}

// Prints the rows of all memory clients of a group.
NevraStatus PrintMemClients(uint64_t groupID, const GroupNameRecord &name, bool csvMode,
                            AsyncRemapContext *context)
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
      status = KelmarAsyncRemapReportCallbackInt(name, clientID, csvMode, context);
      if (status != NEVRA_OK) {
         return ReportFailure(kGroupStep, 400, status);
      }
   }
   return NEVRA_OK;
}

NevraStatus KelmarAsyncRemapReportCallback(uint64_t groupID, uint32_t, uint8_t csvMode, void *context)
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
   return PrintMemClients(groupID, name, csvMode, static_cast<AsyncRemapContext *>(context));
}

constexpr option kLongOptions[] = {kGidOption,     kUnitOption, kSelectionOption,
                                   kVerboseOption, kCsvOption,  kEndOfOptions};

constexpr GroupReport kReport = {.shortOptions = "g:s:u:vq",
                                 .longOptions = kLongOptions,
                                 .title = "ASYNC_REMAP STATS",
                                 .ruleLength = 43,
                                 .columns = columns,
                                 .visit = KelmarAsyncRemapReportCallback,
                                 .printSummary = PrintTotals<AsyncRemapContext, PrintRemapRow>,
                                 .hasLevels = false};

} // namespace

constinit const ReportDescription asyncRemapStatsDescription = DescribeGroupReport(kReport);

NevraStatus AsyncRemapStatsReport(int argc, char **argv)
{
   AsyncRemapContext context = {};
   context.totals.type = "";
   return RunGroupReport(kReport, argc, argv, &context.unit, &context);
}
