// Parses kernel files, whatever they hold: the first byte says which.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

#include "fuzz/fuzz_check.h"
#include "nevra/kernel_detail.h"
#include "nevra/linux/host_memory.h"
#include "nevra/linux/huge_page_sharers.h"
#include "nevra/linux/kernel_text.h"
#include "nevra/linux/process.h"
#include "nevra/linux/process_memory.h"
#include "nevra/linux/vm_process.h"
#include "nevra/shown_text.h"

namespace {

void RequireKernelDetail(std::string_view text)
{
   const nevra::KernelFigures figures = nevra::ParseKernelDetail(text);
   Require(figures.size() <= nevra::kMaxKernelFigures, "a kernel has so many lines at most");
   for (const nevra::KernelFigure &figure : figures) {
      Require(nevra::IsKernelFigureName(figure.name) && nevra::IsShownText(figure.name),
              "names are safe to print");
      Require(figure.kb <= nevra::kMaxKernelFigureKB, "amounts are bounded");
      Require(FindKernelFigure(figures, figure.name) == &figure, "each name is there once");
   }
}

void ParseHostFile(uint8_t kind, std::string_view text)
{
   switch (kind) {
   case 0:
      RequireKernelDetail(text);
      if (const std::optional<nevra::MemInfo> info = nevra::ParseMemInfo(text)) {
         Require(info->KernelHeap() >= info->slab, "the heap is at least its slabs");
      }
      break;
   case 1: {
      const nevra::ZoneSummary summary = nevra::SummariseZones(nevra::ParseZones(text));
      for (size_t i = 1; i < summary.nodes.size(); i++) {
         Require(summary.nodes[i - 1].node < summary.nodes[i].node, "nodes are sorted, each once");
      }
      break;
   }
   case 2:
      nevra::ParseVmStat(text);
      break;
   case 3:
      nevra::ParseIoMem(text);
      break;
   default:
      nevra::ParseSlabInfo(text);
   }
}

void RequireHugePageSharers(std::string_view text)
{
   constexpr uint64_t kSharedKB = 1 << 20;
   nevra::HugePageSharers sharers;
   Require(sharers.Take(text, true) == text.size(), "all of it is taken at the end");
   Require(sharers.KBOfOthers(kSharedKB) <= kSharedKB, "the others have no more than is shared");
}

void ParseProcessFile(uint8_t kind, std::string_view text)
{
   switch (kind) {
   case 0:
      nevra::ParseProcessStatus(text, 1, true);
      break;
   case 1:
      nevra::ParseGuestMemory(text, {.largestMemoryKB = 1 << 20, .piecesKB = {4096, 1024}});
      RequireHugePageSharers(text);
      break;
   default:
      nevra::ParseVmCommand(text);
   }
}

void ShowText(std::string_view text)
{
   char field[64];
   nevra::StoreShownText(field, sizeof field, text);
   Require(std::memchr(field, 0, sizeof field) != nullptr, "the text is terminated");
   for (const char c : std::string_view(field)) {
      const unsigned char byte = static_cast<unsigned char>(c);
      Require(byte >= 0x20 && byte != 0x7f, "no control character is shown");
   }
   Require(nevra::IsShownText(field), "what is stored is fit to be shown");
   Require(text.size() >= sizeof field || nevra::IsShownText(text) == (text == field),
           "what is fit to be shown is stored as it is");
   char again[64];
   nevra::StoreShownText(again, sizeof again, field);
   Require(std::memcmp(field, again, sizeof field) == 0, "what is fit to be shown stays as it is");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
   if (size == 0) {
      return 0;
   }
   const std::string_view text(reinterpret_cast<const char *>(data) + 1, size - 1);
   const uint8_t kind = data[0] % 9;
   if (kind < 5) {
      ParseHostFile(kind, text);
   } else if (kind < 8) {
      ParseProcessFile(static_cast<uint8_t>(kind - 5), text);
   } else {
      ShowText(text);
   }
   return 0;
}
