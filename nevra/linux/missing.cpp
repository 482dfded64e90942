#include "nevra/linux/missing.h"

#include <iterator>

namespace nevra {

namespace {

struct MissingKind {
   Missing kind;
   const char *subject;
   const char *consequence;
};

constexpr MissingKind kKinds[] = {
   {Missing::Nothing, "", ""},
   {Missing::Root, "the root folder", "nothing is shown"},
   {Missing::Proc, "/proc", "processes, VMs and the host's memory are not shown"},
   {Missing::Sys, "/sys", "cgroups, page sharing, huge pages and persistent memory are not shown"},
   {Missing::OtherProcesses, "/proc", "processes of other users are not shown"},
   {Missing::Hierarchy, "/sys/fs/cgroup", "all processes are shown directly below the root"},
   {Missing::MemoryController, "/sys/fs/cgroup", "cgroups are shown without memory figures"},
   {Missing::CgroupFolders, "/sys/fs/cgroup", "some cgroups are not shown"},
   {Missing::CgroupFiles, "/sys/fs/cgroup/*/memory.*", "some figures of cgroups read 0"},
   {Missing::DeepCgroups, "/sys/fs/cgroup", "their processes are shown in their ancestor at that level"},
   {Missing::ManyTags, "/sys/fs/cgroup", "the tag rows of group-stats leave some out"},
   {Missing::ProcessStatus, "/proc/PID/status", "some processes are not shown"},
   {Missing::ProcessMarks, "/proc/PID/exe", "VMs of other users are known by their process name alone"},
   {Missing::ProcessMappings, "/proc/PID/smaps_rollup",
    "touched and cow of some processes read 0, their mapped and swappable are from /proc/PID/status"},
   {Missing::GuestMappings, "/proc/PID/smaps",
    "touched and shared of some VMs read 0, their mapped is that of the whole process"},
   {Missing::LongWalks, "/proc/PID/smaps",
    "their touched, shared and cow read 0, their mapped is from /proc/PID/status, lpage-stats may leave them "
    "out (HOSTMEM_WALK=all reads it)"},
   {Missing::HangingProcesses, "/proc/PID", "further processes that may hang are not waited for"},
   {Missing::CommandLines, "/proc/PID/cmdline", "some VMs are shown without their name and memory size"},
   {Missing::MergedPages, "/proc/PID/ksm_stat", "sharedSaved of some processes reads 0"},
   {Missing::MemInfo, "/proc/meminfo", "the host's memory is not shown"},
   {Missing::ZoneInfo, "/proc/zoneinfo", "memory nodes, buddies and the memory state are not shown"},
   {Missing::VmStat, "/proc/vmstat", "the counters of the whole host read 0"},
   {Missing::BuddyInfo, "/proc/buddyinfo", "buddies are not shown"},
   {Missing::SlabInfo, "/proc/slabinfo", "heaps are not shown"},
   {Missing::KernelAddresses, "/proc/iomem",
    "memory that the kernel does not manage is not in the total of comp-stats"},
   {Missing::Extents, "/sys/bus/nd/devices/*/resource", "extents of persistent memory are not shown"},
};

constexpr bool AreInOrder()
{
   for (size_t i = 0; i < std::size(kKinds); i++) {
      if (static_cast<size_t>(kKinds[i].kind) != i) {
         return false;
      }
   }
   return std::size(kKinds) == kMissingKinds;
}
static_assert(AreInOrder(), "the table is indexed by Missing");

} // namespace

void MissingFigures::Note(Missing kind, std::string_view reason)
{
   const size_t index = static_cast<size_t>(kind);
   if (kind == Missing::Nothing || noted.test(index)) {
      return;
   }
   noted.set(index);
   std::string line = kKinds[index].subject;
   line.append(": ").append(reason).append("; ").append(kKinds[index].consequence);
   lines.push_back(std::move(line));
}

} // namespace nevra
