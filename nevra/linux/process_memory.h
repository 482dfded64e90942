// What /proc/PID/smaps_rollup and /proc/PID/smaps say about a process's memory, in KB. The kernel walks the
// process's page tables for them, so they are read only for the reports that need them.
#ifndef NEVRA_LINUX_PROCESS_MEMORY_H
#define NEVRA_LINUX_PROCESS_MEMORY_H

#include <cstdint>
#include <optional>
#include <string_view>

#include "nevra/linux/kernel_file.h"
#include "nevra/linux/process.h"

namespace nevra {

// One mapping, or all of them together.
struct MappedMemory {
   uint64_t size = 0; // 0 for all of them together
   uint64_t rss = 0;
   uint64_t pss = 0;
   uint64_t privateClean = 0;
   uint64_t privateDirty = 0;
   uint64_t referenced = 0;
   uint64_t ksm = 0;
   uint64_t largePages = 0; // anonymous, shared memory and files, mapped as large pages
   uint64_t hugetlb = 0;    // no part of rss
   uint64_t swap = 0;
   uint64_t locked = 0;
   uint64_t kernelPage = 0; // the page size that the mapping is made of

   uint64_t Resident() const;
};

// Nothing when the kernel refuses, or does not have the file, or the process has no memory of its own.
std::optional<MappedMemory> ReadMappedMemory(const Process &process, KernelFileReader &files);

// The mapping that holds a guest's memory: the one of exactly `guestKB`, else the largest.
std::optional<MappedMemory> ReadGuestMapping(const Process &process, std::optional<uint64_t> guestKB,
                                             KernelFileReader &files);

// The same search through a text that comes in parts, as the mappings of a process can be many.
class GuestMappingSearch {
 public:
   explicit GuestMappingSearch(std::optional<uint64_t> guestSizeKB) : guestKB(guestSizeKB) {}

   // Gives how many bytes it took: all mappings but the last, and that one, too, at the end.
   size_t Take(std::string_view smaps, bool isEnd);

   bool IsFound() const { return isFound; } // the one of exactly that size
   const std::optional<MappedMemory> &Best() const { return best; }

 private:
   std::optional<uint64_t> guestKB;
   std::optional<MappedMemory> best;
   bool isFound = false;
};

std::optional<MappedMemory> ParseGuestMapping(std::string_view smaps, std::optional<uint64_t> guestKB);

} // namespace nevra

#endif
