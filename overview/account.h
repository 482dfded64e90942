// Where the memory went: trees of amounts in which every level adds up to what it is a part of, exactly.
//
// Where the kernel does not say where a rest is, a part named "unaccounted" has it. Where parts hold more
// than the whole, since they count something twice, a part with a negative amount takes it off again.
// docs/overview.md says what each part is.
#ifndef OVERVIEW_ACCOUNT_H
#define OVERVIEW_ACCOUNT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "overview/host_rows.h"
#include "overview/kernel_detail.h"

namespace overview {

struct AccountItem {
   std::string name; // of a group, a stranger's: to be made fit for where it is shown
   std::string explanation;
   int64_t kb = 0;
   bool isDifference = false; // what is left between the whole and its parts; may be negative
   std::vector<AccountItem> parts;
   std::optional<uint64_t> group; // the ID of the group, if it is one
};

inline constexpr char kUnaccounted[] = "unaccounted";
inline constexpr char kCountedTwice[] = "counted more than once";
inline constexpr char kBeyondTotal[] = "beyond the total";

struct Account {
   AccountItem byUse;   // of all memory
   AccountItem byGroup; // of what groups consume
   // What the kernel could give to others without swapping; only where it says so.
   std::optional<int64_t> available;
};

// The account of a moment. `detail` may be null, and is used if it is of this host.
Account MakeAccount(const HostRows &rows, const KernelDetail *detail);

// Whether the parts of the item, and of all below it, add up to it.
bool AddsUp(const AccountItem &item);

// The sum; amounts come from files, and wrap whatever they are.
int64_t SumOfAmounts(int64_t a, int64_t b);

// An item at two moments; null at one of which it was not there.
struct ItemPair {
   const AccountItem *now = nullptr;
   const AccountItem *before = nullptr;
};

// The parts of an item at two moments: those of now in their order, then those that have gone. They belong
// together by their names, groups by names and IDs.
std::vector<ItemPair> PairParts(const ItemPair &whole);

// The change of each part from one moment to another, as a tree like `now`, with parts that have gone after
// its own.
AccountItem ChangeOf(const AccountItem &before, const AccountItem &now);

} // namespace overview

#endif
