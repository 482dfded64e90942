#include "snapshot-tool/capture_time.h"

#include <gtest/gtest.h>

namespace {

TEST(CaptureTime, IsUtcInIso8601)
{
   EXPECT_EQ(FormatCaptureTime(0), "1970-01-01T00:00:00Z");
   EXPECT_EQ(FormatCaptureTime(1700000000), "2023-11-14T22:13:20Z");
   EXPECT_EQ(FormatCaptureTime(253402300799), "9999-12-31T23:59:59Z");
}

TEST(CaptureTime, ComesBackAsItWas)
{
   for (const int64_t seconds :
        {int64_t{0}, int64_t{951782400}, int64_t{1700000000}, int64_t{253402300799}}) {
      int64_t parsed = -1;
      EXPECT_TRUE(ParseCaptureTime(FormatCaptureTime(seconds), &parsed));
      EXPECT_EQ(parsed, seconds);
   }
}

TEST(CaptureTime, OtherTextsAreRefused)
{
   int64_t seconds;
   for (const char *text : {"", "2023-11-14", "2023-11-14T22:13:20", "2023-11-14T22:13:20+01:00",
                            "2023-02-30T00:00:00Z", "2023-1-14T22:13:20Z", "1969-12-31T23:59:59Z",
                            "2023-11-14T22:13:20Zx", "2023-11-14T25:13:20Z", " 2023-11-14T22:13:20Z"}) {
      EXPECT_FALSE(ParseCaptureTime(text, &seconds)) << text;
   }
}

} // namespace
