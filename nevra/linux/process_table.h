// The processes of the host, and the cgroup that each belongs to.
#ifndef NEVRA_LINUX_PROCESS_TABLE_H
#define NEVRA_LINUX_PROCESS_TABLE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "nevra/linux/cgroup_tree.h"
#include "nevra/linux/kernel_file.h"

namespace nevra {

struct ProcessEntry {
   uint32_t pid;
   CgroupIndex cgroup;
};

struct ProcessTable {
   std::vector<ProcessEntry> processes; // by pid
   std::vector<uint32_t> byCgroup;      // indices into processes, by cgroup, then by pid
   std::vector<uint32_t> firstOfCgroup; // where a cgroup begins in byCgroup; one more than there are cgroups
   std::vector<uint32_t> belowCgroup;   // processes of each cgroup and those below it
};

// The processes that /proc lists. Each cgroup's own list says who belongs to it, one read for all of them;
// only a process that none of them has (a zombie, or one that came meanwhile) is asked for its cgroup.
ProcessTable ReadProcessTable(int proc, const CgroupTree &tree, KernelFileReader &files);

// The process's index; nothing when the table has no such process.
std::optional<size_t> FindProcess(const ProcessTable &table, uint32_t pid);

} // namespace nevra

#endif
