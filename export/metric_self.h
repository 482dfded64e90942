// What an export says of itself: which host it is of, how its reports went, what the cap left out.
#ifndef EXPORT_METRIC_SELF_H
#define EXPORT_METRIC_SELF_H

#include <cstddef>
#include <span>
#include <string>

#include "export/metric_collector.h"
#include "export/metric_rows.h"

// Labels begin with `before`: empty, or pairs and a comma.
MetricRows HostInfoRows(const std::string &before, const std::string &host);
MetricRows ReportRows(const std::string &before, std::span<const ReportRun> runs);
MetricRows CollectionRows(const std::string &before, size_t dropped);

#endif
