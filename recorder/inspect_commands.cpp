// list, info and verify.
#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "nevra/shown_text.h"
#include "nevra/snapshot/snapshot_verify.h"
#include "recorder/frame_choice.h"
#include "recorder/message.h"
#include "recorder/moment.h"
#include "recorder/reading_commands.h"
#include "snapshot-tool/capture_time.h"
#include "snapshot-tool/progress.h"

namespace recorder {

namespace {

// "2d 3h", "3h 20m", "5m 10s", "12s"
std::string DurationText(int64_t seconds)
{
   constexpr int64_t kSizes[] = {86400, 3600, 60, 1};
   constexpr char kLetters[] = "dhms";
   size_t unit = 0;
   while (unit < 3 && seconds < kSizes[unit]) {
      unit++;
   }
   std::string text = std::to_string(seconds / kSizes[unit]) + kLetters[unit];
   if (unit < 3) {
      text += ' ' + std::to_string(seconds % kSizes[unit] / kSizes[unit + 1]) + kLetters[unit + 1];
   }
   return text;
}

const char *StateOf(const Segment &segment)
{
   if (!segment.problem.empty()) {
      return "damaged";
   }
   return segment.isSealed ? "closed" : "open";
}

void PrintSegment(const Segment &segment)
{
   std::printf("%-7s %8zu %14" PRIu64 "  %s\n", StateOf(segment), segment.frameCount, segment.fileBytes,
               nevra::ShownText(segment.name).c_str());
   if (!segment.problem.empty()) {
      std::printf("   %s\n", nevra::ShownText(segment.problem).c_str());
   }
   if (segment.unfinishedBytes > 0) {
      std::printf("   and %" PRIu64 " bytes of a frame that is being written, or never was to its end\n",
                  segment.unfinishedBytes);
   }
}

void PrintGap(const Recording &recording, const Gap &gap)
{
   const Frame &before = recording.Frames()[gap.next - 1];
   const Frame &after = recording.Frames()[gap.next];
   const std::string length = gap.seconds >= 0 ? DurationText(gap.seconds) : "the clock was set back";
   std::printf("   gap: %s to %s (%s%s)\n", TimeOf(before).c_str(), TimeOf(after).c_str(), length.c_str(),
               gap.isAcrossBoot ? ", the host was booted" : "");
}

bool IsOfNote(const Frame &frame)
{
   return frame.header.reasons != kReasonInterval;
}

void PrintFrame(const Frame &frame)
{
   std::printf("   %s %8" PRIu64 " %10" PRIu64 " %10" PRIu64 "  %s\n", TimeOf(frame).c_str(),
               frame.header.sequence, frame.header.rawBytes, frame.header.storedBytes,
               ReasonText(frame.header.reasons).c_str());
}

int64_t PauseBefore(const Recording &recording, size_t frame)
{
   return SecondsOf(recording.Frames()[frame]) - SecondsOf(recording.Frames()[frame - 1]);
}

void PrintFact(const char *name, const std::string &value)
{
   std::printf("%-18s %s\n", name, nevra::ShownText(value).c_str());
}

// The name of the host, by the last frame that can be read.
std::string HostOf(Recording *recording)
{
   std::vector<uint8_t> bytes;
   std::string problem;
   for (size_t i = recording->Frames().size(); i-- > 0;) {
      nevra::SnapshotFile file;
      if (recording->Read(i, &bytes, &problem) &&
          nevra::OpenSnapshotBytes(bytes, &file, &problem) == NEVRA_OK) {
         return file.host;
      }
   }
   return "unknown: no frame can be read";
}

bool CheckFrame(Recording *recording, size_t frame, std::vector<uint8_t> *bytes)
{
   nevra::SnapshotFile file;
   std::string problem;
   if (!recording->Read(frame, bytes, &problem) ||
       nevra::OpenSnapshotBytes(*bytes, &file, &problem) != NEVRA_OK || !VerifySnapshot(file, &problem)) {
      Complain(TimeOf(recording->Frames()[frame]), problem);
      return false;
   }
   return true;
}

} // namespace

int ListCommand(const std::string &folder, bool allFrames)
{
   Recording recording;
   if (!OpenRecording(folder, &recording)) {
      return kExitFailed;
   }
   const std::vector<Gap> gaps = FindGaps(recording);
   auto gap = gaps.begin();
   std::printf("%-7s %8s %14s  %s\n", "state", "frames", "bytes", "segment");
   std::printf("   %-20s %8s %10s %10s  %s\n", "frame", "number", "bytes", "stored", "reason");
   for (const Segment &segment : recording.Segments()) {
      PrintSegment(segment);
      for (size_t i = segment.firstFrame; i < segment.firstFrame + segment.frameCount; i++) {
         if (gap != gaps.end() && gap->next == i) {
            PrintGap(recording, *gap++);
         }
         if (allFrames || IsOfNote(recording.Frames()[i])) {
            PrintFrame(recording.Frames()[i]);
         }
      }
   }
   return FinishOutput() ? kExitDone : kExitFailed;
}

int InfoCommand(const std::string &folder)
{
   Recording recording;
   if (!OpenRecording(folder, &recording)) {
      return kExitFailed;
   }
   const std::vector<Frame> &frames = recording.Frames();
   uint64_t fileBytes = 0;
   size_t damaged = 0;
   for (const Segment &segment : recording.Segments()) {
      fileBytes += segment.fileBytes;
      damaged += segment.problem.empty() ? 0 : 1;
   }
   uint64_t rawBytes = 0;
   std::vector<int64_t> pauses;
   for (size_t i = 0; i < frames.size(); i++) {
      rawBytes += frames[i].header.rawBytes;
      if (i > 0) {
         pauses.push_back(PauseBefore(recording, i));
      }
   }
   PrintFact("host", HostOf(&recording));
   PrintFact("first frame", TimeOf(frames.front()));
   PrintFact("last frame", TimeOf(frames.back()));
   PrintFact("frames", std::to_string(frames.size()));
   if (!pauses.empty()) {
      std::ranges::nth_element(pauses, pauses.begin() + static_cast<ptrdiff_t>(pauses.size() / 2));
      PrintFact("usual interval", DurationText(pauses[pauses.size() / 2]));
   }
   PrintFact("gaps", std::to_string(FindGaps(recording).size()));
   PrintFact("segments", std::to_string(recording.Segments().size()));
   PrintFact("damaged segments", std::to_string(damaged));
   PrintFact("bytes on disk", std::to_string(fileBytes));
   PrintFact("bytes of snapshots", std::to_string(rawBytes));
   return FinishOutput() ? kExitDone : kExitFailed;
}

int VerifyCommand(const std::string &folder)
{
   Recording recording;
   if (!OpenRecording(folder, &recording)) {
      return kExitFailed;
   }
   size_t problems = 0;
   for (const Segment &segment : recording.Segments()) {
      if (!segment.problem.empty()) {
         Complain(segment.path, segment.problem);
         problems++;
      }
   }
   {
      std::vector<uint8_t> bytes;
      Progress progress("checking");
      for (size_t i = 0; i < recording.Frames().size(); i++) {
         progress.Update(i, recording.Frames().size());
         problems += CheckFrame(&recording, i, &bytes) ? 0 : 1;
      }
   }
   if (problems == 0) {
      std::printf("%s: sound, %zu segments, %zu frames\n", nevra::ShownText(folder).c_str(),
                  recording.Segments().size(), recording.Frames().size());
   }
   return FinishOutput() && problems == 0 ? kExitDone : kExitFailed;
}

} // namespace recorder
