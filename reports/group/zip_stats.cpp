#include "reports/group/zip_stats.h"

#include "nevra/records.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/grid.h"
#include "report/group_identity.h"
#include "report/group_queries.h"
#include "report/group_report.h"
#include "report/row_figures.h"

namespace {

ReportColumn columns[] = {
   kVmNameColumn,
   kSchedGrpColumn,
   kParSchedGroupColumn,
   kWorldGrpColumn,
   {"totalCache", "Total compression cache configured", 10, "lu", 1, 0, 1},
   {"maxCache", "Maximum compression cache", 10, "lu", 1, 0, 1},
   {"usedCache", "Total compression cache used", 10, "lu", 1, 0, 1},
   {"zipped", "Total memory compressed", 10, "lu", 1, 0, 1},
   {"unZipped", "Total memory decompressed", 10, "lu", 1, 0, 1},
   {"zipRejected", "Total memory rejected", 10, "lu", 1, 0, 1},
   {"nrFreeHalf", "Total free half pages", 10, "lu", 1, 0, 1},
   {"nrFreeQuarter", "Total free quarter pages", 10, "lu", 1, 0, 1},
   {"avgZipTime", "Average compression time in usec", 10, "lu", 1, 0, 1},
   {"avgUnzipTime", "Average decompression time in usec", 10, "lu", 1, 0, 1},
   kEndOfColumns,
};

// One VM, or the sum of all. Memory in KB until it is converted, times in microseconds.
struct ZipStatsRow {
   GroupIdentity vm;
   uint64_t totalCache;
   uint64_t maxCache;
   uint64_t usedCache;
   uint64_t zipped;
   uint64_t unZipped;
   uint64_t zipRejected;
   uint64_t nrFreeHalf;
   uint64_t nrFreeQuarter;
   uint64_t avgZipTime;
   uint64_t avgUnzipTime;
};

using Row = ZipStatsRow;

// Summed and converted.
constexpr uint64_t Row::*kMemory[] = {&Row::totalCache, &Row::maxCache, &Row::usedCache,
                                      &Row::zipped,     &Row::unZipped, &Row::zipRejected};
// Summed only.
constexpr uint64_t Row::*kCounts[] = {&Row::nrFreeHalf, &Row::nrFreeQuarter};
constexpr uint64_t Row::*kTimes[] = {&Row::avgZipTime, &Row::avgUnzipTime};

struct ZipStatsContext {
   DisplayUnit unit;
   ZipStatsRow totals;
   uint32_t vmCount;
};

ZipStatsRow MakeZipRow(const GroupIdentity &vm, const MemzipInfoRecord &info)
{
   return {.vm = vm,
           .totalCache = info.totalCache,
           .maxCache = info.maxCache,
           .usedCache = info.usedCache,
           .zipped = info.zipped,
           .unZipped = info.unZipped,
           .zipRejected = info.zipRejected,
           .nrFreeHalf = info.nrFreeHalf,
           .nrFreeQuarter = info.nrFreeQuarter,
           .avgZipTime = info.avgZipTime,
           .avgUnzipTime = info.avgUnzipTime};
}

void PrintZipRow(ZipStatsRow *row, DisplayUnit unit, bool isTotalRow, bool csvMode)
{
   ConvertFigures(row, unit, kMemory);
   const GroupIdentity &vm = row->vm;
   PrintReportRow(columns, csvMode, isTotalRow,
                  {vm.name.name, vm.schedGrp, vm.parSchedGroup, vm.worldGrp, row->totalCache, row->maxCache,
                   row->usedCache, row->zipped, row->unZipped, row->zipRejected, row->nrFreeHalf,
                   row->nrFreeQuarter, row->avgZipTime, row->avgUnzipTime});
}

NevraStatus ZipStatsVisit(const GroupIdentity &vm, bool csvMode, ZipStatsContext *context)
{
   MemzipInfoRecord info;
   const NevraStatus status = MemClientStatsGet(vm.worldGrp, NEVRA_NODE_sched_memClients_memzipInfo,
                                                "KelmarZipGetZipStats", &info, sizeof info);
   if (status != NEVRA_OK) {
      return status;
   }
   ZipStatsRow row = MakeZipRow(vm, info);
   AddFigures(&context->totals, row, kMemory);
   AddFigures(&context->totals, row, kCounts);
   AddFigures(&context->totals, row, kTimes);
   context->vmCount++;
   PrintZipRow(&row, context->unit, false, csvMode);
   return NEVRA_OK;
}

void PrintZipTotals(void *opaque, bool csvMode)
{
   ZipStatsContext *context = static_cast<ZipStatsContext *>(opaque);
   ZipStatsRow *totals = &context->totals;
   if (static_cast<int32_t>(context->vmCount) > 0) {
      // The plain mean of the VMs' averages, not weighted by what each compressed, and truncated.
      totals->avgZipTime /= context->vmCount;
      totals->avgUnzipTime /= context->vmCount;
   }
   PrintZipRow(totals, context->unit, true, csvMode);
}

constexpr GroupReport kReport = {.title = "VIRTUAL MACHINE COMPRESSION STATS",
                                 .ruleLength = 61,
                                 .columns = columns,
                                 .visit = VisitVm<ZipStatsContext, ZipStatsVisit>,
                                 .printSummary = PrintZipTotals};

} // namespace

constinit const ReportDescription zipStatsDescription = DescribeGroupReport(kReport);

NevraStatus ZipStatsReport(int argc, char **argv)
{
   ZipStatsContext context = {};
   context.totals.vm = kTotalIdentity;
   return RunGroupReport(kReport, argc, argv, &context.unit, &context);
}
