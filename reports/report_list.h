// The table of reports: one row each, in the order of the usage text.
//
//    ROW(type, Entry, description, source)
//
// gives the word by which -r chooses it, its entry, its description, and where it may read from. To
// add a report is to add its file and its row.
#ifndef REPORTS_REPORT_LIST_H
#define REPORTS_REPORT_LIST_H

#include <cstdint>

#include "nevra/nevra.h"
#include "report/report_description.h"
#include "report/report_options.h"

enum class ReportSource : uint8_t { LiveOrCache, LiveOnly };

#define REPORT_LIST(ROW)                                                                                     \
   ROW("group-stats", GroupStatsReport, groupStatsDescription, LiveOrCache)                                  \
   ROW("vm-stats", VmStatsReport, vmStatsDescription, LiveOrCache)                                           \
   ROW("uw-stats", UwStatsReport, uwStatsDescription, LiveOrCache)                                           \
   ROW("buddy-stats", BuddyStatsReport, buddyStatsDescription, LiveOrCache)                                  \
   ROW("pshare-stats", PShareStatsReport, pshareStatsDescription, LiveOrCache)                               \
   ROW("pshareHint-stats", PShareHintStatsReport, pshareHintStatsDescription, LiveOrCache)                   \
   ROW("swap-stats", SwapStatsReport, swapStatsDescription, LiveOrCache)                                     \
   ROW("comp-stats", CompStatsReport, compStatsDescription, LiveOrCache)                                     \
   ROW("lpool-stats", LPoolStatsReport, lpoolStatsDescription, LiveOrCache)                                  \
   ROW("heap-stats", HeapStatsReport, heapStatsDescription, LiveOrCache)                                     \
   ROW("guest-stats", GuestStatsReport, guestStatsDescription, LiveOrCache)                                  \
   ROW("zip-stats", ZipStatsReport, zipStatsDescription, LiveOrCache)                                        \
   ROW("lpage-stats", LPageStatsReport, lpageStatsDescription, LiveOrCache)                                  \
   ROW("asyncremap-stats", AsyncRemapStatsReport, asyncRemapStatsDescription, LiveOrCache)                   \
   ROW("pmem-regionstore-stats", PMemRegionStoreStatsReport, pmemRegionStoreStatsDescription, LiveOrCache)   \
   ROW("pmem-region-stats", PMemRegionStatsReport, pmemRegionStatsDescription, LiveOrCache)                  \
   ROW("pmem-extent-stats", PMemExtentStatsReport, pmemExtentStatsDescription, LiveOrCache)                  \
   ROW("pmem-region-numa-stats", PMemRegionNumaStatsReport, pmemRegionNumaStatsDescription, LiveOrCache)     \
   ROW("dcpmm-stats", DcpmmStatsReport, dcpmmStatsDescription, LiveOnly)

// Runs a report. Returns the status of the step that ended it.
#define DECLARE_REPORT(type, Entry, description, source)                                                     \
   NevraStatus Entry(const ReportArguments &arguments);                                                      \
   extern const ReportDescription description;
REPORT_LIST(DECLARE_REPORT)
#undef DECLARE_REPORT

#endif
