// 100,000 series as text, against a floor that formats the same numbers and appends the same bytes. Prints
// the least of many runs, in Markdown.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "export/metric_families.h"
#include "export/metric_text.h"

namespace {

constexpr size_t kSeries = 100'000;
constexpr int kRuns = 50;

double CpuSeconds()
{
   timespec time;
   clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
   return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

MetricRows ManyVms()
{
   MetricRows rows = {.subject = &kVmMetrics};
   std::mt19937_64 random(1);
   while (rows.Count() * rows.Width() < kSeries) {
      const std::string number = std::to_string(rows.Count());
      const size_t row = rows.Add(LabelPair("vm", "machine-" + number), ",group_id=\"" + number + "\"");
      for (size_t i = 0; i < rows.Width(); i++) {
         rows.ValuesOf(row)[i] = static_cast<double>(random() % (uint64_t{1} << 28)) * 1024;
      }
   }
   return rows;
}

// A line of the text: what stands before its number, which may be all of it, and the number.
struct Line {
   std::string_view text;
   double value;
   bool hasValue;
};

std::vector<Line> TakeApart(std::string_view text)
{
   std::vector<Line> lines;
   while (!text.empty()) {
      const std::string_view line = text.substr(0, text.find('\n'));
      text.remove_prefix(line.size() + 1);
      const size_t space = line.rfind(' ');
      if (line.starts_with('#')) {
         lines.push_back({line, 0, false});
      } else {
         lines.push_back({line.substr(0, space + 1), std::strtod(line.data() + space, nullptr), true});
      }
   }
   return lines;
}

void AppendLines(const std::vector<Line> &lines, std::string *text)
{
   char digits[40];
   for (const Line &line : lines) {
      text->append(line.text);
      if (line.hasValue) {
         text->append(digits, std::to_chars(digits, std::end(digits), static_cast<int64_t>(line.value)).ptr);
      }
      text->push_back('\n');
   }
}

template <typename Function> double LeastSeconds(Function run)
{
   double least = HUGE_VAL;
   for (int i = 0; i < kRuns; i++) {
      const double start = CpuSeconds();
      run();
      least = std::min(least, CpuSeconds() - start);
   }
   return least;
}

} // namespace

int main()
{
   const MetricRows rows = ManyVms();
   std::string text;
   AppendMetrics(rows, MetricFormat::OpenMetrics, &text);
   const std::string whole = text;
   const std::vector<Line> lines = TakeApart(whole);
   std::string floor;
   AppendLines(lines, &floor);
   if (floor != whole) {
      std::fprintf(stderr, "metric_text_bench: the floor writes other bytes\n");
      return EXIT_FAILURE;
   }
   const double ours = LeastSeconds([&] {
      text.clear();
      AppendMetrics(rows, MetricFormat::OpenMetrics, &text);
   });
   const double least = LeastSeconds([&] {
      floor.clear();
      AppendLines(lines, &floor);
   });
   std::printf(
      "%zu series, %.1f MB: %.1f ms of CPU; the same numbers formatted and the same bytes appended: %.1f ms "
      "(%.2f times).\n",
      rows.Series(), static_cast<double>(whole.size()) * 1e-6, ours * 1e3, least * 1e3, ours / least);
   return EXIT_SUCCESS;
}
