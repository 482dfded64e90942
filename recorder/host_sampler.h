// Takes snapshots of the running host into memory.
#ifndef RECORDER_HOST_SAMPLER_H
#define RECORDER_HOST_SAMPLER_H

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace recorder {

class HostSampler {
 public:
   using Say = std::function<void(const std::string &)>;

   // `root` stands for /. What cannot be read on this host is said once in a run.
   HostSampler(std::string root, Say say);

   // The bytes of a snapshot taken now, at `seconds` since 1970. Calls `onProgress` now and then. False when
   // it does not fit into a recording: `*problem` says why.
   bool Sample(int64_t seconds, const std::function<void()> &onProgress, std::vector<uint8_t> *snapshot,
               std::string *problem);

 private:
   std::string root;
   Say say;
   std::set<std::string> said;
};

} // namespace recorder

#endif
