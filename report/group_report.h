// The frame of the reports that walk the scheduler-group tree: banner, the rows that the walk brings, a
// summary after them, and the description of the columns.
#ifndef REPORT_GROUP_REPORT_H
#define REPORT_GROUP_REPORT_H

#include <cstdint>

#include <getopt.h>

#include "nevra/nevra.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/figure_table.h"
#include "report/flag_filter.h"
#include "report/group_identity.h"
#include "report/group_tree.h"
#include "report/report_description.h"
#include "report/report_options.h"
#include "report/table_output.h"

// The options of the per-VM reports that have none of their own.
inline constexpr char kVmReportShortOptions[] = "g:l:s:u:vq";
inline constexpr option kVmReportLongOptions[] = {
   kGidOption, kLevelOption, kUnitOption, kSelectionOption, kVerboseOption, kCsvOption, kEndOfOptions};

inline constexpr char kVmReportUsage[] =
   USAGE_REPORT_OPTIONS USAGE_GID USAGE_LEVEL USAGE_UNIT USAGE_UNIT_NOTE;

// The filters -i and -e over one table of names.
struct GroupFilters {
   const FlagName *names; // null: the report has no filters
   uint32_t inclusionMask;
   uint32_t exclusionMask;
};

// One run of a report; the reports add what they need by inheriting it. The visits get it as their context.
struct GroupRun {
   const TableOutput *output;
   DisplayUnit unit;
   GroupFilters filters;
};

// A run whose rows come from a figure table and are summed.
template <typename Row, const auto &figures> struct SummedRun : GroupRun {
   FigureSums<Row, figures> sums;
};
template <typename Row, const auto &figures>
SummedRun<Row, figures> MakeRun(const FigureTable<Row, figures> &)
{
   return {};
}

struct GroupReport {
   const char *shortOptions = kVmReportShortOptions;
   const option *longOptions = kVmReportLongOptions;
   const char *title;
   int ruleLength; // dashes under the title
   ReportColumn *columns;
   GroupVisitFn visit;
   void (*putSummary)(GroupRun *run) = nullptr; // what follows the rows; null: nothing does
   bool hasLevels = true;                       // whether the banner says how many levels are walked
   const char *unitName = nullptr; // what the banner calls the unit; null: the name of the chosen one
   UnitOption unitOption = UnitOption::BeforeSelection;
};

// What the usage text, the manuals and the completions need to know of it. `flagNames` is null in a report
// without flags. Whether there is a Total row is said and not asked of the summary: with sanitizers the
// compiler does not take a comparison of functions for a constant.
constexpr ReportDescription DescribeGroupReport(const GroupReport &report, const char *usage,
                                                const FlagName *flagNames = nullptr, bool hasTotalRow = true)
{
   return {.columns = report.columns,
           .shortOptions = report.shortOptions,
           .longOptions = report.longOptions,
           .usage = usage,
           .hasTotalRow = hasTotalRow,
           .flagNames = flagNames};
}

// A GroupVisitFn: the row of each VM of the walk, read by `readRow` into a Row whose `vm` is filled, put out
// and summed. A status other than 0 of `readRow` leaves the row out. Other groups give no row.
template <auto *table, typename Row, NevraStatus (*readRow)(Row *row), AllOnes allOnes = AllOnes::Added>
NevraStatus VisitVm(uint64_t groupID, uint32_t, uint8_t, void *context)
{
   using Run = decltype(MakeRun(*table));
   GroupIdentity vm;
   bool isVm;
   NevraStatus status = ReadVmIdentity(groupID, &vm, &isVm);
   if (status != NEVRA_OK || !isVm) {
      return status;
   }
   Row row = {};
   row.vm = vm;
   status = readRow(&row);
   if (status != NEVRA_OK) {
      return status;
   }
   Run *run = static_cast<Run *>(static_cast<GroupRun *>(context));
   AddToSums(*table, row, &run->sums, allOnes);
   PutFigures(*run->output, *table, row, run->unit);
   return NEVRA_OK;
}

// The summary that is the Total row of a table; that of VMs has a name.
template <auto *table, typename Row> void PutTotals(GroupRun *groupRun)
{
   const auto *run = static_cast<decltype(MakeRun(*table)) *>(groupRun);
   Row row = {};
   if constexpr (requires { row.vm; }) {
      row.vm = kTotalIdentity;
   }
   run->output->Section();
   PutSums(*run->output, RowKind::Total, *table, row, run->sums, run->unit);
}

// The inclusion filter first; the status of the first that does not parse, which is reported.
NevraStatus ParseGroupFilters(const ReportOptions &options, const FlagName *names, GroupFilters *filters);

// Puts out the report, its options parsed, its unit and filters in `run`, and its columns selected. Returns
// the status of the walk.
NevraStatus PutGroupReport(const GroupReport &report, const ReportArguments &arguments,
                           const ReportOptions &options, GroupRun *run);

// A whole report without filters: options, unit and column selection in the order of `unitOption`, report.
// "Bad parameter", before anything is put out, for an option that does not parse.
NevraStatus RunGroupReport(const GroupReport &report, const ReportArguments &arguments, GroupRun *run);

#endif
