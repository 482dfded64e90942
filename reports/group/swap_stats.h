// swap-stats: what the host swaps for every VM, and how its swap files are used.
#ifndef REPORTS_GROUP_SWAP_STATS_H
#define REPORTS_GROUP_SWAP_STATS_H

#include "nevra/nevra.h"
#include "report/report_description.h"

extern const ReportDescription swapStatsDescription;

NevraStatus SwapStatsReport(int argc, char **argv);

#endif
