// The frame of the reports that walk the scheduler-group tree: banner, table head, the rows that the walk
// brings, a summary below them, and the description of the columns.
#ifndef REPORT_GROUP_REPORT_H
#define REPORT_GROUP_REPORT_H

#include <cstdint>

#include <getopt.h>

#include "nevra/nevra.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/flag_filter.h"
#include "report/group_tree.h"
#include "report/report_description.h"
#include "report/report_options.h"

// The options of the per-VM reports that have none of their own.
inline constexpr char kVmReportShortOptions[] = "g:l:s:u:vq";
inline constexpr option kVmReportLongOptions[] = {
   kGidOption, kLevelOption, kUnitOption, kSelectionOption, kVerboseOption, kCsvOption, kEndOfOptions};

// Prints what follows the rows, usually the Total row.
using GroupSummaryFn = void (*)(void *context, bool csvMode);

struct GroupReport {
   const char *shortOptions = kVmReportShortOptions;
   const option *longOptions = kVmReportLongOptions;
   const char *title;
   int ruleLength; // dashes under the title
   ReportColumn *columns;
   GroupVisitFn visit;
   GroupSummaryFn printSummary = nullptr; // a separator follows it; null: there is no summary
   bool hasLevels = true;                 // whether the banner says how many levels are walked
   const char *unitName = nullptr;        // what the banner calls the unit; null: the name of the chosen one
};

// What the manuals and the completions need to know of it. `flagNames` is null in a report without flags.
// Whether there is a Total row is said and not asked of the summary: with sanitizers the compiler does not
// take a comparison of functions for a constant.
constexpr ReportDescription DescribeGroupReport(const GroupReport &report,
                                                const FlagName *flagNames = nullptr, bool hasTotalRow = true)
{
   return {.columns = report.columns,
           .shortOptions = report.shortOptions,
           .longOptions = report.longOptions,
           .hasTotalRow = hasTotalRow,
           .flagNames = flagNames};
}

// The GroupSummaryFn that prints the Total row: the context's totals, in its unit.
template <typename Context, auto printRow> void PrintTotals(void *opaque, bool csvMode)
{
   Context *context = static_cast<Context *>(opaque);
   printRow(&context->totals, context->unit, true, csvMode);
}

// The filters -i and -e over one table of names.
struct GroupFilters {
   const FlagName *names;
   uint32_t inclusionMask;
   uint32_t exclusionMask;
};

// The inclusion filter first; the status of the first that does not parse, which is reported.
NevraStatus ParseGroupFilters(const ReportOptions &options, const FlagName *names, GroupFilters *filters);

// Prints the report, its options parsed and its columns selected. `filters` is null in a report without them;
// `context` goes to the visit and to the summary. Returns the status of the walk.
NevraStatus PrintGroupReport(const GroupReport &report, const ReportOptions &options, DisplayUnit unit,
                             const GroupFilters *filters, void *context);

// A whole report without filters in the usual order: options, unit, column selection, report. `unit` is set
// before the walk begins. "Bad parameter", before anything is printed, for an option that does not parse.
NevraStatus RunGroupReport(const GroupReport &report, int argc, char **argv, DisplayUnit *unit,
                           void *context);

#endif
