#include "packaging/completions/metric_reports.h"

#include "export/metric_options.h"

bool HasMetrics(const std::string &report)
{
   std::string name = report;
   return ProblemOfReport(&name).empty();
}
