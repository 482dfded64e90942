#include <cstdlib>
#include <cstring>
#include <memory>

#include "nevra/records.h"
#include "report/figure_table.h"
#include "report/host_report.h"
#include "report/table_output.h"
#include "reports/report_list.h"
#include "sysinfo/param_list.h"

namespace {

// A heap as it is shown.
struct HeapRow {
   char name[sizeof(HeapStatsRecord::name) + 1] = {}; // the record's need not be terminated
   uint32_t used = 0;                                 // bytes
   HeapStatsRecord heap = {};
};

using Row = HeapRow;

constexpr Figure kFigures[] = {
   {{"name", "heap name", 35, "s", kTotalled, kKey, kShown, Unit::Text, Role::Label}, ROW_FIELD(name)},
   {{"dynGrow", "dynamically growable", 12, "d", kNotTotalled, kSelectable, kShown, Unit::Number,
     Role::Gauge},
    ROW_FIELD(heap.dynGrow)},
   {{"lowerLimit", "lower limit", 7, "d", kNotTotalled, kSelectable, kShown, Unit::Number, Role::Gauge},
    ROW_FIELD(heap.lowerLimit)},
   {{"upperLimit", "upper limit", 7, "d", kNotTotalled, kSelectable, kShown, Unit::Number, Role::Gauge},
    ROW_FIELD(heap.upperLimit)},
   {{"reserved", "reserved", 7, "d", kNotTotalled, kSelectable, kShown, Unit::Number, Role::Gauge},
    ROW_FIELD(heap.reserved)},
   {{"numRanges", "num ranges", 7, "d", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
    ROW_FIELD(heap.numRanges)},
   {{"dlMallocOvdh", "DL malloc overhead", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_BYTES(heap.overhead)},
   {{"used", "current used", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_BYTES(used)},
   {{"avail", "current available", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_BYTES(heap.avail)},
   {{"size", "current size", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_BYTES(heap.size)},
   {{"initial", "initial size", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_BYTES(heap.initial)},
   {{"max", "max size", 11, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_BYTES(heap.max)},
   {{"pctFreeOfCur", "% free of current", 12, "d", kNotTotalled, kSelectable, kShown, Unit::Percent,
     Role::Gauge},
    ROW_FIELD(heap.pctFreeOfCur)},
   {{"maxAvail", "max available", 12, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
    ROW_BYTES(heap.maxAvail)},
   {{"pctFreeOfMax", "% free of max", 7, "d", kNotTotalled, kSelectable, kShown, Unit::Percent, Role::Gauge},
    ROW_FIELD(heap.pctFreeOfMax)},
   {{"lowPctFreeOfMax", "lowest % free of max", 12, "d", kNotTotalled, kSelectable, kShown, Unit::Percent,
     Role::Gauge},
    ROW_FIELD(heap.lowPctFreeOfMax)},
   {{"numSuccAllocs", "number of succeeded allocations", 10, "u", kNotTotalled, kSelectable, kShown,
     Unit::Count, Role::Counter},
    ROW_FIELD(heap.numSuccAllocs)},
   // the text of the other, kept for compatibility
   {{"numFailAllocs", "number of succeeded allocations", 10, "u", kNotTotalled, kSelectable, kShown,
     Unit::Count, Role::Counter},
    ROW_FIELD(heap.numFailAllocs)},
   {{"numGrowthOps", "number of growth operations", 10, "u", kTotalled, kSelectable, kShown, Unit::Count,
     Role::Counter},
    ROW_FIELD(heap.numGrowthOps)},
   {{"numShrinkOps", "number of shrink operations", 10, "u", kTotalled, kSelectable, kShown, Unit::Count,
     Role::Counter},
    ROW_FIELD(heap.numShrinkOps)},
   {{"numReqsPerGrowth", "number of requests per growth operations", 10, "u", kNotTotalled, kSelectable,
     kShown, Unit::Count, Role::Gauge},
    ROW_FIELD(heap.numReqsPerGrowth)},
   {{"avgAllocSize", "average allocation size", 10, "u", kNotTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_BYTES(heap.avgAllocSize)},
};
constinit FigureTable<Row, kFigures> table;

struct FreeMemory {
   void operator()(void *block) const { std::free(block); }
};

// The heaps of one run, in list order.
struct Heaps : HostRun {
   bool areUnreadable = false;
   std::unique_ptr<HeapStatsRecord[], FreeMemory> records;
   uint32_t count = 0;
};

HeapRow RowOf(const HeapStatsRecord &heap)
{
   HeapRow row;
   std::memcpy(row.name, heap.name, sizeof heap.name);
   row.used = heap.size - heap.avail;
   row.heap = heap;
   return row;
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

// Reads a listed heap into the next free slot. A heap that is not found any more leaves its slot to the next
// one. False ends the report.
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

// Reads all heaps before anything is put out.
NevraStatus PrepareHeaps(HostRun *run)
{
   Heaps *heaps = static_cast<Heaps *>(run);
   heaps->areUnreadable = !GetHeaps(heaps);
   return heaps->areUnreadable ? NEVRA_FAILURE : NEVRA_OK;
}

NevraStatus PutHeaps(HostRun *run)
{
   const Heaps *heaps = static_cast<Heaps *>(run);
   auto sums = SumsOf(table);
   for (uint32_t i = 0; i < heaps->count; i++) {
      const HeapRow row = RowOf(heaps->records[i]);
      AddToSums(table, row, &sums);
      PutFigures(*run->output, table, row, run->unit);
   }
   // Of all heaps together, not of the rows, which wrap at 32 bits.
   sums.values[ColumnIndex(kFigures, "used")] =
      sums.values[ColumnIndex(kFigures, "size")] - sums.values[ColumnIndex(kFigures, "avail")];
   run->output->Section();
   PutSums(*run->output, RowKind::Total, table, {.name = "Total"}, sums, run->unit);
   return NEVRA_OK;
}

// "verbose" goes with the letter u: it drops the unit text and describes nothing. Kept for compatibility.
constexpr option kLongOptions[] = {
   kUnitOption, {"verbose", no_argument, nullptr, 'u'}, kSelectionOption, kCsvOption, kEndOfOptions};

constexpr HostReport kReport = {.shortOptions = "s:u:vq",
                                .longOptions = kLongOptions,
                                .title = "HEAP STATS",
                                .ruleLength = 36,
                                .columns = table.columns,
                                .takesBytes = true,
                                .prepare = PrepareHeaps,
                                .putRows = PutHeaps};

constexpr char kUsage[] =
   USAGE_REPORT_OPTIONS "      -u, --unit <unit type>    Display unit {b,*kb,mb,gb,pg}\n" USAGE_UNIT_NOTE;

} // namespace

constinit const ReportDescription heapStatsDescription = DescribeHostReport(kReport, kUsage, true);

// 0 once the options are accepted: a heap that cannot be read is reported, and ends the report with nothing
// put out. Kept for compatibility: the message is all that tells of the failure.
NevraStatus HeapStatsReport(const ReportArguments &arguments)
{
   Heaps heaps;
   const NevraStatus status = RunHostReport(kReport, arguments, &heaps);
   return heaps.areUnreadable ? NEVRA_OK : status;
}
