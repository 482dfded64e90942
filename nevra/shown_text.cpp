#include "nevra/shown_text.h"

#include <algorithm>
#include <cstring>

namespace nevra {

namespace {

// Of U+2000 to U+2fff, by the last two bytes: line and paragraph separators and the embeddings, overrides and
// isolates of bidirectional text, after which a name may look like another, or a line like two.
bool IsSteering(unsigned char second, unsigned char third)
{
   return (second == 0x80 && third >= 0xa8 && third <= 0xae) ||
          (second == 0x81 && third >= 0xa6 && third <= 0xa9);
}

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
   return refused || (first == 0xe2 && IsSteering(second, byte(2))) ? 0 : length;
}

// Calls visit(length, isShown) for each character, and each byte that is part of none, until it gives false.
template <typename Visit> void ForEachCharacter(std::string_view text, Visit visit)
{
   while (!text.empty()) {
      const size_t length = ShownCharacterLength(text);
      const size_t taken = std::max<size_t>(length, 1);
      if (!visit(taken, length > 0)) {
         return;
      }
      text.remove_prefix(taken);
   }
}

} // namespace

void MakeShown(std::span<char> text)
{
   char *at = text.data();
   ForEachCharacter({text.data(), text.size()}, [&](size_t length, bool isShown) {
      if (!isShown) {
         *at = '?';
      }
      at += length;
      return true;
   });
}

std::string ShownText(std::string_view text)
{
   std::string shown(text);
   MakeShown(shown);
   return shown;
}

void StoreShownText(char *field, size_t size, std::string_view text)
{
   std::memset(field, 0, size);
   size_t used = 0;
   ForEachCharacter(text, [&](size_t length, bool isShown) {
      if (used + length >= size) {
         return false;
      }
      std::memcpy(field + used, isShown ? text.data() + used : "?", length);
      used += length;
      return true;
   });
}

bool IsShownText(std::string_view text)
{
   // Most texts are of these characters alone, and are looked through many bytes at once.
   bool isPlain = true;
   for (const char c : text) {
      isPlain &= c >= 0x20 && c < 0x7f;
   }
   if (!isPlain) {
      isPlain = true;
      ForEachCharacter(text, [&](size_t, bool isShown) { return isPlain = isShown; });
   }
   return isPlain;
}

} // namespace nevra
