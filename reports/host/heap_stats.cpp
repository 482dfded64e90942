#include <cstdlib>
#include <cstring>
#include <memory>

#include "nevra/records.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/host_report.h"
#include "report/table_output.h"
#include "reports/report_list.h"
#include "sysinfo/param_list.h"

namespace {

ReportColumn columns[] = {
   {"name", "heap name", 35, "s", kTotalled, kKey, kShown, Unit::Text, Role::Label},
   {"dynGrow", "dynamically growable", 12, "d", kNotTotalled, kSelectable, kShown, Unit::Number, Role::Gauge},
   {"lowerLimit", "lower limit", 7, "d", kNotTotalled, kSelectable, kShown, Unit::Number, Role::Gauge},
   {"upperLimit", "upper limit", 7, "d", kNotTotalled, kSelectable, kShown, Unit::Number, Role::Gauge},
   {"reserved", "reserved", 7, "d", kNotTotalled, kSelectable, kShown, Unit::Number, Role::Gauge},
   {"numRanges", "num ranges", 7, "d", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"dlMallocOvdh", "DL malloc overhead", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
    Role::Gauge},
   {"used", "current used", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
   {"avail", "current available", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
   {"size", "current size", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
   {"initial", "initial size", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
   {"max", "max size", 11, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
   {"pctFreeOfCur", "% free of current", 12, "d", kNotTotalled, kSelectable, kShown, Unit::Percent,
    Role::Gauge},
   {"maxAvail", "max available", 12, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
   {"pctFreeOfMax", "% free of max", 7, "d", kNotTotalled, kSelectable, kShown, Unit::Percent, Role::Gauge},
   {"lowPctFreeOfMax", "lowest % free of max", 12, "d", kNotTotalled, kSelectable, kShown, Unit::Percent,
    Role::Gauge},
   {"numSuccAllocs", "number of succeeded allocations", 10, "u", kNotTotalled, kSelectable, kShown,
    Unit::Count, Role::Counter},
   {"numFailAllocs", "number of succeeded allocations", 10, "u", kNotTotalled, kSelectable, kShown,
    Unit::Count, Role::Counter}, // the text of the other, kept for compatibility
   {"numGrowthOps", "number of growth operations", 10, "u", kTotalled, kSelectable, kShown, Unit::Count,
    Role::Counter},
   {"numShrinkOps", "number of shrink operations", 10, "u", kTotalled, kSelectable, kShown, Unit::Count,
    Role::Counter},
   {"numReqsPerGrowth", "number of requests per growth operations", 10, "u", kNotTotalled, kSelectable,
    kShown, Unit::Count, Role::Gauge},
   {"avgAllocSize", "average allocation size", 10, "u", kNotTotalled, kSelectable, kShown, Unit::Memory,
    Role::Gauge},
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
struct Heaps : HostRun {
   bool areUnreadable = false;
   std::unique_ptr<HeapStatsRecord[], FreeMemory> records;
   uint32_t count = 0;
   HeapTotals totals = {};
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

void PutHeapRow(const HostRun &run, const HeapStatsRecord &heap)
{
   const auto inUnit = [&run](uint64_t bytes) { return ConvertBytes(bytes, run.unit); };
   const CellValue name(heap.name, strnlen(heap.name, sizeof heap.name));
   const uint32_t used = heap.size - heap.avail;
   PutRow(*run.output, RowKind::Data, columns, name, uint32_t{heap.dynGrow}, uint32_t{heap.lowerLimit},
          uint32_t{heap.upperLimit}, uint32_t{heap.reserved}, int32_t{heap.numRanges}, inUnit(heap.overhead),
          inUnit(used), inUnit(heap.avail), inUnit(heap.size), inUnit(heap.initial), inUnit(heap.max),
          uint32_t{heap.pctFreeOfCur}, inUnit(heap.maxAvail), uint32_t{heap.pctFreeOfMax},
          uint32_t{heap.lowPctFreeOfMax}, uint32_t{heap.numSuccAllocs}, uint32_t{heap.numFailAllocs},
          int32_t{heap.numGrowthOps}, uint32_t{heap.numShrinkOps}, uint32_t{heap.numReqsPerGrowth},
          inUnit(heap.avgAllocSize));
}

void PutTotalRow(const HostRun &run, const HeapTotals &totals)
{
   const auto inUnit = [&run](uint64_t bytes) { return ConvertBytes(bytes, run.unit); };
   const CellValue blank = {};
   PutRow(*run.output, RowKind::Total, columns, "Total", blank, blank, blank, blank, totals.numRanges,
          inUnit(totals.overhead), inUnit(totals.size - totals.avail), inUnit(totals.avail),
          inUnit(totals.size), inUnit(totals.initial), inUnit(totals.max), blank, inUnit(totals.maxAvail),
          blank, blank, blank, blank, totals.numGrowthOps, totals.numShrinkOps, blank, blank);
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
   for (uint32_t i = 0; i < heaps->count; i++) {
      PutHeapRow(*run, heaps->records[i]);
   }
   run->output->Section();
   PutTotalRow(*run, heaps->totals);
   return NEVRA_OK;
}

// "verbose" goes with the letter u: it drops the unit text and describes nothing. Kept for compatibility.
constexpr option kLongOptions[] = {
   kUnitOption, {"verbose", no_argument, nullptr, 'u'}, kSelectionOption, kCsvOption, kEndOfOptions};

constexpr HostReport kReport = {.shortOptions = "s:u:vq",
                                .longOptions = kLongOptions,
                                .title = "HEAP STATS",
                                .ruleLength = 36,
                                .columns = columns,
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
