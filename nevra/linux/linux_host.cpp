#include "nevra/linux/linux_host.h"

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <iterator>
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

const GuestMemory *ReportedProcess::Guest(Walk walk, KernelFileReader &files)
{
   return OrNull(guest.Get([&] { return ReadGuestMemory(process, command, walk, files); }));
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
   walk = IsLiveProc(Proc()) ? WalkAskedFor() : Walk::All; // nobody waits in a recorded tree
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

// "hugetlb.2MB.current" for each size of huge pages that there are any of. Where the hierarchy is mounted so,
// they are in memory.current already.
std::vector<std::string> LinuxHost::FindHugePageFiles()
{
   constexpr char kPools[] = "sys/kernel/mm/hugepages";
   constexpr std::string_view kPrefix = "hugepages-";
   constexpr size_t kMostPools = 64;
   std::vector<std::string> found;
   const std::optional<std::string_view> mounts = files.ReadAll(Proc(), "self/mountinfo");
   if (mounts.has_value() && mounts->find("memory_hugetlb_accounting") != std::string_view::npos) {
      return found;
   }
   for (const std::string &pool : files.ListNames(Root(), kPools, EntryKind::Folders, kMostPools)) {
      const std::string count = std::string(kPools) + "/" + pool + "/nr_hugepages";
      const bool isPool = pool.starts_with(kPrefix);
      const uint64_t kb = isPool ? ParseNumber(pool.substr(kPrefix.size())).value_or(0) : 0;
      if (kb > 0 && ParseNumber(files.ReadRecord(Root(), count.c_str()).value_or("")).value_or(0) > 0) {
         const std::string size = kb >= (1 << 20)   ? std::to_string(kb >> 20) + "GB"
                                  : kb >= (1 << 10) ? std::to_string(kb >> 10) + "MB"
                                                    : std::to_string(kb) + "KB";
         found.push_back("hugetlb." + size + ".current");
      }
   }
   return found;
}

uint64_t LinuxHost::ResidentKBBelow(CgroupIndex cgroup)
{
   const ProcessTable &table = Processes();
   uint64_t resident = 0;
   for (uint32_t i = table.firstOfCgroup[cgroup]; i < table.firstOfCgroup[cgroup + 1]; i++) {
      const uint32_t pid = table.processes[table.byCgroup[i]].pid;
      const std::optional<Process> process = ReadProcess(Proc(), pid, HasKernelThreads(), files);
      if (process.has_value()) {
         resident = AddClamped(resident, AddClamped(process->status.vmRss, process->status.hugetlb));
      }
   }
   for (const CgroupIndex child : Cgroups().cgroups[cgroup].children) {
      resident = AddClamped(resident, table.belowCgroup[child] > 0 ? ResidentKBBelow(child) : 0);
   }
   return resident;
}

bool LinuxHost::HidesWatchedPages()
{
   return hidesWatchedPages.Get([this] {
      const uint64_t balancing =
         ParseNumber(files.ReadRecord(Proc(), "sys/kernel/numa_balancing").value_or("")).value_or(0);
      std::string_view release = files.ReadRecord(Proc(), "sys/kernel/osrelease").value_or("");
      const uint64_t major = ParseNumber(TakeUntil(release, '.')).value_or(0);
      const uint64_t minor = ParseNumber(release).value_or(0);
      return balancing > 0 && major == 6 && minor >= 1 && minor < 6;
   });
}

uint64_t LinuxHost::WatchedKB(const ProcessStatus &status, uint64_t rss)
{
   // The status counts a little late: less than one large page is no sign.
   constexpr uint64_t kLargePageKB = 2048;
   const uint64_t missing = SubtractClamped(status.vmRss, rss);
   return missing >= kLargePageKB && HidesWatchedPages() ? missing : 0;
}

const CgroupUsage *LinuxHost::Usage(CgroupIndex cgroup)
{
   const std::vector<std::string> &hugePages = hugePageFiles.Get([this] { return FindHugePageFiles(); });
   return OrNull(usage.Get(cgroup, [&] { return ReadCgroupUsage(Cgroups(), cgroup, hugePages, files); }));
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
   const ProcessTable &table = Processes();
   const std::optional<size_t> found = nevra::FindProcess(table, pid);
   if (!found.has_value()) {
      return std::nullopt;
   }
   const CgroupIndex cgroup = table.processes[*found].cgroup;
   std::optional<Process> process = ReadProcess(Proc(), pid, HasKernelThreads(), files);
   if (!process.has_value()) {
      return std::nullopt;
   }
   ReportedProcess read;
   read.cgroup = cgroup;
   read.own = cgroup;
   read.isVm = IsVm(*process, mayRunVms.Get([this] { return MayRunVms(Root(), files); }), files);
   read.process = std::move(*process);
   if (read.isVm) {
      const CgroupIndex unit = FindUnit(Cgroups(), cgroup);
      read.own = HoldsOneProcess(unit) ? unit : cgroup;
      read.command = ReadVmCommand(read.process, files);
      // A VM that ended in between would be listed without its name and with the emulator's memory.
      if (!read.command.memoryKB.has_value() && HasEndedSince(read.process, files)) {
         return std::nullopt;
      }
   }
   isVmProcess.resize(table.processes.size());
   isVmProcess[*found] = read.isVm;
   return read;
}

ReportedProcess *LinuxHost::FindProcess(uint32_t pid)
{
   std::optional<ReportedProcess> &found = reported.Get(pid, [&] { return ReadReportedProcess(pid); });
   return found.has_value() ? &*found : nullptr;
}

uint32_t LinuxHost::CountVms()
{
   const std::vector<ProcessEntry> &entries = Processes().processes;
   isVmProcess.resize(entries.size());
   uint32_t count = 0;
   for (size_t i = 0; i < entries.size(); i++) {
      if (!isVmProcess[i].has_value()) {
         FindProcess(entries[i].pid);
      }
      count += isVmProcess[i].value_or(false) ? 1 : 0;
   }
   return count;
}

const MemInfo *LinuxHost::Memory()
{
   return OrNull(memory.Get([this] { return ParseMemInfo(MemInfoText()); }));
}

const std::string &LinuxHost::MemInfoText()
{
   return memInfoText.Get(
      [this] { return std::string(files.ReadAll(Proc(), "meminfo", Missing::MemInfo).value_or("")); });
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

std::vector<const SlabCache *> LinuxHost::SlabCachesNamed(std::string_view name)
{
   const auto &byName = slabCachesByName.Get([this] {
      std::unordered_multimap<std::string_view, const SlabCache *> index;
      for (const SlabCache &cache : SlabCaches()) {
         index.emplace(cache.name, &cache);
      }
      return index;
   });
   std::vector<const SlabCache *> caches;
   const auto [first, last] = byName.equal_range(name);
   std::transform(first, last, std::back_inserter(caches), [](const auto &entry) { return entry.second; });
   return caches;
}

const PmemVolumes &LinuxHost::Volumes()
{
   return volumes.Get([this] { return ReadPmemVolumes(Root(), files); });
}

const std::vector<PciAddress> &LinuxHost::PciAddresses()
{
   return pciAddresses.Get([this] { return ReadPciAddresses(Root(), files); });
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

const HostMergedPages &LinuxHost::MergedPages()
{
   return mergedPages.Get([this] {
      const auto read = [this](const char *path) {
         return ParseNumber(files.ReadRecord(Root(), path).value_or("")).value_or(0);
      };
      return HostMergedPages{read("sys/kernel/mm/ksm/pages_shared"), read("sys/kernel/mm/ksm/pages_sharing"),
                             read("sys/kernel/mm/ksm/ksm_zero_pages")};
   });
}

uint64_t LinuxHost::MergedKB()
{
   return PagesToKB(AddClamped(MergedPages().sharing, MergedPages().zero));
}

MergedMemory LinuxHost::ReadMergedMemory(uint32_t pid)
{
   constexpr uint64_t kNotTold = kUnlimited;
   uint64_t zero = 0;
   uint64_t merging = kNotTold;
   const KeyedFigure figures[] = {{"ksm_zero_pages", &zero}, {"ksm_merging_pages", &merging}};
   ReadKeyedFigures(
      files.ReadRecord(Proc(), ProcessPath(pid, "ksm_stat").Text(), Missing::MergedPages).value_or(""),
      figures);
   if (merging == kNotTold) { // as before Linux 6.4
      merging =
         ParseNumber(files.ReadRecord(Proc(), ProcessPath(pid, "ksm_merging_pages").Text()).value_or(""))
            .value_or(0);
   }
   const HostMergedPages &host = MergedPages();
   const uint64_t all = AddClamped(host.shared, host.sharing);
   const uint64_t saved = all > 0 ? MultiplyClamped(merging, host.sharing) / all : 0;
   return {PagesToKB(merging), PagesToKB(zero), PagesToKB(AddClamped(zero, saved))};
}

MergedMemory LinuxHost::MergedOfProcess(uint32_t pid)
{
   const ProcessTable &table = Processes();
   const std::optional<size_t> found = nevra::FindProcess(table, pid);
   if (MergedKB() == 0 || !found.has_value()) {
      return {};
   }
   mergedOfProcess.resize(table.processes.size());
   return mergedOfProcess[*found].Get([&] { return ReadMergedMemory(pid); });
}

} // namespace nevra
