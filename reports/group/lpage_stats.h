// lpage-stats: how large pages back the guest memory of every VM.
#ifndef REPORTS_GROUP_LPAGE_STATS_H
#define REPORTS_GROUP_LPAGE_STATS_H

#include "nevra/nevra.h"
#include "report/report_description.h"

extern const ReportDescription lpageStatsDescription;

NevraStatus LPageStatsReport(int argc, char **argv);

#endif
