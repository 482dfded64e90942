#include "nevra/snapshot/key_order.h"

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

namespace {

bool IsAt(const KeyTable &table, size_t position, const uint64_t *key)
{
   return position < table.count && CompareKeys(table[position], key, table.width) == 0;
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
   size_t first = 0;
   size_t count = table.count;
   while (count > 0) {
      const size_t half = count / 2;
      if (CompareKeys(table[first + half], key, table.width) < 0) {
         first += half + 1;
         count -= half + 1;
      } else {
         count = half;
      }
   }
   return IsAt(table, first, key) ? first : kNoPosition;
}

} // namespace nevra
