// The frame of the reports about the host as a whole: options, unit, column selection, what is read before
// the banner, the table, and the description of the columns.
#ifndef REPORT_HOST_REPORT_H
#define REPORT_HOST_REPORT_H

#include <vector>

#include "nevra/nevra.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/report_description.h"
#include "report/report_options.h"
#include "report/table_output.h"

// One run of a report; the reports add what they need by inheriting it.
struct HostRun {
   const TableOutput *output;
   DisplayUnit unit = UNIT_KB;
   ReportOptions options;
   std::vector<BannerSetting> settings; // of the banner; the unit's line is there before `prepare`
};

struct HostReport {
   const char *shortOptions;
   const option *longOptions;
   const char *title;
   int ruleLength; // dashes under the title
   ReportColumn *columns;
   UnitOption unitOption = UnitOption::BeforeSelection;
   bool takesBytes = false; // -u takes "b", and bytes are the unit without -u
   // Reads what the report shows before anything is put out; null: nothing is. A status other than 0 ends the
   // report.
   NevraStatus (*prepare)(HostRun *run) = nullptr;
   // Puts out the rows. A status other than 0 ends the report where it is.
   NevraStatus (*putRows)(HostRun *run);
   const char *closingNote = nullptr; // follows the description of the columns
};

// What the usage text, the manuals and the completions need to know of it.
constexpr ReportDescription DescribeHostReport(const HostReport &report, const char *usage, bool hasTotalRow,
                                               const FlagName *flagNames = nullptr)
{
   return {.columns = report.columns,
           .shortOptions = report.shortOptions,
           .longOptions = report.longOptions,
           .usage = usage,
           .hasTotalRow = hasTotalRow,
           .takesBytes = report.takesBytes,
           .flagNames = flagNames};
}

// "Bad parameter", before anything is put out, for an option that does not parse; else the status of
// `prepare` or of `putRows`.
NevraStatus RunHostReport(const HostReport &report, const ReportArguments &arguments, HostRun *run);

#endif
