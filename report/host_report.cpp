#include "report/host_report.h"

namespace {

NevraStatus ParseUnit(const HostReport &report, HostRun *run)
{
   if (report.takesBytes && run->options.unitText == nullptr) {
      run->unit = UNIT_BYTES;
      return NEVRA_OK;
   }
   return ParseDisplayUnit(run->options.unitText, report.takesBytes, &run->unit);
}

NevraStatus ParseUnitAndSelection(const HostReport &report, HostRun *run)
{
   NevraStatus status = NEVRA_OK;
   if (report.unitOption == UnitOption::BeforeSelection) {
      status = ParseUnit(report, run);
   }
   if (status == NEVRA_OK) {
      ApplyColumnSelection(report.columns, run->options.selection);
   }
   if (report.unitOption == UnitOption::AfterSelection) {
      status = ParseUnit(report, run);
   }
   return status;
}

} // namespace

NevraStatus RunHostReport(const HostReport &report, const ReportArguments &arguments, HostRun *run)
{
   NevraStatus status = ParseReportOptions(arguments, report.shortOptions, report.longOptions, &run->options);
   if (status != NEVRA_OK) {
      return status;
   }
   status = ParseUnitAndSelection(report, run);
   if (status != NEVRA_OK) {
      return status;
   }
   run->output = run->options.output;
   if (report.unitOption != UnitOption::None) {
      run->settings.push_back({"Unit", DisplayUnitName(run->unit)});
   }
   status = report.prepare != nullptr ? report.prepare(run) : NEVRA_OK;
   if (status != NEVRA_OK) {
      return status;
   }
   run->output->Begin({.report = arguments.name,
                       .title = report.title,
                       .ruleLength = report.ruleLength,
                       .columns = report.columns,
                       .unit = run->unit,
                       .settings = run->settings});
   status = report.putRows(run);
   if (status != NEVRA_OK) {
      return status;
   }
   if (run->options.verbose) {
      DescribeColumns(*run->output, report.columns);
      if (report.closingNote != nullptr) {
         run->output->Note(report.closingNote);
      }
   }
   run->output->End();
   return NEVRA_OK;
}
