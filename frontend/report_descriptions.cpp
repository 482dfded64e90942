#include "frontend/report_descriptions.h"

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

ReportDescription DescribeReport(size_t index)
{
   switch (index) {
   case 0:
      return groupStatsDescription;
   case 1:
      return vmStatsDescription;
   case 2:
      return uwStatsDescription;
   case 3:
      return pshareStatsDescription;
   case 4:
      return pshareHintStatsDescription;
   case 5:
      return swapStatsDescription;
   case 6:
      return buddyStatsDescription;
   case 7:
      return compStatsDescription;
   case 8:
      return lpoolStatsDescription;
   case 9:
      return heapStatsDescription;
   case 10:
      return guestStatsDescription;
   case 11:
      return zipStatsDescription;
   case 12:
      return lpageStatsDescription;
   case 13:
      return asyncRemapStatsDescription;
   case 14:
      return DescribePMemReport(PMEM_REGIONSTORE);
   case 15:
      return DescribePMemReport(PMEM_REGION);
   case 16:
      return DescribePMemReport(PMEM_EXTENT);
   case 17:
      return DescribePMemReport(PMEM_REGION_NUMA);
   default:
      return dcpmmStatsDescription;
   }
}
