// The lines of an account that fit on a screen.
#ifndef OVERVIEW_ACCOUNT_ROWS_H
#define OVERVIEW_ACCOUNT_ROWS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "overview/account.h"

namespace overview {

struct AccountRow {
   std::string name;
   size_t depth = 0; // 0: a part of the whole
   int64_t kb = 0;
   bool isDifference = false;
   std::vector<const AccountItem *> items; // one, or several small ones together
};

// The parts of the whole, and where there is room the parts of the largest of them, the largest first. What
// is left of an item's parts is one row, so that the rows below an item always add up to it.
std::vector<AccountRow> ChooseRows(const AccountItem &whole, size_t most);

} // namespace overview

#endif
