#include "nevra/linux/huge_page_sharers.h"

#include "nevra/linux/kernel_text.h"

namespace nevra {

namespace {

// The number in "NAME=NUMBER", of which `prefix` is the name and the sign; 0 in any other word.
uint64_t NumberAfter(std::string_view prefix, std::string_view word)
{
   return word.starts_with(prefix) ? ParseNumber(word.substr(prefix.size())).value_or(0) : 0;
}

// The pages on one memory node: "N0=24".
uint64_t PagesOnNode(std::string_view word)
{
   const size_t sign = word.find('=');
   const bool isNode = word.size() > 1 && word[0] == 'N' && word[1] >= '0' && word[1] <= '9';
   return isNode && sign != std::string_view::npos ? ParseNumber(word.substr(sign + 1)).value_or(0) : 0;
}

} // namespace

// "7f5c00000000 default file=/dev/hugepages/a huge dirty=4 mapmax=3 N0=4 kernelpagesize_kB=2048". Nobody else
// maps a mapping without a mapmax. Names have no spaces.
void HugePageSharers::TakeMapping(std::string_view line)
{
   bool isHuge = false;
   uint64_t most = 0;
   uint64_t pages = 0;
   uint64_t pageKB = 0;
   while (!line.empty()) {
      const std::string_view word = TakeWord(line);
      isHuge = isHuge || word == "huge";
      most += NumberAfter("mapmax=", word);
      pages = AddClamped(pages, PagesOnNode(word));
      pageKB += NumberAfter("kernelpagesize_kB=", word);
   }
   if (isHuge && most > 1) {
      const uint64_t kb = MultiplyClamped(pages, pageKB);
      pagesKB = AddClamped(pagesKB, kb);
      othersKB = AddClamped(othersKB, kb - kb / most);
   }
}

size_t HugePageSharers::Take(std::string_view numaMaps, bool isEnd)
{
   const size_t length = numaMaps.size();
   while (!numaMaps.empty() && (isEnd || numaMaps.find('\n') != std::string_view::npos)) {
      TakeMapping(TakeLine(numaMaps));
   }
   return length - numaMaps.size();
}

uint64_t HugePageSharers::KBOfOthers(uint64_t sharedKB) const
{
   if (pagesKB == 0) {
      return sharedKB / 2;
   }
   // Exact for amounts that a host can have.
   const auto shared = static_cast<long double>(sharedKB);
   const long double others = shared * static_cast<long double>(othersKB) / static_cast<long double>(pagesKB);
   return others < shared ? static_cast<uint64_t>(others) : sharedKB;
}

uint64_t ReadHugeKBOfOthers(const Process &process, uint64_t sharedKB, Walk walk, KernelFileReader &files)
{
   HugePageSharers sharers;
   if (sharedKB == 0) {
      return 0;
   }
   files.ReadInPartsWithin(
      PatienceFor(walk), process.proc, ProcessPath(process.pid, "numa_maps").Text(),
      [&sharers](std::string_view text, bool isEnd) { return sharers.Take(text, isEnd); }, Missing::Nothing);
   return sharers.KBOfOthers(sharedKB);
}

} // namespace nevra
