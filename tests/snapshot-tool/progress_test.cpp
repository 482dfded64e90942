#include "snapshot-tool/progress.h"

#include <cstdlib>

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;

// What is shown when the work reports at these times, in milliseconds after its start.
std::string Shown(bool isTerminal, uint64_t total, std::initializer_list<int> times)
{
   char *text = nullptr;
   size_t size = 0;
   FILE *stream = open_memstream(&text, &size);
   {
      std::chrono::steady_clock::time_point now;
      Progress progress("importing", stream, isTerminal, [&] { return now; });
      uint64_t done = 0;
      for (const int time : times) {
         now = std::chrono::steady_clock::time_point(milliseconds(time));
         progress.Update(done += 10, total);
      }
   }
   std::fclose(stream);
   std::string shown(text, size);
   std::free(text);
   return shown;
}

TEST(Progress, ShortWorkShowsNothing)
{
   EXPECT_EQ(Shown(true, 100, {0, 500, 999}), "");
}

TEST(Progress, LongWorkShowsALineAndClearsIt)
{
   EXPECT_EQ(Shown(true, 100, {0, 1000, 1100, 1200}), "\r\033[Kimporting: 20%\r\033[Kimporting: 40%\r\033[K");
}

TEST(Progress, WorkOfUnknownSizeIsCounted)
{
   EXPECT_EQ(Shown(true, 0, {1000}), "\r\033[Kimporting: 10\r\033[K");
}

TEST(Progress, NothingIsShownWhereThereIsNoTerminal)
{
   EXPECT_EQ(Shown(false, 100, {0, 5000}), "");
}

} // namespace
