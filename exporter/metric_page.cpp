#include "exporter/metric_page.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include <malloc.h>

#include "export/metric_self.h"
#include "exporter/own_metrics.h"
#include "nevra/nevra.h"

namespace exporter {

namespace {

// Readers that the kernel does not let go of. More of them would not fare better.
constexpr size_t kMostLingering = 4;
constexpr size_t kMostLines = 1000;

// A series takes up to two lines of a few hundred bytes in each format.
size_t MostBytes(const MetricChoices &choices)
{
   return (size_t{16} << 20) + choices.maxSeries * 4096;
}

} // namespace

MetricPage::MetricPage(const ReadingChoices &wanted, std::chrono::milliseconds longest)
    : choices(wanted), longestReading(longest), reports(ReportsOf(wanted.metrics)),
      reader(MostBytes(wanted.metrics))
{
}

const MetricTexts *MetricPage::Fresh(Clock::time_point now) const
{
   return hasShown && now - shown < std::chrono::seconds(1) ? &texts : nullptr;
}

void MetricPage::Begin(Clock::time_point now)
{
   if (reader.IsRunning()) {
      return;
   }
   reading = {};
   start = now;
   deadline = now + longestReading;
   readings++;
   if (reader.Reap() >= kMostLingering) {
      Say("readers hang and cannot be stopped: nothing is read");
      timeouts++;
      Show(now, true);
   } else if (!reader.Start(choices)) {
      Say(std::string("no reader can be started: ") + std::strerror(errno));
      Show(now, false);
   }
}

bool MetricPage::Take(Clock::time_point now)
{
   if (!reader.IsRunning()) {
      return false;
   }
   if (reader.Receive(&reading)) {
      Finish(now, false);
      return true;
   }
   if (now >= deadline) {
      Finish(now, true);
      return true;
   }
   return false;
}

void MetricPage::Finish(Clock::time_point now, bool timedOut)
{
   for (const std::string &line : reader.Stop()) {
      Say(line);
   }
   if (!reading.problem.empty()) {
      Say(reading.problem);
   } else if (timedOut) {
      timeouts++;
      Say("reading takes too long and was stopped");
   } else if (!reading.isComplete) {
      Say("a reader ended before it was done");
   }
   Show(now, timedOut);
}

// Says a line once.
void MetricPage::Say(const std::string &line)
{
   if (said.size() < kMostLines && said.insert(line).second) {
      Warning("hostmem-exporter: %s\n", line.c_str());
   }
}

void MetricPage::Show(Clock::time_point now, bool timedOut)
{
   std::vector<ReportRun> runs;
   for (const char *report : reports) {
      runs.push_back({report, false, kNoValue});
   }
   for (const RunMessage &run : reading.runs) {
      if (run.report < runs.size()) {
         runs[run.report].success = run.success != 0;
         runs[run.report].seconds = run.seconds;
      }
   }
   std::string openMetrics = std::move(reading.openMetrics);
   std::string text004 = std::move(reading.text004);
   const auto append = [&](const MetricRows &rows) {
      AppendMetrics(rows, MetricFormat::OpenMetrics, &openMetrics, &text004);
   };
   if (!reading.host.empty()) {
      append(HostInfoRows({}, reading.host));
   }
   append(ReportRows({}, runs));
   append(CollectionRows({}, reading.dropped));
   const double seconds = std::chrono::duration<double>(now - start).count();
   append(ScrapeRows({seconds, timedOut, readings, timeouts}));
   append(VersionRows());
   append(ProcessRows());
   FinishMetrics(MetricFormat::OpenMetrics, &openMetrics);
   FinishMetrics(MetricFormat::Text004, &text004);
   texts = {std::make_shared<const std::string>(std::move(openMetrics)),
            std::make_shared<const std::string>(std::move(text004))};
   reading = {};
   shown = now;
   hasShown = true;
   malloc_trim(0); // or the heap keeps several times the size of the texts
}

} // namespace exporter
