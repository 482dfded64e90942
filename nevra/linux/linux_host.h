// All that is known of the host so far. What is read once is kept for the run as parsed figures: the tree of
// cgroups and processes whole, the text and the figures of a single process only while it is being reported.
#ifndef NEVRA_LINUX_LINUX_HOST_H
#define NEVRA_LINUX_LINUX_HOST_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "nevra/linux/cgroup_memory.h"
#include "nevra/linux/cgroup_tree.h"
#include "nevra/linux/host_memory.h"
#include "nevra/linux/kernel_file.h"
#include "nevra/linux/once.h"
#include "nevra/linux/process.h"
#include "nevra/linux/process_table.h"
#include "nevra/linux/vm_process.h"

namespace nevra {

// A process with what takes a look beyond its status to know.
struct ReportedProcess {
   Process process;
   CgroupIndex cgroup = kRootCgroup;
   // The cgroup whose limits and figures are the process's own, when it is alone in it: a VM's is its scope.
   CgroupIndex own = kRootCgroup;
   bool isVm = false;
   VmCommand command; // of a VM

   bool IsProtected(KernelFileReader &files);

 private:
   Once<bool> isProtected;
};

// /sys/module/zswap/parameters.
struct ZswapSettings {
   uint64_t largestPoolPercent = 0; // max_pool_percent, of the host's memory
};

class LinuxHost {
 public:
   explicit LinuxHost(const std::string &rootFolder);

   int Root() const { return root.Get(); }
   int Proc() const { return proc.Get(); }
   KernelFileReader &Files() { return files; }
   const MissingFigures &NotRead() const { return files.NotRead(); }

   const CgroupTree &Cgroups();
   const ProcessTable &Processes();

   // Null when the cgroup is gone. Limits are kept for every cgroup, as those below it need them; the usage
   // and the events only of the cgroup asked for last.
   const CgroupLimits *Limits(CgroupIndex cgroup);
   const CgroupUsage *Usage(CgroupIndex cgroup);
   const CgroupEvents *Events(CgroupIndex cgroup);

   // True when the cgroup and those below it hold one process. Kernel threads do not count: only those that
   // serve a process are in its cgroup, and they have no memory.
   bool HoldsOneProcess(CgroupIndex cgroup);

   // Null when there is no such process, or it is gone. Valid until another process is asked for.
   ReportedProcess *FindProcess(uint32_t pid);

   // Null when /proc/meminfo cannot be read.
   const MemInfo *Memory();
   const VmStat &VmStatistics();
   const ZoneSummary &Zones();

   // Empty where /proc/slabinfo may not be read.
   const std::vector<SlabCache> &SlabCaches();

   // Null where swapped memory is not compressed.
   const ZswapSettings *Zswap();

   // KB that merging saves: on the whole host, in one process. 0 where nothing is merged or the kernel does
   // not tell.
   uint64_t MergedKB();
   uint64_t MergedKBOfProcess(uint32_t pid);

 private:
   std::optional<ReportedProcess> ReadReportedProcess(uint32_t pid);
   bool HasKernelThreads();
   size_t CountUserProcesses(CgroupIndex cgroup, size_t most);

   KernelFileReader files;
   FileDescriptor root;
   FileDescriptor proc;
   Once<CgroupTree> cgroups;
   Once<ProcessTable> processes;
   std::vector<Once<std::optional<CgroupLimits>>> limits; // by cgroup
   std::vector<Once<bool>> holdsOneProcess;               // by cgroup
   OnceInARow<CgroupIndex, std::optional<CgroupUsage>> usage;
   OnceInARow<CgroupIndex, std::optional<CgroupEvents>> events;
   OnceInARow<uint32_t, std::optional<ReportedProcess>> reported; // by pid
   Once<bool> hasKernelThreadDaemon;
   Once<bool> mayRunVms;
   Once<std::optional<MemInfo>> memory;
   Once<VmStat> vmStatistics;
   Once<ZoneSummary> zones;
   Once<std::vector<SlabCache>> slabCaches;
   Once<std::optional<ZswapSettings>> zswap;
   Once<uint64_t> mergedKB;
   std::vector<Once<uint64_t>> mergedOfProcess; // by position in the process table
};

} // namespace nevra

#endif
