// The text of /metrics: made by one reader at a time, and kept for those who ask shortly after.
#ifndef EXPORTER_METRIC_PAGE_H
#define EXPORTER_METRIC_PAGE_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "export/metric_text.h"
#include "exporter/reader_process.h"

namespace exporter {

using Clock = std::chrono::steady_clock;

// Shared with those who are still taking it when a newer one is there.
using MetricText = std::shared_ptr<const std::string>;

struct MetricTexts {
   MetricText openMetrics;
   MetricText text004;
};

class MetricPage {
 public:
   // A reader that has not ended after `longest` is stopped, and what it has read until then is shown.
   MetricPage(const ReadingChoices &wanted, std::chrono::milliseconds longest);

   // What was read last, if that is no longer ago than a second; else null.
   const MetricTexts *Fresh(Clock::time_point now) const;
   const MetricTexts &Last() const { return texts; }

   // Starts a reader unless one runs. Where none can be started, what is shown says so, and is there at once.
   void Begin(Clock::time_point now);
   bool IsReading() const { return reader.IsRunning(); }

   // The reader's descriptor, and when its time is up. Call Take when it is readable, or the time is up;
   // returns whether the texts are new.
   int Descriptor() const { return reader.Descriptor(); }
   Clock::time_point Deadline() const { return deadline; }
   bool Take(Clock::time_point now);

   // To be called when a child of this process has ended: leaves no zombie of it.
   void Reap() { reader.Reap(); }

 private:
   void Finish(Clock::time_point now, bool timedOut);
   void Show(Clock::time_point now, bool timedOut);
   void Say(const std::string &line);

   ReadingChoices choices;
   std::chrono::milliseconds longestReading;
   std::vector<const char *> reports;
   ReaderProcess reader;
   Reading reading;
   Clock::time_point start{};
   Clock::time_point deadline{};
   Clock::time_point shown{};
   bool hasShown = false;
   uint64_t readings = 0;
   uint64_t timeouts = 0;
   MetricTexts texts;
   std::set<std::string> said;
};

} // namespace exporter

#endif
