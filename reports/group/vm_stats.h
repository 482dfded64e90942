// vm-stats: reservation, memory, ballooning, swapping, compression and sharing of every VM.
#ifndef REPORTS_GROUP_VM_STATS_H
#define REPORTS_GROUP_VM_STATS_H

#include "nevra/nevra.h"
#include "report/report_description.h"

extern const ReportDescription vmStatsDescription;

NevraStatus VmStatsReport(int argc, char **argv);

#endif
