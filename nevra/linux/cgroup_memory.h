// The memory figures of one cgroup, in KB, from its memory.* files of either version.
#ifndef NEVRA_LINUX_CGROUP_MEMORY_H
#define NEVRA_LINUX_CGROUP_MEMORY_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

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
   bool isKnown = false; // whether the kernel counts the memory of this cgroup
   uint64_t current = 0; // memory.current, and huge pages; v1: memory.usage_in_bytes
   uint64_t peak = 0;    // memory.peak; v1: memory.max_usage_in_bytes
   uint64_t kernel = 0;  // kernel memory, from memory.stat; v1: memory.kmem.usage_in_bytes
   uint64_t active = 0;  // active_anon and active_file of memory.stat; v1: total_active_...
};

// What has happened in a cgroup, and its share of swap and of the compressed pool; v2 only.
struct CgroupEvents {
   static constexpr uint64_t kNotCounted = kUnlimited;

   // memory.stat; 0 where the kernel does not count.
   uint64_t zswapKB = 0;    // zswap: compressed
   uint64_t zswappedKB = 0; // zswapped: what that was before
   uint64_t anonThpKB = 0;  // anon_thp
   uint64_t zswapInPages = 0;
   uint64_t zswapOutPages = 0;
   uint64_t swapInPages = 0; // pswpin
   uint64_t swapOutPages = 0;
   uint64_t thpFaultAllocs = 0;
   uint64_t thpCollapseAllocs = 0;
   // memory.stat, pages; kNotCounted on kernels without them.
   uint64_t numaHintFaults = kNotCounted;
   uint64_t numaMigrated = kNotCounted; // numa_pages_migrated
   uint64_t promoted = kNotCounted;     // pgpromote_success
   uint64_t demoted = kNotCounted;      // pgdemote_*, summed up

   uint64_t swapKB = 0;              // memory.swap.current
   uint64_t swapMaxKB = kUnlimited;  // memory.swap.max
   uint64_t zswapMaxKB = kUnlimited; // memory.zswap.max
};

// Nothing when the cgroup is gone.
std::optional<CgroupLimits> ReadCgroupLimits(const CgroupTree &tree, CgroupIndex cgroup,
                                             KernelFileReader &files);
// The huge pages of v2 are in `hugePageFiles`, one for each size, as the kernel counts them apart.
std::optional<CgroupUsage> ReadCgroupUsage(const CgroupTree &tree, CgroupIndex cgroup,
                                           const std::vector<std::string> &hugePageFiles,
                                           KernelFileReader &files);
std::optional<CgroupEvents> ReadCgroupEvents(const CgroupTree &tree, CgroupIndex cgroup,
                                             KernelFileReader &files);

} // namespace nevra

#endif
