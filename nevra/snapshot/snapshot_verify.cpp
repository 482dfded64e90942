#include "nevra/snapshot/snapshot_verify.h"

#include "nevra/snapshot/snapshot_check.h"
#include "nevra/snapshot/snapshot_checksum.h"

namespace nevra {

bool VerifySnapshot(const SnapshotFile &file, std::string *problem,
                    const std::function<void(uint64_t, uint64_t)> &progress)
{
   if (!CheckTexts(file, problem)) {
      return false;
   }
   uint64_t done = 0;
   for (const SnapshotNode &node : file.nodes) {
      if (!CheckNode(file, node, problem)) {
         return false;
      }
      if (progress) {
         progress(++done, file.nodes.size() + 1);
      }
   }
   if (ChecksumOfBytes(file.bytes.get(), file.size - kTrailerSize) != file.trailer.fileChecksum) {
      *problem = "damaged: file checksum mismatch";
      return false;
   }
   return true;
}

} // namespace nevra
