// What a run could not read, and what its answers lack for it: said once for each kind of file, not once for
// each process or cgroup.
//
// A file that this kernel does not have is no such case: its figures do not exist here. What is noted is what
// the kernel has and does not show, and what this source leaves out.
#ifndef NEVRA_LINUX_MISSING_H
#define NEVRA_LINUX_MISSING_H

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace nevra {

// The kinds, in the order of the table in missing.cpp.
enum class Missing : uint8_t {
   Nothing, // a file that may be refused without a word
   Root,
   Proc,
   Sys,
   OtherProcesses,
   Hierarchy,
   MemoryController,
   CgroupFolders,
   CgroupFiles,
   DeepCgroups,
   ManyTags,
   ProcessStatus,
   ProcessMarks,
   ProcessMappings,
   GuestMappings,
   LongWalks,
   HangingProcesses,
   CommandLines,
   MergedPages,
   MemInfo,
   ZoneInfo,
   VmStat,
   BuddyInfo,
   SlabInfo,
   KernelAddresses,
   Extents,
};
inline constexpr size_t kMissingKinds = static_cast<size_t>(Missing::Extents) + 1;

class MissingFigures {
 public:
   // Adds "/proc/slabinfo: Permission denied; heaps are not shown", unless there is a line of this kind.
   void Note(Missing kind, std::string_view reason);

   // The lines so far, without newlines.
   const std::vector<std::string> &Lines() const { return lines; }

 private:
   std::bitset<kMissingKinds> noted;
   std::vector<std::string> lines;
};

} // namespace nevra

#endif
