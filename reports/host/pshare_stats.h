// pshare-stats: one row of host-wide page-sharing totals.
#ifndef REPORTS_HOST_PSHARE_STATS_H
#define REPORTS_HOST_PSHARE_STATS_H

#include "nevra/nevra.h"
#include "report/report_description.h"

extern const ReportDescription pshareStatsDescription;

NevraStatus PShareStatsReport(int argc, char **argv);

#endif
