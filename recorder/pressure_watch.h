// Notices when a host runs short of memory: the kernel's pressure trigger, and its counts of processes
// killed.
#ifndef RECORDER_PRESSURE_WATCH_H
#define RECORDER_PRESSURE_WATCH_H

#include <cstdint>
#include <map>
#include <string>

#include "nevra/linux/cgroup_mounts.h"
#include "nevra/linux/kernel_file.h"

namespace recorder {

class PressureWatch {
 public:
   // `root` stands for /. What has happened before is not news.
   explicit PressureWatch(const std::string &root);

   // To be polled for POLLPRI, which comes when tasks waited for memory for a tenth of two seconds; -1 where
   // the kernel has no such trigger.
   int TriggerFile() const { return trigger.Get(); }
   void CloseTrigger() { trigger.Close(); }

   // Whether, since the last call, a process was killed for want of memory, or a top-level cgroup or one
   // below it hit its limit with nothing left to reclaim. Costs a read of vmstat, and of each top-level
   // cgroup's memory.events. Throws what KernelFileReader does; what has risen until then is told by the next
   // call.
   bool HasOomRisen();

 private:
   void CheckCount(const std::string &name, int folder, const char *path, const char *count);

   nevra::FileDescriptor root;
   nevra::KernelFileReader files;
   nevra::CgroupMounts mounts;
   nevra::FileDescriptor trigger;
   std::map<std::string, uint64_t> counts; // by cgroup; the host's has the empty name
   bool hasRisen = false;
};

} // namespace recorder

#endif
