// Moments as people name them, in several zones and around the days when clocks are set.
#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "recorder/time_text.h"
#include "snapshot-tool/capture_time.h"

namespace {

// The zone of the process, for as long as this lives.
class Zone {
 public:
   explicit Zone(const char *name)
   {
      setenv("TZ", name, 1);
      tzset();
   }
   ~Zone()
   {
      unsetenv("TZ");
      tzset();
   }
   Zone(const Zone &) = delete;
   Zone &operator=(const Zone &) = delete;
};

int64_t Utc(const char *text)
{
   int64_t seconds = 0;
   EXPECT_TRUE(ParseCaptureTime(text, &seconds)) << text;
   return seconds;
}

// What a text means at a moment, as a text in UTC; "-" for an invalid one.
std::string Meaning(const char *text, const char *now)
{
   int64_t seconds = 0;
   std::string problem;
   if (!recorder::ParseTime(text, Utc(now), &seconds, &problem)) {
      EXPECT_NE(problem.find(text), std::string::npos) << problem;
      return "-";
   }
   EXPECT_EQ(problem, "");
   return FormatCaptureTime(seconds);
}

// The rule for Berlin stands in the text, so that no tables of zones are needed.
constexpr char kBerlin[] = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr char kNewYork[] = "EST5EDT,M3.2.0,M11.1.0";
constexpr char kKolkata[] = "IST-5:30";

TEST(TimeText, CountsBackFromNow)
{
   constexpr char kNow[] = "2026-02-01T00:00:00Z";
   for (const auto &[text, meaning] : {std::pair{"now", "2026-02-01T00:00:00Z"},
                                       {"now-2h", "2026-01-31T22:00:00Z"},
                                       {"now-90s", "2026-01-31T23:58:30Z"},
                                       {"now-90m", "2026-01-31T22:30:00Z"},
                                       {"now-1d", "2026-01-31T00:00:00Z"},
                                       {"now-1d2h3m4s", "2026-01-30T21:56:56Z"},
                                       {"now-0s", "2026-02-01T00:00:00Z"}}) {
      EXPECT_EQ(Meaning(text, kNow), meaning) << text;
   }
}

TEST(TimeText, TakesSecondsSince1970)
{
   EXPECT_EQ(Meaning("@0", "2026-02-01T00:00:00Z"), "1970-01-01T00:00:00Z");
   EXPECT_EQ(Meaning("@1769903999", "2026-02-01T00:00:00Z"), "2026-01-31T23:59:59Z");
   EXPECT_EQ(Meaning("@253402300799", "2026-02-01T00:00:00Z"), "9999-12-31T23:59:59Z");
   EXPECT_EQ(Meaning("@253402300800", "2026-02-01T00:00:00Z"), "-");
   EXPECT_EQ(Meaning("@9223372036854775808", "2026-02-01T00:00:00Z"), "-");
}

TEST(TimeText, ATimeOfDayIsTheLastOne)
{
   const Zone zone("UTC");
   constexpr char kNow[] = "2026-03-01T12:00:00Z";
   EXPECT_EQ(Meaning("03:00", kNow), "2026-03-01T03:00:00Z");
   EXPECT_EQ(Meaning("12:00", kNow), "2026-03-01T12:00:00Z");
   EXPECT_EQ(Meaning("12:00:01", kNow), "2026-02-28T12:00:01Z");
   EXPECT_EQ(Meaning("23:59:59", kNow), "2026-02-28T23:59:59Z");
   EXPECT_EQ(Meaning("00:00", kNow), "2026-03-01T00:00:00Z");
   EXPECT_EQ(Meaning("today 23:00", kNow), "2026-03-01T23:00:00Z");
   EXPECT_EQ(Meaning("yesterday 03:00", kNow), "2026-02-28T03:00:00Z");
   EXPECT_EQ(Meaning("yesterday 03:00", "2026-01-01T00:00:00Z"), "2025-12-31T03:00:00Z");
}

TEST(TimeText, TheDayIsThatOfTheZone)
{
   const Zone zone(kKolkata);
   // 01:30 of the next day there.
   constexpr char kNow[] = "2026-06-10T20:00:00Z";
   EXPECT_EQ(Meaning("01:00", kNow), "2026-06-10T19:30:00Z");
   EXPECT_EQ(Meaning("02:00", kNow), "2026-06-09T20:30:00Z");
   EXPECT_EQ(Meaning("yesterday 03:00", kNow), "2026-06-09T21:30:00Z");
   EXPECT_EQ(Meaning("2026-06-10 03:00", kNow), "2026-06-09T21:30:00Z");
   EXPECT_EQ(Meaning("2026-06-10T03:00:00Z", kNow), "2026-06-10T03:00:00Z");
}

TEST(TimeText, DatesAreOfTheZoneOrUtc)
{
   const Zone zone(kBerlin);
   constexpr char kNow[] = "2026-12-01T00:00:00Z";
   EXPECT_EQ(Meaning("2026-01-31T23:59:59Z", kNow), "2026-01-31T23:59:59Z");
   EXPECT_EQ(Meaning("2026-01-31T23:59Z", kNow), "2026-01-31T23:59:00Z");
   EXPECT_EQ(Meaning("2026-01-31T23:59:59", kNow), "2026-01-31T22:59:59Z");
   EXPECT_EQ(Meaning("2026-07-31 23:59", kNow), "2026-07-31T21:59:00Z");
   EXPECT_EQ(Meaning("2024-02-29 12:00", kNow), "2024-02-29T11:00:00Z");
   EXPECT_EQ(Meaning("9999-12-31T23:59:59Z", kNow), "9999-12-31T23:59:59Z");
}

// On 2026-10-25, clocks went from 03:00 back to 02:00, at 01:00 UTC.
TEST(TimeText, ATimeThatCameTwiceIsTheLaterOne)
{
   const Zone zone(kBerlin);
   EXPECT_EQ(Meaning("2026-10-25 02:30", "2026-12-01T00:00:00Z"), "2026-10-25T01:30:00Z");
   EXPECT_EQ(Meaning("02:30", "2026-10-25T12:00:00Z"), "2026-10-25T01:30:00Z");
   EXPECT_EQ(Meaning("02:30", "2026-10-25T01:30:00Z"), "2026-10-25T01:30:00Z");
   // Before the clock shows it again, the last one is the first.
   EXPECT_EQ(Meaning("02:30", "2026-10-25T01:10:00Z"), "2026-10-25T00:30:00Z");
   EXPECT_EQ(Meaning("02:30", "2026-10-25T00:10:00Z"), "2026-10-24T00:30:00Z");
   EXPECT_EQ(Meaning("yesterday 02:30", "2026-10-26T12:00:00Z"), "2026-10-25T01:30:00Z");
   EXPECT_EQ(Meaning("01:59", "2026-10-25T12:00:00Z"), "2026-10-24T23:59:00Z");
   EXPECT_EQ(Meaning("03:00", "2026-10-25T12:00:00Z"), "2026-10-25T02:00:00Z");
}

// On 2026-03-29, clocks went from 02:00 to 03:00, at 01:00 UTC.
TEST(TimeText, ATimeThatWasSkippedIsAsMuchLater)
{
   const Zone zone(kBerlin);
   EXPECT_EQ(Meaning("2026-03-29 02:30", "2026-12-01T00:00:00Z"), "2026-03-29T01:30:00Z"); // 03:30
   EXPECT_EQ(Meaning("02:30", "2026-03-29T12:00:00Z"), "2026-03-29T01:30:00Z");
   EXPECT_EQ(Meaning("02:30", "2026-03-29T01:10:00Z"), "2026-03-28T01:30:00Z"); // it is 03:10
   EXPECT_EQ(Meaning("01:59:59", "2026-03-29T12:00:00Z"), "2026-03-29T00:59:59Z");
   EXPECT_EQ(Meaning("03:00", "2026-03-29T12:00:00Z"), "2026-03-29T01:00:00Z");
   EXPECT_EQ(Meaning("now-2h", "2026-03-29T02:00:00Z"), "2026-03-29T00:00:00Z");
}

TEST(TimeText, TheSameWestOfGreenwich)
{
   const Zone zone(kNewYork);
   EXPECT_EQ(Meaning("2026-11-01 01:30", "2026-12-01T00:00:00Z"), "2026-11-01T06:30:00Z");
   EXPECT_EQ(Meaning("01:30", "2026-11-01T05:45:00Z"), "2026-11-01T05:30:00Z");
   EXPECT_EQ(Meaning("2026-03-08 02:30", "2026-12-01T00:00:00Z"), "2026-03-08T07:30:00Z");
   EXPECT_EQ(Meaning("yesterday 22:00", "2026-06-02T02:00:00Z"), "2026-06-01T02:00:00Z"); // 22:00 on June 1
}

TEST(TimeText, RefusesWhatIsNoTime)
{
   const Zone zone("UTC");
   for (const char *text : {"",
                            " ",
                            "NOW",
                            "now ",
                            "now+1h",
                            "now-",
                            "now-h",
                            "now-1",
                            "now-1y",
                            "now-1h1h",
                            "now-1m2h",
                            "now--1h",
                            "now-99999999999999999999d",
                            "now-57y",
                            "3:00",
                            "03:0",
                            "24:00",
                            "03:60",
                            "03:00:60",
                            "03:00:0",
                            "03:00Z",
                            "03",
                            "0300",
                            "03:00 ",
                            " 03:00",
                            "today",
                            "yesterday",
                            "yesterday03:00",
                            "yesterday 25:00",
                            "tomorrow 03:00",
                            "2026-01-31",
                            "2026-01-32T00:00:00Z",
                            "2026-02-29T00:00:00Z",
                            "2026-13-01T00:00:00Z",
                            "2026-00-10T00:00:00Z",
                            "2026-01-00T00:00:00Z",
                            "26-01-31T00:00:00Z",
                            "2026-01-31T24:00:00Z",
                            "2026-01-31T23:59:59+01:00",
                            "2026-01-31T23:59:59ZZ",
                            "2026-01-31T",
                            "2026-01-31T23:59:59.5Z",
                            "1969-12-31T23:59:59Z",
                            "@",
                            "@-1",
                            "@1x",
                            "@ 1",
                            "@0x10",
                            "12:00\n",
                            "1\xff"}) {
      EXPECT_EQ(Meaning(text, "2026-03-01T12:00:00Z"), "-") << text;
   }
   EXPECT_EQ(Meaning("now-1d", "1970-01-01T12:00:00Z"), "-");
}

} // namespace
