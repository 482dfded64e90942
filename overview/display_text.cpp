#include "overview/display_text.h"

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include <langinfo.h>

#include "nevra/shown_text.h"

namespace overview {

namespace {

struct Character {
   size_t bytes;
   wchar_t code;
};

// The first character of a text that is UTF-8.
Character FirstOf(std::string_view text)
{
   const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
   if (byte(0) < 0x80) {
      return {1, static_cast<wchar_t>(byte(0))};
   }
   const size_t bytes = byte(0) >= 0xf0 ? 4 : byte(0) >= 0xe0 ? 3 : 2;
   uint32_t code = byte(0) & (0x7fU >> bytes);
   for (size_t i = 1; i < bytes; i++) {
      code = code << 6 | (byte(i) & 0x3fU);
   }
   return {bytes, static_cast<wchar_t>(code)};
}

// Marks without a width that do something else than mark the letter before them: joiners, marks of direction,
// selectors of a look that may be wider.
bool IsFormat(wchar_t code)
{
   return (code >= 0x200b && code <= 0x200f) || (code >= 0x2060 && code <= 0x206f) || code == 0x061c ||
          code == 0xfeff || code == 0x034f || (code >= 0xfe00 && code <= 0xfe0f) || code >= 0xe0000;
}

constexpr size_t kDots = 2;

// More marks on one letter than any language writes only serve to draw over the lines above and below.
constexpr size_t kMostMarks = 3;

// A text that is fit to be shown, without what could move the columns.
std::string WithSteadyColumns(std::string_view text)
{
   std::string steady;
   size_t marks = kMostMarks; // none before the first letter
   while (!text.empty()) {
      const Character character = FirstOf(text);
      const int columns = wcwidth(character.code);
      if (columns < 0 || IsFormat(character.code)) {
         steady += '?';
         marks = kMostMarks;
      } else if (columns > 0) {
         steady.append(text.substr(0, character.bytes));
         marks = 0;
      } else if (marks < kMostMarks) {
         steady.append(text.substr(0, character.bytes));
         marks++;
      }
      text.remove_prefix(character.bytes);
   }
   return steady;
}

std::string InAscii(std::string_view text)
{
   std::string ascii;
   while (!text.empty()) {
      const Character character = FirstOf(text);
      ascii += character.bytes == 1 ? text[0] : '?';
      text.remove_prefix(character.bytes);
   }
   return ascii;
}

// As much of the text as fits into the columns.
std::string_view Head(std::string_view text, size_t columns)
{
   size_t bytes = 0;
   size_t used = 0;
   while (bytes < text.size()) {
      const Character character = FirstOf(text.substr(bytes));
      used += static_cast<size_t>(std::max(wcwidth(character.code), 0));
      if (used > columns) {
         break;
      }
      bytes += character.bytes;
   }
   return text.substr(0, bytes);
}

// As much of its end.
std::string_view Tail(std::string_view text, size_t columns)
{
   size_t excess = ColumnsOf(text);
   excess -= std::min(excess, columns);
   size_t bytes = 0;
   for (size_t skipped = 0; bytes < text.size();) {
      const Character character = FirstOf(text.substr(bytes));
      const size_t width = static_cast<size_t>(std::max(wcwidth(character.code), 0));
      if (skipped >= excess && width > 0) {
         break;
      }
      skipped += width;
      bytes += character.bytes;
   }
   return text.substr(bytes);
}

std::string Pad(const std::string &text, size_t columns, Align align)
{
   const std::string padding(columns - ColumnsOf(text), ' ');
   return align == Align::Left ? text + padding : padding + text;
}

} // namespace

Charset UseLocaleOfEnvironment()
{
   const auto isUtf8 = [] { return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0; };
   if (std::setlocale(LC_CTYPE, "") == nullptr) {
      // A locale that this host lacks: its characters are those of another that it has.
      const char *asked = nullptr;
      for (const char *variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
         const char *value = std::getenv(variable);
         asked = asked == nullptr && value != nullptr && *value != '\0' ? value : asked;
      }
      if (asked != nullptr &&
          (std::strstr(asked, "UTF-8") != nullptr || std::strstr(asked, "utf8") != nullptr)) {
         std::setlocale(LC_CTYPE, "C.UTF-8");
      }
   }
   return isUtf8() ? Charset::Utf8 : Charset::Ascii;
}

std::string TerminalText(std::string_view text, Charset charset)
{
   const std::string shown = nevra::ShownText(text);
   return charset == Charset::Utf8 ? WithSteadyColumns(shown) : InAscii(shown);
}

size_t ColumnsOf(std::string_view text)
{
   size_t columns = 0;
   while (!text.empty()) {
      const Character character = FirstOf(text);
      columns += static_cast<size_t>(std::max(wcwidth(character.code), 0));
      text.remove_prefix(character.bytes);
   }
   return columns;
}

std::string FitText(std::string_view text, size_t columns, Charset charset, Align align)
{
   std::string fitted = TerminalText(text, charset);
   if (ColumnsOf(fitted) > columns) {
      const size_t dots = std::min(kDots, columns);
      fitted = std::string(Head(fitted, columns - dots)).append(dots, '.');
   }
   return Pad(fitted, columns, align);
}

std::string FitName(std::string_view name, size_t columns, Charset charset)
{
   std::string fitted = TerminalText(name, charset);
   if (ColumnsOf(fitted) > columns) {
      const size_t dots = std::min(kDots, columns);
      const size_t tail = (columns - dots) / 2;
      fitted = std::string(Head(fitted, columns - dots - tail)).append(dots, '.').append(Tail(fitted, tail));
   }
   return Pad(fitted, columns, Align::Left);
}

} // namespace overview
