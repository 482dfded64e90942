// The host-wide memory files: /proc/meminfo, /proc/zoneinfo, /proc/vmstat and /proc/iomem. Memory in KB.
#ifndef NEVRA_LINUX_HOST_MEMORY_H
#define NEVRA_LINUX_HOST_MEMORY_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nevra/kernel_detail.h"
#include "nevra/values.h"

namespace nevra {

// /proc/meminfo. A line that this kernel does not have reads 0.
struct MemInfo {
   uint64_t memTotal = 0;
   uint64_t memFree = 0;
   uint64_t activeAnon = 0;
   uint64_t activeFile = 0;
   uint64_t anonPages = 0;
   uint64_t shmem = 0;
   uint64_t slab = 0;
   uint64_t kernelStack = 0;
   uint64_t pageTables = 0;
   uint64_t secPageTables = 0;
   uint64_t percpu = 0;
   uint64_t hugetlb = 0;

   // What the kernel allocates for itself, from the memory that it manages.
   uint64_t KernelHeap() const;
};

// Nothing when the text does not say how much memory there is.
std::optional<MemInfo> ParseMemInfo(std::string_view text);

// All of its lines that are amounts of memory, "Name:  1 kB". A line is left out when its name or its amount
// cannot be kept (nevra/kernel_detail.h) or its name was there before, and so is what is beyond the largest
// number of lines.
KernelFigures ParseKernelDetail(std::string_view text);

// A zone of /proc/zoneinfo, in pages.
struct Zone {
   uint32_t node;
   std::string_view name; // in the text that was parsed
   uint64_t freePages = 0;
   uint64_t min = 0;
   uint64_t low = 0;
   uint64_t high = 0;
   uint64_t present = 0;
   uint64_t managed = 0;
};

std::vector<Zone> ParseZones(std::string_view text);

// The memory of a NUMA node.
struct NodeMemory {
   uint32_t node;
   uint64_t managedLowPages = 0;  // zones DMA and DMA32
   uint64_t managedHighPages = 0; // all others
};

// What the zones say together.
struct ZoneSummary {
   MemState state = MemState::Unknown;
   uint64_t reservedLowPages = 0; // what the lowest zone, DMA, has and does not hand out
   std::vector<NodeMemory> nodes; // those that have memory, by number
};

ZoneSummary SummariseZones(const std::vector<Zone> &zones);

// From the free pages of all zones against the sums of their watermarks: above twice high is high, above high
// clear, above low soft, above min hard, else low. Unknown without zones.
MemState StateOfZones(const std::vector<Zone> &zones);

// /proc/vmstat: what counts for the transitions between memory states, the memory map and large pages.
struct LargePageCounters {
   uint64_t allocated = 0;        // thp_fault_alloc, thp_collapse_alloc, thp_file_alloc
   uint64_t splits = 0;           // thp_split_page
   uint64_t splitFailures = 0;    // thp_split_page_failed
   uint64_t compactStalls = 0;    // compact_stall
   uint64_t compactFailures = 0;  // compact_fail
   uint64_t compactSuccesses = 0; // compact_success
};

struct VmStat {
   uint64_t kswapdRuns = 0;          // pageoutrun: the zones fell below low and kswapd woke up
   uint64_t directReclaimStalls = 0; // allocstall: one counter per zone, or one for all
   uint64_t memmapPages = 0;         // nr_memmap_pages: page descriptors taken from managed memory
   uint64_t memmapBootPages = 0;     // nr_memmap_boot_pages: page descriptors taken before there was any
   LargePageCounters largePages;
};

VmStat ParseVmStat(std::string_view text);

// /proc/iomem; all 0 where the kernel hides the addresses.
struct IoMem {
   uint64_t systemRamKB = 0;
   uint64_t kernelCodeKB = 0;
   uint64_t kernelDataKB = 0; // data, read-only data and bss
};

IoMem ParseIoMem(std::string_view text);

// A cache of /proc/slabinfo.
struct SlabCache {
   std::string name; // fit to be shown; several may have the same
   uint64_t activeObjects;
   uint64_t objects;
   uint64_t objectBytes;
   uint64_t pagesPerSlab;
   uint64_t slabs;
};

std::vector<SlabCache> ParseSlabInfo(std::string_view text);

} // namespace nevra

#endif
