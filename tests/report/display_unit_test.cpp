#include "report/display_unit.h"

#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace {

struct Parsed {
   NevraStatus status;
   DisplayUnit unit;
   std::string warnings;
};

Parsed Parse(const char *text, bool allowBytes = false)
{
   Parsed parsed = {0, UNIT_GB, ""};
   testing::internal::CaptureStderr();
   parsed.status = ParseDisplayUnit(text, allowBytes, &parsed.unit);
   parsed.warnings = testing::internal::GetCapturedStderr();
   return parsed;
}

TEST(ParseDisplayUnit, GivesKilobytesWithoutAText)
{
   EXPECT_EQ(Parse(nullptr).unit, UNIT_KB);
   EXPECT_EQ(Parse(nullptr).status, 0U);
}

TEST(ParseDisplayUnit, TakesEachUnitInAnyCase)
{
   const std::pair<const char *, DisplayUnit> kTexts[] = {
      {"gb", UNIT_GB}, {"GB", UNIT_GB}, {"mb", UNIT_MB},   {"MB", UNIT_MB},  {"Mb", UNIT_MB},
      {"kb", UNIT_KB}, {"kB", UNIT_KB}, {"pg", UNIT_PAGE}, {"PG", UNIT_PAGE}};
   for (const auto &[text, unit] : kTexts) {
      const Parsed parsed = Parse(text);
      EXPECT_EQ(parsed.status, 0U) << text;
      EXPECT_EQ(parsed.unit, unit) << text;
      EXPECT_EQ(parsed.warnings, "") << text;
   }
}

TEST(ParseDisplayUnit, TakesBytesOnlyWhereAllowed)
{
   EXPECT_EQ(Parse("b", true).unit, UNIT_BYTES);
   EXPECT_EQ(Parse("B", true).unit, UNIT_BYTES);
   EXPECT_EQ(Parse("b").status, 0xbad0007U);
   EXPECT_EQ(Parse("B").warnings, "Invalid unit specified. Choose from {mb, kb, pg}\n");
}

// Kept for compatibility: the message leaves out gb, which is accepted.
TEST(ParseDisplayUnit, RefusesAnyOtherText)
{
   for (const char *text : {"", " ", "tb", "g", "gbs", "k", "page", "mb ", "0"}) {
      const Parsed parsed = Parse(text);
      EXPECT_EQ(parsed.status, 0xbad0007U) << text;
      EXPECT_EQ(parsed.warnings, "Invalid unit specified. Choose from {mb, kb, pg}\n") << text;
   }
   EXPECT_EQ(Parse("bytes", true).warnings, "Invalid unit specified. Choose from {mb, kb, pg, b}\n");
   EXPECT_EQ(Parse("bytes", true).status, 0xbad0007U);
}

TEST(DisplayUnitName, NamesEveryUnit)
{
   EXPECT_STREQ(DisplayUnitName(UNIT_GB), "GB");
   EXPECT_STREQ(DisplayUnitName(UNIT_MB), "MB");
   EXPECT_STREQ(DisplayUnitName(UNIT_KB), "KB");
   EXPECT_STREQ(DisplayUnitName(UNIT_PAGE), "Page (4K)");
   EXPECT_STREQ(DisplayUnitName(UNIT_BYTES), "Bytes");
   for (const uint32_t other : {0U, 1U, 2U, 8U, 0xffffffffU}) {
      EXPECT_STREQ(DisplayUnitName(static_cast<DisplayUnit>(other)), "Unknown") << other;
   }
}

TEST(DisplayUnit, HasThePlatformsNumbers)
{
   EXPECT_EQ(UNIT_GB, 3U);
   EXPECT_EQ(UNIT_MB, 4U);
   EXPECT_EQ(UNIT_KB, 5U);
   EXPECT_EQ(UNIT_PAGE, 6U);
   EXPECT_EQ(UNIT_BYTES, 7U);
   EXPECT_EQ(NotAvailable, 0xffffffffffffffffU);
   EXPECT_EQ(NA_THRESHOLD, 0xFFFFFFFFF0U);
}

TEST(ConvertKB, RoundsUp)
{
   EXPECT_EQ(ConvertKB(uint64_t{0}, UNIT_GB), 0U);
   EXPECT_EQ(ConvertKB(uint64_t{1}, UNIT_GB), 1U);
   EXPECT_EQ(ConvertKB(uint64_t{0x100000}, UNIT_GB), 1U);
   EXPECT_EQ(ConvertKB(uint64_t{0x100001}, UNIT_GB), 2U);
   EXPECT_EQ(ConvertKB(uint64_t{1024}, UNIT_MB), 1U);
   EXPECT_EQ(ConvertKB(uint64_t{1025}, UNIT_MB), 2U);
   EXPECT_EQ(ConvertKB(uint64_t{12345}, UNIT_KB), 12345U);
   EXPECT_EQ(ConvertKB(uint64_t{4}, UNIT_PAGE), 1U);
   EXPECT_EQ(ConvertKB(uint64_t{5}, UNIT_PAGE), 2U);
   EXPECT_EQ(ConvertKB(uint64_t{3}, UNIT_BYTES), 3072U);
}

TEST(ConvertKB, NeverConvertsNotAvailable)
{
   for (const DisplayUnit unit : {UNIT_GB, UNIT_MB, UNIT_KB, UNIT_PAGE, UNIT_BYTES}) {
      EXPECT_EQ(ConvertKB(NotAvailable, unit), NotAvailable);
   }
}

TEST(ConvertKB, WrapsAround)
{
   EXPECT_EQ(ConvertKB(UINT64_MAX - 1, UNIT_GB), 0U);
   EXPECT_EQ(ConvertKB(UINT64_MAX - 1, UNIT_MB), 0U);
   EXPECT_EQ(ConvertKB(UINT64_MAX - 1, UNIT_PAGE), 0U);
   EXPECT_EQ(ConvertKB(UINT64_MAX - 3, UNIT_PAGE), 0x3fffffffffffffffU);
   EXPECT_EQ(ConvertKB(uint64_t{1} << 60, UNIT_BYTES), 0U);
}

TEST(ConvertKB, LeavesAValueInAnUnknownUnit)
{
   EXPECT_EQ(ConvertKB(uint64_t{77}, static_cast<DisplayUnit>(2)), 77U);
   EXPECT_EQ(ConvertKB(uint64_t{77}, static_cast<DisplayUnit>(8)), 77U);
}

TEST(OrNotAvailable, TakesWhatIsAboveTheThresholdUnsigned)
{
   EXPECT_EQ(OrNotAvailable(0), 0);
   EXPECT_EQ(OrNotAvailable(0xFFFFFFFFF0), 0xFFFFFFFFF0);
   EXPECT_EQ(OrNotAvailable(0xFFFFFFFFF1), -1);
   EXPECT_EQ(OrNotAvailable(INT64_MAX), -1);
   EXPECT_EQ(OrNotAvailable(INT64_MIN), -1);
   EXPECT_EQ(OrNotAvailable(-2), -1);
}

} // namespace
