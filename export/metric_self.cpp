#include "export/metric_self.h"

namespace {

// The pairs alone, without the comma after them.
std::string PairsOf(const std::string &before)
{
   return before.empty() ? before : before.substr(0, before.size() - 1);
}

} // namespace

MetricRows HostInfoRows(const std::string &before, const std::string &host)
{
   MetricRows rows = {.subject = &kHostInfoMetrics};
   *rows.ValuesOf(rows.Add(before.empty() ? LabelPair("host", host) : PairsOf(before))) = 1;
   return rows;
}

MetricRows ReportRows(const std::string &before, std::span<const ReportRun> runs)
{
   MetricRows rows = {.subject = &kReportMetrics};
   for (const ReportRun &run : runs) {
      double *values = rows.ValuesOf(rows.Add(before + LabelPair("report", run.report)));
      values[0] = run.success ? 1 : 0;
      values[1] = run.seconds;
   }
   return rows;
}

MetricRows CollectionRows(const std::string &before, size_t dropped)
{
   MetricRows rows = {.subject = &kCollectionMetrics};
   *rows.ValuesOf(rows.Add(PairsOf(before))) = static_cast<double>(dropped);
   return rows;
}
