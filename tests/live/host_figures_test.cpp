// The host-wide reports against the kernel's own files, read in the same moment: before the report and behind
// it, until both say the same.
#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/live/live_report.h"

namespace {

std::string ReadFile(const std::string &path)
{
   std::ifstream file(path);
   return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The report of a moment in which `state` stood still; none when it never does.
std::optional<LiveReport> ReportOfOneMoment(const std::string &report,
                                            const std::vector<std::string> &arguments,
                                            const std::function<std::string()> &state)
{
   constexpr int kTries = 200;
   for (int i = 0; i < kTries; i++) {
      const std::string before = state();
      LiveReport result = RunLiveReport(report, arguments);
      if (testing::Test::HasFailure() || state() == before) {
         return result;
      }
   }
   return std::nullopt;
}

constexpr const char *kOrders[] = {"4KB",   "8KB",   "16KB", "32KB", "64KB", "128KB",
                                   "256KB", "512KB", "1MB",  "2MB",  "4MB"};

// Free buffers by order, of the zones DMA and DMA32 and of all others.
void SumFreeBuffers(const std::string &buddyinfo, std::vector<int64_t> *low, std::vector<int64_t> *high)
{
   low->assign(std::size(kOrders), 0);
   high->assign(std::size(kOrders), 0);
   std::istringstream lines(buddyinfo);
   for (std::string line; std::getline(lines, line);) {
      std::istringstream words(line);
      std::string node;
      std::string number;
      std::string word;
      std::string zone;
      words >> node >> number >> word >> zone;
      std::vector<int64_t> &counts = zone.rfind("DMA", 0) == 0 ? *low : *high;
      int64_t count;
      for (size_t order = 0; order < counts.size() && words >> count; order++) {
         counts[order] += count;
      }
   }
}

int64_t SumOfType(const LiveReport &report, const std::string &type, const std::string &column)
{
   int64_t sum = 0;
   for (const std::vector<std::string> &row : report.rows) {
      if (report.Text(row, "type") == type) {
         sum += report.Figure(row, column);
      }
   }
   return sum;
}

TEST(LiveFigures, FreeBuffersAreThoseOfBuddyinfo)
{
   const auto buddyinfo = [] { return ReadFile("/proc/buddyinfo"); };
   if (buddyinfo().empty()) {
      GTEST_SKIP() << "/proc/buddyinfo cannot be read";
   }
   std::string seen;
   const auto report = ReportOfOneMoment("buddy-stats", {}, [&] { return seen = buddyinfo(); });
   if (!report) {
      GTEST_SKIP() << "/proc/buddyinfo never stood still";
   }
   std::vector<int64_t> low;
   std::vector<int64_t> high;
   SumFreeBuffers(seen, &low, &high);
   for (size_t order = 0; order < std::size(kOrders); order++) {
      const std::string column = std::string(kOrders[order]) + "free";
      EXPECT_EQ(SumOfType(*report, "low", column), low[order]) << column << '\n' << seen;
      EXPECT_EQ(SumOfType(*report, "high", column), high[order]) << column << '\n' << seen;
   }
}

struct SlabTotals {
   int64_t size = 0;
   int64_t inactive = 0;
   int64_t slabs = 0;
};

SlabTotals SumSlabs(const std::string &slabinfo)
{
   constexpr int64_t kWidest = 4294967295;
   SlabTotals totals;
   std::istringstream lines(slabinfo);
   std::string line;
   std::getline(lines, line); // the version
   std::getline(lines, line); // the heading
   while (std::getline(lines, line)) {
      std::istringstream words(line);
      std::string name;
      std::string word;
      int64_t active = 0;
      int64_t objects = 0;
      int64_t objectSize = 0;
      int64_t objectsPerSlab = 0;
      int64_t pagesPerSlab = 0;
      int64_t slabs = 0;
      words >> name >> active >> objects >> objectSize >> objectsPerSlab >> pagesPerSlab;
      while (words >> word && word != "slabdata") {
      }
      words >> slabs >> slabs; // the active ones, then all
      totals.size += std::min(kWidest, slabs * pagesPerSlab * sysconf(_SC_PAGESIZE));
      totals.inactive += std::min(kWidest, (objects - active) * objectSize);
      totals.slabs += slabs;
   }
   return totals;
}

TEST(LiveFigures, HeapTotalsAreThoseOfSlabinfo)
{
   const auto slabinfo = [] { return ReadFile("/proc/slabinfo"); };
   if (slabinfo().empty()) {
      GTEST_SKIP() << "/proc/slabinfo cannot be read";
   }
   std::string seen;
   const auto report = ReportOfOneMoment("heap-stats", {"-u", "kb"}, [&] { return seen = slabinfo(); });
   if (!report) {
      GTEST_SKIP() << "/proc/slabinfo never stood still";
   }
   const SlabTotals totals = SumSlabs(seen);
   const std::vector<std::string> &total = report->rows.back();
   EXPECT_EQ(report->Text(total, "name"), "Total");
   EXPECT_EQ(report->Figure(total, "size"), (totals.size + 1023) / 1024);
   EXPECT_EQ(report->Figure(total, "avail"), (totals.inactive + 1023) / 1024);
   EXPECT_EQ(report->Figure(total, "used"), (totals.size - totals.inactive + 1023) / 1024);
   EXPECT_EQ(report->Figure(total, "numRanges"), totals.slabs);
}

TEST(LiveFigures, SharedPagesAreThoseOfTheKernelsMerging)
{
   const std::string folder = "/sys/kernel/mm/ksm/";
   const auto figure = [&](const char *file) { return std::atoll(ReadFile(folder + file).c_str()); };
   const auto state = [&] {
      std::string text;
      for (const char *file : {"pages_shared", "pages_sharing", "ksm_zero_pages"}) {
         text += ReadFile(folder + file);
      }
      return text;
   };
   if (state().empty()) {
      GTEST_SKIP() << folder << " cannot be read";
   }
   const auto report = ReportOfOneMoment("pshare-stats", {"-u", "pg"}, state);
   if (!report) {
      GTEST_SKIP() << folder << " never stood still";
   }
   ASSERT_EQ(report->rows.size(), 1U);
   const std::vector<std::string> &row = report->rows[0];
   EXPECT_EQ(report->Figure(row, "cow"), figure("pages_shared") + figure("pages_sharing"));
   EXPECT_EQ(report->Figure(row, "used"), figure("pages_shared"));
   EXPECT_EQ(report->Figure(row, "zero"), figure("ksm_zero_pages"));
   EXPECT_EQ(report->Figure(row, "reclaimed"), figure("pages_sharing") + figure("ksm_zero_pages"));
}

// Pages reserved for as long as the test runs, on top of those that the host has.
class ReservedLargePages {
 public:
   explicit ReservedLargePages(int64_t pages) : before(ReadFile(kFile))
   {
      std::ofstream(kFile) << std::atoll(before.c_str()) + pages << std::flush;
   }
   ~ReservedLargePages() { std::ofstream(kFile) << before << std::flush; }
   ReservedLargePages(const ReservedLargePages &) = delete;
   ReservedLargePages &operator=(const ReservedLargePages &) = delete;

 private:
   static constexpr char kFile[] = "/sys/devices/system/node/node0/hugepages/hugepages-2048kB/nr_hugepages";
   std::string before;
};

TEST(LiveFigures, LargePagesAreThoseOfTheHugePageFiles)
{
   const std::string folder = "/sys/devices/system/node/node0/hugepages/hugepages-2048kB/";
   if (ReadFile(folder + "nr_hugepages").empty()) {
      GTEST_SKIP() << folder << " cannot be read";
   }
   const ReservedLargePages reserved(4); // nothing happens where it may not
   const auto state = [&] { return ReadFile(folder + "nr_hugepages") + ReadFile(folder + "free_hugepages"); };
   const auto report = ReportOfOneMoment("lpool-stats", {}, state);
   if (!report) {
      GTEST_SKIP() << folder << " never stood still";
   }
   const std::vector<std::string> *pool = report->Find("name", "pshare-0");
   ASSERT_NE(pool, nullptr);
   EXPECT_EQ(report->Figure(*pool, "nrLPages"), std::atoll(ReadFile(folder + "nr_hugepages").c_str()));
   EXPECT_EQ(report->Figure(*pool, "nrFreeSPages"),
             512 * std::atoll(ReadFile(folder + "free_hugepages").c_str()));
}

TEST(LiveFigures, CompStatsShowsTheMemoryOfMeminfo)
{
   const auto meminfo = [] {
      std::map<std::string, int64_t> figures;
      std::ifstream file("/proc/meminfo");
      std::string name;
      for (std::string line; std::getline(file, line);) {
         figures[line.substr(0, line.find(':'))] = std::atoll(line.c_str() + line.find(':') + 1);
      }
      return figures;
   };
   const auto state = [&] { return std::to_string(meminfo()["MemFree"]); };
   const auto report = ReportOfOneMoment("comp-stats", {}, state);
   if (!report) {
      GTEST_SKIP() << "MemFree never stood still";
   }
   ASSERT_EQ(report->rows.size(), 1U);
   EXPECT_EQ(report->Figure(report->rows[0], "managedByMemMap"), meminfo()["MemTotal"]);
   EXPECT_EQ(std::to_string(report->Figure(report->rows[0], "free")), state());
}

} // namespace
