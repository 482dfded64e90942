// The memory figures of one cgroup, in KB, from its memory.* files of either version.
#ifndef NEVRA_LINUX_CGROUP_MEMORY_H
#define NEVRA_LINUX_CGROUP_MEMORY_H

#include <cstdint>
#include <optional>

#include "nevra/linux/cgroup_tree.h"
#include "nevra/linux/kernel_file.h"
#include "nevra/linux/kernel_text.h"

namespace nevra {

// What is configured. Without the memory controller nothing is: no reservation, no limit.
struct CgroupLimits {
   uint64_t min = 0;           // memory.min; v1 has none
   uint64_t max = kUnlimited;  // memory.max; v1: memory.limit_in_bytes
   uint64_t high = kUnlimited; // memory.high; v1 has none

   // The share of time, in percent, that the CPU limit leaves: 100 less the share of throttled periods.
   uint8_t unthrottledPercent = 100; // cpu.stat; v1: in the CPU controller's hierarchy
};

// What is used; 0 where the kernel does not say.
struct CgroupUsage {
   uint64_t current = 0; // memory.current; v1: memory.usage_in_bytes
   uint64_t peak = 0;    // memory.peak; v1: memory.max_usage_in_bytes
   uint64_t kernel = 0;  // kernel memory, from memory.stat; v1: memory.kmem.usage_in_bytes
   uint64_t active = 0;  // active_anon and active_file of memory.stat; v1: total_active_...
};

// Nothing when the cgroup is gone.
std::optional<CgroupLimits> ReadCgroupLimits(const CgroupTree &tree, CgroupIndex cgroup,
                                             KernelFileReader &files);
std::optional<CgroupUsage> ReadCgroupUsage(const CgroupTree &tree, CgroupIndex cgroup,
                                           KernelFileReader &files);

} // namespace nevra

#endif
