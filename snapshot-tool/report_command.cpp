#include <cerrno>
#include <cstring>

#include "nevra/nevra.h"
#include "snapshot-tool/commands.h"
#include "snapshot-tool/message.h"
#include "snapshot-tool/run_hostmem.h"

int ReportCommand(const std::string &path, const std::vector<std::string> &arguments)
{
   {
      nevra::SnapshotFile file;
      if (!OpenForCommand(path, false, &file)) {
         return kExitFailed;
      }
      Complain(path, MomentOf(file));
   }
   BecomeHostmem(path, arguments);
   Complain("hostmem", std::string("cannot be run: ") + std::strerror(errno));
   return kExitFailed;
}
