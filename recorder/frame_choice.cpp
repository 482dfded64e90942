#include "recorder/frame_choice.h"

#include <algorithm>

#include "snapshot-tool/capture_time.h"

namespace recorder {

namespace {

constexpr int64_t kNanoseconds = 1000000000;

const SegmentHeader &SegmentOf(const Recording &recording, const Frame &frame)
{
   return recording.Segments()[frame.segment].header;
}

bool IsBootBetween(const Recording &recording, const Frame &before, const Frame &after)
{
   return SegmentOf(recording, before).bootId != SegmentOf(recording, after).bootId;
}

} // namespace

int64_t SecondsOf(const Frame &frame)
{
   const int64_t time = frame.header.wallTime;
   return time / kNanoseconds - (time % kNanoseconds < 0 ? 1 : 0);
}

std::string TimeOf(const Frame &frame)
{
   return FormatCaptureTime(SecondsOf(frame));
}

std::optional<size_t> FrameAt(const Recording &recording, int64_t seconds)
{
   std::optional<size_t> found;
   const std::vector<Frame> &frames = recording.Frames();
   for (size_t i = 0; i < frames.size(); i++) {
      if (SecondsOf(frames[i]) <= seconds &&
          (!found.has_value() || frames[i].header.wallTime >= frames[*found].header.wallTime)) {
         found = i;
      }
   }
   return found;
}

std::vector<size_t> FramesBetween(const Recording &recording, int64_t from, int64_t to)
{
   std::vector<size_t> chosen;
   for (size_t i = 0; i < recording.Frames().size(); i++) {
      const int64_t seconds = SecondsOf(recording.Frames()[i]);
      if (from <= seconds && seconds <= to) {
         chosen.push_back(i);
      }
   }
   return chosen;
}

std::vector<Gap> FindGaps(const Recording &recording)
{
   const std::vector<Frame> &frames = recording.Frames();
   std::vector<int64_t> pauses;
   for (size_t i = 1; i < frames.size(); i++) {
      if (!IsBootBetween(recording, frames[i - 1], frames[i])) {
         pauses.push_back(frames[i].header.bootTime - frames[i - 1].header.bootTime);
      }
   }
   int64_t longest = 2 * kNanoseconds;
   if (!pauses.empty()) {
      // Extra frames make some pauses shorter; the usual one is that of most frames.
      std::ranges::nth_element(pauses, pauses.begin() + static_cast<ptrdiff_t>(pauses.size() / 2));
      longest = std::max(longest, 2 * pauses[pauses.size() / 2]);
   }
   std::vector<Gap> gaps;
   for (size_t i = 1; i < frames.size(); i++) {
      const bool isAcrossBoot = IsBootBetween(recording, frames[i - 1], frames[i]);
      if (isAcrossBoot || frames[i].header.bootTime - frames[i - 1].header.bootTime > longest) {
         gaps.push_back({i, SecondsOf(frames[i]) - SecondsOf(frames[i - 1]), isAcrossBoot});
      }
   }
   return gaps;
}

} // namespace recorder
