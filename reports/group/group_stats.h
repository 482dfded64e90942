// group-stats: memory accounting of every scheduler group of a subtree, and on request a summary per group
// tag.
#ifndef REPORTS_GROUP_GROUP_STATS_H
#define REPORTS_GROUP_GROUP_STATS_H

#include "nevra/nevra.h"
#include "report/report_description.h"

extern const ReportDescription groupStatsDescription;

NevraStatus GroupStatsReport(int argc, char **argv);

#endif
