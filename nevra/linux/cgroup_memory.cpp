#include "nevra/linux/cgroup_memory.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace nevra {

namespace {

// v1 writes the largest page-aligned number for "no limit".
constexpr uint64_t kLargestV1LimitBytes = uint64_t{1} << 62;

FileDescriptor OpenCgroup(int hierarchy, const CgroupTree &tree, CgroupIndex cgroup, KernelFileReader &files)
{
   return files.OpenFolder(hierarchy, CgroupPath(tree, cgroup).c_str(), Missing::CgroupFolders);
}

std::optional<uint64_t> ReadKB(int folder, const char *name, KernelFileReader &files)
{
   const std::optional<std::string_view> text = files.ReadRecord(folder, name, Missing::CgroupFiles);
   const std::optional<uint64_t> bytes = text.has_value() ? ParseNumber(*text) : std::nullopt;
   return bytes.has_value() ? std::optional(*bytes / 1024) : std::nullopt;
}

// "max" and anything else that is no number is no limit.
uint64_t ReadLimitKB(int folder, const char *name, KernelFileReader &files)
{
   const uint64_t kb = ReadKB(folder, name, files).value_or(kUnlimited);
   return kb >= kLargestV1LimitBytes / 1024 ? kUnlimited : kb;
}

// The lines of memory.stat that differ between the versions: v1 counts a cgroup without those below it under
// the plain names.
struct StatLines {
   std::string_view activeAnon;
   std::string_view activeFile;
};

void ReadMemoryStat(int folder, const StatLines &lines, CgroupUsage &usage, KernelFileReader &files)
{
   const std::optional<std::string_view> text = files.ReadRecord(folder, "memory.stat", Missing::CgroupFiles);
   if (!text.has_value()) {
      return;
   }
   uint64_t activeAnon = 0;
   uint64_t activeFile = 0;
   const KeyedFigure active[] = {{lines.activeAnon, &activeAnon}, {lines.activeFile, &activeFile}};
   ReadKeyedFigures(*text, active);
   usage.active = AddClamped(activeAnon, activeFile) / 1024;
   uint64_t kernel = 0;
   uint64_t stacks = 0;
   uint64_t pageTables = 0;
   uint64_t percpu = 0;
   uint64_t slab = 0;
   const KeyedFigure total[] = {{"kernel", &kernel}};
   // Before the kernel summed it up: its parts.
   const KeyedFigure parts[] = {
      {"kernel_stack", &stacks}, {"pagetables", &pageTables}, {"percpu", &percpu}, {"slab", &slab}};
   if (ReadKeyedFigures(*text, total) > 0) {
      usage.kernel = kernel / 1024;
   } else {
      ReadKeyedFigures(*text, parts);
      usage.kernel = AddClamped(AddClamped(stacks, pageTables), AddClamped(percpu, slab)) / 1024;
   }
}

void ReadThrottling(int folder, CgroupLimits &limits, KernelFileReader &files)
{
   const std::optional<std::string_view> text = files.ReadRecord(folder, "cpu.stat", Missing::CgroupFiles);
   uint64_t periods = 0;
   uint64_t throttled = 0;
   const KeyedFigure figures[] = {{"nr_periods", &periods}, {"nr_throttled", &throttled}};
   if (!text.has_value() || ReadKeyedFigures(*text, figures) < 2 || periods == 0) {
      return;
   }
   const uint64_t capped = throttled < periods ? throttled : periods;
   const uint64_t percent = MultiplyClamped(capped, 100) / periods;
   limits.unthrottledPercent = static_cast<uint8_t>(100 - (percent < 100 ? percent : 100));
}

} // namespace

std::optional<CgroupLimits> ReadCgroupLimits(const CgroupTree &tree, CgroupIndex cgroup,
                                             KernelFileReader &files)
{
   CgroupLimits limits;
   if (tree.mounts.version == CgroupVersion::None) {
      return limits;
   }
   const FileDescriptor folder = OpenCgroup(tree.mounts.memory.Get(), tree, cgroup, files);
   if (!folder.IsOpen()) {
      return std::nullopt;
   }
   if (tree.mounts.version == CgroupVersion::V1) {
      limits.max = ReadLimitKB(folder.Get(), "memory.limit_in_bytes", files);
      const FileDescriptor cpu = OpenCgroup(tree.mounts.cpu.Get(), tree, cgroup, files);
      if (cpu.IsOpen()) {
         ReadThrottling(cpu.Get(), limits, files);
      }
   } else {
      limits.min = ReadKB(folder.Get(), "memory.min", files).value_or(0);
      limits.max = ReadLimitKB(folder.Get(), "memory.max", files);
      limits.high = ReadLimitKB(folder.Get(), "memory.high", files);
      ReadThrottling(folder.Get(), limits, files);
   }
   return limits;
}

std::optional<CgroupUsage> ReadCgroupUsage(const CgroupTree &tree, CgroupIndex cgroup,
                                           const std::vector<std::string> &hugePageFiles,
                                           KernelFileReader &files)
{
   CgroupUsage usage;
   if (tree.mounts.version == CgroupVersion::None) {
      return usage;
   }
   const FileDescriptor folder = OpenCgroup(tree.mounts.memory.Get(), tree, cgroup, files);
   if (!folder.IsOpen()) {
      return std::nullopt;
   }
   if (tree.mounts.version == CgroupVersion::V1) {
      const std::optional<uint64_t> current = ReadKB(folder.Get(), "memory.usage_in_bytes", files);
      usage.isKnown = current.has_value();
      usage.current = current.value_or(0);
      usage.peak = ReadKB(folder.Get(), "memory.max_usage_in_bytes", files).value_or(0);
      ReadMemoryStat(folder.Get(), {"total_active_anon", "total_active_file"}, usage, files);
      usage.kernel = ReadKB(folder.Get(), "memory.kmem.usage_in_bytes", files).value_or(0);
   } else {
      const std::optional<uint64_t> current = ReadKB(folder.Get(), "memory.current", files);
      usage.isKnown = current.has_value();
      usage.current = current.value_or(0);
      for (const std::string &file : hugePageFiles) {
         const uint64_t hugePages = ReadKB(folder.Get(), file.c_str(), files).value_or(0);
         usage.current = AddClamped(usage.current, hugePages);
      }
      usage.peak = std::max(ReadKB(folder.Get(), "memory.peak", files).value_or(0), usage.current);
      ReadMemoryStat(folder.Get(), {"active_anon", "active_file"}, usage, files);
   }
   return usage;
}

namespace {

void ParseEvents(std::string_view text, CgroupEvents &events)
{
   constexpr uint64_t kNotCounted = CgroupEvents::kNotCounted;
   uint64_t zswap = 0;
   uint64_t zswapped = 0;
   uint64_t anonThp = 0;
   uint64_t demotions[] = {kNotCounted, kNotCounted, kNotCounted, kNotCounted};
   const KeyedFigure figures[] = {
      {"anon_thp", &anonThp},
      {"zswap", &zswap},
      {"zswapped", &zswapped},
      {"pswpin", &events.swapInPages},
      {"pswpout", &events.swapOutPages},
      {"pgpromote_success", &events.promoted},
      {"pgdemote_kswapd", &demotions[0]},
      {"pgdemote_direct", &demotions[1]},
      {"pgdemote_khugepaged", &demotions[2]},
      {"pgdemote_proactive", &demotions[3]},
      {"zswpin", &events.zswapInPages},
      {"zswpout", &events.zswapOutPages},
      {"thp_fault_alloc", &events.thpFaultAllocs},
      {"thp_collapse_alloc", &events.thpCollapseAllocs},
      {"numa_pages_migrated", &events.numaMigrated},
      {"numa_hint_faults", &events.numaHintFaults},
   };
   ReadKeyedFigures(text, figures);
   events.anonThpKB = anonThp / 1024;
   events.zswapKB = zswap / 1024;
   events.zswappedKB = zswapped / 1024;
   for (const uint64_t pages : demotions) {
      if (pages != kNotCounted) {
         events.demoted = AddClamped(events.demoted != kNotCounted ? events.demoted : 0, pages);
      }
   }
}

} // namespace

std::optional<CgroupEvents> ReadCgroupEvents(const CgroupTree &tree, CgroupIndex cgroup,
                                             KernelFileReader &files)
{
   CgroupEvents events;
   if (tree.mounts.version != CgroupVersion::V2) {
      return events;
   }
   const FileDescriptor folder = OpenCgroup(tree.mounts.memory.Get(), tree, cgroup, files);
   if (!folder.IsOpen()) {
      return std::nullopt;
   }
   ParseEvents(files.ReadRecord(folder.Get(), "memory.stat", Missing::CgroupFiles).value_or(""), events);
   events.swapKB = ReadKB(folder.Get(), "memory.swap.current", files).value_or(0);
   events.swapMaxKB = ReadLimitKB(folder.Get(), "memory.swap.max", files);
   events.zswapMaxKB = ReadLimitKB(folder.Get(), "memory.zswap.max", files);
   return events;
}

} // namespace nevra
