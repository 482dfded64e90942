// asyncremap-stats: pages in asynchronous remapping, by memory client and remap type of the user worlds.
#ifndef REPORTS_GROUP_ASYNCREMAP_STATS_H
#define REPORTS_GROUP_ASYNCREMAP_STATS_H

#include "nevra/nevra.h"
#include "report/report_description.h"

extern const ReportDescription asyncRemapStatsDescription;

NevraStatus AsyncRemapStatsReport(int argc, char **argv);

#endif
