#include "nevra/linux/host_memory.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "nevra/linux/kernel_text.h"
#include "nevra/shown_text.h"

namespace nevra {

uint64_t MemInfo::KernelHeap() const
{
   return AddClamped(AddClamped(AddClamped(slab, kernelStack), AddClamped(pageTables, secPageTables)),
                     percpu);
}

std::optional<MemInfo> ParseMemInfo(std::string_view text)
{
   MemInfo info;
   const KeyedFigure figures[] = {
      {"MemTotal", &info.memTotal},
      {"MemFree", &info.memFree},
      {"Active(anon)", &info.activeAnon},
      {"Active(file)", &info.activeFile},
      {"AnonPages", &info.anonPages},
      {"Shmem", &info.shmem},
      {"Slab", &info.slab},
      {"KernelStack", &info.kernelStack},
      {"PageTables", &info.pageTables},
      {"SecPageTables", &info.secPageTables},
      {"Percpu", &info.percpu},
      {"Hugetlb", &info.hugetlb},
   };
   ReadKeyedFigures(text, figures);
   return info.memTotal > 0 ? std::optional(info) : std::nullopt;
}

KernelFigures ParseKernelDetail(std::string_view text)
{
   KernelFigures figures;
   while (!text.empty() && figures.size() < kMaxKernelFigures) {
      std::string_view line = TakeLine(text);
      const std::string_view name = TakeUntil(line, ':');
      const std::optional<uint64_t> kb = ParseNumber(TakeWord(line));
      if (kb.has_value() && *kb <= kMaxKernelFigureKB && TakeWord(line) == "kB" && IsKernelFigureName(name) &&
          FindKernelFigure(figures, name) == nullptr) {
         figures.push_back({std::string(name), *kb});
      }
   }
   return figures;
}

namespace {

// "Node 0, zone   Normal"
bool ParseZoneHead(std::string_view line, Zone *zone)
{
   if (TakeWord(line) != "Node") {
      return false;
   }
   const std::optional<uint64_t> node = ParseNumber(TakeWord(line));
   if (!node.has_value() || *node > UINT16_MAX || TakeWord(line) != "zone") {
      return false;
   }
   *zone = Zone{};
   zone->node = static_cast<uint32_t>(*node);
   zone->name = TakeWord(line);
   return true;
}

} // namespace

std::vector<Zone> ParseZones(std::string_view text)
{
   std::vector<Zone> zones;
   Zone head{};
   while (!text.empty()) {
      std::string_view line = TakeLine(text);
      if (ParseZoneHead(line, &head)) {
         zones.push_back(head);
         continue;
      }
      if (zones.empty()) {
         continue;
      }
      Zone &zone = zones.back();
      std::string_view key = TakeWord(line);
      if (key == "pages") {
         key = TakeWord(line);
      }
      uint64_t *figure = key == "free"      ? &zone.freePages
                         : key == "min"     ? &zone.min
                         : key == "low"     ? &zone.low
                         : key == "high"    ? &zone.high
                         : key == "present" ? &zone.present
                         : key == "managed" ? &zone.managed
                                            : nullptr;
      if (figure != nullptr) {
         *figure = ParseNumber(line).value_or(0);
      }
   }
   return zones;
}

MemState StateOfZones(const std::vector<Zone> &zones)
{
   uint64_t freePages = 0;
   uint64_t min = 0;
   uint64_t low = 0;
   uint64_t high = 0;
   for (const Zone &zone : zones) {
      if (zone.managed > 0) {
         freePages = AddClamped(freePages, zone.freePages);
         min = AddClamped(min, zone.min);
         low = AddClamped(low, zone.low);
         high = AddClamped(high, zone.high);
      }
   }
   if (high == 0) {
      return MemState::Unknown;
   }
   return freePages > MultiplyClamped(high, 2) ? MemState::High
          : freePages > high                   ? MemState::Clear
          : freePages > low                    ? MemState::Soft
          : freePages > min                    ? MemState::Hard
                                               : MemState::Low;
}

namespace {

NodeMemory &FindNode(std::vector<NodeMemory> &nodes, uint32_t number)
{
   const auto at =
      std::lower_bound(nodes.begin(), nodes.end(), number,
                       [](const NodeMemory &node, uint32_t wanted) { return node.node < wanted; });
   return at != nodes.end() && at->node == number ? *at : *nodes.insert(at, NodeMemory{number, 0, 0});
}

} // namespace

ZoneSummary SummariseZones(const std::vector<Zone> &zones)
{
   ZoneSummary summary;
   summary.state = StateOfZones(zones);
   for (const Zone &zone : zones) {
      const uint64_t reserved = zone.name == "DMA" ? SubtractClamped(zone.present, zone.managed) : 0;
      summary.reservedLowPages = AddClamped(summary.reservedLowPages, reserved);
      if (zone.managed > 0) {
         NodeMemory &node = FindNode(summary.nodes, zone.node);
         uint64_t &managed =
            zone.name == "DMA" || zone.name == "DMA32" ? node.managedLowPages : node.managedHighPages;
         managed = AddClamped(managed, zone.managed);
      }
   }
   return summary;
}

VmStat ParseVmStat(std::string_view text)
{
   VmStat stat;
   uint64_t faults = 0;
   uint64_t collapses = 0;
   uint64_t files = 0;
   LargePageCounters &large = stat.largePages;
   const KeyedFigure figures[] = {
      {"nr_memmap_pages", &stat.memmapPages},
      {"nr_memmap_boot_pages", &stat.memmapBootPages},
      {"pageoutrun", &stat.kswapdRuns},
      {"compact_stall", &large.compactStalls},
      {"compact_fail", &large.compactFailures},
      {"compact_success", &large.compactSuccesses},
      {"thp_fault_alloc", &faults},
      {"thp_collapse_alloc", &collapses},
      {"thp_file_alloc", &files},
      {"thp_split_page", &large.splits},
      {"thp_split_page_failed", &large.splitFailures},
   };
   ReadKeyedFigures(text, figures);
   large.allocated = AddClamped(AddClamped(faults, collapses), files);
   while (!text.empty()) {
      const KeyedLine line = SplitKeyedLine(TakeLine(text));
      if (line.key == "allocstall" || line.key.starts_with("allocstall_")) {
         stat.directReclaimStalls = AddClamped(stat.directReclaimStalls, ParseNumber(line.value).value_or(0));
      }
   }
   return stat;
}

IoMem ParseIoMem(std::string_view text)
{
   uint64_t systemRam = 0;
   uint64_t code = 0;
   uint64_t data = 0;
   while (!text.empty()) {
      // "  01000000-02209987 : Kernel code"
      std::string_view line = TakeLine(text);
      const std::optional<uint64_t> first = ParseHexNumber(TakeUntil(line, '-'));
      const std::optional<uint64_t> last = ParseHexNumber(TakeWord(line));
      TakeWord(line);
      line.remove_prefix(line.empty() ? 0 : 1);
      if (!first.has_value() || !last.has_value() || *last <= *first) {
         continue;
      }
      const uint64_t bytes = AddClamped(*last - *first, 1);
      if (line.starts_with("System RAM")) {
         systemRam = AddClamped(systemRam, bytes);
      } else if (line == "Kernel code") {
         code = AddClamped(code, bytes);
      } else if (line == "Kernel data" || line == "Kernel rodata" || line == "Kernel bss") {
         data = AddClamped(data, bytes);
      }
   }
   return {systemRam / 1024, code / 1024, data / 1024};
}

// "name active_objs num_objs objsize objperslab pagesperslab : tunables a b c : slabdata active_slabs
// num_slabs x"
std::vector<SlabCache> ParseSlabInfo(std::string_view text)
{
   std::vector<SlabCache> caches;
   while (!text.empty()) {
      std::string_view line = TakeLine(text);
      const std::string_view name = TakeWord(line);
      uint64_t figures[5] = {};
      bool isCache = !name.empty() && name != "slabinfo" && !name.starts_with('#');
      for (uint64_t &figure : figures) {
         const std::optional<uint64_t> number = ParseNumber(TakeWord(line));
         isCache = isCache && number.has_value();
         figure = number.value_or(0);
      }
      TakeUntil(line, ':');
      TakeUntil(line, ':');
      TakeWord(line);
      TakeWord(line);
      const std::optional<uint64_t> slabs = ParseNumber(TakeWord(line));
      if (isCache && slabs.has_value()) {
         char shown[256]; // a file name's length: the kernel keeps a folder for each cache
         StoreShownText(shown, sizeof shown, name);
         caches.push_back({shown, figures[0], figures[1], figures[2], figures[4], *slabs});
      }
   }
   return caches;
}

} // namespace nevra
