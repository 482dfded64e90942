#include "snapshot-tool/write_snapshot.h"

#include "nevra/snapshot/replace_file.h"
#include "nevra/snapshot/snapshot_writer.h"
#include "snapshot-tool/message.h"

bool WriteSnapshot(nevra::SnapshotTree *tree, const std::string &origin, const std::string &output)
{
   nevra::SnapshotImage image;
   std::string problem;
   if (!MakeSnapshotImage(tree, &image, &problem)) {
      Complain(origin, problem);
      return false;
   }
   const std::span<const uint8_t> parts[] = {{image.body.get(), image.bodySize}, image.trailer};
   if (!nevra::ReplaceFile(output.c_str(), parts, &problem)) {
      Complain(output, problem);
      return false;
   }
   return true;
}
