#include "report/banner.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <span>
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

const ReportColumn kColumns[] = {
   {"a", "", 1, "u", 0, 0, 1}, {"b", "", 1, "u", 0, 0, 0}, {"c", "", 1, "u", 0, 0, 1}, kEndOfColumns};

std::string PrintedBanner(std::span<const BannerSetting> settings)
{
   return Printed([&] {
      PrintBanner({.report = "group-stats",
                   .title = "GROUP STATS",
                   .ruleLength = 37,
                   .columns = kColumns,
                   .unit = UNIT_KB,
                   .settings = settings});
   });
}

// What follows the title and its rule.
std::string PrintedSettings(std::span<const BannerSetting> settings)
{
   const std::string banner = PrintedBanner(settings);
   const std::string rule = " -------------------------------------\n";
   return banner.substr(banner.find(rule) + rule.size());
}

TEST(Banner, BeginsWithABlankLineTheTitleAndARule)
{
   // The clock may tick between two readings: one of two neighbouring seconds is right.
   const time_t before = time(nullptr);
   const std::string printed = PrintedBanner({});
   bool matches = false;
   for (time_t now = before; now <= time(nullptr); now++) {
      const std::string expected =
         "\n GROUP STATS: " + std::string(ctime(&now)) + " -------------------------------------\n";
      matches = matches || printed.starts_with(expected);
   }
   EXPECT_TRUE(matches) << printed;
}

TEST(Banner, EndsTheTimeWithANewline)
{
   const std::string text = CurrentTimeText();
   EXPECT_EQ(text.size(), strlen("Tue Nov 14 22:13:20 2023\n"));
   EXPECT_EQ(text.back(), '\n');
}

TEST(Banner, PrintsItsSettingsAndTheSelectedColumns)
{
   const BannerSetting settings[] = {
      {"Start Group ID", UINT64_MAX},
      {"No. of levels", 12U},
      {"Unit", "Page (4K)"},
      {"Inclusion filter", {UINT32_MAX, groupFlagNames}},
      {"Exclusion filter", {0U, groupFlagNames}},
      {"Inclusion filter", {0xcU, groupFlagNames}},
   };
   EXPECT_EQ(PrintedSettings(settings), "   Start Group ID   : 18446744073709551615\n"
                                        "   No. of levels    : 12\n"
                                        "   Unit             : Page (4K)\n"
                                        "   Inclusion filter : (all)\n"
                                        "   Exclusion filter : (none)\n"
                                        "   Inclusion filter : vm:uw\n"
                                        "   Selected columns : a:c\n\n");
}

TEST(Banner, PutsTheValuesUnderEachOther)
{
   const BannerSetting settings[] = {{"Unit", "KB"}, {"A name of 20 letters", uint64_t{7}}};
   EXPECT_EQ(PrintedSettings(settings), "   Unit                 : KB\n"
                                        "   A name of 20 letters : 7\n"
                                        "   Selected columns     : a:c\n\n");
}

} // namespace
