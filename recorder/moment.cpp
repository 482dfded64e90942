#include "recorder/moment.h"

#include <ctime>
#include <optional>

#include "recorder/frame_choice.h"
#include "recorder/message.h"
#include "recorder/time_text.h"

namespace recorder {

bool OpenRecording(const std::string &folder, Recording *recording)
{
   std::string problem;
   if (!recording->Open(folder, &problem)) {
      Complain(folder, problem);
      return false;
   }
   if (recording->Frames().empty()) {
      for (const Segment &segment : recording->Segments()) {
         if (!segment.problem.empty()) {
            Complain(segment.path, segment.problem);
         }
      }
      Complain(folder, "nothing is recorded here");
      return false;
   }
   return true;
}

bool ReadTime(const std::string &text, int64_t *seconds)
{
   std::string problem;
   if (!ParseTime(text, std::time(nullptr), seconds, &problem)) {
      Complain("TIME", problem);
      return false;
   }
   return true;
}

bool ChooseFrame(const std::string &folder, const Recording &recording, const std::string &time,
                 size_t *frame)
{
   int64_t seconds;
   if (!ReadTime(time, &seconds)) {
      return false;
   }
   const std::optional<size_t> found = FrameAt(recording, seconds);
   if (!found.has_value()) {
      Complain(folder, "nothing is recorded at or before " + time + "; the first frame is of " +
                          TimeOf(recording.Frames().front()));
      return false;
   }
   *frame = *found;
   return true;
}

bool ReadFrame(Recording *recording, size_t frame, std::vector<uint8_t> *snapshot)
{
   std::string problem;
   if (!recording->Read(frame, snapshot, &problem)) {
      Complain(TimeOf(recording->Frames()[frame]), problem);
      return false;
   }
   return true;
}

} // namespace recorder
