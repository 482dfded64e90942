#include "nevra/records.h"
#include "report/figure_table.h"
#include "report/flag_filter.h"
#include "report/group_queries.h"
#include "report/group_report.h"
#include "reports/report_list.h"

namespace {

// One user world.
struct UwStatsRow {
   GroupIdentity group;
   uint32_t typeBits;
   UwStatsRecord uw;
   uint64_t consumed;
};

using Row = UwStatsRow;

// A VM-based user world has both bits, and so its type is "(all)". Neither the type nor the name is totalled,
// so that the Total row has no label. Both are kept for compatibility: scripts read them so.
constexpr Figure kFigures[] = {
   {{"type", "Type of user-world (uw: stand-alone, vm: VM-based)", 20, "s", kNotTotalled, kSelectable, kShown,
     Unit::FlagList, Role::Label},
    ROW_FLAGS(typeBits, uwTypeNames)},
   {{"name", "User world name", 20, "s", kNotTotalled, kSelectable, kShown, Unit::Text, Role::Label},
    ROW_FIELD(group.name.name)},
   {kSchedGrpColumn, ROW_FIELD(group.schedGrp)},
   {kParSchedGroupColumn, ROW_FIELD(group.parSchedGroup)},
   {kWorldGrpColumn, ROW_FIELD(group.worldGrp)},
   {{"min", "Configured memory reservation", 10, "ld", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(uw.min)},
   {{"max", "Configured memory limit", 10, "ld", kNotTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(uw.max)},
   {{"minLimit", "Configured memory reservation limit", 10, "ld", kNotTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(uw.minLimit)},
   {{"shares", "Configured memory shares", 10, "ld", kNotTotalled, kSelectable, kShown, Unit::Shares,
     Role::Gauge},
    ROW_FIELD(uw.shares)},
   {{"totalResv", "Total memory reservation", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(uw.totalResv)},
   {{"pinnedResv", "Memory reserved for pinning purposes", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(uw.pinnedResv)},
   {{"memSizeLimit", "Limit on virtual address-space size", 10, "ld", kNotTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(uw.memSizeLimit)},
   {{"memSize", "Current virtual address-space size", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(uw.memSize)},
   {{"memBStore", "Memory backing store consumed", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(uw.memBStore)},
   {{"swapBStore", "Swap backing store consumed", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(uw.swapBStore)},
   {{"mapped", "Virtual address-space size backed by physical memory (private + shared + pinned)", 10, "lu",
     kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(uw.mapped)},
   {{"touched", "Virtual memory touched used by VM", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(uw.touched)},
   {{"swappable", "Non-shared mapped memory that can be reclaimed", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(uw.swappable)},
   {{"cow", "COW memory", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(uw.cow)},
   {{"pageable", "Accounted pageable memory", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(uw.pageable)},
   {{"pageableUnacct", "Unaccounted pageable memory", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(uw.pageableUnacct)},
   {{"pinned", "Non-swappable mapped memory", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(uw.pinned)},
   {{"prealloced", "Preallocated memory", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(uw.prealloced)},
   {{"shm", "SHM memory", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(uw.shm)},
   {{"allocTgt", "Physical memory allocation target", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(uw.allocTgt)},
   {{"consumed", "Physical memory consumed", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(consumed)},
   {{"swapTgt", "Swap target", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(uw.swapTgt)},
   {{"swapped", "Memory swapped to secondary storage", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(uw.swapped)},
   {{"useReliableMem", "Uses Reliable memory", 1, "s", kNotTotalled, kSelectable, kShown, Unit::YesNo,
     Role::Label},
    ROW_FIELD(uw.useReliableMem)},
   {{"swapScope", "Swap scope", 1, "lu", kNotTotalled, kSelectable, kShown, Unit::Number, Role::Gauge},
    ROW_FIELD(uw.swapScope)},
};
constinit FigureTable<Row, kFigures> table;

// From the threshold itself on, where the other reports take it for a number. Kept for compatibility.
int64_t UwOrNotAvailable(int64_t kb)
{
   return static_cast<uint64_t>(kb) >= NA_THRESHOLD ? static_cast<int64_t>(NotAvailable) : kb;
}

NevraStatus ReadUwRow(UwStatsRow *row)
{
   UwStatsRecord &uw = row->uw;
   const NevraStatus status = MemClientStatsGet(row->group.worldGrp, NEVRA_NODE_sched_memClients_kelmar_uw,
                                                "KelmarUWGetUWStats", &uw, sizeof uw);
   uw.max = UwOrNotAvailable(uw.max);
   uw.minLimit = UwOrNotAvailable(uw.minLimit);
   row->consumed = uw.mapped + uw.vpmemUC - (uw.vpmemRW + uw.sharedSaved);
   return status;
}

NevraStatus UwStatsVisit(uint64_t groupID, uint32_t, uint8_t, void *context)
{
   auto *run = static_cast<decltype(MakeRun(table)) *>(static_cast<GroupRun *>(context));
   uint32_t flags = 0;
   NevraStatus status = Kelmar_GroupGetFlags(groupID, &flags);
   if (status != NEVRA_OK) {
      return status;
   }
   if ((flags & GROUP_USER_WORLD) == 0 ||
       !PassesFlagFilter(flags, run->filters.inclusionMask, run->filters.exclusionMask)) {
      return NEVRA_OK;
   }
   UwStatsRow row = {};
   row.typeBits = flags & (GROUP_USER_WORLD | GROUP_VM);
   status = ReadGroupIdentity(groupID, &row.group);
   if (status != NEVRA_OK) {
      return status;
   }
   status = ReadUwRow(&row);
   if (status != NEVRA_OK) {
      return status;
   }
   AddToSums(table, row, &run->sums);
   PutFigures(*run->output, table, row, run->unit);
   return NEVRA_OK;
}

constexpr option kLongOptions[] = {kGidOption,       kLevelOption,     kUnitOption,
                                   kInclusionOption, kExclusionOption, kSelectionOption,
                                   kVerboseOption,   kCsvOption,       kEndOfOptions};

constexpr GroupReport kReport = {.shortOptions = "e:g:i:l:s:u:vq",
                                 .longOptions = kLongOptions,
                                 .title = "USER-WORLD STATS",
                                 .ruleLength = 42,
                                 .columns = table.columns,
                                 .visit = UwStatsVisit,
                                 .putSummary = PutTotals<&table, Row>};

constexpr char kUsage[] = USAGE_REPORT_OPTIONS USAGE_GID USAGE_LEVEL USAGE_UNIT USAGE_FILTERS USAGE_UNIT_NOTE
   "      Note 2: A filter mask must be a string comprising of a ':' separated list of UW types.\n"
   "      Note 3: Supported UW types:\n"
   "                 uw             Stand-alone UW\n"
   "                 vm             VM-based UW\n";

} // namespace

constinit const ReportDescription uwStatsDescription = DescribeGroupReport(kReport, kUsage, uwTypeNames);

NevraStatus UwStatsReport(const ReportArguments &arguments)
{
   ReportOptions options;
   NevraStatus status = ParseReportOptions(arguments, kReport.shortOptions, kReport.longOptions, &options);
   if (status != NEVRA_OK) {
      return status;
   }
   auto run = MakeRun(table);
   status = ParseDisplayUnit(options.unitText, false, &run.unit);
   if (status != NEVRA_OK) {
      return status;
   }
   ApplyColumnSelection(table.columns, options.selection);
   status = ParseGroupFilters(options, uwTypeNames, &run.filters);
   if (status != NEVRA_OK) {
      return status;
   }
   return PutGroupReport(kReport, arguments, options, &run);
}
