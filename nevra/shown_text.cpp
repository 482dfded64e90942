#include "nevra/shown_text.h"

#include <algorithm>
#include <cstring>

namespace nevra {

namespace {

// The bytes of the UTF-8 character that the text begins with; 0 when it begins with none that may be shown.
size_t ShownCharacterLength(std::string_view text)
{
   const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
   const unsigned char first = byte(0);
   if (first < 0x80) {
      return first >= 0x20 && first != 0x7f ? 1 : 0;
   }
   const size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
   if (first < 0xc2 || first > 0xf4 || text.size() < length) {
      return 0;
   }
   for (size_t i = 1; i < length; i++) {
      if ((byte(i) & 0xc0) != 0x80) {
         return 0;
      }
   }
   // U+0080 to U+009f are control characters too; the rest are overlong forms, surrogates, beyond U+10ffff.
   const unsigned char second = byte(1);
   const bool refused = (first == 0xc2 && second < 0xa0) || (first == 0xe0 && second < 0xa0) ||
                        (first == 0xed && second >= 0xa0) || (first == 0xf0 && second < 0x90) ||
                        (first == 0xf4 && second >= 0x90);
   return refused ? 0 : length;
}

} // namespace

void StoreShownText(char *field, size_t size, std::string_view text)
{
   std::memset(field, 0, size);
   size_t used = 0;
   while (!text.empty()) {
      const size_t length = ShownCharacterLength(text);
      const size_t stored = std::max<size_t>(length, 1);
      if (used + stored >= size) {
         return;
      }
      if (length == 0) {
         field[used] = '?';
      } else {
         std::memcpy(field + used, text.data(), length);
      }
      used += stored;
      text.remove_prefix(stored);
   }
}

bool IsShownText(std::string_view text)
{
   // Most texts are of these characters alone, and are looked through many bytes at once.
   bool isPlain = true;
   for (const char c : text) {
      isPlain &= c >= 0x20 && c < 0x7f;
   }
   while (!isPlain && !text.empty()) {
      const size_t length = ShownCharacterLength(text);
      if (length == 0) {
         return false;
      }
      text.remove_prefix(length);
   }
   return true;
}

} // namespace nevra
