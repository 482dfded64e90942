#include "snapshot-tool/growth_command.h"

#include "export/answer_from_snapshot.h"
#include "export/growth.h"
#include "nevra/snapshot/file_map.h"
#include "snapshot-tool/commands.h"
#include "snapshot-tool/message.h"

namespace {

bool ReadSizesOf(const std::string &path, const GrowthSubject &subject, SizesByName *sizes, Moment *moment)
{
   std::string problem;
   if (!AnswerFromSnapshotFile(path, moment, &problem)) {
      Complain(path, problem);
      return false;
   }
   return ReadSizes(subject, sizes);
}

} // namespace

int GrowthCommand(const std::string &before, const std::string &now, const GrowthRequest &request)
{
   nevra::SetExitStatusOfCutFile(kExitTrouble);
   const GrowthSubject *subject = FindGrowthSubject(request.by);
   DisplayUnit unit;
   SizesByName sizesBefore;
   SizesByName sizesNow;
   Moment momentBefore;
   Moment momentNow;
   if (subject == nullptr || ParseDisplayUnit(request.unit.c_str(), false, &unit) != NEVRA_OK ||
       !ReadSizesOf(before, *subject, &sizesBefore, &momentBefore) ||
       !ReadSizesOf(now, *subject, &sizesNow, &momentNow)) {
      return kExitTrouble;
   }
   const std::vector<Growth> growths = CompareSizes(sizesBefore, sizesNow);
   PrintMoments(momentBefore, momentNow, stdout);
   PrintGrowth(*subject, growths, request.top, unit, stdout);
   if (!FinishOutput()) {
      return kExitTrouble;
   }
   return growths.empty() ? kExitDone : kExitFailed;
}
