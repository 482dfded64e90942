#include <cstring>
#include <vector>

#include "nevra/records.h"
#include "report/figure_table.h"
#include "report/flag_filter.h"
#include "report/group_queries.h"
#include "report/group_report.h"
#include "reports/report_list.h"

namespace {

// One group, or what stands for all groups with one tag.
struct GroupStatsRow {
   uint64_t gid;
   int64_t parGid;
   GroupNameRecord name;
   uint32_t flags;
   uint32_t nChild;
   GroupAllocRecord alloc;
   GroupCapacityRecord capacity;
   GroupMemoryStatsRecord stats;
   GroupTagRecord tag;
};

using Row = GroupStatsRow;

// The memory per share is converted like the others, although its description says KB. Kept for
// compatibility.
constexpr Figure kFigures[] = {
   {{"gid", "Group ID", 8, "lu", kTotalled, kKey, kShown, Unit::Id, Role::Label}, ROW_FIELD(gid)},
   {{"name", "Group name", 28, "s", kTotalled, kSelectable, kShown, Unit::Text, Role::Label},
    ROW_FIELD(name.name)},
   {{"parGid", "Parent group ID", 8, "ld", kTotalled, kSelectable, kShown, Unit::Id, Role::Label},
    ROW_FIELD(parGid)},
   {{"nChild", "Number of child groups", 8, "d", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
    ROW_FIELD(nChild)},
   {{"min", "Configured memory reservation", 10, "ld", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(alloc.min)},
   {{"max", "Configured memory limit", 10, "ld", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(alloc.max)},
   {{"minLimit", "Configured memory reservation limit", 10, "ld", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(alloc.minLimit)},
   {{"shares", "Configured shares", 10, "ld", kTotalled, kSelectable, kShown, Unit::Shares, Role::Gauge},
    ROW_FIELD(alloc.shares)},
   {{"conResv", "Total memory reservation consumed by children", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(capacity.conResv)},
   {{"availResv", "Total memory reservation available to group", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(capacity.availResv)},
   {{"memSize", "Guest physical / Accounted UW virtual / kernel machine address space currently consumed", 10,
     "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(stats.memSize)},
   {{"memSizePeak",
     "Peak guest physical / Accounted UW virtual / kernel machine address space currently consumed (since "
     "last reset)",
     10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(stats.memSizePeak)},
   {{"iMin", "Implicit memory reservation", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(stats.iMin)},
   {{"eMin", "Effective memory reservation", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(stats.eMin)},
   {{"eMinPeak", "Peak value for effective memory reservation (since last reset)", 10, "lu", kTotalled,
     kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(stats.eMinPeak)},
   {{"rMinPeak", "Peak value for requested memory reservation (since last reset)", 10, "lu", kTotalled,
     kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(stats.rMinPeak)},
   {{"rMinChildPeak", "Peak requested memory reservation value for subgroups (since last reset)", 10, "lu",
     kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(stats.rMinChildPeak)},
   {{"bMin", "Base memory reservation", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(stats.bMin)},
   {{"bMax", "Base memory limit", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(stats.bMax)},
   {{"bShares", "Base shares", 10, "lu", kTotalled, kSelectable, kShown, Unit::Shares, Role::Gauge},
    ROW_FIELD(stats.bShares)},
   {{"fShares", "flattened base shares", 10, "lu", kTotalled, kSelectable, kShown, Unit::Shares, Role::Gauge},
    ROW_FIELD(stats.fShares)},
   {{"ovhdResv", "Reserved overhead memory", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(stats.ovhdResv)},
   {{"ovhd", "Consumed overhead memory", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(stats.ovhd)},
   {{"allocTgt", "Memory allocation target for group", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(stats.allocTgt)},
   {{"consumed", "Total memory consumed by group", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(stats.consumed)},
   {{"consumedPeak", "Peak value for total memory consumed by group (since last reset)", 10, "lu", kTotalled,
     kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(stats.consumedPeak)},
   {{"touched", "Estimate of guest memory touched", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(stats.touched)},
   {{"bActive", "Base activeness", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(stats.bActive)},
   {{"sharedSaved", "Estimate of memory savings from page sharing", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(stats.sharedSaved)},
   {{"mps", "Memory per share (KB)", 20, "ld", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(stats.mps)},
   {{"throttlePct", "% of possible time the guest is allowed to be executed", 3, "u", kNotTotalled,
     kSelectable, kShown, Unit::Percent, Role::Gauge},
    ROW_FIELD(stats.throttlePct)},
   {{"flags", "Group flags", 16, "s", kTotalled, kSelectable, kShown, Unit::FlagList, Role::Label},
    ROW_FLAGS(flags, groupFlagNames)},
   {{"tag", "Group Tag", 28, "s", kTotalled, kSelectable, kShown, Unit::Text, Role::Label},
    ROW_FIELD(tag.tag)},
};
constinit FigureTable<Row, kFigures> table;

constexpr size_t MAX_VTAGS = 512;

// The groups with one tag.
struct TagEntry {
   GroupStatsRow row; // the tag, twice: as name and as tag
   decltype(MakeRun(table).sums) sums;
};

struct GroupStatsRun : GroupRun {
   bool tagSummary;
   std::vector<TagEntry> tags; // at most MAX_VTAGS
};

NevraStatus ReadCapacity(uint64_t groupID, GroupStatsRow *row)
{
   const NevraStatus status =
      GroupNodeGet(groupID, NEVRA_NODE_sched_groups_stats_capacity, &row->capacity, sizeof row->capacity);
   if (status != NEVRA_OK && status != NEVRA_NOT_FOUND) {
      Warning("KelmarGroupGetCapacity() failure, error code: %u\n", status);
   }
   return status;
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
   return KelmarGroupGetMemoryStats(groupID, &row->stats);
}

// The entry of a tag, added when the tag is new; null when there are too many.
TagEntry *FindTagEntry(GroupStatsRun *run, const GroupTagRecord &tag)
{
   for (TagEntry &entry : run->tags) {
      if (std::strcmp(entry.row.tag.tag, tag.tag) == 0) {
         return &entry;
      }
   }
   if (run->tags.size() == MAX_VTAGS) {
      return nullptr;
   }
   TagEntry &entry = run->tags.emplace_back();
   Str_Strcpy(entry.row.name.name, tag.tag, sizeof entry.row.name.name);
   Str_Strcpy(entry.row.tag.tag, tag.tag, sizeof entry.row.tag.tag);
   entry.row.gid = 1;
   return &entry;
}

NevraStatus AddToTagSummary(GroupStatsRun *run, const GroupStatsRow &row)
{
   TagEntry *entry = FindTagEntry(run, row.tag);
   if (entry == nullptr) {
      Warning("Maximum number of VTag exceeded\n");
      return NEVRA_OUT_OF_MEMORY;
   }
   AddToSums(table, row, &entry->sums);
   uint64_t *sums = entry->sums.values;
   for (const size_t limit :
        {ColumnIndex(kFigures, "max"), ColumnIndex(kFigures, "minLimit"), ColumnIndex(kFigures, "mps")}) {
      sums[limit] = NotAvailable;
   }
   // Kept for compatibility: the base limit is the last group's, not a sum, and a tag counts what its groups
   // consume twice.
   sums[ColumnIndex(kFigures, "bMax")] = row.stats.bMax;
   sums[ColumnIndex(kFigures, "consumed")] += row.stats.consumed;
   return NEVRA_OK;
}

NevraStatus GroupStatsVisit(uint64_t groupID, uint32_t childCount, uint8_t, void *context)
{
   GroupStatsRun *run = static_cast<GroupStatsRun *>(static_cast<GroupRun *>(context));
   GroupStatsRow row;
   NevraStatus status = Kelmar_GroupGetFlags(groupID, &row.flags);
   if (status != NEVRA_OK) {
      return status;
   }
   if (!PassesFlagFilter(row.flags, run->filters.inclusionMask, run->filters.exclusionMask)) {
      return NEVRA_OK;
   }
   row.gid = groupID;
   row.nChild = childCount;
   status = ReadGroup(groupID, &row);
   if (status != NEVRA_OK) {
      return status;
   }
   if (run->tagSummary) {
      status = AddToTagSummary(run, row);
      if (status != NEVRA_OK) {
         return status;
      }
   }
   row.alloc.max = OrNotAvailable(row.alloc.max);
   row.alloc.minLimit = OrNotAvailable(row.alloc.minLimit);
   PutFigures(*run->output, table, row, run->unit);
   return NEVRA_OK;
}

void PutTagSummary(GroupRun *groupRun)
{
   const GroupStatsRun *run = static_cast<GroupStatsRun *>(groupRun);
   run->output->Section("Virtual tags report");
   for (const TagEntry &entry : run->tags) {
      PutSums(*run->output, RowKind::Tag, table, entry.row, entry.sums, run->unit);
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
                                 .columns = table.columns,
                                 .visit = GroupStatsVisit};

constexpr char kUsage[] = USAGE_REPORT_OPTIONS USAGE_GID USAGE_LEVEL USAGE_UNIT USAGE_FILTERS
   "      -t, --tags                Display a tag summary\n" USAGE_UNIT_NOTE
   "      Note 2: A filter mask must be a string comprising of a ':' separated list of group flags.\n"
   "      Note 3: Supported group flags:\n"
   "                 pre            Predefined group\n"
   "                 lf             Leaf group\n"
   "                 vm             VM\n"
   "                 uw             User world\n"
   "                 sys            System world\n"
   "                 tw             Test world\n"
   "                 pr             Protected group\n"
   "                 sd             Self-destruct group\n"
   "                 np             Non-presistent group\n"
   "                 ke             Kernel memory group\n"
   "                 ug             User created group\n"
   "                 co             Container group\n"
   "                 sc             Sub-container group\n"
   "                 vmm            VMM Sub-container group\n"
   "                 usr            UW Sub-container group\n";

} // namespace

constinit const ReportDescription groupStatsDescription =
   DescribeGroupReport(kReport, kUsage, groupFlagNames, false); // no Total row

NevraStatus GroupStatsReport(const ReportArguments &arguments)
{
   ReportOptions options;
   NevraStatus status = ParseReportOptions(arguments, kReport.shortOptions, kReport.longOptions, &options);
   if (status != NEVRA_OK) {
      return status;
   }
   GroupStatsRun run = {};
   run.tagSummary = options.tags;
   status = ParseDisplayUnit(options.unitText, false, &run.unit);
   if (status != NEVRA_OK) {
      return status;
   }
   status = ParseGroupFilters(options, groupFlagNames, &run.filters);
   if (status != NEVRA_OK) {
      return status;
   }
   ApplyColumnSelection(table.columns, options.selection);
   GroupReport report = kReport;
   if (options.tags) {
      report.putSummary = PutTagSummary;
   }
   return PutGroupReport(report, arguments, options, &run);
}
