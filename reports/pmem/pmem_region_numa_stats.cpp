// Some of the messages say "Regions" and others "Region". Kept for compatibility: scripts read them so.
#include "nevra/records.h"
#include "report/figure_table.h"
#include "reports/pmem/pmem_walk.h"
#include "reports/report_list.h"

namespace {

struct RegionNodeRow {
   PMemName volume;
   PMemName region;
   PMemRegionNumaRecord info;
};

using Row = RegionNodeRow;

constexpr Figure kFigures[] = {
   {{"uuid", "Volume UUID", 40, "s", kTotalled, kSelectable, kShown, Unit::Text, Role::Label},
    ROW_FIELD(volume)},
   {{"regionUuid", "Region UUID", 40, "s", kTotalled, kSelectable, kShown, Unit::Text, Role::Label},
    ROW_FIELD(region)},
   {{"numaNode", "NUMA node", 10, "d", kTotalled, kSelectable, kShown, Unit::Number, Role::Label},
    ROW_FIELD(info.numaNode)},
   {{"num2MAllocated", "Number of 2M blocks allocated", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Blocks2MB, Role::Gauge},
    ROW_FIELD(info.num2MAllocated)},
};
constinit FigureTable<Row, kFigures> table;

bool GetRegionsNumaInfo(const char *volume, const char *region, int32_t node, PMemRegionNumaRecord *info)
{
   constexpr const char *reader = "GetRegionsNumaInfo";
   const ParamListPtr params = CreateNumberedList(reader, 3, volume, region, node);
   return params != nullptr &&
          GetRecord(reader, NEVRA_NODE_memory_pmem_volumes_regionStore_regions_numaAllocInfo, params.get(),
                    info, sizeof *info);
}

bool VisitNumaNode(const char *volume, const char *region, const Nevra_ParamList *nodes, uint32_t index,
                   PMemRun *run)
{
   int32_t node;
   if (Nevra_ParamListGetInt32(nodes, index, &node) != NEVRA_OK) {
      Warning("PMemRegionsNumaReport: Nevra_ParamListGetInt32 failure\n");
      return false;
   }
   RegionNodeRow row = {};
   if (!GetRegionsNumaInfo(volume, region, node, &row.info)) {
      Warning("PMemRegionsNumaReport: GetRegionsNumaInfo failure\n");
      return false;
   }
   return FinishRow(table, volume, region, &row, run);
}

bool VisitRegionNodes(const char *volume, const char *region, PMemRun *run)
{
   const ParamListPtr nodes =
      ListOf("PMemRegionNumaReport", NEVRA_NODE_memory_pmem_volumes_regionStore_regions_numaAllocInfo, volume,
             region);
   if (nodes == nullptr) {
      return false;
   }
   const uint32_t count = Nevra_ParamListUsedCount(nodes.get());
   for (uint32_t i = 0; i < count; i++) {
      if (!VisitNumaNode(volume, region, nodes.get(), i, run)) {
         return false;
      }
   }
   return true;
}

bool PMemRegionNumaReport(const Nevra_ParamList *volumes, uint32_t index, PMemRun *run)
{
   const char *volume = NameAt(volumes, index);
   const ParamListPtr regions =
      ListOf("PMemRegionNumaReport", NEVRA_NODE_memory_pmem_volumes_regionStore_regions, volume, nullptr);
   if (regions == nullptr) {
      return false;
   }
   const uint32_t count = Nevra_ParamListUsedCount(regions.get());
   for (uint32_t i = 0; i < count; i++) {
      if (!VisitRegionNodes(volume, NameAt(regions.get(), i), run)) {
         return false;
      }
   }
   return true;
}

constexpr HostReport kReport =
   MakePMemReport<PMemRegionNumaReport>("PERSISTENT MEMORY REGION NUMA STATS", table.columns);

} // namespace

constinit const ReportDescription pmemRegionNumaStatsDescription =
   DescribeHostReport(kReport, kPMemUsage, false);

NevraStatus PMemRegionNumaStatsReport(const ReportArguments &arguments)
{
   PMemRun run;
   return RunHostReport(kReport, arguments, &run);
}
