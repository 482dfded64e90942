#include "nevra/linux/host_memory.h"

#include "nevra/linux/kernel_text.h"

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

ZoneSummary SummariseZones(const std::vector<Zone> &zones)
{
   ZoneSummary summary;
   summary.state = StateOfZones(zones);
   for (const Zone &zone : zones) {
      const uint64_t reserved = zone.name == "DMA" ? SubtractClamped(zone.present, zone.managed) : 0;
      summary.reservedLowPages = AddClamped(summary.reservedLowPages, reserved);
   }
   return summary;
}

VmStat ParseVmStat(std::string_view text)
{
   VmStat stat;
   while (!text.empty()) {
      const KeyedLine line = SplitKeyedLine(TakeLine(text));
      const uint64_t number = ParseNumber(line.value).value_or(0);
      if (line.key == "pageoutrun") {
         stat.kswapdRuns = number;
      } else if (line.key == "allocstall" || line.key.starts_with("allocstall_")) {
         stat.directReclaimStalls = AddClamped(stat.directReclaimStalls, number);
      } else if (line.key == "nr_memmap_pages") {
         stat.memmapPages = number;
      } else if (line.key == "nr_memmap_boot_pages") {
         stat.memmapBootPages = number;
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

} // namespace nevra
