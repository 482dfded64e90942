// heap-stats: one row per kernel heap, in bytes unless another unit is asked for, and their total.
#ifndef REPORTS_HOST_HEAP_STATS_H
#define REPORTS_HOST_HEAP_STATS_H

#include "nevra/nevra.h"
#include "report/report_description.h"

extern const ReportDescription heapStatsDescription;

// 0 once the options are accepted: a heap that cannot be read is reported, and ends the report with nothing
// printed.
NevraStatus HeapStatsReport(int argc, char **argv);

#endif
