// pshareHint-stats: the page-sharing hints, regular and large-page ones, and their total.
#ifndef REPORTS_HOST_PSHARE_HINT_STATS_H
#define REPORTS_HOST_PSHARE_HINT_STATS_H

#include "nevra/nevra.h"
#include "report/report_description.h"

extern const ReportDescription pshareHintStatsDescription;

NevraStatus PShareHintStatsReport(int argc, char **argv);

#endif
