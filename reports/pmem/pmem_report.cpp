#include "reports/pmem/pmem_report.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "nevra/records.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/grid.h"
#include "report/report_options.h"
#include "sysinfo/param_list.h"

namespace {

struct PMemWalk {
   uint32_t mode;
   bool csvMode;
   DisplayUnit unit;
   bool nameTooLong; // a name did not fit its field: the process is to stop
};

// Visits the volume at `index` of the list. False ends the walk: a failure has been reported where it is to
// be.
using VisitVolume = bool (*)(const Nevra_ParamList *volumes, uint32_t index, PMemWalk *walk);

void WalkVolumes(VisitVolume visit, PMemWalk *walk)
{
   ParamListPtr volumes;
   if (ListInstances(NEVRA_NODE_memory_pmem_volumes, nullptr, &volumes) != NEVRA_OK) {
      return;
   }
   const uint32_t count = Nevra_ParamListUsedCount(volumes.get());
   for (uint32_t i = 0; i < count; i++) {
      if (!visit(volumes.get(), i, walk)) {
         return;
      }
   }
}

// A parameter list with the name of a volume and, where there is one, of a region. Null after a failure,
// which is reported under the reader's name.
ParamListPtr CreateNameList(const char *reader, uint32_t capacity, const char *volume, const char *region)
{
   ParamListPtr params = CreateParamList(capacity);
   if (params == nullptr) {
      Warning("%s: Nevra_ParamListCreate failure\n", reader);
      return nullptr;
   }
   if (Nevra_ParamListAddString(params.get(), volume) != NEVRA_OK ||
       (region != nullptr && Nevra_ParamListAddString(params.get(), region) != NEVRA_OK)) {
      Warning("%s: Nevra_ParamListAddString failure\n", reader);
      return nullptr;
   }
   return params;
}

// The same with a number behind the names.
ParamListPtr CreateNumberedList(const char *reader, uint32_t capacity, const char *volume, const char *region,
                                int32_t number)
{
   ParamListPtr params = CreateNameList(reader, capacity, volume, region);
   if (params != nullptr && Nevra_ParamListAddInt(params.get(), number) != NEVRA_OK) {
      Warning("%s: Nevra_ParamListAddInt failure\n", reader);
      return nullptr;
   }
   return params;
}

// A record read whose failure is reported under the reader's name.
bool GetRecord(const char *reader, NevraNode node, const Nevra_ParamList *params, void *record,
               size_t recordSize)
{
   const bool read = Nevra_Get(node, params, record, recordSize) == NEVRA_OK;
   if (!read) {
      Warning("%s: Nevra_Get failure\n", reader);
   }
   return read;
}

// Lists what a volume, or a region of it, has of a node. Null after a failure; that of the listing is silent.
ParamListPtr ListOf(const char *reader, NevraNode node, const char *volume, const char *region)
{
   ParamListPtr instances;
   ParamListPtr params = CreateNameList(reader, region != nullptr ? 2 : 1, volume, region);
   if (params != nullptr) {
      ListInstances(node, params.get(), &instances);
   }
   return instances;
}

// A name whose reading is not checked: empty when it fails.
const char *NameAt(const Nevra_ParamList *list, uint32_t index)
{
   const char *name = "";
   return Nevra_ParamListGetString(list, index, &name) == NEVRA_OK ? name : "";
}

bool CopyName(const char *name, const char *what, char (&field)[kPMemNameLength + 1], PMemWalk *walk)
{
   const size_t length = std::strlen(name);
   if (length > kPMemNameLength) {
      Warning("PMemReport: %s name %s is longer than %zu characters\n", what, name, kPMemNameLength);
      walk->nameTooLong = true;
      return false;
   }
   std::memcpy(field, name, length + 1);
   return true;
}

// Completes the row with its names and prints it. `region` is null in the modes that have none.
bool FinishRow(const char *volume, const char *region, PMemRow *row, PMemWalk *walk)
{
   if (!CopyName(volume, "volume", row->volume, walk) ||
       (region != nullptr && !CopyName(region, "region", row->region, walk))) {
      return false;
   }
   PMemPrintRow(*row, walk->csvMode, walk->mode);
   return true;
}

// ---- region stores

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

bool PMemRegionStoreReport(const Nevra_ParamList *volumes, uint32_t index, PMemWalk *walk)
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
   PMemRegionStoreRecord info = {};
   PMemCleanRecord clean = {};
   if (!PMemGetRegionStoreInfo(volume, &info, &clean)) {
      Warning("PMemRegionStoreReport: PMemGetRegionStoreInfo failure\n");
      return false;
   }
   PMemRow row = {};
   row.values[0] = info.allocated2MBlocks;
   row.values[1] = info.reserved2MBlocks;
   row.values[2] = info.available2MBlocks;
   row.values[3] = info.totalRegions;
   row.values[4] = info.freeRegions;
   row.values[5] = info.total2MBlocks;
   row.isClean = YesNo(clean.isClean != 0);
   return FinishRow(volume, nullptr, &row, walk);
}

// ---- regions

// Bytes in the display unit: to whole kilobytes and on to the unit, both rounded up.
uint64_t ConvertSize(uint64_t bytes, DisplayUnit unit)
{
   switch (unit) {
   case UNIT_GB:
   case UNIT_MB:
   case UNIT_KB:
   case UNIT_PAGE:
   case UNIT_BYTES:
      return ConvertKB(BytesToKB(bytes), unit);
   }
   return 0;
}

bool GetRegionsInfo(const char *volume, const char *region, PMemRegionRecord *info)
{
   constexpr const char *reader = "GetRegionsInfo";
   const ParamListPtr params = CreateNameList(reader, 2, volume, region);
   return params != nullptr && GetRecord(reader, NEVRA_NODE_memory_pmem_volumes_regionStore_regions_info,
                                         params.get(), info, sizeof *info);
}

bool VisitRegion(const char *volume, const Nevra_ParamList *regions, uint32_t index, PMemWalk *walk)
{
   const char *region = "";
   if (Nevra_ParamListGetString(regions, index, &region) != NEVRA_OK) {
      Warning("PMemRegionsReport: Nevra_ParamListGetString failure\n");
      return false;
   }
   PMemRegionRecord info = {};
   if (!GetRegionsInfo(volume, region, &info)) {
      Warning("PMemRegionsReport: GetRegionsInfo failure\n");
      return false;
   }
   PMemRow row = {};
   row.values[0] = ConvertSize(info.size, walk->unit);
   row.values[1] = info.reserved2MBlocks;
   row.values[2] = info.dataLossCounter;
   row.values[3] = info.openCount;
   row.values[4] = info.allocated2MBlocks;
   row.flags = info.flags;
   row.managementTag = info.managementTag;
   std::snprintf(row.numaAffinityMask, sizeof row.numaAffinityMask, "0x%" PRIx64,
                 uint64_t{info.numaAffinityMask});
   return FinishRow(volume, region, &row, walk);
}

bool PMemRegionsReport(const Nevra_ParamList *volumes, uint32_t index, PMemWalk *walk)
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
      if (!VisitRegion(volume, regions.get(), i, walk)) {
         return false;
      }
   }
   return true;
}

// ---- extents

bool GetExtentsInfo(const char *volume, int32_t extent, PMemExtentRecord *info)
{
   constexpr const char *reader = "GetExtentsInfo";
   const ParamListPtr params = CreateNumberedList(reader, 2, volume, nullptr, extent);
   return params != nullptr &&
          GetRecord(reader, NEVRA_NODE_memory_pmem_volumes_extents, params.get(), info, sizeof *info);
}

bool VisitExtent(const char *volume, const Nevra_ParamList *extents, uint32_t index, PMemWalk *walk)
{
   int32_t extent;
   if (Nevra_ParamListGetInt32(extents, index, &extent) != NEVRA_OK) {
      Warning("PMemExtentsReport: Nevra_ParamListGetInt32 failure\n");
      return false;
   }
   PMemExtentRecord info = {};
   if (!GetExtentsInfo(volume, extent, &info)) {
      Warning("PMemExtentsReport: GetExtentsInfo failure\n");
      return false;
   }
   PMemRow row = {};
   row.values[0] = static_cast<uint64_t>(int64_t{extent});
   row.values[1] = info.numaNode;
   row.values[2] = info.startBlk;
   row.values[3] = info.endBlk;
   row.values[4] = info.startMPN;
   row.values[5] = info.endMPN;
   return FinishRow(volume, nullptr, &row, walk);
}

bool PMemExtentsReport(const Nevra_ParamList *volumes, uint32_t index, PMemWalk *walk)
{
   const char *volume = NameAt(volumes, index);
   const ParamListPtr extents =
      ListOf("PMemExtentsReport", NEVRA_NODE_memory_pmem_volumes_extents, volume, nullptr);
   if (extents == nullptr) {
      return false;
   }
   const uint32_t count = Nevra_ParamListUsedCount(extents.get());
   for (uint32_t i = 0; i < count; i++) {
      if (!VisitExtent(volume, extents.get(), i, walk)) {
         return false;
      }
   }
   return true;
}

// ---- regions by NUMA node
//
// That some of the messages say "Regions" and others "Region" is meant.

bool GetRegionsNumaInfo(const char *volume, const char *region, int32_t node, PMemRegionNumaRecord *info)
{
   constexpr const char *reader = "GetRegionsNumaInfo";
   const ParamListPtr params = CreateNumberedList(reader, 3, volume, region, node);
   return params != nullptr &&
          GetRecord(reader, NEVRA_NODE_memory_pmem_volumes_regionStore_regions_numaAllocInfo, params.get(),
                    info, sizeof *info);
}

bool VisitNumaNode(const char *volume, const char *region, const Nevra_ParamList *nodes, uint32_t index,
                   PMemWalk *walk)
{
   int32_t node;
   if (Nevra_ParamListGetInt32(nodes, index, &node) != NEVRA_OK) {
      Warning("PMemRegionsNumaReport: Nevra_ParamListGetInt32 failure\n");
      return false;
   }
   PMemRegionNumaRecord info = {};
   if (!GetRegionsNumaInfo(volume, region, node, &info)) {
      Warning("PMemRegionsNumaReport: GetRegionsNumaInfo failure\n");
      return false;
   }
   PMemRow row = {};
   row.values[0] = info.numaNode;
   row.values[1] = info.num2MAllocated;
   return FinishRow(volume, region, &row, walk);
}

bool VisitRegionNodes(const char *volume, const char *region, PMemWalk *walk)
{
   const ParamListPtr nodes =
      ListOf("PMemRegionNumaReport", NEVRA_NODE_memory_pmem_volumes_regionStore_regions_numaAllocInfo, volume,
             region);
   if (nodes == nullptr) {
      return false;
   }
   const uint32_t count = Nevra_ParamListUsedCount(nodes.get());
   for (uint32_t i = 0; i < count; i++) {
      if (!VisitNumaNode(volume, region, nodes.get(), i, walk)) {
         return false;
      }
   }
   return true;
}

bool PMemRegionNumaReport(const Nevra_ParamList *volumes, uint32_t index, PMemWalk *walk)
{
   const char *volume = NameAt(volumes, index);
   const ParamListPtr regions =
      ListOf("PMemRegionNumaReport", NEVRA_NODE_memory_pmem_volumes_regionStore_regions, volume, nullptr);
   if (regions == nullptr) {
      return false;
   }
   const uint32_t count = Nevra_ParamListUsedCount(regions.get());
   for (uint32_t i = 0; i < count; i++) {
      if (!VisitRegionNodes(volume, NameAt(regions.get(), i), walk)) {
         return false;
      }
   }
   return true;
}

constexpr VisitVolume kVisits[kPmemModeCount] = {PMemRegionStoreReport, PMemRegionsReport, PMemExtentsReport,
                                                 PMemRegionNumaReport};

constexpr char kShortOptions[] = "s:u:vq";
constexpr option kLongOptions[] = {kSelectionOption, kUnitOption, kVerboseOption, kCsvOption, kEndOfOptions};

} // namespace

ReportDescription DescribePMemReport(uint32_t mode)
{
   return {.columns = PMemColumns(mode),
           .shortOptions = kShortOptions,
           .longOptions = kLongOptions,
           .flagNames = mode == PMEM_REGION ? regionFlagNames : nullptr};
}

NevraStatus PMemReport(int argc, char **argv, uint32_t mode)
{
   ReportOptions options;
   NevraStatus status = ParseReportOptions(argc, argv, kShortOptions, kLongOptions, &options);
   if (status != NEVRA_OK) {
      return status;
   }
   if (mode >= kPmemModeCount) {
      return NEVRA_BAD_PARAMETER;
   }
   ReportColumn *columns = PMemColumns(mode);
   ApplyColumnSelection(columns, options.selection);
   PMemWalk walk = {mode, options.csvMode, UNIT_KB, false};
   status = ParseDisplayUnit(options.unitText, false, &walk.unit);
   if (status != NEVRA_OK) {
      return status;
   }
   PMemPrintBanner(mode, walk.csvMode, walk.unit);
   PrintSeparatorLine(columns, walk.csvMode);
   WalkVolumes(kVisits[mode], &walk);
   if (walk.nameTooLong) {
      return NEVRA_LIMIT_EXCEEDED;
   }
   PrintSeparatorLine(columns, walk.csvMode);
   if (options.verbose) {
      DescribeColumns(columns);
   }
   return NEVRA_OK;
}
