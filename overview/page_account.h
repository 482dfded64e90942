// An account in the page's JSON.
#ifndef OVERVIEW_PAGE_ACCOUNT_H
#define OVERVIEW_PAGE_ACCOUNT_H

#include <cstddef>

#include "export/json_value.h"
#include "overview/account.h"

namespace overview {

struct AccountBounds {
   size_t parts; // of one item; the smallest of more are together in one part
   size_t items; // of the tree; those beyond have no parts
};

// Writes the tree as AccountItem of overview/page/model.ts: each item with what it was before, unless
// `before` is null or has no such parts, and with parts that have gone. With `isExplained` it has the
// explanations.
void WriteAccount(JsonWriter &out, const AccountItem &now, const AccountItem *before, AccountBounds bounds,
                  bool isExplained);

} // namespace overview

#endif
