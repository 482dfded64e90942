#include "reports/host/buddy_order.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kNodeOffset = 7;  // after "memmap-"
constexpr size_t kKindOffset = 10; // after "memmap-NN-"

long NodeNumber(const BuddyEntry &buddy)
{
   char digits[] = "  ";
   std::memcpy(digits, buddy.name + kNodeOffset, 2);
   return std::strtol(digits, nullptr, 10);
}

} // namespace

int CompareBuddies(const void *a, const void *b)
{
   const BuddyEntry &left = *static_cast<const BuddyEntry *>(a);
   const BuddyEntry &right = *static_cast<const BuddyEntry *>(b);
   if (std::strncmp(left.name, right.name, sizeof left.name) == 0) {
      return 0;
   }
   if (std::memcmp(left.name + kNodeOffset, right.name + kNodeOffset, 2) != 0) {
      return NodeNumber(right) <= NodeNumber(left) ? 1 : -1;
   }
   return std::memcmp(left.name + kKindOffset, "lo", 2) == 0 ? -1 : 1;
}
