#include "frontend/report_table.h"

#include <strings.h>

#include "reports/group/asyncremap_stats.h"
#include "reports/group/group_stats.h"
#include "reports/group/guest_stats.h"
#include "reports/group/lpage_stats.h"
#include "reports/group/swap_stats.h"
#include "reports/group/uw_stats.h"
#include "reports/group/vm_stats.h"
#include "reports/group/zip_stats.h"
#include "reports/host/buddy_stats.h"
#include "reports/host/comp_stats.h"
#include "reports/host/heap_stats.h"
#include "reports/host/lpool_stats.h"
#include "reports/host/pshare_hint_stats.h"
#include "reports/host/pshare_stats.h"
#include "reports/pmem/dcpmm_stats.h"
#include "reports/pmem/pmem_report.h"

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
   case 1:
      return VmStatsReport(argc, argv);
   case 2:
      return UwStatsReport(argc, argv);
   case 3:
      return PShareStatsReport(argc, argv);
   case 4:
      return PShareHintStatsReport(argc, argv);
   case 5:
      return SwapStatsReport(argc, argv);
   case 6:
      return BuddyStatsReport(argc, argv);
   case 7:
      return CompStatsReport(argc, argv);
   case 8:
      return LPoolStatsReport(argc, argv);
   case 9:
      return HeapStatsReport(argc, argv);
   case 10:
      return GuestStatsReport(argc, argv);
   case 11:
      return ZipStatsReport(argc, argv);
   case 12:
      return LPageStatsReport(argc, argv);
   case 13:
      return AsyncRemapStatsReport(argc, argv);
   case 14:
      return PMemReport(argc, argv, PMEM_REGIONSTORE);
   case 15:
      return PMemReport(argc, argv, PMEM_REGION);
   case 16:
      return PMemReport(argc, argv, PMEM_EXTENT);
   case 17:
      return PMemReport(argc, argv, PMEM_REGION_NUMA);
   case kDcpmmStatsIndex:
      return DcpmmStatsReport(argc, argv);
   default:
      return NEVRA_BAD_PARAMETER;
   }
}
