// What /proc/PID/smaps_rollup and /proc/PID/smaps say about a process's memory, in KB. The kernel walks the
// process's page tables for them, so they are read only for the reports that need them.
#ifndef NEVRA_LINUX_PROCESS_MEMORY_H
#define NEVRA_LINUX_PROCESS_MEMORY_H

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "nevra/linux/kernel_file.h"
#include "nevra/linux/process.h"
#include "nevra/linux/vm_process.h"

namespace nevra {

// One mapping, or all of them together.
struct MappedMemory {
   uint64_t size = 0; // 0 for all of them together
   uint64_t rss = 0;
   uint64_t pss = 0;
   uint64_t privateClean = 0;
   uint64_t privateDirty = 0;
   uint64_t referenced = 0;
   std::optional<uint64_t> ksm; // kernels before 6.7 do not say
   uint64_t largePages = 0;     // anonymous, shared memory and files, mapped as large pages
   uint64_t hugetlb = 0;        // no part of rss
   uint64_t sharedHugetlb = 0;  // of those, what another process has mapped, too
   uint64_t swap = 0;
   uint64_t locked = 0;
   uint64_t kernelPage = 0; // the page size that the mapping is made of

   uint64_t Resident() const;
};

// How far page tables are walked. The walk holds the process's memory lock: meanwhile the process cannot map
// or unmap, and soon cannot fault either, and a guest that does stands still.
enum class Walk { WhereShort, All, None };

// HOSTMEM_WALK in the environment asks for "all" walks, or for "none".
Walk WalkAskedFor();

// Milliseconds after which a process that has not answered counts as hanging.
int PatienceFor(Walk walk);

// Whether a walk through all of the process's page tables is expected to be short, by their size. Those of
// its transparent huge pages, `hugeKB`, are set aside for later, and the walk passes them by.
bool IsShortWalk(const ProcessStatus &status, uint64_t hugeKB);

// Nothing when the kernel refuses, or does not have the file, or the process hangs or has no memory of its
// own.
std::optional<MappedMemory> ReadMappedMemory(const Process &process, Walk walk, KernelFileReader &files);

// The mappings that hold a guest's memory, added up.
struct GuestMemory {
   MappedMemory mappings;
   uint64_t gigabytePages = 0; // of hugetlb, what is mapped as pages of 1 GB

   void Add(const MappedMemory &mapping);
};

// The search for the mappings that hold a guest's memory, through a text that comes in parts, as the mappings
// of a process can be many. It is one writable mapping for each piece of the command line, of its size, and,
// where memory may be plugged in, each other that is made like them and of whole blocks of memory. Where none
// is found so, it is the largest mapping, unless that is smaller than the pieces.
class GuestMemorySearch {
 public:
   explicit GuestMemorySearch(const VmCommand &command);

   // Returns how many bytes it took: all mappings but the last, and that one, too, at the end.
   size_t Take(std::string_view smaps, bool isEnd);

   bool IsComplete() const { return isComplete; } // no mapping that is still to come can be the guest's
   std::optional<GuestMemory> Found() const;

 private:
   void TakeCandidate(const MappedMemory &memory, bool isLikeGuests);

   std::vector<uint64_t> missingKB; // pieces that were not found yet
   std::optional<uint64_t> largestKB;
   bool isComplete = false;
   GuestMemory pieces;
   std::vector<MappedMemory> plugged;
   MappedMemory largest;
};

std::optional<GuestMemory> ReadGuestMemory(const Process &process, const VmCommand &command, Walk walk,
                                           KernelFileReader &files);

std::optional<GuestMemory> ParseGuestMemory(std::string_view smaps, const VmCommand &command);

} // namespace nevra

#endif
