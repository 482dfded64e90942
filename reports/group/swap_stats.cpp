#include "nevra/records.h"
#include "report/figure_table.h"
#include "report/group_queries.h"
#include "report/group_report.h"
#include "reports/report_list.h"

namespace {

// One VM.
struct SwapStatsRow {
   GroupIdentity vm;
   SwapInfoRecord swap;
   VmmStatsRecord vmm;
   const char *curSwapper;
};

using Row = SwapStatsRow;

constexpr Figure kFigures[] = {
   {kVmNameColumn, ROW_FIELD(vm.name.name)},
   {kSchedGrpColumn, ROW_FIELD(vm.schedGrp)},
   {kParSchedGroupColumn, ROW_FIELD(vm.parSchedGroup)},
   {kWorldGrpColumn, ROW_FIELD(vm.worldGrp)},
   {{"isSwapping", "is the VM currently swapping out", 10, "c", kNotTotalled, kSelectable, kShown,
     Unit::YesNo, Role::Label},
    ROW_FIELD(swap.isSwapping)},
   {{"CurSwapper", "orska or vmm swapper currently active", 10, "s", kNotTotalled, kSelectable, kShown,
     Unit::Text, Role::Label},
    ROW_FIELD(curSwapper)},
   {{"cacheUsage", "Swap slot cache usage", 10, "lu", kNotTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(swap.cacheUsage)},
   {{"swapoutReady", "Ready-time spent by swap-out client", 10, "lu", kNotTotalled, kSelectable, kShown,
     Unit::Ticks, Role::Counter},
    ROW_FIELD(swap.swapoutReady)},
   {{"swapTgt", "Host swap target", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(swap.swapTgt)},
   {{"swapped", "Amount swapped by host", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(swap.swapped)},
   {{"swapRead", "Total guest phsyical memory read, and not released, from swap space", 10, "lu", kTotalled,
     kSelectable, kShown, Unit::Memory, Role::Counter},
    ROW_FIELD(swap.swapRead)},
   {{"swapIn", "Total guest phsyical memory swapped in, and released, from swap space", 10, "lu", kTotalled,
     kSelectable, kShown, Unit::Memory, Role::Counter},
    ROW_FIELD(swap.swapIn)},
   {{"swapOut", "Total guest physical memory swapped out to swap space", 10, "lu", kTotalled, kSelectable,
     kShown, Unit::Memory, Role::Counter},
    ROW_FIELD(swap.swapOut)},
   {{"discarded", "Total swapped memory discarded from swap space", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Counter},
    ROW_FIELD(swap.discarded)},
   {{"COWSwapper", "Total guest physical memory swapped out which was marked as COW by Tarvos", 10, "lu",
     kTotalled, kSelectable, kShown, Unit::Memory, Role::Counter},
    ROW_FIELD(swap.COWSwapper)},
   {{"vmmSwapOn", "Number of times vmm swapper was turned on", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Count, Role::Counter},
    ROW_FIELD(swap.vmmSwapOn)},
   {{"orskaSwapOn", "Number of times orska swapper was turned on", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Count, Role::Counter},
    ROW_FIELD(swap.orskaSwapOn)},
   {{"llswapped", "Memory swapped to llswap", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(vmm.llswapped)},
   {{"llswapUsed", "Total space used in llswap including internal fragmentation", 10, "lu", kTotalled,
     kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(vmm.llswapUsed)},
   {{"totalReg", "Total space in the regular swap file", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(swap.totalReg)},
   {{"freeReg", "Free space in the regular swap file", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(swap.freeReg)},
   {{"cptTgt", "Total checkpoint memory to read", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(swap.cptTgt)},
   {{"cptRead", "Checkpoint memory read from checkpoint file", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Counter},
    ROW_FIELD(swap.cptRead)},
   {{"cptWritten", "Checkpoint memory written to checkpoint file", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Counter},
    ROW_FIELD(swap.cptWritten)},
   {{"totalMig", "Total space in the migration swap file", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(swap.totalMig)},
   {{"freeMig", "Free space in the migration swap file", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(swap.freeMig)},
   {{"gblSwapRead", "Guest physical memory read from global swap file", 10, "lu", kTotalled, kSelectable,
     kShown, Unit::Memory, Role::Counter},
    ROW_FIELD(swap.gblSwapRead)},
   {{"gblSwapIn", "Guest physical memory swapped in from global swap file", 10, "lu", kTotalled, kSelectable,
     kShown, Unit::Memory, Role::Counter},
    ROW_FIELD(swap.gblSwapIn)},
   {{"gblSwapOut", "Guest physical memory swapped out to global swap file", 10, "lu", kTotalled, kSelectable,
     kShown, Unit::Memory, Role::Counter},
    ROW_FIELD(swap.gblSwapOut)},
};
constinit FigureTable<Row, kFigures> table;

// Reads the figures of a VM; the first failure ends it.
NevraStatus ReadSwapRow(SwapStatsRow *row)
{
   uint32_t vmmLeader = 0;
   NevraStatus status = Kelmar_GetVmmLeaderID(row->vm.worldGrp, &vmmLeader);
   if (status != NEVRA_OK) {
      return status;
   }
   status = MemClientStatsGet(vmmLeader, NEVRA_NODE_sched_memClients_swapInfo, "KelmarSwapGetSwapStats",
                              &row->swap, sizeof row->swap);
   if (status != NEVRA_OK) {
      return status;
   }
   row->curSwapper = row->swap.curSwapper != 0 ? "orska" : "vmm";
   return MemClientStatsGet(row->vm.worldGrp, NEVRA_NODE_sched_memClients_kelmar_vmm, "KelmarVMGetVMMStats",
                            &row->vmm, sizeof row->vmm);
}

constexpr GroupReport kReport = {.title = "VIRTUAL MACHINE SWAP STATS",
                                 .ruleLength = 52,
                                 .columns = table.columns,
                                 .visit = VisitVm<&table, Row, ReadSwapRow>,
                                 .putSummary = PutTotals<&table, Row>};

} // namespace

constinit const ReportDescription swapStatsDescription = DescribeGroupReport(kReport, kVmReportUsage);

NevraStatus SwapStatsReport(const ReportArguments &arguments)
{
   auto run = MakeRun(table);
   return RunGroupReport(kReport, arguments, &run);
}
