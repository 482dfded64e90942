#include <cinttypes>
#include <cstdio>

#include "nevra/records.h"
#include "report/display_unit.h"
#include "report/figure_table.h"
#include "report/flag_filter.h"
#include "reports/pmem/pmem_walk.h"
#include "reports/report_list.h"

namespace {

// Region flags in printing order. "noFlags" has no bit and so is never printed: no region shows "(all)", and
// one without flags shows "(none)".
constexpr FlagName regionFlagNames[] = {{0, "noFlags"},
                                        {REGION_ALLOCATED, "allocated"},
                                        {REGION_DANGLING, "dangling"},
                                        {REGION_LOCKED, "locked"},
                                        {REGION_READ_ONLY, "readOnly"},
                                        {REGION_BLOCK_DEVICE, "blockDev"},
                                        {REGION_PERSISTENT_RESERVATION, "persistResv"},
                                        {REGION_SYSTEM, "system"},
                                        {REGION_ZOMBIE, "zombie"},
                                        {0, nullptr}};

struct RegionRow {
   PMemName volume;
   PMemName region;
   PMemRegionRecord info;
   uint64_t sizeKB; // rounded up
   char numaAffinityMask[sizeof "0xffffffffffffffff"];
};

using Row = RegionRow;

constexpr Figure kFigures[] = {
   {{"uuid", "Volume UUID", 40, "s", kTotalled, kSelectable, kShown, Unit::Text, Role::Label},
    ROW_FIELD(volume)},
   {{"regionUuid", "Region UUID", 40, "s", kTotalled, kSelectable, kShown, Unit::Text, Role::Label},
    ROW_FIELD(region)},
   {{"size", "Region memory size", 14, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_FIELD(sizeKB)},
   {{"reserved", "Reserved 2M blocks", 10, "lu", kTotalled, kSelectable, kShown, Unit::Blocks2MB,
     Role::Gauge},
    ROW_FIELD(info.reserved2MBlocks)},
   {{"flags", "Flags", 40, "s", kTotalled, kSelectable, kShown, Unit::FlagList, Role::Label},
    ROW_FLAGS(info.flags, regionFlagNames)},
   {{"dataLossCounter", "Data Loss Counter", 10, "lu", kTotalled, kSelectable, kShown, Unit::Count,
     Role::Counter},
    ROW_FIELD(info.dataLossCounter)},
   {{"numOpened", "Open count", 10, "lu", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
    ROW_FIELD(info.openCount)},
   {{"allocated", "Allocated 2m blocks", 10, "lu", kTotalled, kSelectable, kShown, Unit::Blocks2MB,
     Role::Gauge},
    ROW_FIELD(info.allocated2MBlocks)},
   {{"managementTag", "Management Tag", 10, "ld", kTotalled, kSelectable, kShown, Unit::Number, Role::Label},
    ROW_FIELD(info.managementTag)},
   {{"numaAffinityMask", "NUMA affinity mask", 20, "s", kTotalled, kSelectable, kShown, Unit::BitMask,
     Role::Label},
    ROW_FIELD(numaAffinityMask)},
};
constinit FigureTable<Row, kFigures> table;

bool GetRegionsInfo(const char *volume, const char *region, PMemRegionRecord *info)
{
   constexpr const char *reader = "GetRegionsInfo";
   const ParamListPtr params = CreateNameList(reader, 2, volume, region);
   return params != nullptr && GetRecord(reader, NEVRA_NODE_memory_pmem_volumes_regionStore_regions_info,
                                         params.get(), info, sizeof *info);
}

bool VisitRegion(const char *volume, const Nevra_ParamList *regions, uint32_t index, PMemRun *run)
{
   const char *region = "";
   if (Nevra_ParamListGetString(regions, index, &region) != NEVRA_OK) {
      Warning("PMemRegionsReport: Nevra_ParamListGetString failure\n");
      return false;
   }
   RegionRow row = {};
   PMemRegionRecord &info = row.info;
   if (!GetRegionsInfo(volume, region, &info)) {
      Warning("PMemRegionsReport: GetRegionsInfo failure\n");
      return false;
   }
   row.sizeKB = BytesToKB(info.size);
   std::snprintf(row.numaAffinityMask, sizeof row.numaAffinityMask, "0x%" PRIx64,
                 uint64_t{info.numaAffinityMask});
   return FinishRow(table, volume, region, &row, run);
}

bool PMemRegionsReport(const Nevra_ParamList *volumes, uint32_t index, PMemRun *run)
{
   const char *volume = "";
   if (Nevra_ParamListGetString(volumes, index, &volume) != NEVRA_OK) {
      Warning("PMemRegionsReport: Nevra_ParamListGetString failure\n");
      return false;
   }
   const ParamListPtr regions =
      ListOf("PMemRegionsReport", NEVRA_NODE_memory_pmem_volumes_regionStore_regions, volume, nullptr);
   if (regions == nullptr) {
      return false;
   }
   const uint32_t count = Nevra_ParamListUsedCount(regions.get());
   for (uint32_t i = 0; i < count; i++) {
      if (!VisitRegion(volume, regions.get(), i, run)) {
         return false;
      }
   }
   return true;
}

constexpr HostReport kReport =
   MakePMemReport<PMemRegionsReport>("PERSISTENT MEMORY REGION STATS", table.columns);

} // namespace

constinit const ReportDescription pmemRegionStatsDescription =
   DescribeHostReport(kReport, kPMemUsage, false, regionFlagNames);

NevraStatus PMemRegionStatsReport(const ReportArguments &arguments)
{
   PMemRun run;
   return RunHostReport(kReport, arguments, &run);
}
