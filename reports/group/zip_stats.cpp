#include "nevra/records.h"
#include "report/figure_table.h"
#include "report/group_queries.h"
#include "report/group_report.h"
#include "reports/report_list.h"

namespace {

// One VM.
struct ZipStatsRow {
   GroupIdentity vm;
   MemzipInfoRecord zip;
};

using Row = ZipStatsRow;

constexpr Figure kFigures[] = {
   {kVmNameColumn, ROW_FIELD(vm.name.name)},
   {kSchedGrpColumn, ROW_FIELD(vm.schedGrp)},
   {kParSchedGroupColumn, ROW_FIELD(vm.parSchedGroup)},
   {kWorldGrpColumn, ROW_FIELD(vm.worldGrp)},
   {{"totalCache", "Total compression cache configured", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Memory, Role::Gauge},
    ROW_FIELD(zip.totalCache)},
   {{"maxCache", "Maximum compression cache", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(zip.maxCache)},
   {{"usedCache", "Total compression cache used", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(zip.usedCache)},
   {{"zipped", "Total memory compressed", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Gauge},
    ROW_FIELD(zip.zipped)},
   {{"unZipped", "Total memory decompressed", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Counter},
    ROW_FIELD(zip.unZipped)},
   {{"zipRejected", "Total memory rejected", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
     Role::Counter},
    ROW_FIELD(zip.zipRejected)},
   {{"nrFreeHalf", "Total free half pages", 10, "lu", kTotalled, kSelectable, kShown, Unit::Count,
     Role::Gauge},
    ROW_FIELD(zip.nrFreeHalf)},
   {{"nrFreeQuarter", "Total free quarter pages", 10, "lu", kTotalled, kSelectable, kShown, Unit::Count,
     Role::Gauge},
    ROW_FIELD(zip.nrFreeQuarter)},
   {{"avgZipTime", "Average compression time in usec", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Microseconds, Role::Gauge},
    ROW_FIELD(zip.avgZipTime)},
   {{"avgUnzipTime", "Average decompression time in usec", 10, "lu", kTotalled, kSelectable, kShown,
     Unit::Microseconds, Role::Gauge},
    ROW_FIELD(zip.avgUnzipTime)},
};
constinit FigureTable<Row, kFigures> table;

NevraStatus ReadZipRow(ZipStatsRow *row)
{
   return MemClientStatsGet(row->vm.worldGrp, NEVRA_NODE_sched_memClients_memzipInfo, "KelmarZipGetZipStats",
                            &row->zip, sizeof row->zip);
}

// The times of the Total row are the plain mean of the VMs' averages, not weighted by what each compressed,
// and truncated.
void PutZipTotals(GroupRun *groupRun)
{
   auto *run = static_cast<decltype(MakeRun(table)) *>(groupRun);
   if (static_cast<int32_t>(run->sums.rows) > 0) {
      run->sums.values[ColumnIndex(kFigures, "avgZipTime")] /= run->sums.rows;
      run->sums.values[ColumnIndex(kFigures, "avgUnzipTime")] /= run->sums.rows;
   }
   PutTotals<&table, Row>(run);
}

constexpr GroupReport kReport = {.title = "VIRTUAL MACHINE COMPRESSION STATS",
                                 .ruleLength = 61,
                                 .columns = table.columns,
                                 .visit = VisitVm<&table, Row, ReadZipRow>,
                                 .putSummary = PutZipTotals};

} // namespace

constinit const ReportDescription zipStatsDescription = DescribeGroupReport(kReport, kVmReportUsage);

NevraStatus ZipStatsReport(const ReportArguments &arguments)
{
   auto run = MakeRun(table);
   return RunGroupReport(kReport, arguments, &run);
}
