#include "report/banner.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

namespace {

template <typename Print> std::string Printed(Print print)
{
   testing::internal::CaptureStdout();
   print();
   std::fflush(stdout);
   return testing::internal::GetCapturedStdout();
}

TEST(Banner, BeginsWithABlankLineTheTitleAndARule)
{
   // The clock may tick between two readings: one of two neighbouring seconds is right.
   const time_t before = time(nullptr);
   const std::string printed = Printed([] { PrintBannerTitle("GROUP STATS", 37); });
   bool matches = false;
   for (time_t now = before; now <= time(nullptr); now++) {
      const std::string expected =
         "\n GROUP STATS: " + std::string(ctime(&now)) + " -------------------------------------\n";
      matches = matches || printed == expected;
   }
   EXPECT_TRUE(matches) << printed;
}

TEST(Banner, EndsTheTimeWithANewline)
{
   const std::string text = CurrentTimeText();
   EXPECT_EQ(text.size(), strlen("Tue Nov 14 22:13:20 2023\n"));
   EXPECT_EQ(text.back(), '\n');
}

TEST(Banner, PrintsItsSettings)
{
   EXPECT_EQ(Printed([] {
                PrintBannerStartGroup(UINT64_MAX);
                PrintBannerLevels(12);
                PrintBannerUnit(UNIT_PAGE);
                PrintBannerFilters(0xffffffff, 0, groupFlagNames);
                PrintBannerFilters(0xc, 0x2, groupFlagNames);
             }),
             "   Start Group ID   : 18446744073709551615\n"
             "   No. of levels    : 12\n"
             "   Unit             : Page (4K)\n"
             "   Inclusion filter : (all)\n"
             "   Exclusion filter : (none)\n"
             "   Inclusion filter : vm:uw\n"
             "   Exclusion filter : lf\n");
}

TEST(Banner, EndsWithTheSelectedColumnsAndABlankLine)
{
   const ReportColumn table[] = {
      {"a", "", 1, "u", 0, 0, 1}, {"b", "", 1, "u", 0, 0, 0}, {"c", "", 1, "u", 0, 0, 1}, kEndOfColumns};
   EXPECT_EQ(Printed([&] { PrintBannerSelectedColumns(table); }), "   Selected columns : a:c\n\n");
}

} // namespace
