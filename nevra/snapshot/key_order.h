// Keys of instances as rows of words, in the order that a snapshot keeps them in, and the search for one of
// them.
#ifndef NEVRA_SNAPSHOT_KEY_ORDER_H
#define NEVRA_SNAPSHOT_KEY_ORDER_H

#include <cstddef>
#include <cstdint>

namespace nevra {

// `count` keys of `width` words each, sorted. The words are the caller's.
struct KeyTable {
   const uint64_t *words = nullptr;
   size_t width = 0;
   size_t count = 0;

   const uint64_t *operator[](size_t position) const { return words + position * width; }
};

// Below 0, 0 or above 0: word by word, as signed integers.
int CompareKeys(const uint64_t *left, const uint64_t *right, size_t width);

bool SameKeys(const KeyTable &left, const KeyTable &right);

inline constexpr size_t kNoPosition = SIZE_MAX;

// The position of a key, or kNoPosition. `hint` is where it may well be; any value will do. A table that is
// not sorted gives kNoPosition for some of its keys, never another key's position.
size_t FindKey(const KeyTable &table, const uint64_t *key, size_t hint);

} // namespace nevra

#endif
