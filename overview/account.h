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

// The change of each part from one moment to another, as a tree like `now`, with parts that have gone among
// its others. Parts belong together by their names, groups by names and IDs.
AccountItem ChangeOf(const AccountItem &before, const AccountItem &now);

} // namespace overview

#endif
