#include "recorder/limit_text.h"

#include <charconv>

namespace recorder {

namespace {

// The number in front, all digits; the rest stays in the text.
bool TakeNumber(std::string_view *text, uint64_t *number)
{
   const auto result = std::from_chars(text->data(), text->data() + text->size(), *number);
   if (result.ec != std::errc()) {
      return false;
   }
   text->remove_prefix(static_cast<size_t>(result.ptr - text->data()));
   return true;
}

} // namespace

bool ParseDuration(std::string_view text, int64_t *ns)
{
   constexpr uint64_t kMostSeconds = uint64_t{1000} * 365 * 86400 / 10;
   uint64_t number = 0;
   if (!TakeNumber(&text, &number) || text.size() != 1 || number == 0 || number > kMostSeconds) {
      return false;
   }
   uint64_t seconds = 0;
   switch (text[0]) {
   case 's':
      seconds = 1;
      break;
   case 'm':
      seconds = 60;
      break;
   case 'h':
      seconds = 3600;
      break;
   case 'd':
      seconds = 86400;
      break;
   default:
      return false;
   }
   if (number > kMostSeconds / seconds) {
      return false;
   }
   *ns = static_cast<int64_t>(number * seconds) * 1'000'000'000;
   return true;
}

bool ParseSize(std::string_view text, uint64_t *bytes)
{
   uint64_t number = 0;
   if (!TakeNumber(&text, &number) || text.size() > 1) {
      return false;
   }
   int shift = 0;
   if (!text.empty()) {
      constexpr std::string_view kUnits = "KMGT";
      const size_t unit = kUnits.find(text[0]);
      if (unit == std::string_view::npos) {
         return false;
      }
      shift = 10 * (static_cast<int>(unit) + 1);
   }
   if (number > static_cast<uint64_t>(INT64_MAX) >> shift) {
      return false;
   }
   *bytes = number << shift;
   return true;
}

bool ParseShare(std::string_view text, double *share)
{
   uint64_t number = 0;
   if (!TakeNumber(&text, &number) || text != "%" || number > 100) {
      return false;
   }
   *share = static_cast<double>(number) / 100;
   return true;
}

} // namespace recorder
