#include <cstdio>

#include "export/answer_from_snapshot.h"
#include "export/growth.h"
#include "recorder/frame_choice.h"
#include "recorder/message.h"
#include "recorder/moment.h"
#include "recorder/reading_commands.h"

namespace recorder {

namespace {

// The sizes at one moment.
bool ReadSizesAt(Recording *recording, size_t frame, const GrowthSubject &subject, SizesByName *sizes,
                 Moment *moment)
{
   std::vector<uint8_t> snapshot;
   std::string problem;
   if (!ReadFrame(recording, frame, &snapshot)) {
      return false;
   }
   if (!AnswerFromSnapshot(snapshot, moment, &problem)) {
      Complain(TimeOf(recording->Frames()[frame]), problem);
      return false;
   }
   moment->seconds = SecondsOf(recording->Frames()[frame]);
   return ReadSizes(subject, sizes);
}

} // namespace

int GrowCommand(const std::string &folder, const GrowRequest &request)
{
   const GrowthSubject *subject = FindGrowthSubject(request.by);
   DisplayUnit unit;
   if (subject == nullptr) {
      Complain("--by", std::string("not one of ") + kGrowthSubjectWords + ": " + request.by);
      return kExitTrouble;
   }
   if (ParseDisplayUnit(request.unit.c_str(), false, &unit) != NEVRA_OK) {
      return kExitTrouble;
   }
   Recording recording;
   size_t from;
   size_t to;
   if (!OpenRecording(folder, &recording) || !ChooseFrame(folder, recording, request.from, &from) ||
       !ChooseFrame(folder, recording, request.to, &to)) {
      return kExitFailed;
   }
   SizesByName before;
   SizesByName now;
   Moment momentBefore;
   Moment momentNow;
   if (!ReadSizesAt(&recording, from, *subject, &before, &momentBefore) ||
       !ReadSizesAt(&recording, to, *subject, &now, &momentNow)) {
      return kExitFailed;
   }
   PrintMoments(momentBefore, momentNow, stdout);
   PrintGrowth(*subject, CompareSizes(before, now), request.top, unit, stdout);
   return FinishOutput() ? kExitDone : kExitFailed;
}

} // namespace recorder
