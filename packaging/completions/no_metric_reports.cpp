#include "packaging/completions/metric_reports.h"

bool HasMetrics(const std::string &)
{
   return false;
}
