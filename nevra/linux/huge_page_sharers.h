// How many processes share the huge pages of one: what /proc/PID/numa_maps says beyond smaps.
#ifndef NEVRA_LINUX_HUGE_PAGE_SHARERS_H
#define NEVRA_LINUX_HUGE_PAGE_SHARERS_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "nevra/linux/kernel_file.h"
#include "nevra/linux/process.h"
#include "nevra/linux/process_memory.h"

namespace nevra {

// Gathers from a text that comes in parts, one line a mapping.
class HugePageSharers {
 public:
   // Returns how many bytes it took: all lines that are whole, and the last one at the end.
   size_t Take(std::string_view numaMaps, bool isEnd);

   // How much of the huge pages that the process shares, `sharedKB`, counts for the others: of a page that n
   // map, n - 1 parts of n. All pages of a mapping count as shared by as many as the one that most share.
   // Half, the least that it can be, where nothing is known.
   uint64_t KBOfOthers(uint64_t sharedKB) const;

 private:
   void TakeMapping(std::string_view line);

   uint64_t pagesKB = 0;  // of the mappings that are shared
   uint64_t othersKB = 0; // the part of it that counts for others
};

// The kernel walks the process's page tables for it, as it does for smaps.
uint64_t ReadHugeKBOfOthers(const Process &process, uint64_t sharedKB, Walk walk, KernelFileReader &files);

} // namespace nevra

#endif
