// buddy-stats: free and used buffers of every order, per buddy allocator of the memory map, and their total.
#ifndef REPORTS_HOST_BUDDY_STATS_H
#define REPORTS_HOST_BUDDY_STATS_H

#include "nevra/nevra.h"
#include "report/report_description.h"

extern const ReportDescription buddyStatsDescription;

NevraStatus BuddyStatsReport(int argc, char **argv);

#endif
