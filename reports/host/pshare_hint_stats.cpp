#include "nevra/records.h"
#include "report/column_table.h"
#include "report/host_report.h"
#include "report/table_output.h"
#include "reports/host/pshare_node.h"
#include "reports/report_list.h"

namespace {

ReportColumn columns[] = {
   {"type", "Hint type (regular or large page hint)", 10, "s", kTotalled, kSelectable, kShown, Unit::Text,
    Role::Label},
   {"totAdd", "Total hints added", 15, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Counter},
   {"totRemove", "Total hints removed", 15, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
    Role::Counter},
   {"active", "Currently active hints", 15, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
   kEndOfColumns,
};

struct PShareHintRun : HostRun {
   PShareStats stats;
};

NevraStatus ReadPShareHints(HostRun *hostRun)
{
   PShareHintRun *run = static_cast<PShareHintRun *>(hostRun);
   run->stats = {};
   const NevraStatus status = GetPShareStats("KelmarPShareHintGetStats", &run->stats);
   if (status == NEVRA_OK) {
      // The second time, so that an over-long selection warns twice. Kept for compatibility.
      ApplyColumnSelection(columns, run->options.selection);
   }
   return status;
}

// Counts of 4 KB pages.
struct HintCounts {
   uint64_t totAdd;
   uint64_t totRemove;
   uint64_t active;
};

void PutHintRow(const HostRun &run, RowKind kind, const char *type, const HintCounts &counts)
{
   PutRow(*run.output, kind, columns, type, ConvertPages(counts.totAdd, run.unit),
          ConvertPages(counts.totRemove, run.unit), ConvertPages(counts.active, run.unit));
}

// Active by kind is what was added less what was removed, and wraps when more was removed; the total is the
// kernel's own count. That the three need not add up is kept for compatibility.
NevraStatus PutHintRows(HostRun *run)
{
   const PShareStats &stats = static_cast<PShareHintRun *>(run)->stats;
   const uint64_t added = stats.hintTotAdd - stats.lpageHintTotAdd;
   const uint64_t removed = stats.hintTotRemove - stats.lpageHintTotRemove;
   const uint64_t lpageAdded = stats.lpageHintTotAdd;
   const uint64_t lpageRemoved = stats.lpageHintTotRemove;
   PutHintRow(*run, RowKind::Data, "regular", {added, removed, added - removed});
   PutHintRow(*run, RowKind::Data, "lpage", {lpageAdded, lpageRemoved, lpageAdded - lpageRemoved});
   run->output->Section();
   PutHintRow(*run, RowKind::Total, "Total", {stats.hintTotAdd, stats.hintTotRemove, stats.hintActive});
   return NEVRA_OK;
}

constexpr option kLongOptions[] = {kUnitOption, kSelectionOption, kVerboseOption, kCsvOption, kEndOfOptions};

constexpr HostReport kReport = {.shortOptions = "s:u:vq",
                                .longOptions = kLongOptions,
                                .title = "PSHARE HINT STATS",
                                .ruleLength = 43,
                                .columns = columns,
                                .prepare = ReadPShareHints,
                                .putRows = PutHintRows};

} // namespace

constinit const ReportDescription pshareHintStatsDescription =
   DescribeHostReport(kReport, USAGE_REPORT_OPTIONS USAGE_UNIT USAGE_UNIT_NOTE, true);

NevraStatus PShareHintStatsReport(const ReportArguments &arguments)
{
   PShareHintRun run;
   return RunHostReport(kReport, arguments, &run);
}
