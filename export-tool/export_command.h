// What hostmem-export does.
#ifndef EXPORT_TOOL_EXPORT_COMMAND_H
#define EXPORT_TOOL_EXPORT_COMMAND_H

#include <string>
#include <vector>

#include "export-tool/put_metrics.h"
#include "export/row_writer.h"
#include "nevra/snapshot/replace_file.h"

// A report and the options that stand after it.
struct ReportRequest {
   std::string report;
   std::vector<std::string> options;
};

struct ExportRequest {
   RowFormat format = RowFormat::Json;
   bool rowsOnly = false; // of JSON lines
   std::vector<ReportRequest> reports;
   std::vector<std::string> snapshots; // with no folder either: this host, now
   std::string folder;                 // of a recording; empty: none
   std::string from;                   // empty: the first frame
   std::string to;                     // empty: the last
   std::string output;                 // empty: standard output
   nevra::IfExists ifExists = nevra::IfExists::Keep;
};

// Splits the words of a command line at each -r: what stands before the first one is left in `*words`, each
// report with its options goes to `*reports`. False for -r without a name.
bool SplitReports(std::vector<std::string> *words, std::vector<ReportRequest> *reports);

// Writes the rows of the reports, moment by moment. Writes its messages itself and returns the exit status: 0
// when done, 1 when something failed, 2 for what cannot be meant.
int ExportCommand(const ExportRequest &request);

// The same for metrics. The reports are those that they are taken from; none: all.
int ExportMetricsCommand(const ExportRequest &request, const MetricRequest &wanted);

#endif
