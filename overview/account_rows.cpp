#include "overview/account_rows.h"

#include <algorithm>
#include <cmath>
#include <list>

namespace overview {

namespace {

double SizeOf(int64_t kb)
{
   return std::abs(static_cast<double>(kb));
}

// The parts, the largest first and differences last; at most so many, of which the last may be the sum of
// what is left.
std::vector<AccountRow> RowsOfParts(const AccountItem &item, size_t depth, size_t most)
{
   std::vector<AccountRow> rows;
   for (const AccountItem &part : item.parts) {
      rows.push_back({part.name, depth, part.kb, part.isDifference, {&part}});
   }
   std::ranges::stable_sort(rows, [](const AccountRow &a, const AccountRow &b) {
      return a.isDifference != b.isDifference ? b.isDifference : SizeOf(a.kb) > SizeOf(b.kb);
   });
   if (rows.size() <= most) {
      return rows;
   }
   // A difference is not hidden among the others.
   const bool hasDifference = rows.back().isDifference && most > 2;
   const size_t first = most - 1 - (hasDifference ? 1 : 0);
   const size_t last = rows.size() - (hasDifference ? 1 : 0);
   AccountRow others = {std::to_string(last - first) + " others", depth, 0, false, {}};
   uint64_t sum = 0;
   for (size_t i = first; i < last; i++) {
      sum += static_cast<uint64_t>(rows[i].kb);
      others.items.push_back(rows[i].items.front());
   }
   others.kb = static_cast<int64_t>(sum);
   rows.erase(rows.begin() + static_cast<ptrdiff_t>(first), rows.begin() + static_cast<ptrdiff_t>(last));
   rows.insert(rows.begin() + static_cast<ptrdiff_t>(first), others);
   return rows;
}

struct Expandable {
   AccountRow row;
   bool isOpen = false;
};

// What is smaller, in parts of the whole, is not taken apart.
constexpr double kWorthOpening = 0.005;

} // namespace

std::vector<AccountRow> ChooseRows(const AccountItem &whole, size_t most)
{
   constexpr size_t kMostOfOne = 6; // so that more than the largest is taken apart
   std::list<Expandable> chosen;
   for (const AccountRow &row : RowsOfParts(whole, 0, std::max<size_t>(most, 1))) {
      chosen.push_back({row});
   }
   while (chosen.size() + 2 <= most) {
      auto largest = chosen.end();
      for (auto at = chosen.begin(); at != chosen.end(); ++at) {
         const bool canOpen = !at->isOpen && at->row.items.size() == 1 &&
                              !at->row.items.front()->parts.empty() &&
                              SizeOf(at->row.kb) >= kWorthOpening * SizeOf(whole.kb);
         if (canOpen && (largest == chosen.end() || SizeOf(at->row.kb) > SizeOf(largest->row.kb))) {
            largest = at;
         }
      }
      if (largest == chosen.end()) {
         break;
      }
      largest->isOpen = true;
      const size_t room = std::min(most - chosen.size(), kMostOfOne);
      const auto place = std::next(largest);
      for (const AccountRow &row : RowsOfParts(*largest->row.items.front(), largest->row.depth + 1, room)) {
         chosen.insert(place, {row});
      }
   }
   std::vector<AccountRow> rows;
   for (const Expandable &entry : chosen) {
      rows.push_back(entry.row);
   }
   return rows;
}

} // namespace overview
