#include "reports/host/pshare_hint_stats.h"

#include "nevra/records.h"
#include "report/banner.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/grid.h"
#include "report/report_options.h"
#include "reports/host/pshare_node.h"

namespace {

ReportColumn columns[] = {
   {"type", "Hint type (regular or large page hint)", 10, "s", 1, 0, 1},
   {"totAdd", "Total hints added", 15, "lu", 1, 0, 1},
   {"totRemove", "Total hints removed", 15, "lu", 1, 0, 1},
   {"active", "Currently active hints", 15, "lu", 1, 0, 1},
   kEndOfColumns,
};

// Counts of 4 KB pages.
struct HintCounts {
   uint64_t totAdd;
   uint64_t totRemove;
   uint64_t active;
};

void PrintHintRow(const char *type, const HintCounts &counts, bool isTotalRow, DisplayUnit unit, bool csvMode)
{
   PrintReportRow(columns, csvMode, isTotalRow,
                  {type, ConvertPages(counts.totAdd, unit), ConvertPages(counts.totRemove, unit),
                   ConvertPages(counts.active, unit)});
}

// Active by kind is what was added less what was removed, and wraps when more was removed; the total is the
// kernel's own count. That the three need not add up is meant.
void PrintHintRows(const PShareStats &stats, DisplayUnit unit, bool csvMode)
{
   const uint64_t added = stats.hintTotAdd - stats.lpageHintTotAdd;
   const uint64_t removed = stats.hintTotRemove - stats.lpageHintTotRemove;
   const uint64_t lpageAdded = stats.lpageHintTotAdd;
   const uint64_t lpageRemoved = stats.lpageHintTotRemove;
   PrintHintRow("regular", {added, removed, added - removed}, false, unit, csvMode);
   PrintHintRow("lpage", {lpageAdded, lpageRemoved, lpageAdded - lpageRemoved}, false, unit, csvMode);
   PrintSeparatorLine(columns, csvMode);
   PrintHintRow("Total", {stats.hintTotAdd, stats.hintTotRemove, stats.hintActive}, true, unit, csvMode);
}

constexpr char kShortOptions[] = "s:u:vq";
constexpr option kLongOptions[] = {kUnitOption, kSelectionOption, kVerboseOption, kCsvOption, kEndOfOptions};

} // namespace

constinit const ReportDescription pshareHintStatsDescription = {
   .columns = columns, .shortOptions = kShortOptions, .longOptions = kLongOptions, .hasTotalRow = true};

NevraStatus PShareHintStatsReport(int argc, char **argv)
{
   ReportOptions options;
   NevraStatus status = ParseReportOptions(argc, argv, kShortOptions, kLongOptions, &options);
   if (status != NEVRA_OK) {
      return status;
   }
   DisplayUnit unit;
   status = ParseDisplayUnit(options.unitText, false, &unit);
   if (status != NEVRA_OK) {
      return status;
   }
   ApplyColumnSelection(columns, options.selection);
   PShareStats stats = {};
   status = GetPShareStats("KelmarPShareHintGetStats", &stats);
   if (status != NEVRA_OK) {
      return status;
   }
   ApplyColumnSelection(columns, options.selection); // meant: an over-long selection warns twice
   if (!options.csvMode) {
      PrintBannerTitle("PSHARE HINT STATS", 43);
      PrintBannerUnit(unit);
      PrintBannerSelectedColumns(columns);
   }
   PrintTableHead(columns, options.csvMode);
   PrintHintRows(stats, unit, options.csvMode);
   PrintSeparatorLine(columns, options.csvMode);
   if (options.verbose) {
      DescribeColumns(columns);
   }
   return NEVRA_OK;
}
