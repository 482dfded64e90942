// Which frames of a recording a moment or a stretch of time means.
#ifndef RECORDER_FRAME_CHOICE_H
#define RECORDER_FRAME_CHOICE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "recorder/recording.h"

namespace recorder {

// The second in which a frame was taken, since 1970, UTC.
int64_t SecondsOf(const Frame &frame);

// "2026-01-31T23:59:59Z"
std::string TimeOf(const Frame &frame);

// The last frame at or before a moment; none when all are later. Where the clock was set back, the one that
// shows the latest time, and of those the one that was recorded last.
std::optional<size_t> FrameAt(const Recording &recording, int64_t seconds);

// The frames from `from` to `to`, both included, in the order of recording.
std::vector<size_t> FramesBetween(const Recording &recording, int64_t from, int64_t to);

// A stretch without frames between two that follow each other, longer than is usual in this recording.
struct Gap {
   size_t next;       // the frame after it
   int64_t seconds;   // by the clock
   bool isAcrossBoot; // the host was booted meanwhile
};

// What is more than twice as long as half of all pauses, and longer than two seconds. A boot always counts.
std::vector<Gap> FindGaps(const Recording &recording);

} // namespace recorder

#endif
