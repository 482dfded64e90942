// Rows of a snapshot's vectors, brought into another order.
#ifndef NEVRA_SNAPSHOT_ROW_ORDER_H
#define NEVRA_SNAPSHOT_ROW_ORDER_H

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "nevra/snapshot/snapshot_tree.h"

namespace nevra {

// The row for each position; empty: as they are.
using RowOrder = std::vector<uint32_t>;

// Brings rows of `width` elements each into an order.
template <typename Element> void Reorder(std::vector<Element> *rows, size_t width, const RowOrder &order)
{
   if (order.empty()) {
      return;
   }
   std::vector<Element> ordered;
   ordered.reserve(rows->size());
   for (const uint32_t row : order) {
      const auto start = rows->begin() + static_cast<ptrdiff_t>(row * width);
      ordered.insert(ordered.end(), start, start + static_cast<ptrdiff_t>(width));
   }
   *rows = std::move(ordered);
}

// Brings lists, whose starts include the end of the last, into the order of their keys.
void ReorderLists(NodeTree *node, const RowOrder &order);

} // namespace nevra

#endif
