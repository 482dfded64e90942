// Runs reports in this process, as often as wanted, with outputs of the caller's.
//
// A report reads its options as the command line has them, and its selection of columns changes its table for
// the rest of the process; both begin anew with each run here.
#ifndef EXPORT_RUN_REPORT_H
#define EXPORT_RUN_REPORT_H

#include <span>
#include <string>
#include <vector>

#include "frontend/report_table.h"
#include "nevra/nevra.h"
#include "report/table_output.h"

// Runs a report on the source that answers the process, with the options that stand after -r and its name.
// The rows are those of hostmem -q. The status of the step that ended it; reasons are given in Warnings.
NevraStatus RunReport(const ReportEntry &report, const std::vector<std::string> &options,
                      const TableOutput &output);

// Why the options cannot be meant for the report: a letter that it does not know, or a selected column that
// it does not have, which the report itself would pass over. Empty when they can.
std::string ProblemOfOptions(const ReportEntry &report, const std::vector<std::string> &options);

#endif
