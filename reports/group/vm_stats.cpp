#include "reports/group/vm_stats.h"

#include <cstring>

#include "nevra/records.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/grid.h"
#include "report/group_identity.h"
#include "report/group_queries.h"
#include "report/group_report.h"
#include "report/row_figures.h"
#include "sysinfo/param_list.h"
#include "sysinfo/status.h"

namespace {

ReportColumn columns[] = {
   {"name", "Virtual machine group name", 15, "s", 1, 0, 1},
   {"b", "Is balloon driver active?", 1, "c", 0, 0, 1},
   kSchedGrpColumn,
   kParSchedGroupColumn,
   kWorldGrpColumn,
   {"memSizeLimit", "Upper bound on guest physical memory size", 10, "lu", 1, 0, 1},
   {"memSize", "Guest physical memory size", 10, "lu", 1, 0, 1},
   {"min", "Configured host physical memory reservation for guest", 10, "ld", 1, 0, 1},
   {"max", "Configured host physical memory limit for guest", 10, "ld", 0, 0, 1},
   {"minLimit", "Configured upper bound for VM reservation (includes ovhdResv)", 10, "ld", 0, 0, 1},
   {"shares", "Configured shares", 10, "ld", 0, 0, 1},
   {"ovhdResv", "Reserved overhead memory", 10, "lu", 1, 0, 1},
   {"ovhd", "Consumed overhead memory", 10, "lu", 1, 0, 1},
   {"allocTgt", "Host physical memory allocation target", 10, "lu", 1, 0, 1},
   {"consumed", "Host physical memory consumed by guest", 10, "lu", 1, 0, 1},
   {"balloonTgt", "Target balloon size", 10, "lu", 1, 0, 1},
   {"ballooned", "Actual balloon size", 10, "lu", 1, 0, 1},
   {"pressureLimit", "Reclamation limit before the guest is under pressure", 10, "lu", 1, 0, 1},
   {"memNeeded", "Memory required by the guest for optimal performance", 10, "lu", 1, 0, 1},
   {"isUnderPressure", "Is the guest experiencing pressure?", 1, "c", 0, 0, 1},
   {"swapTgt", "Host swap target", 10, "lu", 1, 0, 1},
   {"swapped", "Amount swapped by host", 10, "lu", 1, 0, 1},
   {"mapped", "Guest physical memory backed by host memory", 10, "lu", 1, 0, 1},
   {"touched", "Guest physical memory actively used by VM", 10, "lu", 1, 0, 1},
   {"zipped", "Guest physical memory that is compressed", 10, "lu", 1, 0, 1},
   {"vpmemRO", "Guest physical persistent memory that is cached read-only", 10, "lu", 1, 0, 1},
   {"vpmemRW", "Guest physical persistent memory that is cached read-write", 10, "lu", 1, 0, 1},
   {"vpmemUC", "Guest physical persistent memory that is not yet cached", 10, "lu", 1, 0, 1},
   {"zipSaved", "Host physical memory saved by compression", 10, "lu", 1, 0, 1},
   {"shared", "Subset of mapped that is marked COW as a result of page-sharing", 10, "lu", 1, 0, 1},
   {"zero", "Subset of shared pages that are zero-filled", 10, "lu", 1, 0, 1},
   {"sharedSaved", "Host physical memory saved as a result of page-sharing", 10, "lu", 1, 0, 1},
   {"useReliableMem", "Uses Reliable memory", 1, "s", 0, 0, 1},
   {"swapScope", "Swap scope", 1, "lu", 0, 0, 1},
   {"dname", "Virtual machine display name", 15, "s", 0, 0, 0},
   {"quenPath", "Virtual machine configuration path", 10, "s", 0, 0, 0},
   kEndOfColumns,
};

// One VM, or the sum of all. Memory in KB until it is converted; the signed figures on their bits.
struct VmStatsRow {
   GroupIdentity vm;
   bool balloonActive;
   uint32_t vmmLeader;
   uint64_t memSizeLimit;
   uint64_t memSize;
   uint64_t minLimit;
   uint64_t min;
   uint64_t max;
   uint64_t shares;
   uint64_t ovhdResv;
   uint64_t ovhd;
   uint64_t allocTgt;
   uint64_t consumed;
   uint64_t balloonTgt;
   uint64_t ballooned;
   uint64_t pressureLimit;
   uint64_t memNeeded;
   bool isUnderPressure;
   uint64_t swapTgt;
   uint64_t swapped;
   uint64_t mapped;
   uint64_t touched;
   uint64_t zipped;
   uint64_t vpmemRO;
   uint64_t vpmemRW;
   uint64_t vpmemUC;
   uint64_t zipSaved;
   uint64_t shared;
   uint64_t zero;
   uint64_t sharedSaved;
   bool useReliableMem;
   uint64_t swapScope;
   char dname[1024];
   char quenPath[1984];
};

using Row = VmStatsRow;

// Summed and converted.
constexpr uint64_t Row::*kMemory[] = {
   &Row::memSizeLimit, &Row::memSize,  &Row::min,        &Row::ovhdResv,  &Row::ovhd,
   &Row::allocTgt,     &Row::consumed, &Row::balloonTgt, &Row::ballooned, &Row::pressureLimit,
   &Row::memNeeded,    &Row::swapTgt,  &Row::swapped,    &Row::mapped,    &Row::touched,
   &Row::zipped,       &Row::vpmemRO,  &Row::vpmemRW,    &Row::vpmemUC,   &Row::zipSaved,
   &Row::shared,       &Row::zero,     &Row::sharedSaved};
// Converted only.
constexpr uint64_t Row::*kLimits[] = {&Row::max, &Row::minLimit};

struct VmStatsContext {
   DisplayUnit unit;
   VmStatsRow totals;
};

// Copies a text that need not be terminated.
template <size_t Size> void CopyText(char (&to)[Size], const char (&from)[Size])
{
   const size_t length = strnlen(from, Size - 1);
   std::memcpy(to, from, length);
   to[length] = '\0';
}

NevraStatus ReadVmmLeader(VmStatsRow *row)
{
   return Kelmar_GetVmmLeaderID(row->vm.worldGrp, &row->vmmLeader);
}

// The display name and the configuration path.
NevraStatus ReadVmmGroupInfo(VmStatsRow *row)
{
   ParamListPtr params = CreateParamList(2);
   if (params == nullptr) {
      Warning("Nevra_ParamListCreate() failure\n");
      return NEVRA_FAILURE;
   }
   NevraStatus status = Nevra_ParamListAddInt(params.get(), row->vmmLeader);
   if (status != NEVRA_OK) {
      Warning("Nevra_ParamListAddInt: %s\n", ORSKA_ReturnStatusToString(status));
      return status;
   }
   VmmGroupInfoRecord info = {};
   status = Nevra_Get(NEVRA_NODE_vm_vmmGroupInfo, params.get(), &info, sizeof info);
   if (status == NEVRA_OK) {
      CopyText(row->dname, info.displayName);
      CopyText(row->quenPath, info.configPath);
   } else {
      Warning("Nevra_Get: %s\n", ORSKA_ReturnStatusToString(status));
   }
   Nevra_ParamListRemoveLastParam(params.get());
   return status;
}

NevraStatus ReadVmmAlloc(VmStatsRow *row)
{
   VmmAlloc alloc;
   const NevraStatus status = Kelmar_GroupGetVMMAlloc(row->vm.schedGrp, &alloc);
   if (status == NEVRA_OK) {
      row->min = alloc.min;
      row->max = alloc.max;
      row->shares = alloc.shares;
      row->minLimit = alloc.minLimit;
   }
   return status;
}

void FillVmmStats(VmStatsRow *row, const VmmStatsRecord &vmm)
{
   row->balloonActive = vmm.balloonActive != 0;
   row->memSizeLimit = vmm.memSizeLimit;
   row->memSize = vmm.memSize;
   row->allocTgt = vmm.allocTgt;
   row->consumed = vmm.mapped + vmm.vpmemUC - (vmm.vpmemRW + vmm.sharedSaved);
   row->balloonTgt = vmm.balloonTgt;
   row->ballooned = vmm.ballooned;
   row->swapTgt = vmm.swapTgt;
   row->mapped = vmm.mapped;
   row->touched = vmm.touched;
   row->zipped = vmm.zipped;
   row->vpmemRO = vmm.vpmemRO;
   row->vpmemRW = vmm.vpmemRW;
   row->vpmemUC = vmm.vpmemUC;
   row->zipSaved = vmm.zipSaved;
   row->shared = vmm.shared;
   row->zero = vmm.zero;
   row->sharedSaved = vmm.sharedSaved;
   row->useReliableMem = vmm.useReliableMem != 0;
   row->swapScope = vmm.swapScope;
}

NevraStatus ReadVmmStats(VmStatsRow *row)
{
   VmmStatsRecord vmm;
   const NevraStatus status = MemClientStatsGet(row->vm.worldGrp, NEVRA_NODE_sched_memClients_kelmar_vmm,
                                                "KelmarVMGetVMMStats", &vmm, sizeof vmm);
   if (status == NEVRA_OK) {
      FillVmmStats(row, vmm);
   }
   return status;
}

NevraStatus ReadSwapStats(VmStatsRow *row)
{
   SwapInfoRecord swap;
   const NevraStatus status = MemClientStatsGet(row->vmmLeader, NEVRA_NODE_sched_memClients_swapInfo,
                                                "KelmarVMGetSwapStats", &swap, sizeof swap);
   if (status == NEVRA_OK) {
      row->swapped = swap.swapped;
   }
   return status;
}

NevraStatus ReadMemoryStats(VmStatsRow *row)
{
   GroupMemoryStatsRecord memory;
   const NevraStatus status = KelmarGroupGetMemoryStats(row->vm.schedGrp, &memory);
   if (status == NEVRA_OK) {
      row->ovhdResv = memory.ovhdResv;
      row->ovhd = memory.ovhd;
      row->pressureLimit = memory.pressureLimit;
      row->memNeeded = memory.memNeeded;
      row->isUnderPressure = memory.isUnderPressure != 0;
   }
   return status;
}

void ConvertVmRow(VmStatsRow *row, DisplayUnit unit)
{
   row->max = OrNotAvailable(row->max);
   row->minLimit = OrNotAvailable(row->minLimit);
   ConvertFigures(row, unit, kMemory);
   ConvertFigures(row, unit, kLimits);
}

void PrintVmRow(VmStatsRow *row, DisplayUnit unit, bool isTotalRow, bool csvMode)
{
   ConvertVmRow(row, unit);
   const GroupIdentity &vm = row->vm;
   PrintReportRow(columns, csvMode, isTotalRow,
                  {vm.name.name,
                   YesNo(row->balloonActive),
                   vm.schedGrp,
                   vm.parSchedGroup,
                   vm.worldGrp,
                   row->memSizeLimit,
                   row->memSize,
                   row->min,
                   row->max,
                   row->minLimit,
                   row->shares,
                   row->ovhdResv,
                   row->ovhd,
                   row->allocTgt,
                   row->consumed,
                   row->balloonTgt,
                   row->ballooned,
                   row->pressureLimit,
                   row->memNeeded,
                   YesNo(row->isUnderPressure),
                   row->swapTgt,
                   row->swapped,
                   row->mapped,
                   row->touched,
                   row->zipped,
                   row->vpmemRO,
                   row->vpmemRW,
                   row->vpmemUC,
                   row->zipSaved,
                   row->shared,
                   row->zero,
                   row->sharedSaved,
                   row->useReliableMem ? "y" : "n",
                   row->swapScope,
                   row->dname,
                   row->quenPath});
}

constexpr NevraStatus (*kReads[])(VmStatsRow *row) = {ReadVmmLeader, ReadVmmGroupInfo, ReadVmmAlloc,
                                                      ReadVmmStats,  ReadSwapStats,    ReadMemoryStats};

NevraStatus VmStatsVisit(const GroupIdentity &vm, bool csvMode, VmStatsContext *context)
{
   VmStatsRow row = {};
   row.vm = vm;
   for (const auto read : kReads) {
      const NevraStatus status = read(&row);
      if (status != NEVRA_OK) {
         return status;
      }
   }
   AddFigures(&context->totals, row, kMemory);
   PrintVmRow(&row, context->unit, false, csvMode);
   return NEVRA_OK;
}

void ShowExtraColumns()
{
   for (ReportColumn *column = columns; column->name != nullptr; column++) {
      if (std::strcmp(column->name, "dname") == 0 || std::strcmp(column->name, "quenPath") == 0) {
         column->shown = 1;
      }
   }
}

constexpr option kLongOptions[] = {{"extra", no_argument, nullptr, 'x'},
                                   kGidOption,
                                   kLevelOption,
                                   kUnitOption,
                                   kVerboseOption,
                                   kSelectionOption,
                                   kCsvOption,
                                   kEndOfOptions};

constexpr GroupReport kReport = {.shortOptions = "g:l:s:u:vqx",
                                 .longOptions = kLongOptions,
                                 .title = "VIRTUAL MACHINE STATS",
                                 .ruleLength = 47,
                                 .columns = columns,
                                 .visit = VisitVm<VmStatsContext, VmStatsVisit>,
                                 .printSummary = PrintTotals<VmStatsContext, PrintVmRow>};

} // namespace

constinit const ReportDescription vmStatsDescription = DescribeGroupReport(kReport);

NevraStatus VmStatsReport(int argc, char **argv)
{
   ReportOptions options;
   NevraStatus status = ParseReportOptions(argc, argv, kReport.shortOptions, kReport.longOptions, &options);
   if (status != NEVRA_OK) {
      return status;
   }
   // The selection comes before the unit, and the extra columns show whatever it says.
   ApplyColumnSelection(columns, options.selection);
   if (options.extra) {
      ShowExtraColumns();
   }
   VmStatsContext context = {};
   context.totals.vm = kTotalIdentity;
   status = ParseDisplayUnit(options.unitText, false, &context.unit);
   if (status != NEVRA_OK) {
      return status;
   }
   return PrintGroupReport(kReport, options, context.unit, nullptr, &context);
}
