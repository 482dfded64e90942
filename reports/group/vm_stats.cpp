#include "nevra/records.h"
#include "report/figure_table.h"
#include "report/group_queries.h"
#include "report/group_report.h"
#include "reports/report_list.h"
#include "sysinfo/node_read.h"

namespace {

// One VM.
struct VmStatsRow {
   GroupIdentity vm;
   uint32_t vmmLeader;
   VmmGroupInfoRecord info;
   VmmAlloc alloc;
   VmmStatsRecord vmm;
   SwapInfoRecord swap;
   GroupMemoryStatsRecord memory;
   uint64_t consumed;
};

using Row = VmStatsRow;

constexpr Figure kFigures[] = {
   {{"name", "Virtual machine group name", 15, "s", kTotalled, kSelectable, kShown, Unit::Text, Role::Label},
    ROW_FIELD(vm.name.name)},
   {{"b", "Is balloon driver active?", 1, "c", kNotTotalled, kSelectable, kShown, Unit::YesNo, Role::Label},
    ROW_FIELD(vmm.balloonActive)},
   {kSchedGrpColumn, ROW_FIELD(vm.schedGrp)},
   {kParSchedGroupColumn, ROW_FIELD(vm.parSchedGroup)},
   {kWorldGrpColumn, ROW_FIELD(vm.worldGrp)},
   {{"memSizeLimit", "Upper bound on guest physical memory size", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(vmm.memSizeLimit)},
   {{"memSize", "Guest physical memory size", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(vmm.memSize)},
   {{"min", "Configured host physical memory reservation for guest", 10, "ld", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(alloc.min)},
   {{"max", "Configured host physical memory limit for guest", 10, "ld", kNotTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(alloc.max)},
   {{"minLimit", "Configured upper bound for VM reservation (includes ovhdResv)", 10, "ld", kNotTotalled,
     kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(alloc.minLimit)},
   {{"shares", "Configured shares", 10, "ld", kNotTotalled, kSelectable, kShown, Unit::Shares, Role::Gauge},
    ROW_FIELD(alloc.shares)},
   {{"ovhdResv", "Reserved overhead memory", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(memory.ovhdResv)},
   {{"ovhd", "Consumed overhead memory", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(memory.ovhd)},
   {{"allocTgt", "Host physical memory allocation target", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(vmm.allocTgt)},
   {{"consumed", "Host physical memory consumed by guest", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(consumed)},
   {{"balloonTgt", "Target balloon size", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(vmm.balloonTgt)},
   {{"ballooned", "Actual balloon size", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(vmm.ballooned)},
   {{"pressureLimit", "Reclamation limit before the guest is under pressure", 10, "lu", kTotalled,
     kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(memory.pressureLimit)},
   {{"memNeeded", "Memory required by the guest for optimal performance", 10, "lu", kTotalled, kSelectable,
     kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(memory.memNeeded)},
   {{"isUnderPressure", "Is the guest experiencing pressure?", 1, "c", kNotTotalled, kSelectable, kShown,
     Unit::YesNo, Role::Label},
    ROW_FIELD(memory.isUnderPressure)},
   {{"swapTgt", "Host swap target", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(vmm.swapTgt)},
   {{"swapped", "Amount swapped by host", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(swap.swapped)},
   {{"mapped", "Guest physical memory backed by host memory", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(vmm.mapped)},
   {{"touched", "Guest physical memory actively used by VM", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(vmm.touched)},
   {{"zipped", "Guest physical memory that is compressed", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(vmm.zipped)},
   {{"vpmemRO", "Guest physical persistent memory that is cached read-only", 10, "lu", kTotalled, kSelectable,
     kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(vmm.vpmemRO)},
   {{"vpmemRW", "Guest physical persistent memory that is cached read-write", 10, "lu", kTotalled,
     kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(vmm.vpmemRW)},
   {{"vpmemUC", "Guest physical persistent memory that is not yet cached", 10, "lu", kTotalled, kSelectable,
     kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(vmm.vpmemUC)},
   {{"zipSaved", "Host physical memory saved by compression", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(vmm.zipSaved)},
   {{"shared", "Subset of mapped that is marked COW as a result of page-sharing", 10, "lu", kTotalled,
     kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(vmm.shared)},
   {{"zero", "Subset of shared pages that are zero-filled", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(vmm.zero)},
   {{"sharedSaved", "Host physical memory saved as a result of page-sharing", 10, "lu", kTotalled,
     kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(vmm.sharedSaved)},
   {{"useReliableMem", "Uses Reliable memory", 1, "s", kNotTotalled, kSelectable, kShown, Unit::YesNo,
     Role::Label},
    ROW_FIELD(vmm.useReliableMem)},
   {{"swapScope", "Swap scope", 1, "lu", kNotTotalled, kSelectable, kShown, Unit::Number, Role::Gauge},
    ROW_FIELD(vmm.swapScope)},
   {{"dname", "Virtual machine display name", 15, "s", kNotTotalled, kSelectable, kHidden, Unit::Text,
     Role::Label},
    ROW_FIELD(info.displayName)},
   {{"quenPath", "Virtual machine configuration path", 10, "s", kNotTotalled, kSelectable, kHidden,
     Unit::Text, Role::Label},
    ROW_FIELD(info.configPath)},
};
constinit FigureTable<Row, kFigures> table;

NevraStatus ReadVmmLeader(VmStatsRow *row)
{
   return Kelmar_GetVmmLeaderID(row->vm.worldGrp, &row->vmmLeader);
}

// The display name and the configuration path.
NevraStatus ReadVmmGroupInfo(VmStatsRow *row)
{
   return ReadNode({.node = NEVRA_NODE_vm_vmmGroupInfo,
                    .capacity = 2,
                    .noList = {"Nevra_ParamListCreate() failure"},
                    .noRecord = {"Nevra_Get: ", FailureMessage::Reason},
                    .removesKey = true},
                   {{row->vmmLeader, {"Nevra_ParamListAddInt: ", FailureMessage::Reason}}}, &row->info,
                   sizeof row->info);
}

NevraStatus ReadVmmAlloc(VmStatsRow *row)
{
   const NevraStatus status = Kelmar_GroupGetVMMAlloc(row->vm.schedGrp, &row->alloc);
   if (status == NEVRA_OK) {
      row->alloc.max = OrNotAvailable(row->alloc.max);
      row->alloc.minLimit = OrNotAvailable(row->alloc.minLimit);
   }
   return status;
}

NevraStatus ReadVmmStats(VmStatsRow *row)
{
   const NevraStatus status = MemClientStatsGet(row->vm.worldGrp, NEVRA_NODE_sched_memClients_kelmar_vmm,
                                                "KelmarVMGetVMMStats", &row->vmm, sizeof row->vmm);
   row->consumed = row->vmm.mapped + row->vmm.vpmemUC - (row->vmm.vpmemRW + row->vmm.sharedSaved);
   return status;
}

NevraStatus ReadSwapStats(VmStatsRow *row)
{
   return MemClientStatsGet(row->vmmLeader, NEVRA_NODE_sched_memClients_swapInfo, "KelmarVMGetSwapStats",
                            &row->swap, sizeof row->swap);
}

NevraStatus ReadMemoryStats(VmStatsRow *row)
{
   return KelmarGroupGetMemoryStats(row->vm.schedGrp, &row->memory);
}

// Reads the figures of a VM; the first failure ends it.
NevraStatus ReadVmRow(VmStatsRow *row)
{
   constexpr NevraStatus (*kReads[])(VmStatsRow *) = {ReadVmmLeader, ReadVmmGroupInfo, ReadVmmAlloc,
                                                      ReadVmmStats,  ReadSwapStats,    ReadMemoryStats};
   for (const auto read : kReads) {
      const NevraStatus status = read(row);
      if (status != NEVRA_OK) {
         return status;
      }
   }
   return NEVRA_OK;
}

void ShowExtraColumns()
{
   for (const size_t index : {ColumnIndex(kFigures, "dname"), ColumnIndex(kFigures, "quenPath")}) {
      table.columns[index].shown = kShown;
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
                                 .columns = table.columns,
                                 .visit = VisitVm<&table, Row, ReadVmRow>,
                                 .putSummary = PutTotals<&table, Row>};

constexpr char kUsage[] = USAGE_REPORT_OPTIONS USAGE_GID USAGE_LEVEL USAGE_UNIT USAGE_UNIT_NOTE
   "      -x                        Display extra columns\n";

} // namespace

constinit const ReportDescription vmStatsDescription = DescribeGroupReport(kReport, kUsage);

NevraStatus VmStatsReport(const ReportArguments &arguments)
{
   ReportOptions options;
   NevraStatus status = ParseReportOptions(arguments, kReport.shortOptions, kReport.longOptions, &options);
   if (status != NEVRA_OK) {
      return status;
   }
   // The selection comes before the unit, and the extra columns show whatever it says.
   ApplyColumnSelection(table.columns, options.selection);
   if (options.extra) {
      ShowExtraColumns();
   }
   auto run = MakeRun(table);
   status = ParseDisplayUnit(options.unitText, false, &run.unit);
   if (status != NEVRA_OK) {
      return status;
   }
   return PutGroupReport(kReport, arguments, options, &run);
}
