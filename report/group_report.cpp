#include "report/group_report.h"

#include "report/banner.h"
#include "report/grid.h"

namespace {

void PrintGroupBanner(const GroupReport &report, const ReportOptions &options, DisplayUnit unit,
                      const GroupFilters *filters)
{
   PrintBannerTitle(report.title, report.ruleLength);
   PrintBannerStartGroup(options.startGroupID);
   if (report.hasLevels) {
      PrintBannerLevels(options.levels);
   }
   PrintBannerUnit(report.unitName != nullptr ? report.unitName : DisplayUnitName(unit));
   if (filters != nullptr) {
      PrintBannerFilters(filters->inclusionMask, filters->exclusionMask, filters->names);
   }
   PrintBannerSelectedColumns(report.columns);
}

} // namespace

NevraStatus ParseGroupFilters(const ReportOptions &options, const FlagName *names, GroupFilters *filters)
{
   filters->names = names;
   const NevraStatus status = ParseFlagFilter(options.inclusionText, names, &filters->inclusionMask, false);
   if (status != NEVRA_OK) {
      return status;
   }
   return ParseFlagFilter(options.exclusionText, names, &filters->exclusionMask, true);
}

NevraStatus PrintGroupReport(const GroupReport &report, const ReportOptions &options, DisplayUnit unit,
                             const GroupFilters *filters, void *context)
{
   if (!options.csvMode) {
      PrintGroupBanner(report, options, unit, filters);
   }
   PrintTableHead(report.columns, options.csvMode);
   const NevraStatus status =
      TraverseGroups(options.startGroupID, options.levels, options.csvMode, report.visit, context);
   PrintSeparatorLine(report.columns, options.csvMode);
   if (report.printSummary != nullptr) {
      report.printSummary(context, options.csvMode);
      PrintSeparatorLine(report.columns, options.csvMode);
   }
   if (options.verbose) {
      DescribeColumns(report.columns);
   }
   return status;
}

NevraStatus RunGroupReport(const GroupReport &report, int argc, char **argv, DisplayUnit *unit, void *context)
{
   ReportOptions options;
   NevraStatus status = ParseReportOptions(argc, argv, report.shortOptions, report.longOptions, &options);
   if (status != NEVRA_OK) {
      return status;
   }
   status = ParseDisplayUnit(options.unitText, false, unit);
   if (status != NEVRA_OK) {
      return status;
   }
   ApplyColumnSelection(report.columns, options.selection);
   return PrintGroupReport(report, options, *unit, nullptr, context);
}
