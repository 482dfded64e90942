#include "reports/host/buddy_order.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

BuddyEntry Named(const char *name)
{
   BuddyEntry buddy = {};
   std::snprintf(buddy.name, sizeof buddy.name, "%s", name);
   return buddy;
}

int Compare(const char *left, const char *right)
{
   const BuddyEntry a = Named(left);
   const BuddyEntry b = Named(right);
   return CompareBuddies(&a, &b);
}

TEST(BuddyOrder, EqualNamesAreEqual)
{
   EXPECT_EQ(Compare("memmap-00-hi", "memmap-00-hi"), 0);
}

TEST(BuddyOrder, AscendsByMemoryNode)
{
   EXPECT_EQ(Compare("memmap-02-lo", "memmap-10-lo"), -1);
   EXPECT_EQ(Compare("memmap-10-lo", "memmap-02-lo"), 1);
   EXPECT_EQ(Compare("memmap-9", "memmap-10"), -1);
}

// The digits differ and the numbers do not: each goes after the other.
TEST(BuddyOrder, EqualNumbersInOtherDigitsGoBehindEachOther)
{
   EXPECT_EQ(Compare("memmap-1-lo", "memmap-01-hi"), 1);
   EXPECT_EQ(Compare("memmap-01-hi", "memmap-1-lo"), 1);
   EXPECT_EQ(Compare("memmap-xx-lo", "memmap-yy-lo"), 1);
}

TEST(BuddyOrder, PutsTheLowBuddyOfANodeFirst)
{
   EXPECT_EQ(Compare("memmap-01-lo", "memmap-01-hi"), -1);
   EXPECT_EQ(Compare("memmap-01-hi", "memmap-01-lo"), 1);
}

TEST(BuddyOrder, TwoOtherBuddiesOfANodeGoBehindEachOther)
{
   EXPECT_EQ(Compare("memmap-01-hi", "memmap-01-xx"), 1);
   EXPECT_EQ(Compare("memmap-01-xx", "memmap-01-hi"), 1);
}

TEST(BuddyOrder, SortsShortNames)
{
   EXPECT_EQ(Compare("memmap", "memmap-"), 1);
   EXPECT_EQ(Compare("memmap", "memmap-05-lo"), -1);
}

TEST(BuddyOrder, KeepsEveryBuddyOfAnInconsistentSort)
{
   std::vector<BuddyEntry> buddies;
   for (int i = 0; i < 64; i++) {
      buddies.push_back(Named((std::string("memmap-00-") + std::to_string(i)).c_str()));
   }
   std::qsort(buddies.data(), buddies.size(), sizeof(BuddyEntry), CompareBuddies);
   std::vector<bool> seen(64);
   for (const BuddyEntry &buddy : buddies) {
      seen[static_cast<size_t>(std::atoi(buddy.name + 10))] = true;
   }
   EXPECT_EQ(seen, std::vector<bool>(64, true));
}

} // namespace
