// All that is known of the host so far. What is read once is kept for the run as parsed figures: the tree of
// cgroups and processes whole, the text and the figures of a single process only while it is being reported.
#ifndef NEVRA_LINUX_LINUX_HOST_H
#define NEVRA_LINUX_LINUX_HOST_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "nevra/linux/cgroup_memory.h"
#include "nevra/linux/cgroup_tree.h"
#include "nevra/linux/host_memory.h"
#include "nevra/linux/kernel_file.h"
#include "nevra/linux/once.h"
#include "nevra/linux/pci_devices.h"
#include "nevra/linux/pmem_volumes.h"
#include "nevra/linux/process.h"
#include "nevra/linux/process_memory.h"
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

   // Of a VM; null where its mappings may not be read, or hold no guest.
   const GuestMemory *Guest(Walk walk, KernelFileReader &files);

 private:
   Once<bool> isProtected;
   Once<std::optional<GuestMemory>> guest; // the kernel walks the VM's page tables for it
};

// /sys/kernel/mm/ksm.
struct HostMergedPages {
   uint64_t shared = 0;  // pages_shared: pages that several have
   uint64_t sharing = 0; // pages_sharing: how many more there would be
   uint64_t zero = 0;    // ksm_zero_pages
};

// /sys/module/zswap/parameters.
struct ZswapSettings {
   uint64_t largestPoolPercent = 0; // max_pool_percent, of the host's memory
};

// Memory of one process that the kernel has merged, in KB.
struct MergedMemory {
   uint64_t shared = 0; // resident, and the same page as others have
   uint64_t zero = 0;   // the kernel's page of zeros in its place: no longer resident
   // What the host saves through it: all of the zeros, and the part of `shared` that all sharers together do
   // without, the same for each. Over all processes it adds up to what the host saves.
   uint64_t saved = 0;
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

   // What the processes of a cgroup and of those below it have resident, KB; shared memory for each of them.
   uint64_t ResidentKBBelow(CgroupIndex cgroup);

   // What is resident of a process and is not in the `rss` of its mappings, KB: large pages that the kernel
   // watches for the sake of NUMA balancing, in Linux 6.1 to 6.5.
   uint64_t WatchedKB(const ProcessStatus &status, uint64_t rss);
   bool HidesWatchedPages();

   // Null when there is no such process, or it is gone. Valid until another process is asked for.
   ReportedProcess *FindProcess(uint32_t pid);

   // Processes that have been asked for count as what they were then.
   uint32_t CountVms();

   // Null when /proc/meminfo cannot be read, which makes its text empty.
   const MemInfo *Memory();
   const std::string &MemInfoText();
   const VmStat &VmStatistics();
   const ZoneSummary &Zones();

   // Empty where /proc/slabinfo may not be read.
   const std::vector<SlabCache> &SlabCaches();

   // Those of one name.
   std::vector<const SlabCache *> SlabCachesNamed(std::string_view name);

   const PmemVolumes &Volumes();
   const std::vector<PciAddress> &PciAddresses();

   // Null where swapped memory is not compressed.
   const ZswapSettings *Zswap();

   Walk Walks() const { return walk; }

   // KB that merging saves on the whole host; 0 where nothing is merged.
   uint64_t MergedKB();

   // What is merged in one process; all 0 where nothing is, or the kernel does not say.
   MergedMemory MergedOfProcess(uint32_t pid);

 private:
   std::optional<ReportedProcess> ReadReportedProcess(uint32_t pid);
   bool HasKernelThreads();
   MergedMemory ReadMergedMemory(uint32_t pid);
   std::vector<std::string> FindHugePageFiles();
   size_t CountUserProcesses(CgroupIndex cgroup, size_t most);

   const HostMergedPages &MergedPages();

   KernelFileReader files;
   FileDescriptor root;
   FileDescriptor proc;
   Walk walk = Walk::All;
   Once<CgroupTree> cgroups;
   Once<ProcessTable> processes;
   std::vector<Once<std::optional<CgroupLimits>>> limits; // by cgroup
   std::vector<Once<bool>> holdsOneProcess;               // by cgroup
   Once<std::vector<std::string>> hugePageFiles;
   Once<bool> hidesWatchedPages;
   OnceInARow<CgroupIndex, std::optional<CgroupUsage>> usage;
   OnceInARow<CgroupIndex, std::optional<CgroupEvents>> events;
   OnceInARow<uint32_t, std::optional<ReportedProcess>> reported; // by pid
   std::vector<std::optional<bool>> isVmProcess;                  // by position in the process table
   Once<bool> hasKernelThreadDaemon;
   Once<bool> mayRunVms;
   Once<std::string> memInfoText;
   Once<std::optional<MemInfo>> memory;
   Once<VmStat> vmStatistics;
   Once<ZoneSummary> zones;
   Once<std::vector<SlabCache>> slabCaches;
   Once<std::unordered_multimap<std::string_view, const SlabCache *>> slabCachesByName;
   Once<PmemVolumes> volumes;
   Once<std::vector<PciAddress>> pciAddresses;
   Once<std::optional<ZswapSettings>> zswap;
   Once<HostMergedPages> mergedPages;
   std::vector<Once<MergedMemory>> mergedOfProcess; // by position in the process table
};

} // namespace nevra

#endif
