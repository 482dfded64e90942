// Metrics of a thousand hosts that answer anything, with names that strangers chose.
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "export/metric_collector.h"
#include "export/metric_text.h"
#include "fuzz/made_up_host.h"
#include "nevra/shown_text.h"

namespace {

constexpr int kHosts = 1000;

std::vector<uint8_t> ReadBytes(const char *path)
{
   std::ifstream file(path, std::ios::binary);
   return {std::istreambuf_iterator<char>(file), {}};
}

std::string HostileName(std::mt19937 *random)
{
   static const char *const kPieces[] = {"\"",   "\\",       "\\n",          "{",     "}",     "=",
                                         ",",    "#",        "other",        "/",     "#2",    "\x1b[2J",
                                         "\xff", "\xc3\xa9", "\xe2\x80\xae", "a",     "birch", " 1",
                                         "\t",   "..",       "\x7f",         "# EOF", "_total"};
   std::uniform_int_distribution<size_t> pick(0, std::size(kPieces) - 1);
   std::string name;
   for (size_t i = std::uniform_int_distribution<size_t>(0, 6)(*random); i > 0; i--) {
      name += kPieces[pick(*random)];
   }
   return name;
}

// What a host answers otherwise than the sample: failures, names, other figures.
std::string HostileAnswers(std::mt19937 *random)
{
   std::uniform_int_distribution<int> question(1, 700);
   std::uniform_int_distribution<int> kind(1, 8);
   std::string text;
   for (int i = std::uniform_int_distribution<int>(0, 60)(*random); i > 0; i--) {
      // Wild names most of all; failures now and then, as they end a report.
      const int wanted = kind(*random);
      const int taken = wanted <= 2 && kind(*random) > 2 ? 8 : wanted;
      text += std::to_string(question(*random)) + ' ' + std::to_string(taken) + HostileName(random) + '\n';
   }
   return text;
}

struct Collected {
   std::string openMetrics;
   std::string text004;
   size_t series = 0;
   std::map<std::string, double> sums; // of the families that add up
   std::set<std::string> names;        // of all series
};

void AddSums(const MetricRows &rows, Collected *collected)
{
   for (size_t i = 0; i < rows.Width(); i++) {
      const MetricFamily &family = rows.subject->families[i];
      for (size_t row = 0; row < rows.Count(); row++) {
         const double value = rows.ValuesOf(row)[i];
         if (!std::isnan(value) && family.rest == Rest::IsSum && family.type != MetricType::Info &&
             family.type != MetricType::StateSet) {
            collected->sums[std::string(family.name) + family.label] += value;
         }
      }
   }
}

Collected Collect(const std::string &answers, const MetricChoices &choices)
{
   Collected collected;
   BeginRun(answers);
   CollectMetrics(
      choices, {},
      [&](const MetricRows &rows) {
         AppendMetrics(rows, MetricFormat::OpenMetrics, &collected.openMetrics, &collected.text004);
         collected.series += rows.Series();
         AddSums(rows, &collected);
      },
      [](const ReportRun &) {});
   EndRun();
   FinishMetrics(MetricFormat::OpenMetrics, &collected.openMetrics);
   return collected;
}

// Checks a text line by line; returns how many samples it has.
size_t CheckText(const std::string &text)
{
   std::set<std::string> families;
   std::set<std::string> series;
   std::string family;
   size_t samples = 0;
   for (size_t at = 0; at < text.size();) {
      const size_t end = text.find('\n', at);
      const std::string line = text.substr(at, end - at);
      at = end + 1;
      EXPECT_TRUE(nevra::IsShownText(line)) << line;
      if (line.starts_with("# HELP ")) {
         family = line.substr(7, line.find(' ', 7) - 7);
         EXPECT_TRUE(families.insert(family).second) << family << " comes twice";
      } else if (!line.starts_with('#')) {
         EXPECT_TRUE(line.starts_with(family)) << line << " is among " << family;
         EXPECT_TRUE(series.insert(line.substr(0, line.rfind(' '))).second) << line << " comes twice";
         samples++;
      }
   }
   return samples;
}

class MetricTrees : public testing::Test {
 protected:
   static void UseSample(int host)
   {
      static const std::vector<uint8_t> kSamples[] = {ReadBytes(SAMPLES "/small-host.snapshot"),
                                                      ReadBytes(SAMPLES "/hypervisor-host.snapshot")};
      SetSampleHost(kSamples[host % 8 == 7 ? 1 : 0]);
   }
};

TEST_F(MetricTrees, HaveEachSeriesOnceAndSumsThatNoCapChanges)
{
   std::mt19937 random(20260115);
   MetricChoices all = {.maxSeries = 1'000'000,
                        .topVms = 1'000'000,
                        .hasProcesses = true,
                        .topProcesses = 1'000'000,
                        .hasWalked = true};
   FILE *reader = popen(PARSE_METRICS " >" TEXTS_OUTPUT " 2>&1", "w");
   ASSERT_NE(reader, nullptr);
   for (int host = 0; host < kHosts; host++) {
      UseSample(host);
      const std::string answers = HostileAnswers(&random);
      all.groupDepth = 1 + static_cast<uint32_t>(host) % 4;
      const Collected whole = Collect(answers, all);
      ASSERT_EQ(CheckText(whole.openMetrics), whole.series) << answers;
      ASSERT_EQ(CheckText(whole.text004), whole.series) << answers;
      MetricChoices few = all;
      few.maxSeries = std::uniform_int_distribution<size_t>(kFewestSeries, 1000)(random);
      few.topVms = std::uniform_int_distribution<size_t>(0, 5)(random);
      few.topProcesses = std::uniform_int_distribution<size_t>(0, 5)(random);
      const Collected limited = Collect(answers, few);
      ASSERT_EQ(CheckText(limited.openMetrics), limited.series) << answers;
      ASSERT_LE(limited.series, few.maxSeries);
      for (const auto &[family, sum] : limited.sums) {
         ASSERT_NEAR(sum, whole.sums.at(family), std::fabs(sum) * 1e-9) << family << '\n' << answers;
      }
      std::fwrite(whole.openMetrics.data(), 1, whole.openMetrics.size(), reader);
      std::fwrite(limited.openMetrics.data(), 1, limited.openMetrics.size(), reader);
   }
   const int status = pclose(reader);
   std::ifstream output(TEXTS_OUTPUT);
   const std::string said((std::istreambuf_iterator<char>(output)), {});
   if (said.find("No module named 'prometheus_client'") != std::string::npos) {
      GTEST_SKIP() << "python3-prometheus-client is not installed: no other reader has read the texts";
   }
   EXPECT_EQ(status, 0) << said;
   EXPECT_TRUE(said.starts_with(std::to_string(2 * kHosts) + ' ')) << said;
}

} // namespace
