// What the exporter says of itself.
#ifndef EXPORTER_OWN_METRICS_H
#define EXPORTER_OWN_METRICS_H

#include <cstdint>

#include "export/metric_rows.h"

namespace exporter {

struct ScrapeFacts {
   double seconds;
   bool timedOut;
   uint64_t readings; // since the start
   uint64_t timeouts;
};

MetricRows ScrapeRows(const ScrapeFacts &facts);
MetricRows VersionRows();
// Processor time, readers included, memory and descriptors of this process, by the names that exporters
// share.
MetricRows ProcessRows();

} // namespace exporter

#endif
