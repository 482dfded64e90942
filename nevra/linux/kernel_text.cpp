#include "nevra/linux/kernel_text.h"

#include <algorithm>
#include <charconv>

#include <unistd.h>

namespace nevra {

namespace {

constexpr std::string_view kBlanks = " \t";

std::string_view SkipBlanks(std::string_view text)
{
   const size_t start = text.find_first_not_of(kBlanks);
   return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

template <typename Number> std::optional<Number> Parse(std::string_view text, int base)
{
   text = SkipBlanks(text);
   Number number = 0;
   const std::from_chars_result result =
      std::from_chars(text.data(), text.data() + text.size(), number, base);
   if (result.ec == std::errc::result_out_of_range) {
      return std::numeric_limits<Number>::max();
   }
   if (result.ec != std::errc()) {
      return std::nullopt;
   }
   return number;
}

} // namespace

std::string_view TakeUntil(std::string_view &text, char separator)
{
   const size_t end = text.find(separator);
   const std::string_view part = text.substr(0, end);
   text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
   return part;
}

std::string_view TakeLine(std::string_view &text)
{
   return TakeUntil(text, '\n');
}

std::string_view TakeWord(std::string_view &text)
{
   text = SkipBlanks(text);
   const size_t end = std::min(text.find_first_of(kBlanks), text.size());
   const std::string_view word = text.substr(0, end);
   text = text.substr(end);
   return word;
}

std::optional<uint64_t> ParseNumber(std::string_view text)
{
   return Parse<uint64_t>(text, 10);
}

std::optional<uint64_t> ParseHexNumber(std::string_view text)
{
   text = SkipBlanks(text);
   if (text.starts_with("0x")) {
      text.remove_prefix(2);
   }
   return Parse<uint64_t>(text, 16);
}

std::optional<int64_t> ParseSignedNumber(std::string_view text)
{
   return Parse<int64_t>(text, 10);
}

std::optional<uint32_t> ParsePid(std::string_view text)
{
   uint32_t pid = 0;
   const char *const end = text.data() + text.size();
   const std::from_chars_result result = std::from_chars(text.data(), end, pid);
   if (result.ec != std::errc() || result.ptr != end || pid == 0 || pid > kMaxPid) {
      return std::nullopt;
   }
   return pid;
}

uint64_t AddClamped(uint64_t a, uint64_t b)
{
   return a > kUnlimited - b ? kUnlimited : a + b;
}

uint64_t MultiplyClamped(uint64_t a, uint64_t b)
{
   return b != 0 && a > kUnlimited / b ? kUnlimited : a * b;
}

uint64_t SubtractClamped(uint64_t a, uint64_t b)
{
   return a > b ? a - b : 0;
}

KeyedLine SplitKeyedLine(std::string_view line)
{
   line = SkipBlanks(line);
   // A key of the "Active(anon):  1 kB" form may hold blanks, as "Node 0 MemTotal:" does; a colon ends it.
   const size_t blank = std::min(line.find_first_of(kBlanks), line.size());
   const size_t colon = std::min(line.find(':'), line.size());
   if (colon < line.size() && colon <= blank) {
      return {line.substr(0, colon), SkipBlanks(line.substr(colon + 1))};
   }
   return {line.substr(0, blank), SkipBlanks(line.substr(blank))};
}

size_t ReadKeyedFigures(std::string_view text, std::span<const KeyedFigure> figures)
{
   size_t found = 0;
   size_t next = 0; // where the figure of the next line is looked for first
   while (!text.empty() && found < figures.size()) {
      const KeyedLine line = SplitKeyedLine(TakeLine(text));
      for (size_t tried = 0; tried < figures.size(); tried++) {
         const size_t index = next + tried < figures.size() ? next + tried : next + tried - figures.size();
         if (figures[index].key == line.key) {
            if (const std::optional<uint64_t> number = ParseNumber(line.value)) {
               *figures[index].value = *number;
               found++;
            }
            next = index + 1 < figures.size() ? index + 1 : 0;
            break;
         }
      }
   }
   return found;
}

uint64_t PageKB()
{
   static const long bytes = sysconf(_SC_PAGESIZE);
   return bytes > 1024 ? static_cast<uint64_t>(bytes) / 1024 : 4;
}

uint64_t PagesToKB(uint64_t pages)
{
   return MultiplyClamped(pages, PageKB());
}

} // namespace nevra
