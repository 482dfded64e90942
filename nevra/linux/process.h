// One process, while it is being reported.
#ifndef NEVRA_LINUX_PROCESS_H
#define NEVRA_LINUX_PROCESS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "nevra/linux/kernel_file.h"

namespace nevra {

// What /proc/PID/status says; memory in KB. A zombie and a kernel thread have no memory of their own.
struct ProcessStatus {
   std::string name; // as the process chose it: any bytes
   uint32_t parentPid = 0;
   uint32_t threads = 0;
   bool isBlocked = false; // its first thread, in the kernel, where no signal reaches it
   bool isKernelThread = false;
   uint64_t vmPeak = 0;
   uint64_t vmSize = 0;
   uint64_t vmLck = 0;
   uint64_t vmPin = 0;
   uint64_t vmHwm = 0;
   uint64_t vmRss = 0;
   uint64_t rssAnon = 0;
   uint64_t rssFile = 0;
   uint64_t rssShmem = 0;
   uint64_t vmPte = 0;
   uint64_t vmSwap = 0;
   uint64_t hugetlb = 0;
};

// Nothing when the text is no status: a status begins with the name.
std::optional<ProcessStatus> ParseProcessStatus(std::string_view text, uint32_t pid,
                                                bool hasKernelThreadDaemon);

// A process in the /proc that is open as `proc`. Its files are opened by its ID, one by one: IDs are handed
// out in turn, so that no other process gets this one's before all the others have been used up.
struct Process {
   uint32_t pid = 0;
   int proc = -1;
   ProcessStatus status;
};

// The path of one of a process's files below /proc.
class ProcessPath {
 public:
   ProcessPath(uint32_t pid, std::string_view file);
   const char *Text() const { return text; }

 private:
   char text[64];
};

// True when pid 2 of this /proc is the kernel's thread daemon, the parent of all kernel threads; in a
// container it can be anybody.
bool HasKernelThreadDaemon(int proc, KernelFileReader &files);

// Nothing when there is no such process, or it is gone, or its status may not be read.
std::optional<Process> ReadProcess(int proc, uint32_t pid, bool hasKernelThreadDaemon,
                                   KernelFileReader &files);

// Whether a file that waits for the process's memory lock may wait for ever: whoever holds it hangs in the
// kernel. That is the one thread, or it can be any of several.
bool MayHang(const Process &process);

// Whether it has lost its memory since it was read, as one that has just ended has, zombie or gone. What was
// read of it after that is void.
bool HasEndedSince(const Process &process, KernelFileReader &files);

// True when the process is never killed for lack of memory (oom_score_adj -1000).
bool IsProtectedFromKilling(const Process &process, KernelFileReader &files);

} // namespace nevra

#endif
