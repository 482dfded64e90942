// Keys of instances as rows of words, and the search for one of them.
#ifndef NEVRA_SNAPSHOT_KEY_ORDER_H
#define NEVRA_SNAPSHOT_KEY_ORDER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace nevra {

// `count` keys of `width` words each, in the order in which they are stored. The words are the caller's.
struct KeyTable {
   const uint64_t *words = nullptr;
   size_t width = 0;
   size_t count = 0;
   const uint32_t *order = nullptr; // the positions of the keys as they ascend; null: as they are stored

   const uint64_t *operator[](size_t position) const { return words + position * width; }

   // The position of the key with this rank as they ascend. Always below the count: the order may have been
   // written to since it was checked.
   size_t Ascending(size_t rank) const
   {
      return order == nullptr ? rank : std::min<size_t>(order[rank], count - 1);
   }
};

// Below 0, 0 or above 0: word by word, as signed integers.
int CompareKeys(const uint64_t *left, const uint64_t *right, size_t width);

bool SameKeys(const KeyTable &left, const KeyTable &right);

inline constexpr size_t kNoPosition = SIZE_MAX;

// The position of a key, or kNoPosition. `hint` is where it may well be, itself or one further; any value
// will do. A table that does not ascend gives kNoPosition for some of its keys, never another key's position.
size_t FindKey(const KeyTable &table, const uint64_t *key, size_t hint);

} // namespace nevra

#endif
