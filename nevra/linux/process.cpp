#include "nevra/linux/process.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "nevra/linux/kernel_text.h"

namespace nevra {

namespace {

constexpr uint32_t kDaemonPid = 2;
constexpr int64_t kNeverKilled = -1000;

// The kernel writes a newline in a name as "\n" and a backslash as "\\".
std::string UnescapeName(std::string_view text)
{
   std::string name;
   for (size_t i = 0; i < text.size(); i++) {
      const char next = i + 1 < text.size() ? text[i + 1] : '\0';
      if (text[i] == '\\' && (next == 'n' || next == '\\')) {
         name += next == 'n' ? '\n' : '\\';
         i++;
      } else {
         name += text[i];
      }
   }
   return name;
}

// "State:\tD (disk sleep)"
bool IsBlocked(std::string_view status)
{
   constexpr std::string_view kState = "State:";
   while (!status.empty()) {
      std::string_view line = TakeLine(status);
      if (line.starts_with(kState)) {
         line.remove_prefix(kState.size());
         return TakeWord(line) == "D";
      }
   }
   return false;
}

} // namespace

std::optional<ProcessStatus> ParseProcessStatus(std::string_view text, uint32_t pid,
                                                bool hasKernelThreadDaemon)
{
   constexpr std::string_view kName = "Name:\t";
   if (!text.starts_with(kName)) {
      return std::nullopt;
   }
   ProcessStatus status;
   status.name = UnescapeName(TakeLine(text).substr(kName.size()));
   constexpr uint64_t kNotTold = 2;
   uint64_t parent = 0;
   uint64_t kthread = kNotTold;
   uint64_t threads = 0;
   uint64_t vmSize = kUnlimited;
   const KeyedFigure figures[] = {
      {"PPid", &parent},
      {"Kthread", &kthread},
      {"VmPeak", &status.vmPeak},
      {"VmSize", &vmSize},
      {"VmLck", &status.vmLck},
      {"VmPin", &status.vmPin},
      {"VmHWM", &status.vmHwm},
      {"VmRSS", &status.vmRss},
      {"RssAnon", &status.rssAnon},
      {"RssFile", &status.rssFile},
      {"RssShmem", &status.rssShmem},
      {"VmPTE", &status.vmPte},
      {"VmSwap", &status.vmSwap},
      {"HugetlbPages", &status.hugetlb},
      {"Threads", &threads},
   };
   ReadKeyedFigures(text, figures);
   status.isBlocked = IsBlocked(text);
   const bool hasMemory = vmSize != kUnlimited;
   status.vmSize = hasMemory ? vmSize : 0;
   status.parentPid = Narrow(parent);
   status.threads = Narrow(threads);
   if (kthread != kNotTold) {
      status.isKernelThread = kthread == 1;
   } else {
      status.isKernelThread =
         !hasMemory && hasKernelThreadDaemon && (pid == kDaemonPid || parent == kDaemonPid);
   }
   return status;
}

bool HasKernelThreadDaemon(int proc, KernelFileReader &files)
{
   const std::optional<std::string_view> text = files.ReadRecord(proc, "2/status");
   if (!text.has_value()) {
      return false;
   }
   const std::optional<ProcessStatus> status = ParseProcessStatus(*text, kDaemonPid, true);
   return status.has_value() && status->name == "kthreadd" && status->parentPid == 0 &&
          status->isKernelThread;
}

ProcessPath::ProcessPath(uint32_t pid, std::string_view file)
{
   char *const end = text + sizeof text - 1;
   char *at = std::to_chars(text, end, pid).ptr;
   *at++ = '/';
   at = std::copy_n(file.data(), std::min(file.size(), static_cast<size_t>(end - at)), at);
   *at = '\0';
}

std::optional<Process> ReadProcess(int proc, uint32_t pid, bool hasKernelThreadDaemon,
                                   KernelFileReader &files)
{
   const std::optional<std::string_view> text =
      files.ReadRecord(proc, ProcessPath(pid, "status").Text(), Missing::ProcessStatus);
   std::optional<ProcessStatus> status =
      text.has_value() ? ParseProcessStatus(*text, pid, hasKernelThreadDaemon) : std::nullopt;
   if (!status.has_value()) {
      return std::nullopt;
   }
   return Process{pid, proc, std::move(*status)};
}

bool MayHang(const Process &process)
{
   return process.status.threads > 1 || process.status.isBlocked;
}

bool HasEndedSince(const Process &process, KernelFileReader &files)
{
   const std::optional<Process> now = ReadProcess(process.proc, process.pid, false, files);
   return process.status.vmSize > 0 && (!now.has_value() || now->status.vmSize == 0);
}

bool IsProtectedFromKilling(const Process &process, KernelFileReader &files)
{
   const std::optional<std::string_view> text =
      files.ReadRecord(process.proc, ProcessPath(process.pid, "oom_score_adj").Text());
   return text.has_value() && ParseSignedNumber(*text) == kNeverKilled;
}

} // namespace nevra
