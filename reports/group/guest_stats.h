// guest-stats: the memory figures that every VM's guest itself reports.
#ifndef REPORTS_GROUP_GUEST_STATS_H
#define REPORTS_GROUP_GUEST_STATS_H

#include "nevra/nevra.h"
#include "report/report_description.h"

extern const ReportDescription guestStatsDescription;

NevraStatus GuestStatsReport(int argc, char **argv);

#endif
