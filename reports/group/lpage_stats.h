// lpage-stats: how large pages back the guest memory of every VM.
#ifndef REPORTS_GROUP_LPAGE_STATS_H
#define REPORTS_GROUP_LPAGE_STATS_H

#include "nevra/nevra.h"

NevraStatus LPageStatsReport(int argc, char **argv);

#endif
