// zip-stats: the compression cache of every VM.
#ifndef REPORTS_GROUP_ZIP_STATS_H
#define REPORTS_GROUP_ZIP_STATS_H

#include "nevra/nevra.h"
#include "report/report_description.h"

extern const ReportDescription zipStatsDescription;

NevraStatus ZipStatsReport(int argc, char **argv);

#endif
