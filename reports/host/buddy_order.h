// The buddies of the memory map as buddy-stats keeps them, and the order that it prints them in.
#ifndef REPORTS_HOST_BUDDY_ORDER_H
#define REPORTS_HOST_BUDDY_ORDER_H

#include <cstdint>

inline constexpr uint32_t kBuddyOrders = 19; // 4 KB up to 1 GB

struct BuddyEntry {
   uint32_t numaNode;
   uint32_t memNode;
   uint8_t isLow;
   char name[16]; // zero-filled after the name
   uint32_t numFree[kBuddyOrders];
   uint32_t numUsed[kBuddyOrders];
};

// Orders two BuddyEntry for qsort: by memory node, the low buddy of a node first. The node is the two digits
// after "memmap-", low is "lo" after the next character. Not a consistent order for two buddies of one node
// of which none is low: each then sorts after the other.
int CompareBuddies(const void *a, const void *b);

#endif
