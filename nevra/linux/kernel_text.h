// The forms in which the kernel writes figures: numbers, lines of a key and a value, words.
//
// Nothing here trusts its input: what is no number reads as absent, and what is too large as the largest
// value.
#ifndef NEVRA_LINUX_KERNEL_TEXT_H
#define NEVRA_LINUX_KERNEL_TEXT_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string_view>

namespace nevra {

// A limit that is not set, and a figure that there is none of.
inline constexpr uint64_t kUnlimited = std::numeric_limits<uint64_t>::max();

// Cut off the text's first line, word (between blanks) or part before `separator`, and give it.
std::string_view TakeLine(std::string_view &text);
std::string_view TakeWord(std::string_view &text);
std::string_view TakeUntil(std::string_view &text, char separator);

// The decimal, or hexadecimal, number that the text begins with, after blanks; a value of more than 64 bits
// is given as all ones.
std::optional<uint64_t> ParseNumber(std::string_view text);
std::optional<uint64_t> ParseHexNumber(std::string_view text);
std::optional<int64_t> ParseSignedNumber(std::string_view text);

// The process ID that the text is, digits only: 1 to kMaxPid.
inline constexpr uint32_t kMaxPid = (uint32_t{1} << 22) - 1;
std::optional<uint32_t> ParsePid(std::string_view text);

// Arithmetic that stays at the bounds instead of wrapping; all ones is unlimited and stays so.
uint64_t AddClamped(uint64_t a, uint64_t b);
uint64_t MultiplyClamped(uint64_t a, uint64_t b);
uint64_t SubtractClamped(uint64_t a, uint64_t b); // 0 when b is the larger

// The value in a narrower field: the field's largest where it does not fit.
template <typename Integer = uint32_t> Integer Narrow(uint64_t value)
{
   constexpr uint64_t kLargest = static_cast<uint64_t>(std::numeric_limits<Integer>::max());
   return static_cast<Integer>(value < kLargest ? value : kLargest);
}

// A figure in a file of "key value" or "Key:   value kB" lines, by the key without its colon.
struct KeyedFigure {
   std::string_view key;
   uint64_t *value;
};

// Stores the figures whose keys the text has and leaves the others alone; gives how many it stored. Fastest
// when the figures come in the order of the file.
size_t ReadKeyedFigures(std::string_view text, std::span<const KeyedFigure> figures);

// Splits a line of either form; the value is what follows the key's blanks.
struct KeyedLine {
   std::string_view key;
   std::string_view value;
};
KeyedLine SplitKeyedLine(std::string_view line);

// KB in one page of memory on this host.
uint64_t PageKB();
uint64_t PagesToKB(uint64_t pages);

} // namespace nevra

#endif
