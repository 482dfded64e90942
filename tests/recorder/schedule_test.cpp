// When frames are due, and what the command line may say about it.
#include <gtest/gtest.h>

#include "recorder/frame_schedule.h"
#include "recorder/limit_text.h"
#include "tests/recorder/recording_kit.h"

namespace {

using namespace recorder;

class FrameScheduleTest : public testing::Test {
 protected:
   // The reasons for the frames of so many ms, looked for every 10 ms; `perMs` happens before each look.
   std::vector<std::pair<int64_t, uint32_t>> Frames(int64_t ms, const std::function<void(int64_t)> &happens)
   {
      std::vector<std::pair<int64_t, uint32_t>> frames;
      for (int64_t passed = 0; passed < ms; passed += 10) {
         happens(passed);
         const uint32_t reasons = schedule.Due(now);
         if (reasons != 0) {
            frames.emplace_back(passed, reasons);
         }
         now.wall += 10'000'000;
         now.boot += 10'000'000;
      }
      return frames;
   }

   FrameTime now = {kThreeOClock + 50 * kSecondNs, 500 * kSecondNs};
   FrameSchedule schedule{kMinuteNs, now};
};

using Expected = std::vector<std::pair<int64_t, uint32_t>>;

TEST_F(FrameScheduleTest, FramesComeAtTheStartAndAtFullIntervals)
{
   EXPECT_EQ(Frames(140'000, [](int64_t) {}), (Expected{{0, kReasonStart},
                                                        {10'000, kReasonInterval},
                                                        {70'000, kReasonInterval},
                                                        {130'000, kReasonInterval}}));
}

TEST_F(FrameScheduleTest, WhatComesWithinASecondSharesAFrame)
{
   EXPECT_EQ(Frames(9000,
                    [this](int64_t passed) {
                       if (passed == 2000 || passed == 2100 || passed == 2900) {
                          schedule.Ask(kReasonRequest, now);
                       } else if (passed == 2500) {
                          schedule.Ask(kReasonOom, now);
                       }
                    }),
             (Expected{{0, kReasonStart}, {2000, kReasonRequest}, {3000, kReasonRequest | kReasonOom}}));
}

TEST_F(FrameScheduleTest, UnderLastingPressureFramesComeLessOften)
{
   const Expected frames = Frames(600'000, [this](int64_t passed) {
      if (passed % 2000 == 0) {
         schedule.Ask(kReasonPressure, now);
      }
   });
   size_t first = 0;
   size_t later = 0;
   for (const auto &[passed, reasons] : frames) {
      if ((reasons & kReasonPressure) != 0) {
         (passed < 30'000 ? first : later)++;
      }
   }
   EXPECT_GE(first, 4u);
   EXPECT_LE(later, 11u);
   EXPECT_GE(later, 8u);
}

TEST_F(FrameScheduleTest, PressureThatComesAgainHasAFrameAtOnce)
{
   const Expected frames = Frames(300'000, [this](int64_t passed) {
      if (passed < 60'000 ? passed % 2000 == 0 : passed == 255'000) {
         schedule.Ask(kReasonPressure, now);
      }
   });
   EXPECT_EQ(frames.back(), (std::pair<int64_t, uint32_t>(255'000, kReasonPressure)));
}

TEST_F(FrameScheduleTest, AClockThatIsSetBackDoesNotStopTheFrames)
{
   const Expected frames = Frames(140'000, [this](int64_t passed) {
      if (passed == 15'000) {
         now.wall -= 7 * kDayNs;
      }
   });
   EXPECT_EQ(frames, (Expected{{0, kReasonStart},
                               {10'000, kReasonInterval},
                               {70'000, kReasonInterval},
                               {130'000, kReasonInterval}}));
}

TEST_F(FrameScheduleTest, AClockThatIsSetForwardGivesOneFrame)
{
   const Expected frames = Frames(60'000, [this](int64_t passed) {
      if (passed == 15'000) {
         now.wall += 7 * kDayNs;
      }
   });
   EXPECT_EQ(frames, (Expected{{0, kReasonStart}, {10'000, kReasonInterval}, {15'000, kReasonInterval}}));
}

TEST_F(FrameScheduleTest, WaitsNoLongerThanUntilTheNextFrame)
{
   EXPECT_EQ(schedule.Wait(now), 0);
   schedule.Due(now);
   EXPECT_EQ(schedule.Wait(now), kSecondNs);
   now.wall += 9'800'000'000;
   now.boot += 9'800'000'000;
   EXPECT_EQ(schedule.Wait(now), 200'000'000);
}

TEST(LimitText, Durations)
{
   int64_t ns = 0;
   EXPECT_TRUE(ParseDuration("90s", &ns));
   EXPECT_EQ(ns, 90 * kSecondNs);
   EXPECT_TRUE(ParseDuration("5m", &ns));
   EXPECT_EQ(ns, 5 * kMinuteNs);
   EXPECT_TRUE(ParseDuration("12h", &ns));
   EXPECT_EQ(ns, 12 * kHourNs);
   EXPECT_TRUE(ParseDuration("14d", &ns));
   EXPECT_EQ(ns, 14 * kDayNs);
   for (const char *wrong : {"", "s", "0s", "60", "-1s", "1w", "1sec", "1.5h", " 1s", "99999999999999999999s",
                             "18446744073709551615d", "106752d"}) {
      EXPECT_FALSE(ParseDuration(wrong, &ns)) << wrong;
   }
}

TEST(LimitText, Sizes)
{
   uint64_t bytes = 0;
   EXPECT_TRUE(ParseSize("4096", &bytes));
   EXPECT_EQ(bytes, 4096u);
   EXPECT_TRUE(ParseSize("3K", &bytes));
   EXPECT_EQ(bytes, 3u << 10);
   EXPECT_TRUE(ParseSize("512M", &bytes));
   EXPECT_EQ(bytes, 512u << 20);
   EXPECT_TRUE(ParseSize("2T", &bytes));
   EXPECT_EQ(bytes, uint64_t{2} << 40);
   for (const char *wrong : {"", "G", "1g", "1GB", "-1", "1.5G", "8388608T", "5%"}) {
      EXPECT_FALSE(ParseSize(wrong, &bytes)) << wrong;
   }
}

TEST(LimitText, Shares)
{
   double share = 1;
   EXPECT_TRUE(ParseShare("5%", &share));
   EXPECT_DOUBLE_EQ(share, 0.05);
   EXPECT_TRUE(ParseShare("0%", &share));
   EXPECT_DOUBLE_EQ(share, 0);
   for (const char *wrong : {"", "%", "5", "101%", "-5%", "5 %"}) {
      EXPECT_FALSE(ParseShare(wrong, &share)) << wrong;
   }
}

} // namespace
