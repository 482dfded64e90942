#include "recorder/host_sampler.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "nevra/linux/linux_source.h"
#include "nevra/snapshot/capture.h"
#include "nevra/snapshot/snapshot_format.h"
#include "nevra/snapshot/snapshot_writer.h"
#include "recorder/segment_format.h"

namespace recorder {

HostSampler::HostSampler(std::string theRoot, Say theSay) : root(std::move(theRoot)), say(std::move(theSay))
{
}

bool HostSampler::Sample(int64_t seconds, const std::function<void()> &onProgress,
                         std::vector<uint8_t> *snapshot, std::string *problem)
{
   nevra::SnapshotTree tree;
   tree.host = nevra::ReadHostName(root);
   tree.notes = "captured by: hostmem-record " HOSTMEM_VERSION;
   const std::string release = nevra::ReadKernelRelease(root);
   if (!release.empty()) {
      tree.notes += "\nkernel release: " + release;
   }
   tree.captured = std::clamp<int64_t>(seconds, 0, nevra::kMaxCaptureTime);
   // Each source reads the host once, at its first question.
   const std::unique_ptr<nevra::Source> source = nevra::MakeLinuxSource(root);
   const bool isCaptured = CaptureTree(
      *source, &tree, [&](uint64_t) { onProgress(); }, problem, kMaxRawBytes);
   for (const std::string &line : source->Unreadable()) {
      if (said.insert(line).second) {
         say(line);
      }
   }
   nevra::SnapshotImage image;
   if (!isCaptured || !MakeSnapshotImage(&tree, &image, problem, kMaxRawBytes)) {
      return false;
   }
   *snapshot = BytesOfImage(image);
   return true;
}

} // namespace recorder
