#include "nevra/records.h"
#include "report/figure_table.h"
#include "report/group_queries.h"
#include "report/group_report.h"
#include "reports/report_list.h"

namespace {

// One VM. Counts, never converted.
struct LPageStatsRow {
   GroupIdentity vm;
   VmLPageRecord lpage;
   uint32_t nrBackings; // 2 MB large pages
   uint32_t nrLockSuccess;
};

using Row = LPageStatsRow;

constexpr Figure kFigures[] = {
   {kVmNameColumn, ROW_FIELD(vm.name.name)},
   {kSchedGrpColumn, ROW_FIELD(vm.schedGrp)},
   {kParSchedGroupColumn, ROW_FIELD(vm.parSchedGroup)},
   {{"worldGrp", "World group ID", 10, "u", kNotTotalled, kSelectable, kShown, Unit::Id, Role::Label},
    ROW_FIELD(vm.worldGrp)},
   {{"nrBackings", "Current number of lpage backings", 10, "u", kTotalled, kSelectable, kShown,
     Unit::Blocks2MB, Role::Gauge},
    ROW_FIELD(nrBackings)},
   {{"nrAllocSuccess", "Number of lpage backing attempts succeeded", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Count, Role::Counter},
    ROW_FIELD(lpage.nrAllocSuccess)},
   {{"nrLockSuccess", "Number of guest lpage locking attempts", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Count, Role::Counter},
    ROW_FIELD(nrLockSuccess)},
   {{"nrBroken", "Number of guest lpage backings broken", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Count, Role::Counter},
    ROW_FIELD(lpage.nrBroken)},
   {{"maxSwapThreshold", "Current max swap-in threshold to back with lpage", 10, "lu", kTotalled, kSelectable,
     kShown, Unit::Number, Role::Gauge},
    ROW_FIELD(lpage.maxSwapThreshold)},
   {{"nrFailPinned", "Number of lpage backing attempts failed due to pinning", 10, "lu", kTotalled,
     kSelectable, kShown, Unit::Count, Role::Counter},
    ROW_FIELD(lpage.nrFailPinned)},
   {{"nrFailSwapped", "Number of lpage backing attempts failed to avoid excessive swapins", 10, "lu",
     kTotalled, kSelectable, kShown, Unit::Count, Role::Counter},
    ROW_FIELD(lpage.nrFailSwapped)},
   {{"nrFailPinnedLate", "Number of lpage backing attempts failed due to late pinning", 10, "lu", kTotalled,
     kSelectable, kShown, Unit::Count, Role::Counter},
    ROW_FIELD(lpage.nrFailPinnedLate)},
   {{"nrFailNoMem", "Number of lpage backing attempts failed due to lack of memory", 10, "lu", kTotalled,
     kSelectable, kShown, Unit::Count, Role::Counter},
    ROW_FIELD(lpage.nrFailNoMem)},
};
constinit FigureTable<Row, kFigures> table;

NevraStatus ReadLPageRow(LPageStatsRow *row)
{
   uint32_t vmmLeader = 0;
   NevraStatus status = Kelmar_GetVmmLeaderID(row->vm.worldGrp, &vmmLeader);
   if (status != NEVRA_OK) {
      return status;
   }
   status = MemClientStatsGet(vmmLeader, NEVRA_NODE_memory_lpage_vmLPage, "KelmarLPageGetLPageStats",
                              &row->lpage, sizeof row->lpage);
   if (status != NEVRA_OK) {
      return status;
   }
   // Both sums are of 32 bits, and wrap.
   row->nrBackings = row->lpage.nrBackings2M + (row->lpage.nrBackings1G << 9);
   row->nrLockSuccess = row->lpage.nrLockSuccessFirst + row->lpage.nrLockSuccessSecond;
   return NEVRA_OK;
}

constexpr GroupReport kReport = {.title = "VIRTUAL MACHINE LARGE PAGE STATS",
                                 .ruleLength = 58,
                                 .columns = table.columns,
                                 .visit = VisitVm<&table, Row, ReadLPageRow>,
                                 .putSummary = PutTotals<&table, Row>,
                                 .unitName = "LPage (2M)"};

} // namespace

constinit const ReportDescription lpageStatsDescription = DescribeGroupReport(kReport, kVmReportUsage);

NevraStatus LPageStatsReport(const ReportArguments &arguments)
{
   auto run = MakeRun(table); // the unit is checked, then without effect
   return RunGroupReport(kReport, arguments, &run);
}
