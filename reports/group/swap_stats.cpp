#include "reports/group/swap_stats.h"

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
   kWorldGrpColumn,
   {"isSwapping", "is the VM currently swapping out", 10, "c", 0, 0, 1},
   {"CurSwapper", "orska or vmm swapper currently active", 10, "s", 0, 0, 1},
   {"cacheUsage", "Swap slot cache usage", 10, "lu", 0, 0, 1},
   {"swapoutReady", "Ready-time spent by swap-out client", 10, "lu", 0, 0, 1},
   {"swapTgt", "Host swap target", 10, "lu", 1, 0, 1},
   {"swapped", "Amount swapped by host", 10, "lu", 1, 0, 1},
   {"swapRead", "Total guest phsyical memory read, and not released, from swap space", 10, "lu", 1, 0, 1},
   {"swapIn", "Total guest phsyical memory swapped in, and released, from swap space", 10, "lu", 1, 0, 1},
   {"swapOut", "Total guest physical memory swapped out to swap space", 10, "lu", 1, 0, 1},
   {"discarded", "Total swapped memory discarded from swap space", 10, "lu", 1, 0, 1},
   {"COWSwapper", "Total guest physical memory swapped out which was marked as COW by Tarvos", 10, "lu", 1, 0,
    1},
   {"vmmSwapOn", "Number of times vmm swapper was turned on", 10, "lu", 1, 0, 1},
   {"orskaSwapOn", "Number of times orska swapper was turned on", 10, "lu", 1, 0, 1},
   {"llswapped", "Memory swapped to llswap", 10, "lu", 1, 0, 1},
   {"llswapUsed", "Total space used in llswap including internal fragmentation", 10, "lu", 1, 0, 1},
   {"totalReg", "Total space in the regular swap file", 10, "lu", 1, 0, 1},
   {"freeReg", "Free space in the regular swap file", 10, "lu", 1, 0, 1},
   {"cptTgt", "Total checkpoint memory to read", 10, "lu", 1, 0, 1},
   {"cptRead", "Checkpoint memory read from checkpoint file", 10, "lu", 1, 0, 1},
   {"cptWritten", "Checkpoint memory written to checkpoint file", 10, "lu", 1, 0, 1},
   {"totalMig", "Total space in the migration swap file", 10, "lu", 1, 0, 1},
   {"freeMig", "Free space in the migration swap file", 10, "lu", 1, 0, 1},
   {"gblSwapRead", "Guest physical memory read from global swap file", 10, "lu", 1, 0, 1},
   {"gblSwapIn", "Guest physical memory swapped in from global swap file", 10, "lu", 1, 0, 1},
   {"gblSwapOut", "Guest physical memory swapped out to global swap file", 10, "lu", 1, 0, 1},
   kEndOfColumns,
};

// One VM, or the sum of all. Memory in KB until it is converted.
struct SwapStatsRow {
   GroupIdentity vm;
   uint32_t vmmLeader;
   bool isSwapping;
   uint64_t swapTgt;
   uint64_t swapped;
   uint64_t swapRead;
   uint64_t swapIn;
   uint64_t swapOut;
   uint64_t discarded;
   uint64_t COWSwapper;
   uint64_t vmmSwapOn;
   uint64_t orskaSwapOn;
   uint64_t curSwapper; // 0: the VMM's; else the kernel's
   uint64_t cacheUsage;
   uint64_t llswapped;
   uint64_t llswapUsed;
   uint64_t totalReg;
   uint64_t freeReg;
   uint64_t cptTgt;
   uint64_t cptRead;
   uint64_t cptWritten;
   uint64_t totalMig;
   uint64_t freeMig;
   uint64_t gblSwapRead;
   uint64_t gblSwapIn;
   uint64_t gblSwapOut;
   uint64_t swapoutReady; // a time, never converted
};

using Row = SwapStatsRow;

// Summed and converted.
constexpr uint64_t Row::*kMemory[] = {&Row::swapTgt,     &Row::swapped,    &Row::swapRead,   &Row::swapIn,
                                      &Row::swapOut,     &Row::discarded,  &Row::COWSwapper, &Row::llswapped,
                                      &Row::llswapUsed,  &Row::totalReg,   &Row::freeReg,    &Row::cptTgt,
                                      &Row::cptRead,     &Row::cptWritten, &Row::totalMig,   &Row::freeMig,
                                      &Row::gblSwapRead, &Row::gblSwapIn,  &Row::gblSwapOut};
// Summed only.
constexpr uint64_t Row::*kCounts[] = {&Row::vmmSwapOn, &Row::orskaSwapOn};

struct SwapStatsContext {
   DisplayUnit unit;
   SwapStatsRow totals;
};

void FillSwapFigures(SwapStatsRow *row, const SwapInfoRecord &swap)
{
   row->isSwapping = swap.isSwapping != 0;
   row->swapTgt = swap.swapTgt;
   row->swapped = swap.swapped;
   row->swapRead = swap.swapRead;
   row->swapIn = swap.swapIn;
   row->swapOut = swap.swapOut;
   row->discarded = swap.discarded;
   row->COWSwapper = swap.COWSwapper;
   row->vmmSwapOn = swap.vmmSwapOn;
   row->orskaSwapOn = swap.orskaSwapOn;
   row->curSwapper = swap.curSwapper;
   row->cacheUsage = swap.cacheUsage;
   row->totalReg = swap.totalReg;
   row->freeReg = swap.freeReg;
   row->cptTgt = swap.cptTgt;
   row->cptRead = swap.cptRead;
   row->cptWritten = swap.cptWritten;
   row->totalMig = swap.totalMig;
   row->freeMig = swap.freeMig;
   row->gblSwapRead = swap.gblSwapRead;
   row->gblSwapIn = swap.gblSwapIn;
   row->gblSwapOut = swap.gblSwapOut;
   row->swapoutReady = swap.swapoutReady;
}

// Reads the figures of a VM; the first failure ends it.
NevraStatus ReadSwapRow(SwapStatsRow *row)
{
   NevraStatus status = Kelmar_GetVmmLeaderID(row->vm.worldGrp, &row->vmmLeader);
   if (status != NEVRA_OK) {
      return status;
   }
   SwapInfoRecord swap;
   status = MemClientStatsGet(row->vmmLeader, NEVRA_NODE_sched_memClients_swapInfo, "KelmarSwapGetSwapStats",
                              &swap, sizeof swap);
   if (status != NEVRA_OK) {
      return status;
   }
   FillSwapFigures(row, swap);
   VmmStatsRecord vmm;
   status = MemClientStatsGet(row->vm.worldGrp, NEVRA_NODE_sched_memClients_kelmar_vmm, "KelmarVMGetVMMStats",
                              &vmm, sizeof vmm);
   if (status != NEVRA_OK) {
      return status;
   }
   row->llswapped = vmm.llswapped;
   row->llswapUsed = vmm.llswapUsed;
   return NEVRA_OK;
}

void PrintSwapRow(SwapStatsRow *row, DisplayUnit unit, bool isTotalRow, bool csvMode)
{
   ConvertFigures(row, unit, kMemory);
   row->cacheUsage = ConvertKB(row->cacheUsage, unit); // the one amount that has no total
   const GroupIdentity &vm = row->vm;
   PrintReportRow(columns, csvMode, isTotalRow,
                  {vm.name.name,           vm.schedGrp,
                   vm.parSchedGroup,       vm.worldGrp,
                   YesNo(row->isSwapping), row->curSwapper != 0 ? "orska" : "vmm",
                   row->cacheUsage,        row->swapoutReady,
                   row->swapTgt,           row->swapped,
                   row->swapRead,          row->swapIn,
                   row->swapOut,           row->discarded,
                   row->COWSwapper,        row->vmmSwapOn,
                   row->orskaSwapOn,       row->llswapped,
                   row->llswapUsed,        row->totalReg,
                   row->freeReg,           row->cptTgt,
                   row->cptRead,           row->cptWritten,
                   row->totalMig,          row->freeMig,
                   row->gblSwapRead,       row->gblSwapIn,
                   row->gblSwapOut});
}

NevraStatus SwapStatsVisit(const GroupIdentity &vm, bool csvMode, SwapStatsContext *context)
{
   SwapStatsRow row = {};
   row.vm = vm;
   const NevraStatus status = ReadSwapRow(&row);
   if (status != NEVRA_OK) {
      return status;
   }
   AddFigures(&context->totals, row, kMemory);
   AddFigures(&context->totals, row, kCounts);
   PrintSwapRow(&row, context->unit, false, csvMode);
   return NEVRA_OK;
}

constexpr GroupReport kReport = {.title = "VIRTUAL MACHINE SWAP STATS",
                                 .ruleLength = 52,
                                 .columns = columns,
                                 .visit = VisitVm<SwapStatsContext, SwapStatsVisit>,
                                 .printSummary = PrintTotals<SwapStatsContext, PrintSwapRow>};

} // namespace

constinit const ReportDescription swapStatsDescription = DescribeGroupReport(kReport);

NevraStatus SwapStatsReport(int argc, char **argv)
{
   SwapStatsContext context = {};
   context.totals.vm = kTotalIdentity;
   return RunGroupReport(kReport, argc, argv, &context.unit, &context);
}
