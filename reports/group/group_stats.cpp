#include "reports/group/group_stats.h"

#include <cstdio>
#include <cstring>
#include <iterator>
#include <vector>

#include "nevra/records.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/flag_filter.h"
#include "report/grid.h"
#include "report/group_queries.h"
#include "report/group_report.h"

namespace {

ReportColumn columns[] = {
   {"gid", "Group ID", 8, "lu", 1, 1, 1},
   {"name", "Group name", 28, "s", 1, 0, 1},
   {"parGid", "Parent group ID", 8, "ld", 1, 0, 1},
   {"nChild", "Number of child groups", 8, "d", 1, 0, 1},
   {"min", "Configured memory reservation", 10, "ld", 1, 0, 1},
   {"max", "Configured memory limit", 10, "ld", 1, 0, 1},
   {"minLimit", "Configured memory reservation limit", 10, "ld", 1, 0, 1},
   {"shares", "Configured shares", 10, "ld", 1, 0, 1},
   {"conResv", "Total memory reservation consumed by children", 10, "lu", 1, 0, 1},
   {"availResv", "Total memory reservation available to group", 10, "lu", 1, 0, 1},
   {"memSize", "Guest physical / Accounted UW virtual / kernel machine address space currently consumed", 10,
    "lu", 1, 0, 1},
   {"memSizePeak",
    "Peak guest physical / Accounted UW virtual / kernel machine address space currently consumed (since "
    "last reset)",
    10, "lu", 1, 0, 1},
   {"iMin", "Implicit memory reservation", 10, "lu", 1, 0, 1},
   {"eMin", "Effective memory reservation", 10, "lu", 1, 0, 1},
   {"eMinPeak", "Peak value for effective memory reservation (since last reset)", 10, "lu", 1, 0, 1},
   {"rMinPeak", "Peak value for requested memory reservation (since last reset)", 10, "lu", 1, 0, 1},
   {"rMinChildPeak", "Peak requested memory reservation value for subgroups (since last reset)", 10, "lu", 1,
    0, 1},
   {"bMin", "Base memory reservation", 10, "lu", 1, 0, 1},
   {"bMax", "Base memory limit", 10, "lu", 1, 0, 1},
   {"bShares", "Base shares", 10, "lu", 1, 0, 1},
   {"fShares", "flattened base shares", 10, "lu", 1, 0, 1},
   {"ovhdResv", "Reserved overhead memory", 10, "lu", 1, 0, 1},
   {"ovhd", "Consumed overhead memory", 10, "lu", 1, 0, 1},
   {"allocTgt", "Memory allocation target for group", 10, "lu", 1, 0, 1},
   {"consumed", "Total memory consumed by group", 10, "lu", 1, 0, 1},
   {"consumedPeak", "Peak value for total memory consumed by group (since last reset)", 10, "lu", 1, 0, 1},
   {"touched", "Estimate of guest memory touched", 10, "lu", 1, 0, 1},
   {"bActive", "Base activeness", 10, "lu", 1, 0, 1},
   {"sharedSaved", "Estimate of memory savings from page sharing", 10, "lu", 1, 0, 1},
   {"mps", "Memory per share (KB)", 20, "ld", 1, 0, 1},
   {"throttlePct", "% of possible time the guest is allowed to be executed", 3, "u", 0, 0, 1},
   {"flags", "Group flags", 16, "s", 1, 0, 1},
   {"tag", "Group Tag", 28, "s", 1, 0, 1},
   kEndOfColumns,
};

// One printed row: a group, or the sum of all groups with one tag. Memory in KB until it is converted.
struct GroupStatsRow {
   uint64_t gid;
   int64_t parGid;
   GroupNameRecord name;
   uint32_t flags;
   GroupAllocRecord alloc;
   uint32_t nChild;
   uint64_t conResv;
   uint64_t availResv;
   uint64_t memSize;
   uint64_t memSizePeak;
   uint64_t iMin;
   uint64_t eMin;
   uint64_t eMinPeak;
   uint64_t rMinPeak;
   uint64_t rMinChildPeak;
   uint64_t bMin;
   uint64_t bMax;
   uint64_t bShares;
   uint64_t fShares;
   uint64_t ovhdResv;
   uint64_t ovhd;
   uint64_t allocTgt;
   uint64_t consumed;
   uint64_t consumedPeak;
   uint64_t touched;
   uint64_t bActive;
   uint64_t sharedSaved;
   int64_t mps;
   uint64_t throttlePct;
   GroupTagRecord tag;
};

constexpr size_t MAX_VTAGS = 512;

struct GroupStatsContext {
   DisplayUnit unit;
   GroupFilters filters;
   bool tagSummary;
   std::vector<GroupStatsRow> tags; // at most MAX_VTAGS
};

NevraStatus ReadCapacity(uint64_t groupID, GroupStatsRow *row)
{
   GroupCapacityRecord capacity;
   const NevraStatus status =
      GroupNodeGet(groupID, NEVRA_NODE_sched_groups_stats_capacity, &capacity, sizeof capacity);
   if (status != NEVRA_OK) {
      if (status != NEVRA_NOT_FOUND) {
         Warning("KelmarGroupGetCapacity() failure, error code: %u\n", status);
      }
      return status;
   }
   row->conResv = capacity.conResv;
   row->availResv = capacity.availResv;
   return NEVRA_OK;
}

NevraStatus ReadMemoryStats(uint64_t groupID, GroupStatsRow *row)
{
   GroupMemoryStatsRecord stats;
   const NevraStatus status = KelmarGroupGetMemoryStats(groupID, &stats);
   if (status != NEVRA_OK) {
      return status;
   }
   row->memSize = stats.memSize;
   row->memSizePeak = stats.memSizePeak;
   row->iMin = stats.iMin;
   row->eMin = stats.eMin;
   row->eMinPeak = stats.eMinPeak;
   row->rMinPeak = stats.rMinPeak;
   row->rMinChildPeak = stats.rMinChildPeak;
   row->bMin = stats.bMin;
   row->bMax = stats.bMax;
   row->bShares = stats.bShares;
   row->fShares = stats.fShares;
   row->ovhdResv = stats.ovhdResv;
   row->ovhd = stats.ovhd;
   row->allocTgt = stats.allocTgt;
   row->consumed = stats.consumed;
   row->consumedPeak = stats.consumedPeak;
   row->touched = stats.touched;
   row->bActive = stats.bActive;
   row->sharedSaved = stats.sharedSaved;
   row->mps = stats.mps;
   row->throttlePct = stats.throttlePct;
   return NEVRA_OK;
}

// Reads all that a row shows besides its flags; the first failure ends it.
NevraStatus ReadGroup(uint64_t groupID, GroupStatsRow *row)
{
   NevraStatus status = Kelmar_GroupGetName(groupID, &row->name);
   if (status != NEVRA_OK) {
      return status;
   }
   status = Kelmar_GroupGetTag(groupID, &row->tag);
   if (status != NEVRA_OK) {
      return status;
   }
   status = Kelmar_GroupGetParentID(groupID, &row->parGid);
   if (status != NEVRA_OK) {
      return status;
   }
   status = Kelmar_GroupGetAlloc(groupID, &row->alloc);
   if (status != NEVRA_OK) {
      return status;
   }
   status = ReadCapacity(groupID, row);
   if (status != NEVRA_OK) {
      return status;
   }
   return ReadMemoryStats(groupID, row);
}

// The entry of a tag, added when the tag is new; null when there are too many.
GroupStatsRow *FindTagEntry(GroupStatsContext *context, const GroupTagRecord &tag)
{
   for (GroupStatsRow &entry : context->tags) {
      if (std::strcmp(entry.tag.tag, tag.tag) == 0) {
         return &entry;
      }
   }
   if (context->tags.size() == MAX_VTAGS) {
      return nullptr;
   }
   GroupStatsRow &entry = context->tags.emplace_back();
   Str_Strcpy(entry.name.name, tag.tag, sizeof entry.name.name);
   Str_Strcpy(entry.tag.tag, tag.tag, sizeof entry.tag.tag);
   entry.gid = 1;
   return &entry;
}

NevraStatus AddToTagSummary(GroupStatsContext *context, const GroupStatsRow &row)
{
   GroupStatsRow *entry = FindTagEntry(context, row.tag);
   if (entry == nullptr) {
      Warning("Maximum number of VTag exceeded\n");
      return NEVRA_OUT_OF_MEMORY;
   }
   entry->nChild += row.nChild;
   entry->alloc.min =
      static_cast<int64_t>(static_cast<uint64_t>(entry->alloc.min) + static_cast<uint64_t>(row.alloc.min));
   entry->alloc.max = static_cast<int64_t>(NotAvailable);
   entry->alloc.minLimit = static_cast<int64_t>(NotAvailable);
   entry->conResv += row.conResv;
   entry->availResv += row.availResv;
   entry->memSize += row.memSize;
   entry->memSizePeak += row.memSizePeak;
   entry->iMin += row.iMin;
   entry->eMin += row.eMin;
   entry->eMinPeak += row.eMinPeak;
   entry->rMinPeak += row.rMinPeak;
   entry->rMinChildPeak += row.rMinChildPeak;
   entry->bMin += row.bMin;
   entry->bMax = row.bMax; // meant: the last group's, not a sum
   entry->ovhdResv += row.ovhdResv;
   entry->ovhd += row.ovhd;
   entry->allocTgt += row.allocTgt;
   entry->consumed += 2 * row.consumed; // meant: a tag counts its groups' memory twice
   entry->consumedPeak += row.consumedPeak;
   entry->touched += row.touched;
   entry->bActive += row.bActive;
   entry->sharedSaved += row.sharedSaved;
   entry->mps = static_cast<int64_t>(NotAvailable);
   return NEVRA_OK;
}

void ConvertGroupRow(GroupStatsRow *row, DisplayUnit unit)
{
   row->alloc.min = ConvertKB(int64_t{row->alloc.min}, unit);
   row->alloc.max = ConvertKB(OrNotAvailable(row->alloc.max), unit);
   row->alloc.minLimit = ConvertKB(OrNotAvailable(row->alloc.minLimit), unit);
   row->mps = ConvertKB(row->mps, unit); // meant: converted, although its description says KB
   for (uint64_t *kb : {&row->conResv, &row->availResv, &row->memSize, &row->memSizePeak, &row->iMin,
                        &row->eMin, &row->eMinPeak, &row->rMinPeak, &row->rMinChildPeak, &row->bMin,
                        &row->bMax, &row->ovhdResv, &row->ovhd, &row->allocTgt, &row->consumed,
                        &row->consumedPeak, &row->touched, &row->bActive, &row->sharedSaved}) {
      *kb = ConvertKB(*kb, unit);
   }
}

void PrintGroupRow(const GroupStatsRow &row, bool csvMode)
{
   const std::string flags = FormatFlagList(row.flags, groupFlagNames);
   PrintReportRow(columns, csvMode, false,
                  {row.gid,
                   row.name.name,
                   row.parGid,
                   row.nChild,
                   int64_t{row.alloc.min},
                   int64_t{row.alloc.max},
                   int64_t{row.alloc.minLimit},
                   int64_t{row.alloc.shares},
                   row.conResv,
                   row.availResv,
                   row.memSize,
                   row.memSizePeak,
                   row.iMin,
                   row.eMin,
                   row.eMinPeak,
                   row.rMinPeak,
                   row.rMinChildPeak,
                   row.bMin,
                   row.bMax,
                   row.bShares,
                   row.fShares,
                   row.ovhdResv,
                   row.ovhd,
                   row.allocTgt,
                   row.consumed,
                   row.consumedPeak,
                   row.touched,
                   row.bActive,
                   row.sharedSaved,
                   row.mps,
                   static_cast<uint32_t>(row.throttlePct),
                   flags.c_str(),
                   row.tag.tag});
}

NevraStatus GroupStatsVisit(uint64_t groupID, uint32_t childCount, uint8_t csvMode, void *opaque)
{
   GroupStatsContext *context = static_cast<GroupStatsContext *>(opaque);
   GroupStatsRow row;
   NevraStatus status = Kelmar_GroupGetFlags(groupID, &row.flags);
   if (status != NEVRA_OK) {
      return status;
   }
   if (!PassesFlagFilter(row.flags, context->filters.inclusionMask, context->filters.exclusionMask)) {
      return NEVRA_OK;
   }
   row.gid = groupID;
   row.nChild = childCount;
   status = ReadGroup(groupID, &row);
   if (status != NEVRA_OK) {
      return status;
   }
   if (context->tagSummary) {
      status = AddToTagSummary(context, row);
      if (status != NEVRA_OK) {
         return status;
      }
   }
   ConvertGroupRow(&row, context->unit);
   PrintGroupRow(row, csvMode);
   return NEVRA_OK;
}

void PrintTagSummary(void *opaque, bool csvMode)
{
   GroupStatsContext *context = static_cast<GroupStatsContext *>(opaque);
   std::puts("Virtual tags report");
   for (GroupStatsRow &entry : context->tags) {
      ConvertGroupRow(&entry, context->unit);
      PrintGroupRow(entry, csvMode);
   }
}

constexpr option kLongOptions[] = {kGidOption,       kLevelOption,     kUnitOption,
                                   kInclusionOption, kExclusionOption, kVerboseOption,
                                   kSelectionOption, kCsvOption,       {"tags", no_argument, nullptr, 't'},
                                   kEndOfOptions};

constexpr GroupReport kReport = {.shortOptions = "e:g:i:l:s:u:vqt",
                                 .longOptions = kLongOptions,
                                 .title = "GROUP STATS",
                                 .ruleLength = 37,
                                 .columns = columns,
                                 .visit = GroupStatsVisit};

} // namespace

constinit const ReportDescription groupStatsDescription =
   DescribeGroupReport(kReport, groupFlagNames, false); // no Total row

NevraStatus GroupStatsReport(int argc, char **argv)
{
   ReportOptions options;
   NevraStatus status = ParseReportOptions(argc, argv, kReport.shortOptions, kReport.longOptions, &options);
   if (status != NEVRA_OK) {
      return status;
   }
   GroupStatsContext context = {};
   context.tagSummary = options.tags;
   status = ParseDisplayUnit(options.unitText, false, &context.unit);
   if (status != NEVRA_OK) {
      return status;
   }
   status = ParseGroupFilters(options, groupFlagNames, &context.filters);
   if (status != NEVRA_OK) {
      return status;
   }
   ApplyColumnSelection(columns, options.selection);
   GroupReport report = kReport;
   if (options.tags) {
      report.printSummary = PrintTagSummary;
   }
   return PrintGroupReport(report, options, context.unit, &context.filters, &context);
}
