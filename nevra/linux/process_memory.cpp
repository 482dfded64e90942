#include "nevra/linux/process_memory.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

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
   uint64_t privateHugetlb = 0;
   uint64_t ksm = kUnlimited;
   const KeyedFigure figures[] = {
      {"Size", &memory.size},
      {"KernelPageSize", &memory.kernelPage},
      {"Rss", &memory.rss},
      {"Pss", &memory.pss},
      {"Private_Clean", &memory.privateClean},
      {"Private_Dirty", &memory.privateDirty},
      {"Referenced", &memory.referenced},
      {"KSM", &ksm},
      {"AnonHugePages", &anonLarge},
      {"ShmemPmdMapped", &shmemLarge},
      {"FilePmdMapped", &fileLarge},
      {"Shared_Hugetlb", &memory.sharedHugetlb},
      {"Private_Hugetlb", &privateHugetlb},
      {"Swap", &memory.swap},
      {"Locked", &memory.locked},
   };
   ReadKeyedFigures(text, figures);
   memory.largePages = AddClamped(AddClamped(anonLarge, shmemLarge), fileLarge);
   memory.hugetlb = AddClamped(memory.sharedHugetlb, privateHugetlb);
   if (ksm != kUnlimited) {
      memory.ksm = ksm;
   }
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

// Writable, no code, and neither heap nor stack. An emulator that translates the guest's code has a buffer
// for it that may be larger than the guest's memory.
bool MayHoldGuest(std::string_view head)
{
   TakeWord(head);
   const std::string_view access = TakeWord(head);
   const bool isData = access.size() == 4 && access[1] == 'w' && access[2] != 'x';
   return isData && head.find("[heap]") == std::string_view::npos &&
          head.find("[stack") == std::string_view::npos &&
          head.find("memfd:tcg-jit") == std::string_view::npos;
}

bool HasVmFlag(std::string_view mapping, std::string_view flag)
{
   constexpr std::string_view kFlags = "\nVmFlags:";
   const size_t at = mapping.find(kFlags);
   std::string_view flags = at != std::string_view::npos ? mapping.substr(at + kFlags.size()) : "";
   flags = TakeLine(flags);
   while (!flags.empty()) {
      if (TakeWord(flags) == flag) {
         return true;
      }
   }
   return false;
}

} // namespace

int PatienceFor(Walk walk)
{
   return walk == Walk::All ? KernelFileReader::kPatient : 1000;
}

uint64_t MappedMemory::Resident() const
{
   return AddClamped(rss, hugetlb);
}

Walk WalkAskedFor()
{
   const char *asked = std::getenv("HOSTMEM_WALK");
   if (asked == nullptr) {
      return Walk::WhereShort;
   }
   return std::strcmp(asked, "all") == 0    ? Walk::All
          : std::strcmp(asked, "none") == 0 ? Walk::None
                                            : Walk::WhereShort;
}

bool IsShortWalk(const ProcessStatus &status, uint64_t hugeKB)
{
   // Measured at 60 ns on an idle host, and at up to 280 ns on a busy one whose memory does not fit the
   // caches.
   constexpr uint64_t kNanosecondsPerEntry = 250;
   // Half of what a process is held up at most: whoever walks may be interrupted on the way.
   constexpr uint64_t kLongestWalk = 50'000'000;
   constexpr uint64_t kEntriesPerKB = 1024 / 8;
   const uint64_t entries = MultiplyClamped(status.vmPte, kEntriesPerKB);
   const uint64_t walked = SubtractClamped(entries, hugeKB / PageKB());
   return MultiplyClamped(walked, kNanosecondsPerEntry) <= kLongestWalk;
}

std::optional<MappedMemory> ReadMappedMemory(const Process &process, Walk walk, KernelFileReader &files)
{
   const ProcessPath path(process.pid, "smaps_rollup");
   const std::optional<std::string_view> text =
      MayHang(process)
         ? files.ReadAllWithin(PatienceFor(walk), process.proc, path.Text(), Missing::ProcessMappings)
         : files.ReadRecord(process.proc, path.Text(), Missing::ProcessMappings);
   return text.has_value() && !text->empty() ? std::optional(ParseMapping(*text)) : std::nullopt;
}

void GuestMemory::Add(const MappedMemory &mapping)
{
   constexpr uint64_t kGigabytePageKB = uint64_t{1} << 20;
   MappedMemory &sum = mappings;
   const std::pair<uint64_t *, uint64_t> figures[] = {
      {&sum.size, mapping.size},
      {&sum.rss, mapping.rss},
      {&sum.pss, mapping.pss},
      {&sum.privateClean, mapping.privateClean},
      {&sum.privateDirty, mapping.privateDirty},
      {&sum.referenced, mapping.referenced},
      {&sum.largePages, mapping.largePages},
      {&sum.hugetlb, mapping.hugetlb},
      {&sum.sharedHugetlb, mapping.sharedHugetlb},
      {&sum.swap, mapping.swap},
      {&sum.locked, mapping.locked},
      {&gigabytePages, mapping.kernelPage >= kGigabytePageKB ? mapping.hugetlb : 0},
   };
   for (const auto &[total, part] : figures) {
      *total = AddClamped(*total, part);
   }
   if (mapping.ksm.has_value()) {
      sum.ksm = AddClamped(sum.ksm.value_or(0), *mapping.ksm);
   }
}

GuestMemorySearch::GuestMemorySearch(const VmCommand &command)
    : missingKB(command.piecesKB), largestKB(command.largestMemoryKB)
{
}

void GuestMemorySearch::TakeCandidate(const MappedMemory &memory, bool isLikeGuests)
{
   // Whole blocks of memory, the smallest that a Linux guest takes.
   constexpr uint64_t kBlockKB = uint64_t{128} << 10;
   constexpr size_t kMostPlugged = 4096;
   if (memory.size == 0) {
      return;
   }
   if (const auto piece = std::ranges::find(missingKB, memory.size); piece != missingKB.end()) {
      missingKB.erase(piece);
      pieces.Add(memory);
      isComplete = missingKB.empty() && !largestKB.has_value();
   } else if (largestKB.has_value() && isLikeGuests && memory.size % kBlockKB == 0 &&
              plugged.size() < kMostPlugged) {
      plugged.push_back(memory);
   }
   if (memory.size > largest.size) {
      largest = memory;
   }
}

size_t GuestMemorySearch::Take(std::string_view smaps, bool isEnd)
{
   const size_t length = smaps.size();
   while (!smaps.empty() && !isComplete) {
      std::string_view rest = smaps;
      const std::string_view text = TakeMapping(rest);
      if (rest.empty() && !isEnd) {
         break; // more lines of it may come
      }
      smaps = rest;
      std::string_view head = text;
      if (MayHoldGuest(TakeLine(head))) {
         TakeCandidate(ParseMapping(text), HasVmFlag(text, "dc"));
      }
   }
   return length - smaps.size();
}

std::optional<GuestMemory> GuestMemorySearch::Found() const
{
   GuestMemory guest = pieces;
   if (guest.mappings.size == 0) {
      // An emulator that has just been started has not made the guest's memory yet.
      const bool isLargeEnough = missingKB.empty() || largest.size >= std::ranges::min(missingKB);
      if (isLargeEnough) {
         guest.Add(largest);
      }
      return largest.size > 0 ? std::optional(guest) : std::nullopt;
   }
   for (const MappedMemory &memory : plugged) {
      if (AddClamped(guest.mappings.size, memory.size) <= largestKB.value_or(0)) {
         guest.Add(memory);
      }
   }
   return guest;
}

std::optional<GuestMemory> ParseGuestMemory(std::string_view smaps, const VmCommand &command)
{
   GuestMemorySearch search(command);
   search.Take(smaps, true);
   return search.Found();
}

std::optional<GuestMemory> ReadGuestMemory(const Process &process, const VmCommand &command, Walk walk,
                                           KernelFileReader &files)
{
   GuestMemorySearch search(command);
   const bool isRead = files.ReadInPartsWithin(
      PatienceFor(walk), process.proc, ProcessPath(process.pid, "smaps").Text(),
      [&search](std::string_view text, bool isEnd) {
         const size_t taken = search.Take(text, isEnd);
         return search.IsComplete() ? KernelFileReader::kEnough : taken;
      },
      Missing::GuestMappings);
   return isRead ? search.Found() : std::nullopt;
}

} // namespace nevra
