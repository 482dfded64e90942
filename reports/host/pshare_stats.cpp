#include "nevra/records.h"
#include "report/column_table.h"
#include "report/host_report.h"
#include "report/table_output.h"
#include "reports/host/pshare_node.h"
#include "reports/report_list.h"

namespace {

ReportColumn columns[] = {
   {"cow", "Client memory marked copy-on-write", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
    Role::Gauge},
   {"cow1", "Client's COWed memory with single ref", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
    Role::Gauge},
   {"zero", "Zeroed client memory", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
   {"used", "Machine memory used for backing COWed client memory", 10, "lu", kTotalled, kSelectable, kShown,
    Unit::Memory, Role::Gauge},
   {"reclaimed", "Machine memory reclaimed via pshare", 10, "lu", kTotalled, kSelectable, kShown,
    Unit::Memory, Role::Gauge},
   {"totAdd", "Total client memory added to pshare table", 10, "lu", kTotalled, kSelectable, kShown,
    Unit::Memory, Role::Counter},
   {"totRemove", "Total client memory removed from pshare table", 10, "lu", kTotalled, kSelectable, kShown,
    Unit::Memory, Role::Counter},
   kEndOfColumns,
};

struct PShareRun : HostRun {
   PShareStats stats;
};

NevraStatus ReadPShareStats(HostRun *hostRun)
{
   PShareRun *run = static_cast<PShareRun *>(hostRun);
   run->stats = {};
   const NevraStatus status = GetPShareStats("KelmarPShareGetStats", &run->stats);
   run->settings.push_back({"Peak chain length", uint64_t{run->stats.peakChainLength}});
   run->settings.push_back({"Peak chain index", uint64_t{run->stats.peakChainIndex}});
   run->settings.push_back({"Peak ref.  count", uint64_t{run->stats.peakRefCount}});
   return status;
}

NevraStatus PutPShareRow(HostRun *hostRun)
{
   const PShareRun *run = static_cast<PShareRun *>(hostRun);
   const PShareStats &stats = run->stats;
   const auto inUnit = [run](uint64_t pages) { return ConvertPages(pages, run->unit); };
   PutRow(*run->output, RowKind::Data, columns, inUnit(stats.cow), inUnit(stats.cow1), inUnit(stats.zero),
          inUnit(stats.used), inUnit(stats.reclaimed), inUnit(stats.totAdd), inUnit(stats.totRemove));
   return NEVRA_OK;
}

constexpr option kLongOptions[] = {kUnitOption, kSelectionOption, kVerboseOption, kCsvOption, kEndOfOptions};

constexpr HostReport kReport = {.shortOptions = "s:u:vq",
                                .longOptions = kLongOptions,
                                .title = "PSHARE STATS",
                                .ruleLength = 38,
                                .columns = columns,
                                .prepare = ReadPShareStats,
                                .putRows = PutPShareRow};

} // namespace

constinit const ReportDescription pshareStatsDescription =
   DescribeHostReport(kReport, USAGE_REPORT_OPTIONS USAGE_UNIT USAGE_UNIT_NOTE, false);

NevraStatus PShareStatsReport(const ReportArguments &arguments)
{
   PShareRun run;
   return RunHostReport(kReport, arguments, &run);
}
