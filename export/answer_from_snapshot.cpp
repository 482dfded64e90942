#include "export/answer_from_snapshot.h"

#include <cstring>
#include <utility>

#include "nevra/operations.h"
#include "nevra/snapshot/snapshot_source.h"
#include "snapshot-tool/capture_time.h"

namespace {

bool AnswerFrom(nevra::SnapshotFile file, const std::string &name, Moment *moment, std::string *problem,
                SnapshotFacts *facts)
{
   if (std::strcmp(file.signature, nevra::DefinitionSignature()) != 0) {
      *problem = "taken with other node definitions than this program's";
      return false;
   }
   *moment = {file.host, file.captured};
   if (facts != nullptr) {
      *facts = {file.notes, file.kernelDetail};
   }
   nevra::AnswerFrom(nevra::MakeSnapshotSource(std::move(file), name.c_str()));
   return true;
}

} // namespace

bool AnswerFromSnapshot(std::span<const uint8_t> bytes, Moment *moment, std::string *problem,
                        SnapshotFacts *facts)
{
   nevra::SnapshotFile file;
   if (nevra::OpenSnapshotBytes(bytes, &file, problem) != NEVRA_OK) {
      return false;
   }
   const std::string name = "snapshot of " + FormatCaptureTime(file.captured);
   return AnswerFrom(std::move(file), name, moment, problem, facts);
}

bool AnswerFromSnapshotFile(const std::string &path, Moment *moment, std::string *problem,
                            SnapshotFacts *facts)
{
   nevra::SnapshotFile file;
   return nevra::OpenSnapshotFile(path.c_str(), &file, problem) == NEVRA_OK &&
          AnswerFrom(std::move(file), path, moment, problem, facts);
}
