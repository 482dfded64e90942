// Metrics of one moment after the other.
#ifndef EXPORT_TOOL_PUT_METRICS_H
#define EXPORT_TOOL_PUT_METRICS_H

#include <cstdio>
#include <string>

#include "export/metric_collector.h"
#include "export/metric_history.h"
#include "export/row_writer.h"

struct MetricRequest {
   MetricChoices choices;
   MetricFormat format = MetricFormat::OpenMetrics;
};

class MetricOutput {
 public:
   explicit MetricOutput(const MetricRequest &wanted) : request(wanted) {}

   // The metrics of this host, now: without times, and without the host's name on each.
   bool PutNow(const Moment &moment);
   // Those of the moment that answers the process, with its host and its time.
   bool PutMoment(const Moment &moment);
   void Finish(FILE *file);

 private:
   // Complains of the reports that failed, and returns whether none did.
   bool Collect(const std::string &labels, const TakeMetricRows &takeRows);

   const MetricRequest &request;
   std::vector<ReportRun> runs; // of the last collection
   size_t dropped = 0;
   std::string text;
   MetricHistory history;
};

#endif
