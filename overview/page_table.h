// A report's table in the page's JSON.
#ifndef OVERVIEW_PAGE_TABLE_H
#define OVERVIEW_PAGE_TABLE_H

#include <cstddef>

#include "export/json_value.h"
#include "overview/collected_table.h"

namespace overview {

// Writes the table as Table of overview/page/model.ts, with its first `mostRows` rows: each with what it was
// before, unless `before` is null, and those that have gone. Rows belong together by the labels that they
// begin with; of rows with the same, the first is the first at both moments.
void WriteTable(JsonWriter &out, const CollectedTable &now, const CollectedTable *before, size_t mostRows);

} // namespace overview

#endif
