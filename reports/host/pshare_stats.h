// pshare-stats: one row of host-wide page-sharing totals.
#ifndef REPORTS_HOST_PSHARE_STATS_H
#define REPORTS_HOST_PSHARE_STATS_H

#include "nevra/nevra.h"

NevraStatus PShareStatsReport(int argc, char **argv);

#endif
