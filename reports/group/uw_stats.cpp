#include "reports/group/uw_stats.h"

#include <string>

#include "nevra/records.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/flag_filter.h"
#include "report/grid.h"
#include "report/group_identity.h"
#include "report/group_queries.h"
#include "report/group_report.h"
#include "report/row_figures.h"

namespace {

ReportColumn columns[] = {
   {"type", "Type of user-world (uw: stand-alone, vm: VM-based)", 20, "s", 0, 0, 1},
   {"name", "User world name", 20, "s", 0, 0, 1},
   kSchedGrpColumn,
   kParSchedGroupColumn,
   kWorldGrpColumn,
   {"min", "Configured memory reservation", 10, "ld", 1, 0, 1},
   {"max", "Configured memory limit", 10, "ld", 0, 0, 1},
   {"minLimit", "Configured memory reservation limit", 10, "ld", 0, 0, 1},
   {"shares", "Configured memory shares", 10, "ld", 0, 0, 1},
   {"totalResv", "Total memory reservation", 10, "lu", 1, 0, 1},
   {"pinnedResv", "Memory reserved for pinning purposes", 10, "lu", 1, 0, 1},
   {"memSizeLimit", "Limit on virtual address-space size", 10, "ld", 0, 0, 1},
   {"memSize", "Current virtual address-space size", 10, "lu", 1, 0, 1},
   {"memBStore", "Memory backing store consumed", 10, "lu", 1, 0, 1},
   {"swapBStore", "Swap backing store consumed", 10, "lu", 1, 0, 1},
   {"mapped", "Virtual address-space size backed by physical memory (private + shared + pinned)", 10, "lu", 1,
    0, 1},
   {"touched", "Virtual memory touched used by VM", 10, "lu", 1, 0, 1},
   {"swappable", "Non-shared mapped memory that can be reclaimed", 10, "lu", 1, 0, 1},
   {"cow", "COW memory", 10, "lu", 1, 0, 1},
   {"pageable", "Accounted pageable memory", 10, "lu", 1, 0, 1},
   {"pageableUnacct", "Unaccounted pageable memory", 10, "lu", 1, 0, 1},
   {"pinned", "Non-swappable mapped memory", 10, "lu", 1, 0, 1},
   {"prealloced", "Preallocated memory", 10, "lu", 1, 0, 1},
   {"shm", "SHM memory", 10, "lu", 1, 0, 1},
   {"allocTgt", "Physical memory allocation target", 10, "lu", 1, 0, 1},
   {"consumed", "Physical memory consumed", 10, "lu", 1, 0, 1},
   {"swapTgt", "Swap target", 10, "lu", 1, 0, 1},
   {"swapped", "Memory swapped to secondary storage", 10, "lu", 1, 0, 1},
   {"useReliableMem", "Uses Reliable memory", 1, "s", 0, 0, 1},
   {"swapScope", "Swap scope", 1, "lu", 0, 0, 1},
   kEndOfColumns,
};

// One user world, or the sum of all. Memory in KB until it is converted; the signed figures on their bits.
struct UwStatsRow {
   GroupIdentity group;
   uint32_t typeBits;
   uint64_t min;
   uint64_t max;
   uint64_t minLimit;
   uint64_t shares;
   uint64_t totalResv;
   uint64_t pinnedResv;
   uint64_t memSizeLimit;
   uint64_t memSize;
   uint64_t memBStore;
   uint64_t swapBStore;
   uint64_t mapped;
   uint64_t touched;
   uint64_t swappable;
   uint64_t cow;
   uint64_t pageable;
   uint64_t pageableUnacct;
   uint64_t shm;
   uint64_t pinned;
   uint64_t prealloced;
   uint64_t allocTgt;
   uint64_t consumed;
   uint64_t swapTgt;
   uint64_t swapped;
   bool useReliableMem;
   uint64_t swapScope;
};

using Row = UwStatsRow;

// Summed and converted.
constexpr uint64_t Row::*kMemory[] = {
   &Row::min,        &Row::totalResv,      &Row::pinnedResv, &Row::memSize,   &Row::memBStore,
   &Row::swapBStore, &Row::mapped,         &Row::touched,    &Row::swappable, &Row::cow,
   &Row::pageable,   &Row::pageableUnacct, &Row::shm,        &Row::pinned,    &Row::prealloced,
   &Row::allocTgt,   &Row::consumed,       &Row::swapTgt,    &Row::swapped};
// Converted only.
constexpr uint64_t Row::*kLimits[] = {&Row::max, &Row::minLimit, &Row::memSizeLimit};

struct UwStatsContext {
   DisplayUnit unit;
   GroupFilters filters;
   UwStatsRow totals;
};

void FillUwRow(UwStatsRow *row, const UwStatsRecord &uw)
{
   row->min = uw.min;
   row->max = uw.max;
   row->minLimit = uw.minLimit;
   row->shares = int64_t{uw.shares};
   row->totalResv = uw.totalResv;
   row->pinnedResv = uw.pinnedResv;
   row->memSizeLimit = int64_t{uw.memSizeLimit};
   row->memSize = uw.memSize;
   row->memBStore = uw.memBStore;
   row->swapBStore = uw.swapBStore;
   row->mapped = uw.mapped;
   row->touched = uw.touched;
   row->swappable = uw.swappable;
   row->cow = uw.cow;
   row->pageable = uw.pageable;
   row->pageableUnacct = uw.pageableUnacct;
   row->shm = uw.shm;
   row->pinned = uw.pinned;
   row->prealloced = uw.prealloced;
   row->allocTgt = uw.allocTgt;
   row->consumed = uw.mapped + uw.vpmemUC - (uw.vpmemRW + uw.sharedSaved);
   row->swapTgt = uw.swapTgt;
   row->swapped = uw.swapped;
   row->useReliableMem = uw.useReliableMem != 0;
   row->swapScope = uw.swapScope;
}

// Meant: from the threshold itself on, where the other reports take it for a number.
uint64_t UwOrNotAvailable(uint64_t kb)
{
   return kb >= NA_THRESHOLD ? NotAvailable : kb;
}

void ConvertUwRow(UwStatsRow *row, DisplayUnit unit)
{
   row->max = UwOrNotAvailable(row->max);
   row->minLimit = UwOrNotAvailable(row->minLimit);
   ConvertFigures(row, unit, kMemory);
   ConvertFigures(row, unit, kLimits);
}

void PrintUwRow(UwStatsRow *row, DisplayUnit unit, bool isTotalRow, bool csvMode)
{
   ConvertUwRow(row, unit);
   const GroupIdentity &group = row->group;
   // A VM-based user world has both bits, and so its type is "(all)". Neither the type nor the name is
   // totalled, so that the Total row has no label. Both are meant.
   const std::string type = FormatFlagList(row->typeBits, uwTypeNames);
   PrintReportRow(columns, csvMode, isTotalRow,
                  {type.c_str(),
                   group.name.name,
                   group.schedGrp,
                   group.parSchedGroup,
                   group.worldGrp,
                   row->min,
                   row->max,
                   row->minLimit,
                   row->shares,
                   row->totalResv,
                   row->pinnedResv,
                   row->memSizeLimit,
                   row->memSize,
                   row->memBStore,
                   row->swapBStore,
                   row->mapped,
                   row->touched,
                   row->swappable,
                   row->cow,
                   row->pageable,
                   row->pageableUnacct,
                   row->pinned,
                   row->prealloced,
                   row->shm,
                   row->allocTgt,
                   row->consumed,
                   row->swapTgt,
                   row->swapped,
                   row->useReliableMem ? "y" : "n",
                   row->swapScope});
}

NevraStatus UwStatsVisit(uint64_t groupID, uint32_t, uint8_t csvMode, void *opaque)
{
   UwStatsContext *context = static_cast<UwStatsContext *>(opaque);
   uint32_t flags = 0;
   NevraStatus status = Kelmar_GroupGetFlags(groupID, &flags);
   if (status != NEVRA_OK) {
      return status;
   }
   if ((flags & GROUP_USER_WORLD) == 0 ||
       !PassesFlagFilter(flags, context->filters.inclusionMask, context->filters.exclusionMask)) {
      return NEVRA_OK;
   }
   UwStatsRow row = {};
   row.typeBits = flags & (GROUP_USER_WORLD | GROUP_VM);
   status = ReadGroupIdentity(groupID, &row.group);
   if (status != NEVRA_OK) {
      return status;
   }
   UwStatsRecord uw;
   status = MemClientStatsGet(row.group.worldGrp, NEVRA_NODE_sched_memClients_kelmar_uw, "KelmarUWGetUWStats",
                              &uw, sizeof uw);
   if (status != NEVRA_OK) {
      return status;
   }
   FillUwRow(&row, uw);
   AddFigures(&context->totals, row, kMemory);
   PrintUwRow(&row, context->unit, false, csvMode);
   return NEVRA_OK;
}

constexpr option kLongOptions[] = {kGidOption,       kLevelOption,     kUnitOption,
                                   kInclusionOption, kExclusionOption, kSelectionOption,
                                   kVerboseOption,   kCsvOption,       kEndOfOptions};

constexpr GroupReport kReport = {.shortOptions = "e:g:i:l:s:u:vq",
                                 .longOptions = kLongOptions,
                                 .title = "USER-WORLD STATS",
                                 .ruleLength = 42,
                                 .columns = columns,
                                 .visit = UwStatsVisit,
                                 .printSummary = PrintTotals<UwStatsContext, PrintUwRow>};

} // namespace

constinit const ReportDescription uwStatsDescription = DescribeGroupReport(kReport, uwTypeNames);

NevraStatus UwStatsReport(int argc, char **argv)
{
   ReportOptions options;
   NevraStatus status = ParseReportOptions(argc, argv, kReport.shortOptions, kReport.longOptions, &options);
   if (status != NEVRA_OK) {
      return status;
   }
   UwStatsContext context = {};
   context.totals.group = kTotalIdentity;
   status = ParseDisplayUnit(options.unitText, false, &context.unit);
   if (status != NEVRA_OK) {
      return status;
   }
   ApplyColumnSelection(columns, options.selection);
   status = ParseGroupFilters(options, uwTypeNames, &context.filters);
   if (status != NEVRA_OK) {
      return status;
   }
   return PrintGroupReport(kReport, options, context.unit, &context.filters, &context);
}
