#include "snapshot-tool/write_snapshot.h"

#include "nevra/snapshot/snapshot_writer.h"
#include "snapshot-tool/message.h"
#include "snapshot-tool/progress.h"

namespace {

bool WriteImage(const nevra::SnapshotImage &image, const std::string &output, nevra::IfExists ifExists,
                std::string *problem)
{
   const std::span<const uint8_t> parts[] = {{image.body.get(), image.bodySize}, image.trailer};
   Progress progress("writing");
   return nevra::ReplaceFile(output.c_str(), parts, ifExists, problem,
                             [&](uint64_t done) { progress.Update(done, image.bodySize); });
}

} // namespace

bool WriteSnapshot(nevra::SnapshotTree *tree, const std::string &origin, const std::string &output,
                   nevra::IfExists ifExists)
{
   nevra::SnapshotImage image;
   std::string problem;
   if (!MakeSnapshotImage(tree, &image, &problem)) {
      Complain(origin, problem);
      return false;
   }
   if (!WriteImage(image, output, ifExists, &problem)) {
      Complain(output, problem);
      return false;
   }
   return true;
}

bool WriteText(const std::string &text, const std::string &output, nevra::IfExists ifExists)
{
   const std::span<const uint8_t> parts[] = {{reinterpret_cast<const uint8_t *>(text.data()), text.size()}};
   std::string problem;
   if (!nevra::ReplaceFile(output.c_str(), parts, ifExists, &problem)) {
      Complain(output, problem);
      return false;
   }
   return true;
}

bool CheckOutput(const std::string &output, nevra::IfExists ifExists)
{
   std::string problem;
   if (!CheckTarget(output.c_str(), ifExists, &problem)) {
      Complain(output, problem);
      return false;
   }
   return true;
}
