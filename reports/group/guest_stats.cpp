#include "reports/group/guest_stats.h"

#include <limits>

#include "nevra/records.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/grid.h"
#include "report/group_identity.h"
#include "report/group_queries.h"
#include "report/group_report.h"

namespace {

ReportColumn columns[] = {
   kVmNameColumn,
   kSchedGrpColumn,
   kParSchedGroupColumn,
   kWorldGrpColumn,
   {"memTotal", "Total memory", 10, "ld", 1, 0, 1},
   {"lpageTotal", "Total large pages available for guest apps", 10, "d", 1, 0, 1},
   {"memNeeded", "Memory required by current workload", 10, "ld", 1, 0, 1},
   {"memNeededResv", "Buffer of memory included in memNeeded", 10, "ld", 1, 0, 1},
   {"memFree", "Free memory from a guest point of view", 10, "ld", 1, 0, 1},
   {"pageSize", "Page size from a guest point of view", 10, "ld", 0, 0, 1},
   {"pageInRate", "Pages swapped in per second", 10, "d", 1, 0, 1},
   kEndOfColumns,
};

// One VM, or the sum of all. Memory in KB until it is converted.
struct GuestStatsRow {
   GroupIdentity vm;
   GuestStatsRecord guest;
};

struct GuestStatsContext {
   DisplayUnit unit;
   GuestStatsRow totals;
};

// All ones is no figure: the guest does not report it.
template <typename Figure> Figure SumOfReported(Figure sum, Figure figure)
{
   return figure == std::numeric_limits<Figure>::max() ? sum : static_cast<Figure>(sum + figure);
}

void AddGuestRow(GuestStatsRecord *totals, const GuestStatsRecord &guest)
{
   totals->memTotal = SumOfReported<uint64_t>(totals->memTotal, guest.memTotal);
   totals->lpageTotal = SumOfReported<uint32_t>(totals->lpageTotal, guest.lpageTotal);
   totals->memNeeded = SumOfReported<uint64_t>(totals->memNeeded, guest.memNeeded);
   totals->memNeededResv = SumOfReported<uint64_t>(totals->memNeededResv, guest.memNeededResv);
   totals->memFree = SumOfReported<uint64_t>(totals->memFree, guest.memFree);
   totals->pageInRate = SumOfReported<uint32_t>(totals->pageInRate, guest.pageInRate);
}

void PrintGuestRow(const GuestStatsRow *row, DisplayUnit unit, bool isTotalRow, bool csvMode)
{
   const auto inUnit = [unit](uint64_t kb) { return ConvertKB(kb, unit); };
   const GroupIdentity &vm = row->vm;
   const GuestStatsRecord &guest = row->guest;
   // The page size is converted like any amount of memory, and that is meant.
   PrintReportRow(columns, csvMode, isTotalRow,
                  {vm.name.name, vm.schedGrp, vm.parSchedGroup, vm.worldGrp, inUnit(guest.memTotal),
                   guest.lpageTotal, inUnit(guest.memNeeded), inUnit(guest.memNeededResv),
                   inUnit(guest.memFree), inUnit(guest.pageSize), guest.pageInRate});
}

NevraStatus GuestStatsVisit(const GroupIdentity &vm, bool csvMode, GuestStatsContext *context)
{
   GuestStatsRow row = {vm, {}};
   const NevraStatus status = MemClientStatsGet(vm.worldGrp, NEVRA_NODE_sched_memClients_kelmar_guest,
                                                "KelmarGuestGetStats", &row.guest, sizeof row.guest);
   if (status != NEVRA_OK) {
      return status;
   }
   AddGuestRow(&context->totals.guest, row.guest);
   PrintGuestRow(&row, context->unit, false, csvMode);
   return NEVRA_OK;
}

constexpr GroupReport kReport = {.title = "GUEST STATS",
                                 .ruleLength = 37,
                                 .columns = columns,
                                 .visit = VisitVm<GuestStatsContext, GuestStatsVisit>,
                                 .printSummary = PrintTotals<GuestStatsContext, PrintGuestRow>};

} // namespace

constinit const ReportDescription guestStatsDescription = DescribeGroupReport(kReport);

NevraStatus GuestStatsReport(int argc, char **argv)
{
   ReportOptions options;
   NevraStatus status = ParseReportOptions(argc, argv, kReport.shortOptions, kReport.longOptions, &options);
   if (status != NEVRA_OK) {
      return status;
   }
   // The selection comes before the unit here, so that its warning comes before the unit's.
   ApplyColumnSelection(columns, options.selection);
   GuestStatsContext context = {.unit = UNIT_KB, .totals = {kTotalIdentity, {}}};
   status = ParseDisplayUnit(options.unitText, false, &context.unit);
   if (status != NEVRA_OK) {
      return status;
   }
   return PrintGroupReport(kReport, options, context.unit, nullptr, &context);
}
