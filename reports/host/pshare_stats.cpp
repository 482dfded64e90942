#include "reports/host/pshare_stats.h"

#include <cinttypes>
#include <cstdio>

#include "nevra/records.h"
#include "report/banner.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/grid.h"
#include "report/report_options.h"
#include "reports/host/pshare_node.h"

namespace {

ReportColumn columns[] = {
   {"cow", "Client memory marked copy-on-write", 10, "lu", 1, 0, 1},
   {"cow1", "Client's COWed memory with single ref", 10, "lu", 1, 0, 1},
   {"zero", "Zeroed client memory", 10, "lu", 1, 0, 1},
   {"used", "Machine memory used for backing COWed client memory", 10, "lu", 1, 0, 1},
   {"reclaimed", "Machine memory reclaimed via pshare", 10, "lu", 1, 0, 1},
   {"totAdd", "Total client memory added to pshare table", 10, "lu", 1, 0, 1},
   {"totRemove", "Total client memory removed from pshare table", 10, "lu", 1, 0, 1},
   kEndOfColumns,
};

// The settings lines are a character wider than in the other banners, for the peak chain length.
void PrintBanner(const PShareStats &stats, DisplayUnit unit)
{
   PrintBannerTitle("PSHARE STATS", 38);
   std::printf("   Unit              : %s\n", DisplayUnitName(unit));
   std::printf("   Peak chain length : %" PRIu64 "\n", stats.peakChainLength);
   std::printf("   Peak chain index  : %" PRIu64 "\n", stats.peakChainIndex);
   std::printf("   Peak ref.  count  : %" PRIu64 "\n", stats.peakRefCount);
   std::printf("   Selected columns  : %s\n\n", FormatSelectedColumns(columns).c_str());
}

void PrintPShareRow(const PShareStats &stats, DisplayUnit unit, bool csvMode)
{
   const auto inUnit = [unit](uint64_t pages) { return ConvertPages(pages, unit); };
   PrintReportRow(columns, csvMode, false,
                  {inUnit(stats.cow), inUnit(stats.cow1), inUnit(stats.zero), inUnit(stats.used),
                   inUnit(stats.reclaimed), inUnit(stats.totAdd), inUnit(stats.totRemove)});
}

constexpr char kShortOptions[] = "s:u:vq";
constexpr option kLongOptions[] = {kUnitOption, kSelectionOption, kVerboseOption, kCsvOption, kEndOfOptions};

} // namespace

constinit const ReportDescription pshareStatsDescription = {
   .columns = columns, .shortOptions = kShortOptions, .longOptions = kLongOptions};

NevraStatus PShareStatsReport(int argc, char **argv)
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
   status = GetPShareStats("KelmarPShareGetStats", &stats);
   if (status != NEVRA_OK) {
      return status;
   }
   if (!options.csvMode) {
      PrintBanner(stats, unit);
   }
   PrintTableHead(columns, options.csvMode);
   PrintPShareRow(stats, unit, options.csvMode);
   PrintSeparatorLine(columns, options.csvMode);
   if (options.verbose) {
      DescribeColumns(columns);
   }
   return NEVRA_OK;
}
