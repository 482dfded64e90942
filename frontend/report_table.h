// The reports by name.
#ifndef FRONTEND_REPORT_TABLE_H
#define FRONTEND_REPORT_TABLE_H

#include <span>

#include "nevra/nevra.h"
#include "report/report_description.h"
#include "report/report_options.h"
#include "reports/report_list.h"

struct ReportEntry {
   const char *name;
   NevraStatus (*run)(const ReportArguments &arguments);
   const ReportDescription *description;
   ReportSource source;
};

// In the order of the usage text.
std::span<const ReportEntry> Reports();

// The report of a type, in any case; null when there is none of that name.
const ReportEntry *FindReport(const char *name);

#endif
