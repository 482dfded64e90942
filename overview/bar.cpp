#include "overview/bar.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace overview {

namespace {

constexpr std::array<const char *, 9> kEighths = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉", "█"};

} // namespace

std::string Bar(int64_t part, int64_t whole, size_t columns, Charset charset)
{
   if (part <= 0 || whole <= 0 || columns == 0) {
      return std::string(columns, ' ');
   }
   const size_t steps = charset == Charset::Utf8 ? 8 : 1;
   const double share = std::min(1.0, static_cast<double>(part) / static_cast<double>(whole));
   const size_t length =
      static_cast<size_t>(std::max(1L, std::lround(share * static_cast<double>(columns * steps))));
   std::string bar;
   for (size_t i = 0; i < length / steps; i++) {
      bar += charset == Charset::Utf8 ? kEighths[8] : "#";
   }
   bar += charset == Charset::Utf8 ? kEighths[length % steps] : "";
   return bar + std::string(columns - (length + steps - 1) / steps, ' ');
}

} // namespace overview
