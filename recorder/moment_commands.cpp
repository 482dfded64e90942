// report and at.
#include <cerrno>
#include <cstring>

#include "nevra/snapshot/snapshot_file.h"
#include "recorder/memory_file.h"
#include "recorder/message.h"
#include "recorder/moment.h"
#include "recorder/reading_commands.h"
#include "snapshot-tool/run_hostmem.h"

namespace recorder {

namespace {

// The snapshot of the last frame at or before a time.
bool ReadMoment(const std::string &folder, const std::string &time, std::vector<uint8_t> *snapshot)
{
   Recording recording;
   size_t frame;
   return OpenRecording(folder, &recording) && ChooseFrame(folder, recording, time, &frame) &&
          ReadFrame(&recording, frame, snapshot);
}

} // namespace

int ReportCommand(const std::string &folder, const std::string &time,
                  const std::vector<std::string> &arguments)
{
   std::string path;
   {
      std::vector<uint8_t> snapshot;
      if (!ReadMoment(folder, time, &snapshot)) {
         return kExitFailed;
      }
      nevra::SnapshotFile file;
      std::string problem;
      if (nevra::OpenSnapshotBytes(snapshot, &file, &problem) != NEVRA_OK) {
         Complain(time, problem);
         return kExitFailed;
      }
      Complain(folder, MomentOf(file));
      path = MakeMemoryFile(snapshot);
      if (path.empty()) {
         Complain("memory", std::strerror(errno));
         return kExitFailed;
      }
   }
   BecomeHostmem(path, arguments);
   Complain("hostmem", std::string("cannot be run: ") + std::strerror(errno));
   return kExitFailed;
}

int AtCommand(const std::string &folder, const std::string &time, const std::string &output,
              nevra::IfExists ifExists)
{
   std::vector<uint8_t> snapshot;
   std::string problem;
   if (!nevra::CheckTarget(output.c_str(), ifExists, &problem)) {
      Complain(output, problem);
      return kExitFailed;
   }
   if (!ReadMoment(folder, time, &snapshot)) {
      return kExitFailed;
   }
   nevra::SnapshotFile file;
   if (nevra::OpenSnapshotBytes(snapshot, &file, &problem) == NEVRA_OK) {
      Complain(output, MomentOf(file)); // else it is written all the same, to be looked into
   }
   const std::span<const uint8_t> parts[] = {snapshot};
   if (!nevra::ReplaceFile(output.c_str(), parts, ifExists, &problem)) {
      Complain(output, problem);
      return kExitFailed;
   }
   return kExitDone;
}

} // namespace recorder
