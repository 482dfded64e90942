// dcpmm-stats: profiles the persistent-memory DIMMs of the live host by their hardware counters.
#ifndef REPORTS_PMEM_DCPMM_STATS_H
#define REPORTS_PMEM_DCPMM_STATS_H

#include "nevra/nevra.h"
#include "report/report_description.h"

extern const ReportDescription dcpmmStatsDescription;

// Counts for a time, once or repeatedly, and writes the counts to a file named after the date and time, or as
// CSV to standard output. The status of the step that ended it; the file then holds what was counted before.
NevraStatus DcpmmStatsReport(int argc, char **argv);

#endif
