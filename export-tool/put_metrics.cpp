#include "export-tool/put_metrics.h"

#include <limits>

#include "export/metric_self.h"
#include "recorder/message.h"

using recorder::Complain;

bool MetricOutput::Collect(const std::string &labels, const TakeMetricRows &takeRows)
{
   bool done = true;
   runs.clear();
   dropped = CollectMetrics(request.choices, labels, takeRows, [&](const ReportRun &run) {
      if (!run.success) {
         Complain(run.report, "failed");
         done = false; // the others are put out all the same
      }
      runs.push_back(run);
   });
   return done;
}

bool MetricOutput::PutNow(const Moment &moment)
{
   const auto append = [&](const MetricRows &rows) { AppendMetrics(rows, request.format, &text); };
   append(HostInfoRows({}, moment.host));
   const bool done = Collect({}, append);
   append(ReportRows({}, runs));
   append(CollectionRows({}, dropped));
   return done;
}

bool MetricOutput::PutMoment(const Moment &moment)
{
   const std::string labels = LabelPair("host", moment.host) + ',';
   const auto add = [&](const MetricRows &rows) { history.Add(moment.seconds, rows); };
   add(HostInfoRows(labels, moment.host));
   const bool done = Collect(labels, add);
   for (ReportRun &run : runs) {
      run.seconds = kNoValue; // how long it took is nothing of that moment
   }
   add(ReportRows(labels, runs));
   add(CollectionRows(labels, dropped));
   return done;
}

void MetricOutput::Finish(FILE *file)
{
   history.Append(request.format, &text);
   FinishMetrics(request.format, &text);
   std::fwrite(text.data(), 1, text.size(), file);
}
