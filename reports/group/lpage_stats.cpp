#include "reports/group/lpage_stats.h"

#include "nevra/records.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/grid.h"
#include "report/group_identity.h"
#include "report/group_queries.h"
#include "report/group_report.h"
#include "report/row_figures.h"

namespace {

ReportColumn columns[] = {
   kVmNameColumn,
   kSchedGrpColumn,
   kParSchedGroupColumn,
   {"worldGrp", "World group ID", 10, "u", 0, 0, 1},
   {"nrBackings", "Current number of lpage backings", 10, "u", 1, 0, 1},
   {"nrAllocSuccess", "Number of lpage backing attempts succeeded", 10, "lu", 1, 0, 1},
   {"nrLockSuccess", "Number of guest lpage locking attempts", 10, "lu", 1, 0, 1},
   {"nrBroken", "Number of guest lpage backings broken", 10, "lu", 1, 0, 1},
   {"maxSwapThreshold", "Current max swap-in threshold to back with lpage", 10, "lu", 1, 0, 1},
   {"nrFailPinned", "Number of lpage backing attempts failed due to pinning", 10, "lu", 1, 0, 1},
   {"nrFailSwapped", "Number of lpage backing attempts failed to avoid excessive swapins", 10, "lu", 1, 0, 1},
   {"nrFailPinnedLate", "Number of lpage backing attempts failed due to late pinning", 10, "lu", 1, 0, 1},
   {"nrFailNoMem", "Number of lpage backing attempts failed due to lack of memory", 10, "lu", 1, 0, 1},
   kEndOfColumns,
};

// One VM, or the sum of all. Counts, never converted.
struct LPageStatsRow {
   GroupIdentity vm;
   uint32_t vmmLeader;
   uint32_t nrBackings; // 2 MB large pages
   uint64_t nrAllocSuccess;
   uint64_t nrLockSuccess;
   uint64_t nrBroken;
   uint64_t maxSwapThreshold;
   uint64_t nrFailPinned;
   uint64_t nrFailSwapped;
   uint64_t nrFailPinnedLate;
   uint64_t nrFailNoMem;
};

using Row = LPageStatsRow;

constexpr uint64_t Row::*kSummed[] = {&Row::nrAllocSuccess,   &Row::nrLockSuccess, &Row::nrBroken,
                                      &Row::maxSwapThreshold, &Row::nrFailPinned,  &Row::nrFailSwapped,
                                      &Row::nrFailPinnedLate, &Row::nrFailNoMem};

struct LPageStatsContext {
   DisplayUnit unit; // checked, then without effect
   LPageStatsRow totals;
};

void FillLPageRow(LPageStatsRow *row, const VmLPageRecord &lpage)
{
   // Both sums are of 32 bits, and wrap.
   row->nrBackings = lpage.nrBackings2M + (lpage.nrBackings1G << 9);
   row->nrLockSuccess = lpage.nrLockSuccessFirst + lpage.nrLockSuccessSecond;
   row->nrAllocSuccess = lpage.nrAllocSuccess;
   row->nrBroken = lpage.nrBroken;
   row->maxSwapThreshold = lpage.maxSwapThreshold;
   row->nrFailPinned = lpage.nrFailPinned;
   row->nrFailSwapped = lpage.nrFailSwapped;
   row->nrFailPinnedLate = lpage.nrFailPinnedLate;
   row->nrFailNoMem = lpage.nrFailNoMem;
}

void PrintLPageRow(const LPageStatsRow &row, bool isTotalRow, bool csvMode)
{
   const GroupIdentity &vm = row.vm;
   PrintReportRow(columns, csvMode, isTotalRow,
                  {vm.name.name, vm.schedGrp, vm.parSchedGroup, vm.worldGrp, row.nrBackings,
                   row.nrAllocSuccess, row.nrLockSuccess, row.nrBroken, row.maxSwapThreshold,
                   row.nrFailPinned, row.nrFailSwapped, row.nrFailPinnedLate, row.nrFailNoMem});
}

NevraStatus LPageStatsVisit(const GroupIdentity &vm, bool csvMode, LPageStatsContext *context)
{
   LPageStatsRow row = {};
   row.vm = vm;
   NevraStatus status = Kelmar_GetVmmLeaderID(vm.worldGrp, &row.vmmLeader);
   if (status != NEVRA_OK) {
      return status;
   }
   VmLPageRecord lpage;
   status = MemClientStatsGet(row.vmmLeader, NEVRA_NODE_memory_lpage_vmLPage, "KelmarLPageGetLPageStats",
                              &lpage, sizeof lpage);
   if (status != NEVRA_OK) {
      return status;
   }
   FillLPageRow(&row, lpage);
   context->totals.nrBackings += row.nrBackings; // 32 bits here too
   AddFigures(&context->totals, row, kSummed);
   PrintLPageRow(row, false, csvMode);
   return NEVRA_OK;
}

void PrintLPageTotals(void *context, bool csvMode)
{
   PrintLPageRow(static_cast<LPageStatsContext *>(context)->totals, true, csvMode);
}

constexpr GroupReport kReport = {.title = "VIRTUAL MACHINE LARGE PAGE STATS",
                                 .ruleLength = 58,
                                 .columns = columns,
                                 .visit = VisitVm<LPageStatsContext, LPageStatsVisit>,
                                 .printSummary = PrintLPageTotals,
                                 .unitName = "LPage (2M)"};

} // namespace

constinit const ReportDescription lpageStatsDescription = DescribeGroupReport(kReport);

NevraStatus LPageStatsReport(int argc, char **argv)
{
   LPageStatsContext context = {};
   context.totals.vm = kTotalIdentity;
   return RunGroupReport(kReport, argc, argv, &context.unit, &context);
}
