#include "recorder/host_sampler.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

#include <sys/wait.h>

#include "nevra/linux/linux_source.h"
#include "nevra/snapshot/capture.h"
#include "nevra/snapshot/snapshot_format.h"
#include "nevra/snapshot/snapshot_writer.h"
#include "recorder/segment_format.h"
#include "snapshot-tool/capture_notes.h"
#include "snapshot-tool/held_messages.h"
#include "snapshot-tool/platform_source.h"

namespace recorder {

namespace {

// A platform may have another message each time, for weeks.
constexpr size_t kMostSaid = 200;

std::unique_ptr<nevra::Source> OpenSource(const std::string &root, std::string *problem)
{
   return root.empty() ? OpenPlatformSource(problem) : nevra::MakeLinuxSource(root);
}

// A library that is unloaded no longer waits for processes that it started, and that ended late.
void ReapEndedProcesses()
{
   while (waitpid(-1, nullptr, WNOHANG) > 0) {
   }
}

} // namespace

HostSampler::HostSampler(std::string theRoot, Say theSay) : root(std::move(theRoot)), say(std::move(theSay))
{
}

bool HostSampler::CanSample(std::string *problem) const
{
   return OpenSource(root, problem) != nullptr;
}

// Each source reads the host once, at its first question.
bool HostSampler::Capture(nevra::SnapshotTree *tree, const std::function<void()> &onProgress,
                          std::string *problem)
{
   bool isCaptured = false;
   std::vector<std::string> unreadable;
   {
      HeldMessages held("hostmem-record");
      const std::unique_ptr<nevra::Source> source = OpenSource(root, problem);
      if (source != nullptr) {
         isCaptured = CaptureTree(
            *source, tree, [&](uint64_t) { onProgress(); }, problem, kMaxRawBytes);
         unreadable.assign(source->Unreadable().begin(), source->Unreadable().end());
      }
      std::ranges::move(held.Take(), std::back_inserter(unreadable));
   }
   ReapEndedProcesses();
   for (const std::string &line : unreadable) {
      NoteUnreadable(line, &tree->notes);
      if (said.size() < kMostSaid && said.insert(line).second) {
         say(line);
      }
   }
   return isCaptured;
}

bool HostSampler::Sample(int64_t seconds, const std::function<void()> &onProgress,
                         std::vector<uint8_t> *snapshot, std::string *problem)
{
   nevra::SnapshotTree tree;
   const std::string folder = root.empty() ? "/" : root;
   tree.host = nevra::ReadHostName(folder);
   tree.notes = "captured by: hostmem-record " HOSTMEM_VERSION;
   const std::string release = nevra::ReadKernelRelease(folder);
   if (!release.empty()) {
      tree.notes += "\nkernel release: " + release;
   }
   tree.captured = std::clamp<int64_t>(seconds, 0, nevra::kMaxCaptureTime);
   nevra::SnapshotImage image;
   if (!Capture(&tree, onProgress, problem) || !MakeSnapshotImage(&tree, &image, problem, kMaxRawBytes)) {
      return false;
   }
   *snapshot = BytesOfImage(image);
   return true;
}

} // namespace recorder
