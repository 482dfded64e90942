// The descriptions of the reports by index.
#ifndef FRONTEND_REPORT_DESCRIPTIONS_H
#define FRONTEND_REPORT_DESCRIPTIONS_H

#include <cstddef>

#include "report/report_description.h"

// `index` is below kReportCount.
ReportDescription DescribeReport(size_t index);

#endif
