// The search for a key, against looking at every position.
#include "nevra/snapshot/key_order.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace {

using nevra::FindKey;
using nevra::KeyTable;
using nevra::kNoPosition;

using Words = std::vector<uint64_t>;

constexpr uint64_t kLeast = uint64_t{1} << 63; // as a signed integer
constexpr uint64_t kMost = kLeast - 1;

size_t LookAtEvery(const KeyTable &table, const uint64_t *key)
{
   for (size_t i = 0; i < table.count; i++) {
      if (std::equal(key, key + table.width, table[i])) {
         return i;
      }
   }
   return kNoPosition;
}

void ExpectFound(const Words &sorted, const Words &asked)
{
   const KeyTable table = {sorted.data(), 1, sorted.size()};
   for (const uint64_t key : asked) {
      for (const size_t hint : {size_t{0}, sorted.size() / 2, sorted.size(), SIZE_MAX}) {
         EXPECT_EQ(FindKey(table, &key, hint), LookAtEvery(table, &key)) << key << " from " << hint;
      }
   }
}

Words AndTheirNeighbours(Words words)
{
   for (size_t i = words.size(); i-- > 0;) {
      words.push_back(words[i] - 1);
      words.push_back(words[i] + 1);
   }
   return words;
}

TEST(KeyOrder, FindsEveryKeyAndNoOther)
{
   const Words tables[] = {
      {},
      {7},
      {7, 8},
      {0, 1, 2, 3, 4, 5, 6, 7, 8, 9},
      {0, 2, 4, 6, 8, 1000000},
      {kLeast, kMost},
      {kLeast, kLeast + 1, uint64_t(-1), 0, 1, kMost - 1, kMost},
      {1, 2, 3, 614198, 616805, 1073756489, 1073756491, 1073757000}, // inode numbers, then processes
   };
   for (const Words &sorted : tables) {
      ExpectFound(sorted, AndTheirNeighbours(sorted));
      ExpectFound(sorted, {0, 5, kLeast, kMost, kLeast / 2});
   }
}

TEST(KeyOrder, FindsKeysOfAnyDistribution)
{
   std::mt19937_64 random(1);
   for (const int bits : {9, 12, 33, 64}) {
      Words sorted(300);
      std::generate(sorted.begin(), sorted.end(), [&] { return random() >> (64 - bits); });
      std::sort(sorted.begin(), sorted.end(), [](uint64_t left, uint64_t right) {
         return static_cast<int64_t>(left) < static_cast<int64_t>(right);
      });
      sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
      ExpectFound(sorted, AndTheirNeighbours(sorted));
   }
}

TEST(KeyOrder, ComparesEveryWord)
{
   const Words sorted = {1, 5, 1, 9, 2, uint64_t(-3), 2, 0, 2, 4};
   const KeyTable table = {sorted.data(), 2, 5};
   for (size_t i = 0; i < table.count; i++) {
      EXPECT_EQ(FindKey(table, table[i], 100), i);
   }
   const uint64_t absent[] = {2, 1};
   EXPECT_EQ(FindKey(table, absent, 0), kNoPosition);
}

TEST(KeyOrder, OfNoWordsThereIsOneKey)
{
   EXPECT_EQ(FindKey({nullptr, 0, 1}, nullptr, 7), 0U);
   EXPECT_EQ(FindKey({nullptr, 0, 0}, nullptr, 0), kNoPosition);
}

// Somebody may have made the file on purpose.
TEST(KeyOrder, UnsortedTableNeverGivesAnotherKeysPosition)
{
   std::mt19937_64 random(2);
   for (int round = 0; round < 200; round++) {
      Words words(17);
      std::generate(words.begin(), words.end(), [&] { return random() >> (random() % 64); });
      const KeyTable table = {words.data(), 1, words.size()};
      for (const uint64_t key : AndTheirNeighbours(words)) {
         const size_t position = FindKey(table, &key, random() % 20);
         EXPECT_TRUE(position == kNoPosition || words.at(position) == key);
      }
   }
}

TEST(KeyOrder, SameKeysAreOfTheSameWidthNumberAndWords)
{
   const Words words = {1, 2, 3, 4};
   const Words copy = words;
   EXPECT_TRUE(nevra::SameKeys({words.data(), 2, 2}, {copy.data(), 2, 2}));
   EXPECT_TRUE(nevra::SameKeys({words.data(), 1, 0}, {nullptr, 1, 0}));
   EXPECT_FALSE(nevra::SameKeys({words.data(), 2, 2}, {copy.data(), 1, 4}));
   EXPECT_FALSE(nevra::SameKeys({words.data(), 1, 3}, {copy.data(), 1, 4}));
   EXPECT_FALSE(nevra::SameKeys({words.data(), 1, 3}, {copy.data() + 1, 1, 3}));
}

} // namespace
