#include "nevra/records.h"
#include "report/figure_table.h"
#include "reports/pmem/pmem_walk.h"
#include "reports/report_list.h"

namespace {

struct ExtentRow {
   PMemName volume;
   int32_t extent;
   PMemExtentRecord info;
};

using Row = ExtentRow;

constexpr Figure kFigures[] = {
   {{"uuid", "Volume UUID", 40, "s", kTotalled, kSelectable, kShown, Unit::Text, Role::Label},
    ROW_FIELD(volume)},
   {{"extentID", "Extent Number", 10, "lu", kTotalled, kSelectable, kShown, Unit::Number, Role::Label},
    ROW_FIELD(extent)},
   {{"numaNode", "NUMA Node of this extent", 10, "lu", kTotalled, kSelectable, kShown, Unit::Number,
     Role::Label},
    ROW_FIELD(info.numaNode)},
   {{"startBlk", "Starting blocknum of extent", 10, "lu", kTotalled, kSelectable, kShown, Unit::Number,
     Role::Gauge},
    ROW_FIELD(info.startBlk)},
   {{"endBlk", "Ending blocknum of extent", 10, "lu", kTotalled, kSelectable, kShown, Unit::Number,
     Role::Gauge},
    ROW_FIELD(info.endBlk)},
   {{"startMPN", "Starting MPN of extent", 10, "lu", kTotalled, kSelectable, kShown, Unit::Number,
     Role::Gauge},
    ROW_FIELD(info.startMPN)},
   {{"endMPN", "Ending MPN of extent", 10, "lu", kTotalled, kSelectable, kShown, Unit::Number, Role::Gauge},
    ROW_FIELD(info.endMPN)},
};
constinit FigureTable<Row, kFigures> table;

bool GetExtentsInfo(const char *volume, int32_t extent, PMemExtentRecord *info)
{
   constexpr const char *reader = "GetExtentsInfo";
   const ParamListPtr params = CreateNumberedList(reader, 2, volume, nullptr, extent);
   return params != nullptr &&
          GetRecord(reader, NEVRA_NODE_memory_pmem_volumes_extents, params.get(), info, sizeof *info);
}

bool VisitExtent(const char *volume, const Nevra_ParamList *extents, uint32_t index, PMemRun *run)
{
   ExtentRow row = {};
   if (Nevra_ParamListGetInt32(extents, index, &row.extent) != NEVRA_OK) {
      Warning("PMemExtentsReport: Nevra_ParamListGetInt32 failure\n");
      return false;
   }
   if (!GetExtentsInfo(volume, row.extent, &row.info)) {
      Warning("PMemExtentsReport: GetExtentsInfo failure\n");
      return false;
   }
   return FinishRow(table, volume, nullptr, &row, run);
}

bool PMemExtentsReport(const Nevra_ParamList *volumes, uint32_t index, PMemRun *run)
{
   const char *volume = NameAt(volumes, index);
   const ParamListPtr extents =
      ListOf("PMemExtentsReport", NEVRA_NODE_memory_pmem_volumes_extents, volume, nullptr);
   if (extents == nullptr) {
      return false;
   }
   const uint32_t count = Nevra_ParamListUsedCount(extents.get());
   for (uint32_t i = 0; i < count; i++) {
      if (!VisitExtent(volume, extents.get(), i, run)) {
         return false;
      }
   }
   return true;
}

constexpr HostReport kReport =
   MakePMemReport<PMemExtentsReport>("PERSISTENT MEMORY EXTENT STATS", table.columns);

} // namespace

constinit const ReportDescription pmemExtentStatsDescription = DescribeHostReport(kReport, kPMemUsage, false);

NevraStatus PMemExtentStatsReport(const ReportArguments &arguments)
{
   PMemRun run;
   return RunHostReport(kReport, arguments, &run);
}
