// The host-wide reports against the kernel's own files, read in the same moment: before the report and after
// it, until both say the same.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <set>
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

// What a report shows, and what the kernel's files say that it must.
struct Figures {
   void Add(const std::string &name, int64_t shownFigure, int64_t kernelFigure)
   {
      shown += name + ' ' + std::to_string(shownFigure) + '\n';
      expected += name + ' ' + std::to_string(kernelFigure) + '\n';
   }

   std::string shown;
   std::string expected;
};

using Compare = std::function<Figures(const LiveReport &report, const std::string &state)>;

// What stood still between two states; none when that is too little.
using StoodStill =
   std::function<std::optional<std::string>(const std::string &before, const std::string &after)>;

std::optional<std::string> AllOrNothing(const std::string &before, const std::string &after)
{
   return before == after ? std::optional(before) : std::nullopt;
}

// Runs the report until it shows what the kernel says before it and after it. The report's own process
// takes memory, which it has given back when it is over: that two equal states have other figures between
// them is possible, but not that they always have.
void ExpectAgreement(const std::string &report, const std::vector<std::string> &arguments,
                     const std::function<std::string()> &state, const Compare &compare,
                     const StoodStill &stoodStill = AllOrNothing)
{
   constexpr int kTries = 200;
   std::optional<Figures> last;
   for (int i = 0; i < kTries && (!last || last->shown != last->expected); i++) {
      const std::string before = state();
      const LiveReport result = RunLiveReport(report, arguments);
      if (testing::Test::HasFailure()) {
         return;
      }
      if (const std::optional<std::string> still = stoodStill(before, state())) {
         last = compare(result, *still);
      }
   }
   if (!last) {
      GTEST_SKIP() << "the kernel's figures never stood still";
   }
   EXPECT_EQ(last->shown, last->expected);
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
   ExpectAgreement("buddy-stats", {}, buddyinfo, [](const LiveReport &report, const std::string &state) {
      std::vector<int64_t> low;
      std::vector<int64_t> high;
      SumFreeBuffers(state, &low, &high);
      Figures figures;
      for (size_t order = 0; order < std::size(kOrders); order++) {
         const std::string column = std::string(kOrders[order]) + "free";
         figures.Add("low " + column, SumOfType(report, "low", column), low[order]);
         figures.Add("high " + column, SumOfType(report, "high", column), high[order]);
      }
      return figures;
   });
}

// The lines of /proc/slabinfo that are the same in both, if those are half of them. Some cache always moves.
std::optional<std::string> CachesThatStoodStill(const std::string &before, const std::string &after)
{
   std::set<std::string> linesAfter;
   std::istringstream textAfter(after);
   for (std::string line; std::getline(textAfter, line);) {
      linesAfter.insert(line);
   }
   std::string still;
   size_t count = 0;
   std::istringstream textBefore(before);
   for (std::string line; std::getline(textBefore, line);) {
      if (linesAfter.contains(line)) {
         still += line + '\n';
         count++;
      }
   }
   return count * 2 > linesAfter.size() ? std::optional(still) : std::nullopt;
}

// The heap of a line of /proc/slabinfo against its row, in KB.
void AddHeap(const LiveReport &report, const std::string &line, Figures *figures)
{
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
   const std::vector<std::string> *row = report.Find("name", name);
   figures->Add(name + " rows", row != nullptr ? 1 : 0, 1);
   if (row != nullptr) {
      const int64_t size = slabs * pagesPerSlab * sysconf(_SC_PAGESIZE);
      const int64_t inactive = (objects - active) * objectSize;
      figures->Add(name + " size", report.Figure(*row, "size"), (size + 1023) / 1024);
      figures->Add(name + " avail", report.Figure(*row, "avail"), (inactive + 1023) / 1024);
      figures->Add(name + " numRanges", report.Figure(*row, "numRanges"), slabs);
   }
}

TEST(LiveFigures, HeapsAreTheCachesOfSlabinfo)
{
   const auto slabinfo = [] { return ReadFile("/proc/slabinfo"); };
   if (slabinfo().empty()) {
      GTEST_SKIP() << "/proc/slabinfo cannot be read";
   }
   const auto compare = [](const LiveReport &report, const std::string &state) {
      Figures figures;
      std::istringstream lines(state);
      std::string line;
      std::getline(lines, line); // the version
      std::getline(lines, line); // the heading
      while (std::getline(lines, line)) {
         AddHeap(report, line, &figures);
      }
      return figures;
   };
   ExpectAgreement("heap-stats", {"-u", "kb"}, slabinfo, compare, CachesThatStoodStill);
}

TEST(LiveFigures, SharedPagesAreThoseOfTheKernelsMerging)
{
   const std::string folder = "/sys/kernel/mm/ksm/";
   const auto state = [&] {
      std::string text;
      for (const char *file : {"pages_shared", "pages_sharing", "ksm_zero_pages"}) {
         const std::string figure = ReadFile(folder + file);
         text += figure.empty() ? "0\n" : figure; // the last is not of every kernel
      }
      return text;
   };
   if (ReadFile(folder + "pages_shared").empty()) {
      GTEST_SKIP() << folder << " cannot be read";
   }
   ExpectAgreement("pshare-stats", {"-u", "pg"}, state,
                   [](const LiveReport &report, const std::string &text) {
                      int64_t shared = 0;
                      int64_t sharing = 0;
                      int64_t zero = 0;
                      std::istringstream(text) >> shared >> sharing >> zero;
                      Figures figures;
                      figures.Add("rows", static_cast<int64_t>(report.rows.size()), 1);
                      const std::vector<std::string> &row = report.rows.at(0);
                      figures.Add("cow", report.Figure(row, "cow"), shared + sharing);
                      figures.Add("used", report.Figure(row, "used"), shared);
                      figures.Add("zero", report.Figure(row, "zero"), zero);
                      figures.Add("reclaimed", report.Figure(row, "reclaimed"), sharing + zero);
                      return figures;
                   });
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
   ExpectAgreement("lpool-stats", {}, state, [](const LiveReport &report, const std::string &text) {
      int64_t pages = 0;
      int64_t freePages = 0;
      std::istringstream(text) >> pages >> freePages;
      Figures figures;
      const std::vector<std::string> *pool = report.Find("name", "pshare-0");
      figures.Add("pools", pool != nullptr ? 1 : 0, 1);
      if (pool != nullptr) {
         figures.Add("nrLPages", report.Figure(*pool, "nrLPages"), pages);
         figures.Add("nrFreeSPages", report.Figure(*pool, "nrFreeSPages"), 512 * freePages);
      }
      return figures;
   });
}

TEST(LiveFigures, CompStatsShowsTheMemoryOfMeminfo)
{
   // The total, and what is free.
   const auto state = [] {
      std::ifstream file("/proc/meminfo");
      std::string text;
      for (std::string line; std::getline(file, line);) {
         if (line.starts_with("MemTotal:") || line.starts_with("MemFree:")) {
            text += std::to_string(std::atoll(line.c_str() + line.find(':') + 1)) + '\n';
         }
      }
      return text;
   };
   ExpectAgreement("comp-stats", {}, state, [](const LiveReport &report, const std::string &text) {
      int64_t total = 0;
      int64_t freeMemory = 0;
      std::istringstream(text) >> total >> freeMemory;
      Figures figures;
      const std::vector<std::string> &row = report.rows.at(0);
      figures.Add("managedByMemMap", report.Figure(row, "managedByMemMap"), total);
      figures.Add("free", report.Figure(row, "free"), freeMemory);
      return figures;
   });
}

} // namespace
