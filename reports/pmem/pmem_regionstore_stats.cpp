#include "nevra/records.h"
#include "report/figure_table.h"
#include "reports/pmem/pmem_walk.h"
#include "reports/report_list.h"

namespace {

struct RegionStoreRow {
   PMemName volume;
   PMemRegionStoreRecord info;
   PMemCleanRecord clean;
};

using Row = RegionStoreRow;

constexpr Figure kFigures[] = {
   {{"uuid", "Volume UUID", 40, "s", kTotalled, kSelectable, kShown, Unit::Text, Role::Label},
    ROW_FIELD(volume)},
   {{"alloc2MBlocks", "Allocated 2M Blocks", 10, "lu", kNotTotalled, kSelectable, kShown, Unit::Blocks2MB,
     Role::Gauge},
    ROW_FIELD(info.allocated2MBlocks)},
   {{"resvd2MBlocks", "Reserved 2M Blocks", 10, "lu", kNotTotalled, kSelectable, kShown, Unit::Blocks2MB,
     Role::Gauge},
    ROW_FIELD(info.reserved2MBlocks)},
   {{"avail2MBlocks", "Available Reservable 2M Blocks", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Blocks2MB, Role::Gauge},
    ROW_FIELD(info.available2MBlocks)},
   {{"totalRegions", "Total regions in the region store", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Count, Role::Gauge},
    ROW_FIELD(info.totalRegions)},
   {{"freeRegions", "Free regions in the region store", 10, "lu", kTotalled, kSelectable, kShown, Unit::Count,
     Role::Gauge},
    ROW_FIELD(info.freeRegions)},
   {{"total2MBlocks", "Total 2M Blocks", 10, "lu", kTotalled, kSelectable, kShown, Unit::Blocks2MB,
     Role::Gauge},
    ROW_FIELD(info.total2MBlocks)},
   {{"isClean", "Is region store clean ?", 4, "c", kTotalled, kSelectable, kShown, Unit::YesNo, Role::Label},
    ROW_FIELD(clean.isClean)},
};
constinit FigureTable<Row, kFigures> table;

// Nothing of the record is shown: a volume only has to have one.
bool PMemGetVolumeInfo(const char *volume)
{
   const ParamListPtr params = CreateNameList("PMemGetVolumeInfo", 1, volume, nullptr);
   PMemVolumeInfoRecord info = {};
   return params != nullptr &&
          Nevra_Get(NEVRA_NODE_memory_pmem_volumes_info, params.get(), &info, sizeof info) == NEVRA_OK;
}

bool PMemGetRegionStoreInfo(const char *volume, PMemRegionStoreRecord *info, PMemCleanRecord *clean)
{
   constexpr const char *reader = "PMemGetRegionStoreInfo";
   const ParamListPtr params = CreateNameList(reader, 1, volume, nullptr);
   return params != nullptr &&
          GetRecord(reader, NEVRA_NODE_memory_pmem_volumes_regionStore_info, params.get(), info,
                    sizeof *info) &&
          Nevra_Get(NEVRA_NODE_memory_pmem_volumes_regionStore_isClean, params.get(), clean, sizeof *clean) ==
             NEVRA_OK;
}

bool PMemRegionStoreReport(const Nevra_ParamList *volumes, uint32_t index, PMemRun *run)
{
   const char *volume = "";
   if (Nevra_ParamListGetString(volumes, index, &volume) != NEVRA_OK) {
      Warning("PMemRegionStoreReport: Nevra_ParamListGetString Failure\n");
      return false;
   }
   if (!PMemGetVolumeInfo(volume)) {
      Warning("PMemRegionStoreReport: PMemGetVolumeInfo failure\n");
      return false;
   }
   RegionStoreRow row = {};
   if (!PMemGetRegionStoreInfo(volume, &row.info, &row.clean)) {
      Warning("PMemRegionStoreReport: PMemGetRegionStoreInfo failure\n");
      return false;
   }
   return FinishRow(table, volume, nullptr, &row, run);
}

constexpr HostReport kReport =
   MakePMemReport<PMemRegionStoreReport>("PERSISTENT MEMORY REGIONSTORE STATS", table.columns);

} // namespace

constinit const ReportDescription pmemRegionStoreStatsDescription =
   DescribeHostReport(kReport, kPMemUsage, false);

NevraStatus PMemRegionStoreStatsReport(const ReportArguments &arguments)
{
   PMemRun run;
   return RunHostReport(kReport, arguments, &run);
}
