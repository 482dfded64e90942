#include "nevra/snapshot/key_order.h"

#include <algorithm>
#include <cstring>

namespace nevra {

int CompareKeys(const uint64_t *left, const uint64_t *right, size_t width)
{
   for (size_t i = 0; i < width; i++) {
      if (left[i] != right[i]) {
         return static_cast<int64_t>(left[i]) < static_cast<int64_t>(right[i]) ? -1 : 1;
      }
   }
   return 0;
}

bool SameKeys(const KeyTable &left, const KeyTable &right)
{
   const size_t words = left.width * left.count;
   return left.width == right.width && left.count == right.count &&
          (words == 0 || std::memcmp(left.words, right.words, words * sizeof(uint64_t)) == 0);
}

namespace {

bool IsAt(const KeyTable &table, size_t position, const uint64_t *key)
{
   // Most nodes have one key.
   return position < table.count && (table.width == 1 ? table.words[position] == *key
                                                      : CompareKeys(table[position], key, table.width) == 0);
}

// The rank of the key if the first words of all keys lie evenly, as those of IDs given out one by one do.
size_t EvenRank(const KeyTable &table, const uint64_t *key)
{
   const auto wordAt = [&](size_t rank) {
      return static_cast<double>(static_cast<int64_t>(table[table.Ascending(rank)][0]));
   };
   const double first = wordAt(0);
   const double last = wordAt(table.count - 1);
   const double word = static_cast<double>(static_cast<int64_t>(key[0]));
   if (word <= first || word >= last) {
      return word <= first ? 0 : table.count - 1;
   }
   // NOLINTNEXTLINE(bugprone-incorrect-roundings): never negative
   return static_cast<size_t>((word - first) / (last - first) * static_cast<double>(table.count - 1) + 0.5);
}

// The first rank whose key is not less. The search starts where the key is likely to be and goes away
// from there in steps that double, but never further than the middle of what is left.
size_t LowerBound(const KeyTable &table, const uint64_t *key)
{
   size_t low = 0;
   size_t high = table.count;
   size_t probe = table.count > 0 && table.width > 0 ? EvenRank(table, key) : 0;
   for (size_t step = 1; low < high; step *= 2) {
      const bool isLess = CompareKeys(table[table.Ascending(probe)], key, table.width) < 0;
      (isLess ? low : high) = isLess ? probe + 1 : probe;
      const size_t middle = low + (high - low) / 2;
      probe = isLess ? std::min(low + step, middle) : std::max(high - std::min(step, high - low), middle);
   }
   return low;
}

} // namespace

size_t FindKey(const KeyTable &table, const uint64_t *key, size_t hint)
{
   if (IsAt(table, hint, key)) {
      return hint;
   }
   if (hint < table.count && IsAt(table, hint + 1, key)) {
      return hint + 1;
   }
   const size_t rank = LowerBound(table, key);
   const size_t position = rank < table.count ? table.Ascending(rank) : kNoPosition;
   return IsAt(table, position, key) ? position : kNoPosition;
}

} // namespace nevra
