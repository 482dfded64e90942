#include "overview/kernel_detail.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>

namespace overview {

namespace {

constexpr char kTotal[] = "MemTotal";

// "Name:   123 kB"
void ParseLine(std::string_view line, KernelDetail *detail)
{
   const size_t colon = line.find(':');
   if (colon == std::string_view::npos || !line.ends_with(" kB")) {
      return;
   }
   std::string_view digits = line.substr(colon + 1, line.size() - colon - 4);
   digits.remove_prefix(std::min(digits.find_first_not_of(' '), digits.size()));
   uint64_t kb = 0;
   const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), kb);
   if (error == std::errc() && end == digits.data() + digits.size()) {
      detail->Set(line.substr(0, colon), kb);
   }
}

} // namespace

uint64_t KernelDetail::Of(std::string_view name) const
{
   const auto found = amounts.find(name);
   return found != amounts.end() ? found->second : 0;
}

KernelDetail ParseKernelDetail(std::string_view text)
{
   KernelDetail detail;
   while (!text.empty()) {
      const size_t length = std::min(text.find('\n'), text.size());
      ParseLine(text.substr(0, length), &detail);
      text.remove_prefix(std::min(length + 1, text.size()));
   }
   return detail;
}

std::optional<KernelDetail> ReadKernelDetail()
{
   std::ifstream file("/proc/meminfo");
   std::array<char, 16384> text; // the kernel's is a tenth of it
   file.read(text.data(), text.size());
   KernelDetail detail = ParseKernelDetail({text.data(), static_cast<size_t>(file.gcount())});
   return detail.Has(kTotal) ? std::optional(std::move(detail)) : std::nullopt;
}

bool IsDetailOf(const HostFigures &host, const KernelDetail &detail)
{
   return detail.Has(kTotal) && detail.Of(kTotal) == host.managedByMemMap;
}

} // namespace overview
