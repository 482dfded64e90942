#include "nevra/linux/process_memory.h"

#include "nevra/linux/kernel_text.h"

namespace nevra {

namespace {

// Parses the lines of one mapping.
MappedMemory ParseMapping(std::string_view text)
{
   MappedMemory memory;
   uint64_t anonLarge = 0;
   uint64_t shmemLarge = 0;
   uint64_t fileLarge = 0;
   uint64_t sharedHugetlb = 0;
   uint64_t privateHugetlb = 0;
   const KeyedFigure figures[] = {
      {"Size", &memory.size},
      {"KernelPageSize", &memory.kernelPage},
      {"Rss", &memory.rss},
      {"Pss", &memory.pss},
      {"Private_Clean", &memory.privateClean},
      {"Private_Dirty", &memory.privateDirty},
      {"Referenced", &memory.referenced},
      {"KSM", &memory.ksm},
      {"AnonHugePages", &anonLarge},
      {"ShmemPmdMapped", &shmemLarge},
      {"FilePmdMapped", &fileLarge},
      {"Shared_Hugetlb", &sharedHugetlb},
      {"Private_Hugetlb", &privateHugetlb},
      {"Swap", &memory.swap},
      {"Locked", &memory.locked},
   };
   ReadKeyedFigures(text, figures);
   memory.largePages = AddClamped(AddClamped(anonLarge, shmemLarge), fileLarge);
   memory.hugetlb = AddClamped(sharedHugetlb, privateHugetlb);
   return memory;
}

// "7f0000000000-7f4000000000 rw-p 00000000 00:00 0   /path": no key ends its first word, a colon all others.
bool IsMappingHead(std::string_view line)
{
   const std::string_view word = TakeWord(line);
   return word.find('-') != std::string_view::npos && !word.ends_with(':') && !line.empty();
}

// Cuts off the text of the first mapping, head and all.
std::string_view TakeMapping(std::string_view &text)
{
   const std::string_view whole = text;
   TakeLine(text);
   while (!text.empty()) {
      std::string_view rest = text;
      if (IsMappingHead(TakeLine(rest))) {
         break;
      }
      text = rest;
   }
   return whole.substr(0, whole.size() - text.size());
}

} // namespace

uint64_t MappedMemory::Resident() const
{
   return AddClamped(rss, hugetlb);
}

std::optional<MappedMemory> ReadMappedMemory(const Process &process, KernelFileReader &files)
{
   const std::optional<std::string_view> text = files.ReadRecord(
      process.proc, ProcessPath(process.pid, "smaps_rollup").Text(), Missing::ProcessMappings);
   return text.has_value() && !text->empty() ? std::optional(ParseMapping(*text)) : std::nullopt;
}

size_t GuestMappingSearch::Take(std::string_view smaps, bool isEnd)
{
   const size_t length = smaps.size();
   while (!smaps.empty() && !isFound) {
      std::string_view rest = smaps;
      const std::string_view text = TakeMapping(rest);
      if (rest.empty() && !isEnd) {
         break; // more lines of it may come
      }
      smaps = rest;
      const MappedMemory mapping = ParseMapping(text);
      isFound = guestKB.has_value() && mapping.size == *guestKB;
      if (isFound || (mapping.size > 0 && (!best.has_value() || mapping.size > best->size))) {
         best = mapping;
      }
   }
   return length - smaps.size();
}

std::optional<MappedMemory> ParseGuestMapping(std::string_view smaps, std::optional<uint64_t> guestKB)
{
   GuestMappingSearch search(guestKB);
   search.Take(smaps, true);
   return search.Best();
}

std::optional<MappedMemory> ReadGuestMapping(const Process &process, std::optional<uint64_t> guestKB,
                                             KernelFileReader &files)
{
   GuestMappingSearch search(guestKB);
   const bool isRead = files.ReadInParts(
      process.proc, ProcessPath(process.pid, "smaps").Text(),
      [&search](std::string_view text, bool isEnd) {
         const size_t taken = search.Take(text, isEnd);
         return search.IsFound() ? KernelFileReader::kEnough : taken;
      },
      Missing::GuestMappings);
   return isRead ? search.Best() : std::nullopt;
}

} // namespace nevra
