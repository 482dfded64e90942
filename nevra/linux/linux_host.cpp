#include "nevra/linux/linux_host.h"

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>

#include "nevra/linux/kernel_text.h"

namespace nevra {

bool ReportedProcess::IsProtected(KernelFileReader &files)
{
   return isProtected.Get([&] { return IsProtectedFromKilling(process, files); });
}

namespace {

// A file system that is not mounted leaves an empty folder.
bool HasAny(KernelFileReader &files, int directory, std::initializer_list<const char *> names)
{
   return std::any_of(names.begin(), names.end(),
                      [&](const char *name) { return files.Exists(directory, name); });
}

} // namespace

LinuxHost::LinuxHost(const std::string &rootFolder)
    : files(ReachOf(rootFolder)),
      root(KernelFileReader().Open(AT_FDCWD, rootFolder.c_str(), O_RDONLY | O_DIRECTORY))
{
   if (!root.IsOpen()) {
      files.NotRead().Note(Missing::Root, std::generic_category().message(errno));
      return;
   }
   proc = files.OpenFolder(Root(), "proc", Missing::Proc);
   if (!HasAny(files, Proc(), {"meminfo", "self"})) {
      files.NotRead().Note(Missing::Proc, "not mounted");
   }
   if (!HasAny(files, Root(), {"sys/kernel", "sys/fs", "sys/devices", "sys/bus"})) {
      files.NotRead().Note(Missing::Sys, "not mounted");
   }
}

const CgroupTree &LinuxHost::Cgroups()
{
   return cgroups.Get([this] { return ReadCgroupTree(Root(), files); });
}

const ProcessTable &LinuxHost::Processes()
{
   return processes.Get([this] { return ReadProcessTable(Proc(), Cgroups(), files); });
}

const CgroupLimits *LinuxHost::Limits(CgroupIndex cgroup)
{
   const CgroupTree &tree = Cgroups();
   limits.resize(tree.cgroups.size());
   return OrNull(limits[cgroup].Get([&] { return ReadCgroupLimits(tree, cgroup, files); }));
}

const CgroupUsage *LinuxHost::Usage(CgroupIndex cgroup)
{
   return OrNull(usage.Get(cgroup, [&] { return ReadCgroupUsage(Cgroups(), cgroup, files); }));
}

const CgroupEvents *LinuxHost::Events(CgroupIndex cgroup)
{
   return OrNull(events.Get(cgroup, [&] { return ReadCgroupEvents(Cgroups(), cgroup, files); }));
}

bool LinuxHost::HasKernelThreads()
{
   return hasKernelThreadDaemon.Get([this] { return HasKernelThreadDaemon(Proc(), files); });
}

size_t LinuxHost::CountUserProcesses(CgroupIndex cgroup, size_t most)
{
   const ProcessTable &table = Processes();
   size_t count = 0;
   for (uint32_t i = table.firstOfCgroup[cgroup]; i < table.firstOfCgroup[cgroup + 1] && count < most; i++) {
      const uint32_t pid = table.processes[table.byCgroup[i]].pid;
      const std::optional<Process> process = ReadProcess(Proc(), pid, HasKernelThreads(), files);
      count += process.has_value() && !process->status.isKernelThread ? 1 : 0;
   }
   for (const CgroupIndex child : Cgroups().cgroups[cgroup].children) {
      if (count < most && table.belowCgroup[child] > 0) {
         count += CountUserProcesses(child, most - count);
      }
   }
   return count;
}

bool LinuxHost::HoldsOneProcess(CgroupIndex cgroup)
{
   const uint32_t below = Processes().belowCgroup[cgroup];
   if (below <= 1) {
      return below == 1;
   }
   holdsOneProcess.resize(Cgroups().cgroups.size());
   return holdsOneProcess[cgroup].Get([&] { return CountUserProcesses(cgroup, 2) == 1; });
}

std::optional<ReportedProcess> LinuxHost::ReadReportedProcess(uint32_t pid)
{
   const std::optional<CgroupIndex> cgroup = FindCgroupOfProcess(Processes(), pid);
   if (!cgroup.has_value()) {
      return std::nullopt;
   }
   std::optional<Process> process = ReadProcess(Proc(), pid, HasKernelThreads(), files);
   if (!process.has_value()) {
      return std::nullopt;
   }
   ReportedProcess read;
   read.cgroup = *cgroup;
   read.own = *cgroup;
   read.isVm = IsVm(*process, mayRunVms.Get([this] { return MayRunVms(Root(), files); }), files);
   read.process = std::move(*process);
   if (read.isVm) {
      const CgroupIndex unit = FindUnit(Cgroups(), *cgroup);
      read.own = HoldsOneProcess(unit) ? unit : *cgroup;
      read.command = ReadVmCommand(read.process, files);
      // A VM that ended in between would be listed without its name and with the emulator's memory.
      if (!read.command.memoryKB.has_value() && HasEndedSince(read.process, files)) {
         return std::nullopt;
      }
   }
   return read;
}

ReportedProcess *LinuxHost::FindProcess(uint32_t pid)
{
   std::optional<ReportedProcess> &found = reported.Get(pid, [&] { return ReadReportedProcess(pid); });
   return found.has_value() ? &*found : nullptr;
}

const MemInfo *LinuxHost::Memory()
{
   return OrNull(memory.Get(
      [this] { return ParseMemInfo(files.ReadAll(Proc(), "meminfo", Missing::MemInfo).value_or("")); }));
}

const VmStat &LinuxHost::VmStatistics()
{
   return vmStatistics.Get(
      [this] { return ParseVmStat(files.ReadAll(Proc(), "vmstat", Missing::VmStat).value_or("")); });
}

const ZoneSummary &LinuxHost::Zones()
{
   return zones.Get([this] {
      return SummariseZones(ParseZones(files.ReadAll(Proc(), "zoneinfo", Missing::ZoneInfo).value_or("")));
   });
}

const std::vector<SlabCache> &LinuxHost::SlabCaches()
{
   return slabCaches.Get(
      [this] { return ParseSlabInfo(files.ReadAll(Proc(), "slabinfo", Missing::SlabInfo).value_or("")); });
}

const ZswapSettings *LinuxHost::Zswap()
{
   return OrNull(zswap.Get([this]() -> std::optional<ZswapSettings> {
      const std::optional<std::string_view> enabled =
         files.ReadRecord(Root(), "sys/module/zswap/parameters/enabled");
      if (!enabled.has_value() || !enabled->starts_with('Y')) {
         return std::nullopt;
      }
      const std::optional<std::string_view> percent =
         files.ReadRecord(Root(), "sys/module/zswap/parameters/max_pool_percent");
      return ZswapSettings{std::min<uint64_t>(ParseNumber(percent.value_or("")).value_or(0), 100)};
   }));
}

uint64_t LinuxHost::MergedKB()
{
   return mergedKB.Get([this] {
      uint64_t pages = 0;
      for (const char *path : {"sys/kernel/mm/ksm/pages_sharing", "sys/kernel/mm/ksm/ksm_zero_pages"}) {
         const std::optional<std::string_view> text = files.ReadRecord(Root(), path);
         pages = AddClamped(pages, ParseNumber(text.value_or("")).value_or(0));
      }
      return PagesToKB(pages);
   });
}

uint64_t LinuxHost::MergedKBOfProcess(uint32_t pid)
{
   if (MergedKB() == 0) {
      return 0;
   }
   const std::vector<ProcessEntry> &entries = Processes().processes;
   const auto entry =
      std::lower_bound(entries.begin(), entries.end(), pid,
                       [](const ProcessEntry &process, uint32_t wanted) { return process.pid < wanted; });
   if (entry == entries.end() || entry->pid != pid) {
      return 0;
   }
   mergedOfProcess.resize(entries.size());
   return mergedOfProcess[static_cast<size_t>(entry - entries.begin())].Get([&] {
      const std::optional<std::string_view> text =
         files.ReadRecord(Proc(), ProcessPath(pid, "ksm_stat").Text(), Missing::MergedPages);
      uint64_t zeroPages = 0;
      uint64_t mergedPages = 0;
      const KeyedFigure figures[] = {{"ksm_zero_pages", &zeroPages}, {"ksm_merging_pages", &mergedPages}};
      ReadKeyedFigures(text.value_or(""), figures);
      return PagesToKB(AddClamped(zeroPages, mergedPages));
   });
}

} // namespace nevra
