#include "nevra/linux/linux_host.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include <fcntl.h>

#include "nevra/linux/kernel_text.h"

namespace nevra {

bool ReportedProcess::IsProtected(KernelFileReader &files)
{
   if (!isProtected.has_value()) {
      isProtected = IsProtectedFromKilling(process, files);
   }
   return *isProtected;
}

LinuxHost::LinuxHost(const std::string &rootFolder)
    : root(open(rootFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), proc(OpenFolder(root.Get(), "proc"))
{
}

const CgroupTree &LinuxHost::Cgroups()
{
   if (!cgroups.has_value()) {
      cgroups = ReadCgroupTree(Root(), files);
      limits.resize(cgroups->cgroups.size());
   }
   return *cgroups;
}

const ProcessTable &LinuxHost::Processes()
{
   if (!processes.has_value()) {
      processes = ReadProcessTable(Proc(), Cgroups(), files);
   }
   return *processes;
}

const CgroupLimits *LinuxHost::Limits(CgroupIndex cgroup)
{
   const CgroupTree &tree = Cgroups();
   KnownLimits &known = limits[cgroup];
   if (known.known == Known::No) {
      const std::optional<CgroupLimits> read = ReadCgroupLimits(tree, cgroup, files);
      known.known = read.has_value() ? Known::Yes : Known::Gone;
      known.limits = read.value_or(CgroupLimits());
   }
   return known.known == Known::Yes ? &known.limits : nullptr;
}

const CgroupUsage *LinuxHost::Usage(CgroupIndex cgroup)
{
   if (usageOf != cgroup) {
      usage = ReadCgroupUsage(Cgroups(), cgroup, files);
      usageOf = cgroup;
   }
   return usage.has_value() ? &*usage : nullptr;
}

const CgroupEvents *LinuxHost::Events(CgroupIndex cgroup)
{
   if (eventsOf != cgroup) {
      events = ReadCgroupEvents(Cgroups(), cgroup, files);
      eventsOf = cgroup;
   }
   return events.has_value() ? &*events : nullptr;
}

ReportedProcess *LinuxHost::FindProcess(uint32_t pid)
{
   if (reportedPid != pid) {
      reported.reset();
      reportedPid = pid;
      const std::optional<CgroupIndex> cgroup = FindCgroupOfProcess(Processes(), pid);
      if (!cgroup.has_value()) {
         return nullptr;
      }
      if (!hasKernelThreadDaemon.has_value()) {
         hasKernelThreadDaemon = HasKernelThreadDaemon(Proc(), files);
         mayRunVms = MayRunVms(Root(), files);
      }
      std::optional<Process> process = ReadProcess(Proc(), pid, *hasKernelThreadDaemon, files);
      if (process.has_value()) {
         reported.emplace();
         reported->cgroup = *cgroup;
         reported->isVm = IsVm(*process, *mayRunVms);
         reported->process = std::move(*process);
         if (reported->isVm) {
            reported->command = ReadVmCommand(reported->process, files);
         }
      }
      // A VM that ended in between would be listed without its name and with the emulator's memory.
      if (reported.has_value() && reported->isVm && !reported->command.memoryKB.has_value() &&
          HasEndedSince(reported->process, files)) {
         reported.reset();
      }
   }
   return reported.has_value() ? &*reported : nullptr;
}

const MemInfo *LinuxHost::Memory()
{
   if (!memoryIsKnown) {
      const std::optional<std::string_view> text = files.ReadAll(Proc(), "meminfo");
      memory = text.has_value() ? ParseMemInfo(*text) : std::nullopt;
      memoryIsKnown = true;
   }
   return memory.has_value() ? &*memory : nullptr;
}

const VmStat &LinuxHost::VmStatistics()
{
   if (!vmStatistics.has_value()) {
      const std::optional<std::string_view> text = files.ReadAll(Proc(), "vmstat");
      vmStatistics = ParseVmStat(text.value_or(""));
   }
   return *vmStatistics;
}

const ZoneSummary &LinuxHost::Zones()
{
   if (!zones.has_value()) {
      const std::optional<std::string_view> text = files.ReadAll(Proc(), "zoneinfo");
      zones = SummariseZones(ParseZones(text.value_or("")));
   }
   return *zones;
}

const std::vector<SlabCache> &LinuxHost::SlabCaches()
{
   if (!slabCaches.has_value()) {
      slabCaches = ParseSlabInfo(files.ReadAll(Proc(), "slabinfo").value_or(""));
   }
   return *slabCaches;
}

const ZswapSettings *LinuxHost::Zswap()
{
   if (!zswapIsKnown) {
      zswapIsKnown = true;
      const std::optional<std::string_view> enabled =
         files.ReadRecord(Root(), "sys/module/zswap/parameters/enabled");
      if (enabled.has_value() && enabled->starts_with('Y')) {
         const std::optional<std::string_view> percent =
            files.ReadRecord(Root(), "sys/module/zswap/parameters/max_pool_percent");
         zswap = ZswapSettings{std::min<uint64_t>(ParseNumber(percent.value_or("")).value_or(0), 100)};
      }
   }
   return zswap.has_value() ? &*zswap : nullptr;
}

uint64_t LinuxHost::MergedKB()
{
   if (!mergedKB.has_value()) {
      uint64_t pages = 0;
      for (const char *path : {"sys/kernel/mm/ksm/pages_sharing", "sys/kernel/mm/ksm/ksm_zero_pages"}) {
         const std::optional<std::string_view> text = files.ReadRecord(Root(), path);
         pages = AddClamped(pages, ParseNumber(text.value_or("")).value_or(0));
      }
      mergedKB = MultiplyClamped(pages, PageKB());
   }
   return *mergedKB;
}

uint64_t LinuxHost::MergedKBOfProcess(uint32_t pid)
{
   constexpr uint64_t kNotAsked = kUnlimited;
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
   mergedOfProcess.resize(entries.size(), kNotAsked);
   uint64_t &merged = mergedOfProcess[static_cast<size_t>(entry - entries.begin())];
   if (merged == kNotAsked) {
      const std::optional<std::string_view> text =
         files.ReadRecord(Proc(), ProcessPath(pid, "ksm_stat").Text());
      uint64_t zeroPages = 0;
      uint64_t mergedPages = 0;
      const KeyedFigure figures[] = {{"ksm_zero_pages", &zeroPages}, {"ksm_merging_pages", &mergedPages}};
      ReadKeyedFigures(text.value_or(""), figures);
      merged = std::min(MultiplyClamped(AddClamped(zeroPages, mergedPages), PageKB()), kNotAsked - 1);
   }
   return merged;
}

} // namespace nevra
