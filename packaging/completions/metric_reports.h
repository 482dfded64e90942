// Which reports hostmem-exporter and `hostmem-export openmetrics` take.
#ifndef PACKAGING_COMPLETIONS_METRIC_REPORTS_H
#define PACKAGING_COMPLETIONS_METRIC_REPORTS_H

#include <string>

// False for every report in a build without these programs.
bool HasMetrics(const std::string &report);

#endif
