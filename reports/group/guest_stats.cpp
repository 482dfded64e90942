#include "nevra/records.h"
#include "report/figure_table.h"
#include "report/group_queries.h"
#include "report/group_report.h"
#include "reports/report_list.h"

namespace {

// One VM.
struct GuestStatsRow {
   GroupIdentity vm;
   GuestStatsRecord guest;
};

using Row = GuestStatsRow;

// The page size is converted like any amount of memory. Kept for compatibility: scripts read it so.
constexpr Figure kFigures[] = {
   {kVmNameColumn, ROW_FIELD(vm.name.name)},
   {kSchedGrpColumn, ROW_FIELD(vm.schedGrp)},
   {kParSchedGroupColumn, ROW_FIELD(vm.parSchedGroup)},
   {kWorldGrpColumn, ROW_FIELD(vm.worldGrp)},
   {{"memTotal", "Total memory", 10, "ld", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(guest.memTotal)},
   {{"lpageTotal", "Total large pages available for guest apps", 10, "d", kTotalled, kSelectable, kShown,
     Unit::Count, Role::Gauge},
    ROW_FIELD(guest.lpageTotal)},
   {{"memNeeded", "Memory required by current workload", 10, "ld", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(guest.memNeeded)},
   {{"memNeededResv", "Buffer of memory included in memNeeded", 10, "ld", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(guest.memNeededResv)},
   {{"memFree", "Free memory from a guest point of view", 10, "ld", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(guest.memFree)},
   {{"pageSize", "Page size from a guest point of view", 10, "ld", kNotTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(guest.pageSize)},
   {{"pageInRate", "Pages swapped in per second", 10, "d", kTotalled, kSelectable, kShown,
     Unit::PagesPerSecond, Role::Gauge},
    ROW_FIELD(guest.pageInRate)},
};
constinit FigureTable<Row, kFigures> table;

NevraStatus ReadGuestRow(GuestStatsRow *row)
{
   return MemClientStatsGet(row->vm.worldGrp, NEVRA_NODE_sched_memClients_kelmar_guest, "KelmarGuestGetStats",
                            &row->guest, sizeof row->guest);
}

constexpr GroupReport kReport = {.title = "GUEST STATS",
                                 .ruleLength = 37,
                                 .columns = table.columns,
                                 .visit = VisitVm<&table, Row, ReadGuestRow, AllOnes::LeftOut>,
                                 .putSummary = PutTotals<&table, Row>,
                                 .unitOption = UnitOption::AfterSelection}; // its warning comes first

} // namespace

constinit const ReportDescription guestStatsDescription = DescribeGroupReport(kReport, kVmReportUsage);

NevraStatus GuestStatsReport(const ReportArguments &arguments)
{
   auto run = MakeRun(table);
   return RunGroupReport(kReport, arguments, &run);
}
