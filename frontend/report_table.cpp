#include "frontend/report_table.h"

#include <strings.h>

#include "reports/group/group_stats.h"
#include "reports/host/comp_stats.h"

const char *const reportNames[kReportCount] = {
   "group-stats",       "vm-stats",          "uw-stats",
   "pshare-stats",      "pshareHint-stats",  "swap-stats",
   "buddy-stats",       "comp-stats",        "lpool-stats",
   "heap-stats",        "guest-stats",       "zip-stats",
   "lpage-stats",       "asyncremap-stats",  "pmem-regionstore-stats",
   "pmem-region-stats", "pmem-extent-stats", "pmem-region-numa-stats",
   "dcpmm-stats",
};

size_t FindReport(const char *name)
{
   for (size_t index = 0; index < kReportCount; index++) {
      if (strcasecmp(name, reportNames[index]) == 0) {
         return index;
      }
   }
   return kReportCount;
}

NevraStatus RunReport(size_t index, int argc, char **argv)
{
   switch (index) {
   case 0:
      return GroupStatsReport(argc, argv);
   case 7:
      return CompStatsReport(argc, argv);
   default:
      Warning("%s is not built yet\n", reportNames[index]);
      return NEVRA_NOT_FOUND;
   }
}
