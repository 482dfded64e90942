// lpool-stats: one row per large-page pool of every memory node, and their total.
#ifndef REPORTS_HOST_LPOOL_STATS_H
#define REPORTS_HOST_LPOOL_STATS_H

#include "nevra/nevra.h"
#include "report/report_description.h"

extern const ReportDescription lpoolStatsDescription;

NevraStatus LPoolStatsReport(int argc, char **argv);

#endif
