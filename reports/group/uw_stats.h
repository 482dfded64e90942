// uw-stats: reservation, address space, backing and swapping of every user world.
#ifndef REPORTS_GROUP_UW_STATS_H
#define REPORTS_GROUP_UW_STATS_H

#include "nevra/nevra.h"
#include "report/report_description.h"

extern const ReportDescription uwStatsDescription;

NevraStatus UwStatsReport(int argc, char **argv);

#endif
