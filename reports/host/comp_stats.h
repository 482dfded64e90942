// comp-stats: one row that accounts for the whole physical memory of the host, and its memory states.
#ifndef REPORTS_HOST_COMP_STATS_H
#define REPORTS_HOST_COMP_STATS_H

#include "nevra/nevra.h"
#include "report/report_description.h"

extern const ReportDescription compStatsDescription;

NevraStatus CompStatsReport(int argc, char **argv);

#endif
