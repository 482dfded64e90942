#include "reports/host/heap_stats.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "nevra/records.h"
#include "report/banner.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/grid.h"
#include "report/report_options.h"
#include "sysinfo/param_list.h"

namespace {

ReportColumn columns[] = {
   {"name", "heap name", 35, "s", 1, 1, 1},
   {"dynGrow", "dynamically growable", 12, "d", 0, 0, 1},
   {"lowerLimit", "lower limit", 7, "d", 0, 0, 1},
   {"upperLimit", "upper limit", 7, "d", 0, 0, 1},
   {"reserved", "reserved", 7, "d", 0, 0, 1},
   {"numRanges", "num ranges", 7, "d", 1, 0, 1},
   {"dlMallocOvdh", "DL malloc overhead", 10, "lu", 1, 0, 1},
   {"used", "current used", 10, "lu", 1, 0, 1},
   {"avail", "current available", 10, "lu", 1, 0, 1},
   {"size", "current size", 10, "lu", 1, 0, 1},
   {"initial", "initial size", 10, "lu", 1, 0, 1},
   {"max", "max size", 11, "lu", 1, 0, 1},
   {"pctFreeOfCur", "% free of current", 12, "d", 0, 0, 1},
   {"maxAvail", "max available", 12, "lu", 1, 0, 1},
   {"pctFreeOfMax", "% free of max", 7, "d", 0, 0, 1},
   {"lowPctFreeOfMax", "lowest % free of max", 12, "d", 0, 0, 1},
   {"numSuccAllocs", "number of succeeded allocations", 10, "u", 0, 0, 1},
   {"numFailAllocs", "number of succeeded allocations", 10, "u", 0, 0, 1}, // meant: the text of the other
   {"numGrowthOps", "number of growth operations", 10, "u", 1, 0, 1},
   {"numShrinkOps", "number of shrink operations", 10, "u", 1, 0, 1},
   {"numReqsPerGrowth", "number of requests per growth operations", 10, "u", 0, 0, 1},
   {"avgAllocSize", "average allocation size", 10, "u", 0, 0, 1},
   kEndOfColumns,
};

// Sums over all heaps; sizes in bytes.
struct HeapTotals {
   uint64_t numRanges;
   uint64_t overhead;
   uint64_t size;
   uint64_t initial;
   uint64_t avail;
   uint64_t max;
   uint64_t maxAvail;
   uint64_t numGrowthOps;
   uint32_t numShrinkOps;
};

struct FreeMemory {
   void operator()(void *block) const { std::free(block); }
};

// The heaps of one run, in list order.
struct Heaps {
   std::unique_ptr<HeapStatsRecord[], FreeMemory> records;
   uint32_t count;
   HeapTotals totals;
};

void AddToTotals(HeapTotals *totals, const HeapStatsRecord &heap)
{
   totals->numRanges += static_cast<uint64_t>(int64_t{heap.numRanges});
   totals->overhead += heap.overhead;
   totals->size += heap.size;
   totals->initial += heap.initial;
   totals->avail += heap.avail;
   totals->max += heap.max;
   totals->maxAvail += heap.maxAvail;
   totals->numGrowthOps += static_cast<uint64_t>(int64_t{heap.numGrowthOps});
   totals->numShrinkOps += heap.numShrinkOps;
}

// Bytes in the display unit: exact in bytes, else to whole kilobytes and on to the unit, both rounded up.
uint64_t ConvertBytes(uint64_t bytes, DisplayUnit unit)
{
   switch (unit) {
   case UNIT_BYTES:
      return bytes;
   case UNIT_KB:
   case UNIT_MB:
   case UNIT_GB:
   case UNIT_PAGE:
      return ConvertKB(BytesToKB(bytes), unit);
   }
   return 0;
}

void PrintHeapRow(const HeapStatsRecord &heap, DisplayUnit unit, bool csvMode)
{
   const auto inUnit = [unit](uint64_t bytes) { return ConvertBytes(bytes, unit); };
   const std::string name(heap.name, strnlen(heap.name, sizeof heap.name));
   const uint32_t used = heap.size - heap.avail;
   const uint32_t avgAllocSize = static_cast<uint32_t>(inUnit(heap.avgAllocSize));
   PrintReportRow(columns, csvMode, false,
                  {name.c_str(),
                   uint32_t{heap.dynGrow},
                   uint32_t{heap.lowerLimit},
                   uint32_t{heap.upperLimit},
                   uint32_t{heap.reserved},
                   int32_t{heap.numRanges},
                   inUnit(heap.overhead),
                   inUnit(used),
                   inUnit(heap.avail),
                   inUnit(heap.size),
                   inUnit(heap.initial),
                   inUnit(heap.max),
                   uint32_t{heap.pctFreeOfCur},
                   inUnit(heap.maxAvail),
                   uint32_t{heap.pctFreeOfMax},
                   uint32_t{heap.lowPctFreeOfMax},
                   uint32_t{heap.numSuccAllocs},
                   uint32_t{heap.numFailAllocs},
                   int32_t{heap.numGrowthOps},
                   uint32_t{heap.numShrinkOps},
                   uint32_t{heap.numReqsPerGrowth},
                   avgAllocSize});
}

void PrintTotalRow(const HeapTotals &totals, DisplayUnit unit, bool csvMode)
{
   const auto inUnit = [unit](uint64_t bytes) { return ConvertBytes(bytes, unit); };
   const CellValue blank;
   PrintReportRow(columns, csvMode, true,
                  {"Total",
                   blank,
                   blank,
                   blank,
                   blank,
                   totals.numRanges,
                   inUnit(totals.overhead),
                   inUnit(totals.size - totals.avail),
                   inUnit(totals.avail),
                   inUnit(totals.size),
                   inUnit(totals.initial),
                   inUnit(totals.max),
                   blank,
                   inUnit(totals.maxAvail),
                   blank,
                   blank,
                   blank,
                   blank,
                   totals.numGrowthOps,
                   totals.numShrinkOps,
                   blank,
                   blank});
}

// Puts the name of a listed heap into `params`, which is empty before. False ends the report.
bool AddHeapName(const Nevra_ParamList *heapList, uint32_t index, Nevra_ParamList *params)
{
   const char *name = "";
   if (Nevra_ParamListGetString(heapList, index, &name) != NEVRA_OK) {
      Warning("KelmarHeapGetMemMapStats: Nevra_ParamListGetString() failure\n");
      return false;
   }
   if (Nevra_ParamListAddString(params, name) != NEVRA_OK) {
      Warning("KelmarHeapGetMemMapStats: Nevra_ParamListAddString() failure\n");
      return false;
   }
   return true;
}

// Reads a listed heap into the next free slot and sums it. A heap that is not found any more leaves its slot
// to the next one. False ends the report.
bool ReadHeap(const Nevra_ParamList *heapList, uint32_t index, Nevra_ParamList *params, Heaps *heaps)
{
   if (!AddHeapName(heapList, index, params)) {
      return false;
   }
   HeapStatsRecord *heap = &heaps->records[heaps->count];
   *heap = {};
   const NevraStatus status = Nevra_Get(NEVRA_NODE_system_heaps_stats, params, heap, sizeof *heap);
   Nevra_ParamListRemoveLastParam(params);
   if (status == NEVRA_NOT_FOUND) {
      return true;
   }
   if (status != NEVRA_OK) {
      Warning("KelmarHeapGetMemMapStats: Nevra_Get() failure\n");
      return false;
   }
   AddToTotals(&heaps->totals, *heap);
   heaps->count++;
   return true;
}

bool ReadHeaps(const Nevra_ParamList *heapList, uint32_t listed, Heaps *heaps)
{
   // Not by new: its handler would end the program.
   heaps->records.reset(static_cast<HeapStatsRecord *>(std::malloc(listed * sizeof(HeapStatsRecord))));
   if (heaps->records == nullptr) {
      Warning("KelmarHeapGetMemMapStats: malloc() for stats failure\n");
      return false;
   }
   ParamListPtr params = CreateParamList(1);
   if (params == nullptr) {
      Warning("KelmarHeapGetMemMapStats: Nevra_ParamListCreate() for heapParam failure\n");
      return false;
   }
   for (uint32_t i = 0; i < listed; i++) {
      if (!ReadHeap(heapList, i, params.get(), heaps)) {
         return false;
      }
   }
   return true;
}

// Lists and reads the heaps of the host. True, with no heap, for a list that holds none; false ends the
// report.
bool GetHeaps(Heaps *heaps)
{
   ParamListPtr heapList;
   if (ListInstances(NEVRA_NODE_system_heaps, nullptr, &heapList) != NEVRA_OK) {
      Warning("KelmarHeapGetMemMapStats: Nevra_GetInstanceListAlloc() for heapList failure\n");
      return false;
   }
   const uint32_t listed = Nevra_ParamListUsedCount(heapList.get());
   if (listed == 0) {
      Warning("KelmarHeapGetMemMapStats: Nevra_ParamListUsedCount() returned 0\n");
      return true;
   }
   return ReadHeaps(heapList.get(), listed, heaps);
}

void PrintHeaps(const Heaps &heaps, DisplayUnit unit, bool csvMode)
{
   if (!csvMode) {
      PrintBannerTitle("HEAP STATS", 36);
      PrintBannerUnit(unit);
      PrintBannerSelectedColumns(columns);
   }
   PrintTableHead(columns, csvMode);
   for (uint32_t i = 0; i < heaps.count; i++) {
      PrintHeapRow(heaps.records[i], unit, csvMode);
   }
   PrintSeparatorLine(columns, csvMode);
   PrintTotalRow(heaps.totals, unit, csvMode);
   PrintSeparatorLine(columns, csvMode);
}

constexpr char kShortOptions[] = "s:u:vq";
// "verbose" goes with the letter u, and that is meant: it drops the unit text and describes nothing.
constexpr option kLongOptions[] = {
   kUnitOption, {"verbose", no_argument, nullptr, 'u'}, kSelectionOption, kCsvOption, kEndOfOptions};

} // namespace

constinit const ReportDescription heapStatsDescription = {.columns = columns,
                                                          .shortOptions = kShortOptions,
                                                          .longOptions = kLongOptions,
                                                          .hasTotalRow = true,
                                                          .takesBytes = true};

NevraStatus HeapStatsReport(int argc, char **argv)
{
   ReportOptions options;
   NevraStatus status = ParseReportOptions(argc, argv, kShortOptions, kLongOptions, &options);
   if (status != NEVRA_OK) {
      return status;
   }
   DisplayUnit unit = UNIT_BYTES;
   if (options.unitText != nullptr) {
      status = ParseDisplayUnit(options.unitText, true, &unit);
      if (status != NEVRA_OK) {
         return status;
      }
   }
   ApplyColumnSelection(columns, options.selection);
   Heaps heaps = {};
   if (!GetHeaps(&heaps)) {
      return NEVRA_OK; // meant: the message is all that tells of the failure
   }
   PrintHeaps(heaps, unit, options.csvMode);
   if (options.verbose) {
      DescribeColumns(columns);
   }
   return NEVRA_OK;
}
