// Takes snapshots of the running host into memory.
#ifndef RECORDER_HOST_SAMPLER_H
#define RECORDER_HOST_SAMPLER_H

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "nevra/snapshot/snapshot_tree.h"

namespace recorder {

class HostSampler {
 public:
   using Say = std::function<void(const std::string &)>;

   // `root` is a recorded tree that stands for /; empty: this host, as its platform library shows it. What
   // cannot be read there is said once in a run, and noted in each snapshot. The process has no children but
   // the library's: those that have ended are reaped.
   HostSampler(std::string root, Say say);

   // False when there is nothing to take samples of, a host without a platform library for example:
   // `*problem` says why.
   bool CanSample(std::string *problem) const;

   // The bytes of a snapshot taken now, at `seconds` since 1970. Calls `onProgress` now and then. False when
   // it cannot be read, or does not fit into a recording: `*problem` says why.
   bool Sample(int64_t seconds, const std::function<void()> &onProgress, std::vector<uint8_t> *snapshot,
               std::string *problem);

 private:
   bool Capture(nevra::SnapshotTree *tree, const std::function<void()> &onProgress, std::string *problem);

   std::string root;
   Say say;
   std::set<std::string> said;
};

} // namespace recorder

#endif
