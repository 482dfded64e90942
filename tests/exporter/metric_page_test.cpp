// Thousands of readings, one after the other.
#include <cerrno>
#include <chrono>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>
#include <malloc.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "exporter/metric_page.h"

namespace {

using exporter::Clock;
using exporter::MetricPage;

// The address sanitizer makes a reading slow, and keeps what was freed.
#ifdef __SANITIZE_ADDRESS__
constexpr int kReadings = 400;
constexpr bool kIsMemoryMeasured = false;
#else
constexpr int kReadings = 2000;
constexpr bool kIsMemoryMeasured = true;
#endif
constexpr int kFirst = 200; // in which memory comes to its usual size

// One reading, from its start until its reader is gone.
void Read(MetricPage *page)
{
   page->Begin(Clock::now());
   do {
      pollfd polled = {page->Descriptor(), POLLIN, 0};
      poll(&polled, 1, 1000);
   } while (!page->Take(Clock::now()));
   siginfo_t ended;
   waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT);
   page->Reap();
}

double ValueIn(const std::string &text, const std::string &series)
{
   const size_t line = text.find('\n' + series + ' ');
   return line == std::string::npos ? -1 : std::stod(text.substr(line + series.size() + 2));
}

struct Held {
   size_t allocated;   // bytes, by this process
   double resident;    // bytes
   double descriptors; // open ones
   long readers;       // KB, of the largest reader so far
};

// After a reading.
Held WhatIsHeld(const MetricPage &page)
{
   rusage readers = {};
   getrusage(RUSAGE_CHILDREN, &readers);
   const std::string &text = *page.Last().text004;
   return {mallinfo2().uordblks, ValueIn(text, "process_resident_memory_bytes"),
           ValueIn(text, "process_open_fds"), readers.ru_maxrss};
}

TEST(MetricPage, HoldsNoMoreAfterThousandsOfReadings)
{
   MetricPage page(
      {.metrics = {.hasProcesses = true}, .snapshot = SAMPLES "/small-host.snapshot", .root = {}},
      std::chrono::minutes(1));
   for (int i = 0; i < kFirst; i++) {
      Read(&page);
   }
   const Held before = WhatIsHeld(page);
   for (int i = kFirst; i < kReadings; i++) {
      Read(&page);
      ASSERT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a reader is left";
      ASSERT_EQ(errno, ECHILD);
   }
   const Held after = WhatIsHeld(page);
   EXPECT_EQ(ValueIn(*page.Last().text004, "hostmem_exporter_scrapes_total"), kReadings);
   EXPECT_EQ(ValueIn(*page.Last().text004, "hostmem_report_success{report=\"vm-stats\"}"), 1);
   EXPECT_EQ(after.descriptors, before.descriptors);
   if (kIsMemoryMeasured) {
      // Less than a byte a reading: the figures in the text get longer.
      EXPECT_LT(after.allocated, before.allocated + 1024);
      EXPECT_LT(after.resident, before.resident + (256 << 10));
      EXPECT_LT(after.readers, before.readers + 1024);
   }
}

} // namespace
