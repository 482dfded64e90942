#include "snapshot-tool/message.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "nevra/snapshot/snapshot_verify.h"
#include "snapshot-tool/progress.h"

void Complain(const std::string &path, const std::string &problem)
{
   Warning("hostmem-snapshot: %s: %s\n", path.c_str(), problem.c_str());
}

namespace {

bool Verify(const nevra::SnapshotFile &file, std::string *problem)
{
   Progress progress("checking");
   return VerifySnapshot(file, problem, [&](uint64_t done, uint64_t total) { progress.Update(done, total); });
}

} // namespace

bool OpenForCommand(const std::string &path, bool verified, nevra::SnapshotFile *file)
{
   std::string problem;
   if (OpenSnapshotFile(path.c_str(), file, &problem) != NEVRA_OK || (verified && !Verify(*file, &problem))) {
      Complain(path, problem);
      return false;
   }
   return true;
}

bool FinishOutput()
{
   if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
      Complain("standard output", std::string("cannot be written: ") + std::strerror(errno));
      return false;
   }
   return true;
}
