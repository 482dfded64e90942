// When the next frame is due, and why.
#ifndef RECORDER_FRAME_SCHEDULE_H
#define RECORDER_FRAME_SCHEDULE_H

#include <cstdint>

#include "recorder/recording_writer.h"

namespace recorder {

// Frames come at full intervals of the wall clock: with one of a minute, at the full minute. What else asks
// for one gets it at once, but no two frames are less than a second apart; what comes within it shares the
// next. While the host stays under pressure, its frames come less and less often, up to one an interval: the
// recorder must not become a part of the pressure.
class FrameSchedule {
 public:
   FrameSchedule(int64_t intervalNs, FrameTime start);

   void Ask(uint32_t reason, FrameTime now);

   // The reasons for a frame now, 0 for none. The caller takes the frame.
   uint32_t Due(FrameTime now);

   // ns until Due may have something new.
   int64_t Wait(FrameTime now) const;

 private:
   void PlanInterval(FrameTime now);

   int64_t interval;
   int64_t nextInterval = 0; // wall time
   FrameTime lastSeen;
   int64_t lastFrame = INT64_MIN / 2; // boot time
   int64_t nextPressure = INT64_MIN / 2;
   int64_t lastPressure = INT64_MIN / 2;
   int64_t pressureGap = 0;
   uint32_t asked = 0;
};

} // namespace recorder

#endif
