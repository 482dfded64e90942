#include "recorder/frame_schedule.h"

#include <algorithm>

namespace recorder {

namespace {

constexpr int64_t kSecond = 1'000'000'000;

} // namespace

FrameSchedule::FrameSchedule(int64_t intervalNs, FrameTime start)
    : interval(std::max(intervalNs, kSecond)), lastSeen(start)
{
   asked = kReasonStart;
   PlanInterval(start);
}

// The next full interval after now.
void FrameSchedule::PlanInterval(FrameTime now)
{
   const int64_t past = now.wall % interval;
   nextInterval = now.wall - (past < 0 ? past + interval : past) + interval;
}

void FrameSchedule::Ask(uint32_t reason, FrameTime now)
{
   if (reason == kReasonPressure) {
      if (now.boot - lastPressure >= interval) {
         pressureGap = 0; // it had ended
      }
      lastPressure = now.boot;
      if (now.boot < nextPressure) {
         return;
      }
      pressureGap = std::clamp(pressureGap * 2, kSecond, interval);
      nextPressure = now.boot + pressureGap;
   }
   asked |= reason;
}

uint32_t FrameSchedule::Due(FrameTime now)
{
   // A clock that was set back must not leave the recording without frames until it is where it was.
   if (now.wall < lastSeen.wall) {
      PlanInterval(now);
   }
   lastSeen = now;
   if (now.wall >= nextInterval) {
      asked |= kReasonInterval;
      PlanInterval(now);
   }
   if (asked == 0 || now.boot - lastFrame < kSecond) {
      return 0;
   }
   lastFrame = now.boot;
   const uint32_t reasons = asked;
   asked = 0;
   return reasons;
}

int64_t FrameSchedule::Wait(FrameTime now) const
{
   const int64_t untilInterval = nextInterval - now.wall;
   const int64_t untilAllowed = asked != 0 ? lastFrame + kSecond - now.boot : kSecond;
   return std::clamp<int64_t>(std::min(untilInterval, untilAllowed), 0, kSecond);
}

} // namespace recorder
