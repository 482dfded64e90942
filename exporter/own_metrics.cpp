#include "exporter/own_metrics.h"

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include <sys/resource.h>
#include <unistd.h>

namespace exporter {

namespace {

using enum MetricType;

constexpr MetricFamily Own(const char *name, MetricType type, const char *unit, const char *help)
{
   return {name, type, unit, help, nullptr, nullptr, Rest::IsNothing};
}

constexpr MetricFamily kScrapeFamilies[] = {
   Own("hostmem_scrape_duration_seconds", Gauge, "seconds", "How long the reading took."),
   Own("hostmem_scrape_timed_out", Gauge, "", "Whether the reading took too long and was stopped: 1 or 0."),
   Own("hostmem_exporter_scrapes", Counter, "", "Readings since the start."),
   Own("hostmem_exporter_scrapes_timed_out", Counter, "", "Readings that took too long."),
};
constexpr MetricSubject kScrape = {SubjectRows::Single, nullptr, {}, {}, kScrapeFamilies, nullptr};

constexpr MetricFamily kVersionFamilies[] = {
   Own("hostmem_exporter", Info, "", "The version of the exporter."),
};
constexpr MetricSubject kVersion = {SubjectRows::Single, nullptr, {}, {}, kVersionFamilies, nullptr};

constexpr MetricFamily kProcessFamilies[] = {
   Own("process_cpu_seconds", Counter, "seconds", "Processor time of the exporter and its readers."),
   Own("process_resident_memory_bytes", Gauge, "bytes", "Memory of the exporter, without its readers."),
   Own("process_open_fds", Gauge, "", "Descriptors that the exporter has open."),
   Own("process_max_fds", Gauge, "", "Descriptors that it may have open."),
   Own("process_start_time_seconds", Gauge, "seconds", "When the exporter was started, since 1970."),
};
constexpr MetricSubject kProcess = {SubjectRows::Single, nullptr, {}, {}, kProcessFamilies, nullptr};

template <size_t N>
MetricRows OneRow(const MetricSubject &subject, const double (&values)[N], std::string label)
{
   MetricRows rows = {.subject = &subject};
   double *row = rows.ValuesOf(rows.Add(std::move(label)));
   std::copy(std::begin(values), std::end(values), row);
   return rows;
}

double SecondsOf(const timeval &time)
{
   return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

double ProcessorSeconds()
{
   double seconds = 0;
   for (const auto who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
      rusage usage = {};
      getrusage(who, &usage);
      seconds += SecondsOf(usage.ru_utime) + SecondsOf(usage.ru_stime);
   }
   return seconds;
}

double ResidentBytes()
{
   std::ifstream statm("/proc/self/statm");
   uint64_t size = 0;
   uint64_t resident = 0;
   if (statm >> size >> resident) {
      return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE));
   }
   return kNoValue;
}

double OpenDescriptors()
{
   std::error_code error;
   const std::filesystem::directory_iterator folder("/proc/self/fd", error);
   return error
             ? kNoValue
             : static_cast<double>(std::distance(begin(folder), std::filesystem::directory_iterator()) - 1);
}

double MostDescriptors()
{
   rlimit limit = {};
   getrlimit(RLIMIT_NOFILE, &limit);
   return limit.rlim_cur == RLIM_INFINITY ? kNoValue : static_cast<double>(limit.rlim_cur);
}

const auto startTime = static_cast<double>(std::time(nullptr));

} // namespace

MetricRows ScrapeRows(const ScrapeFacts &facts)
{
   const double values[] = {facts.seconds, facts.timedOut ? 1.0 : 0.0, static_cast<double>(facts.readings),
                            static_cast<double>(facts.timeouts)};
   return OneRow(kScrape, values, {});
}

MetricRows VersionRows()
{
   return OneRow(kVersion, {1.0}, LabelPair("version", HOSTMEM_VERSION));
}

MetricRows ProcessRows()
{
   const double values[] = {ProcessorSeconds(), ResidentBytes(), OpenDescriptors(), MostDescriptors(),
                            startTime};
   return OneRow(kProcess, values, {});
}

} // namespace exporter
