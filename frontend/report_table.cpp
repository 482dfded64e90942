#include "frontend/report_table.h"

#include <strings.h>

#include "reports/report_list.h"

namespace {

// NOLINTNEXTLINE(bugprone-macro-parentheses): names, and a function
#define TABLE_ROW(type, Entry, description, source) {type, Entry, &description, ReportSource::source},
constexpr ReportEntry kReports[] = {REPORT_LIST(TABLE_ROW)};
#undef TABLE_ROW

} // namespace

std::span<const ReportEntry> Reports()
{
   return kReports;
}

const ReportEntry *FindReport(const char *name)
{
   for (const ReportEntry &report : kReports) {
      if (strcasecmp(name, report.name) == 0) {
         return &report;
      }
   }
   return nullptr;
}
