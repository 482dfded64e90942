#include "report/group_report.h"

#include <vector>

namespace {

std::vector<BannerSetting> GroupSettings(const GroupReport &report, const ReportOptions &options,
                                         const GroupRun &run)
{
   std::vector<BannerSetting> settings = {{"Start Group ID", options.startGroupID}};
   if (report.hasLevels) {
      settings.push_back({"No. of levels", options.levels});
   }
   settings.push_back({"Unit", report.unitName != nullptr ? report.unitName : DisplayUnitName(run.unit)});
   if (run.filters.names != nullptr) {
      settings.push_back({"Inclusion filter", {run.filters.inclusionMask, run.filters.names}});
      settings.push_back({"Exclusion filter", {run.filters.exclusionMask, run.filters.names}});
   }
   return settings;
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

NevraStatus PutGroupReport(const GroupReport &report, const ReportArguments &arguments,
                           const ReportOptions &options, GroupRun *run)
{
   const TableOutput &output = *options.output;
   run->output = &output;
   const std::vector<BannerSetting> settings = GroupSettings(report, options, *run);
   output.Begin({.report = arguments.name,
                 .title = report.title,
                 .ruleLength = report.ruleLength,
                 .columns = report.columns,
                 .unit = run->unit,
                 .settings = settings});
   const NevraStatus status =
      TraverseGroups(options.startGroupID, options.levels, options.csv ? 1 : 0, report.visit, run);
   if (report.putSummary != nullptr) {
      report.putSummary(run);
   }
   if (options.verbose) {
      DescribeColumns(output, report.columns);
   }
   output.End();
   return status;
}

NevraStatus RunGroupReport(const GroupReport &report, const ReportArguments &arguments, GroupRun *run)
{
   ReportOptions options;
   NevraStatus status = ParseReportOptions(arguments, report.shortOptions, report.longOptions, &options);
   if (status != NEVRA_OK) {
      return status;
   }
   if (report.unitOption == UnitOption::AfterSelection) {
      ApplyColumnSelection(report.columns, options.selection);
   }
   status = ParseDisplayUnit(options.unitText, false, &run->unit);
   if (status != NEVRA_OK) {
      return status;
   }
   if (report.unitOption == UnitOption::BeforeSelection) {
      ApplyColumnSelection(report.columns, options.selection);
   }
   return PutGroupReport(report, arguments, options, run);
}
