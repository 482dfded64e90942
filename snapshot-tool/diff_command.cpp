#include "nevra/snapshot/file_map.h"
#include "snapshot-tool/commands.h"
#include "snapshot-tool/message.h"
#include "snapshot-tool/snapshot_diff.h"

int DiffCommand(const std::string &left, const std::string &right)
{
   nevra::SetExitStatusOfCutFile(kExitTrouble);
   nevra::SnapshotFile leftFile;
   nevra::SnapshotFile rightFile;
   if (!OpenForCommand(left, true, &leftFile) || !OpenForCommand(right, true, &rightFile)) {
      return kExitTrouble;
   }
   Progress progress("comparing");
   const uint64_t differences = DiffSnapshots(leftFile, rightFile, stdout, &progress);
   if (!FinishOutput()) {
      return kExitTrouble;
   }
   return differences == 0 ? kExitDone : kExitFailed;
}
