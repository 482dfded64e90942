// The options that the reports share, and the levels.
#include "report/report_options.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "report/levels.h"

namespace {

struct Levels {
   NevraStatus status;
   uint32_t levels;
   std::string warnings;
};

Levels Parse(const char *text)
{
   Levels parsed = {0, 99, ""};
   testing::internal::CaptureStderr();
   parsed.status = ParseLevel(text, &parsed.levels);
   parsed.warnings = testing::internal::GetCapturedStderr();
   return parsed;
}

TEST(ParseLevel, TakesOneToTwelve)
{
   for (uint32_t levels = 1; levels <= 12; levels++) {
      const Levels parsed = Parse(std::to_string(levels).c_str());
      EXPECT_EQ(parsed.status, 0U);
      EXPECT_EQ(parsed.levels, levels);
      EXPECT_EQ(parsed.warnings, "");
   }
   EXPECT_EQ(MAX_LEVELS, 12U);
}

TEST(ParseLevel, RefusesZeroAndWhatIsNoNumber)
{
   for (const char *text : {"0", "", "abc", "-0", "x5", "0x10", "4294967296"}) {
      const Levels parsed = Parse(text);
      EXPECT_EQ(parsed.status, 0xbad0007U) << text;
      EXPECT_EQ(parsed.warnings, "Invalid level " + std::string(text) + ", must be > 0\n");
   }
}

// Kept for compatibility: "reseting".
TEST(ParseLevel, LowersWhatIsTooHighOrNegative)
{
   for (const char *text : {"13", "-1", "-5", "100", "4294967295"}) {
      const Levels parsed = Parse(text);
      EXPECT_EQ(parsed.status, 0U) << text;
      EXPECT_EQ(parsed.levels, 12U) << text;
      EXPECT_EQ(parsed.warnings, "Specified level " + std::string(text) + " too high, reseting to 12\n");
   }
}

TEST(ParseLevel, ReadsTheNumberThatATextBeginsWith)
{
   EXPECT_EQ(Parse("3abc").levels, 3U);
   EXPECT_EQ(Parse("  7").levels, 7U);
   EXPECT_EQ(Parse("010").levels, 10U);
   EXPECT_EQ(Parse("4294967299").levels, 3U); // taken in 32 bits
}

// Parses a whole command line, as after the report type.
class ReportOptionsTest : public testing::Test {
 protected:
   NevraStatus Parse(std::vector<std::string> arguments)
   {
      words = std::move(arguments);
      words.insert(words.begin(), "hostmem");
      argv.clear();
      for (std::string &word : words) {
         argv.push_back(word.data());
      }
      argv.push_back(nullptr);
      static constexpr option kOptions[] = {kGidOption,       kLevelOption,     kUnitOption,
                                            kInclusionOption, kExclusionOption, kVerboseOption,
                                            kSelectionOption, kCsvOption,       kEndOfOptions};
      optind = 0;
      opterr = 0;
      options = ReportOptions();
      return ParseReportOptions({"any-stats", static_cast<int>(words.size()), argv.data()},
                                "e:g:i:l:s:u:vqtx", kOptions, &options);
   }

   std::vector<std::string> words;
   std::vector<char *> argv;
   ReportOptions options;
};

TEST_F(ReportOptionsTest, HasDefaults)
{
   EXPECT_EQ(Parse({}), 0U);
   EXPECT_EQ(options.startGroupID, 0U);
   EXPECT_EQ(options.levels, 12U);
   EXPECT_EQ(options.unitText, nullptr);
   EXPECT_EQ(options.inclusionText, nullptr);
   EXPECT_EQ(options.exclusionText, nullptr);
   EXPECT_EQ(options.selection, nullptr);
   EXPECT_FALSE(options.verbose || options.csv || options.tags || options.extra);
}

TEST_F(ReportOptionsTest, RecordsEveryOption)
{
   EXPECT_EQ(
      Parse({"-g", "5", "-l", "2", "-u", "mb", "-i", "vm", "-e", "lf", "-s", "a:b", "-v", "-q", "-t", "-x"}),
      0U);
   EXPECT_EQ(options.startGroupID, 5U);
   EXPECT_EQ(options.levels, 2U);
   EXPECT_STREQ(options.unitText, "mb");
   EXPECT_STREQ(options.inclusionText, "vm");
   EXPECT_STREQ(options.exclusionText, "lf");
   EXPECT_STREQ(options.selection, "a:b");
   EXPECT_TRUE(options.verbose && options.csv && options.tags && options.extra);
}

TEST_F(ReportOptionsTest, TakesLongNames)
{
   EXPECT_EQ(Parse({"--gid=5", "--level", "2", "--unit=mb", "--iFilter=vm", "--eFilter=lf", "--cSelect=a",
                    "--verbose", "--csvMode"}),
             0U);
   EXPECT_EQ(options.startGroupID, 5U);
   EXPECT_EQ(options.levels, 2U);
   EXPECT_STREQ(options.unitText, "mb");
   EXPECT_STREQ(options.inclusionText, "vm");
   EXPECT_STREQ(options.exclusionText, "lf");
   EXPECT_STREQ(options.selection, "a");
   EXPECT_TRUE(options.verbose && options.csv);
}

TEST_F(ReportOptionsTest, ChoosesTheOutputByCsv)
{
   Parse({});
   EXPECT_EQ(options.output, &kAlignedTable);
   Parse({"-q"});
   EXPECT_EQ(options.output, &kCsvTable);
}

TEST_F(ReportOptionsTest, KeepsTheLastOfARepeatedOption)
{
   Parse({"-u", "mb", "-g", "1", "-u", "gb", "-g", "2"});
   EXPECT_STREQ(options.unitText, "gb");
   EXPECT_EQ(options.startGroupID, 2U);
}

TEST_F(ReportOptionsTest, CutsTheStartGroupTo32BitsAndWidensIt)
{
   Parse({"-g", "-1"});
   EXPECT_EQ(options.startGroupID, UINT64_MAX);
   Parse({"-g", "4294967295"});
   EXPECT_EQ(options.startGroupID, UINT64_MAX);
   Parse({"-g", "2147483648"});
   EXPECT_EQ(options.startGroupID, 0xffffffff80000000U);
   Parse({"-g", "4294967303"});
   EXPECT_EQ(options.startGroupID, 7U);
   Parse({"-g", "abc"});
   EXPECT_EQ(options.startGroupID, 0U);
   Parse({"-g", "12abc"});
   EXPECT_EQ(options.startGroupID, 12U);
}

TEST_F(ReportOptionsTest, IgnoresUnknownOptions)
{
   EXPECT_EQ(Parse({"-z", "--nothing", "-v", "word"}), 0U);
   EXPECT_TRUE(options.verbose);
   EXPECT_EQ(Parse({"-v", "-u"}), 0U); // without its argument
   EXPECT_EQ(options.unitText, nullptr);
}

TEST_F(ReportOptionsTest, EndsAtOnceAtLevelZero)
{
   testing::internal::CaptureStderr();
   EXPECT_EQ(Parse({"-l", "0", "-l", "13"}), 0xbad0007U);
   EXPECT_EQ(testing::internal::GetCapturedStderr(), "Invalid level 0, must be > 0\n");
}

TEST_F(ReportOptionsTest, WarnsOfEveryLevelThatIsTooHigh)
{
   testing::internal::CaptureStderr();
   EXPECT_EQ(Parse({"-l", "13", "-l", "3"}), 0U);
   EXPECT_EQ(testing::internal::GetCapturedStderr(), "Specified level 13 too high, reseting to 12\n");
   EXPECT_EQ(options.levels, 3U);
}

} // namespace
