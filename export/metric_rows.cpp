#include "export/metric_rows.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <numeric>
#include <optional>

#include "nevra/shown_text.h"

size_t MetricRows::Add(std::string label, std::string info)
{
   labels.push_back(std::move(label));
   infos.push_back(std::move(info));
   values.resize(values.size() + Width(), kNoValue);
   return labels.size() - 1;
}

size_t MetricRows::SeriesOf(size_t row) const
{
   size_t series = 0;
   for (size_t i = 0; i < Width(); i++) {
      if (!std::isnan(ValuesOf(row)[i])) {
         series += subject->families[i].type == MetricType::StateSet ? std::size(kMemoryStates) : 1;
      }
   }
   return series;
}

size_t MetricRows::Series() const
{
   size_t series = 0;
   for (size_t row = 0; row < Count(); row++) {
      series += SeriesOf(row);
   }
   return series;
}

std::string LabelPair(std::string_view name, std::string_view value)
{
   std::string pair(name);
   pair += "=\"";
   for (const char character : nevra::ShownText(value)) {
      if (character == '\\' || character == '"') {
         pair += '\\';
      }
      pair += character;
   }
   pair += '"';
   return pair;
}

std::string DistinctNames::Take(const std::string &name, const std::string &apart)
{
   if (name != kRestName && taken.emplace(name, apart).second) {
      return name;
   }
   uint32_t &number = last.try_emplace({name, apart}, 1).first->second;
   std::string distinct;
   do {
      number++;
      distinct = name + '#' + std::to_string(number);
   } while (!taken.emplace(distinct, apart).second);
   return distinct;
}

namespace {

// Whether the family has a value in the row of the rest.
bool AddsUp(const MetricFamily &family)
{
   return family.rest == Rest::IsSum && family.type != MetricType::Info &&
          family.type != MetricType::StateSet;
}

// The rows from the largest to the smallest.
std::vector<size_t> BySize(const MetricRows &rows)
{
   const auto families = rows.subject->families;
   const size_t size = static_cast<size_t>(
      std::ranges::find(families, std::string_view(rows.subject->largest), &MetricFamily::name) -
      families.begin());
   const auto sizeOf = [&rows, size](size_t row) {
      const double value = rows.ValuesOf(row)[size];
      return std::isnan(value) ? -1.0 : value;
   };
   std::vector<size_t> order(rows.Count());
   std::iota(order.begin(), order.end(), size_t{0});
   std::ranges::stable_sort(order, std::greater(), sizeOf);
   return order;
}

// How many of the rows, in their order, the budget allows next to the rest; none: not even the rest.
std::optional<size_t> LargestCount(const MetricRows &rows, const std::vector<size_t> &order, size_t most,
                                   size_t budget)
{
   size_t shown = 0;
   for (const size_t row : order) {
      shown += rows.SeriesOf(row);
   }
   std::vector<bool> inRest(rows.Width());
   size_t rest = 0;
   size_t count = order.size();
   while (count > most || shown + rest > budget) {
      if (count == 0) {
         return std::nullopt;
      }
      const size_t row = order[--count];
      shown -= rows.SeriesOf(row);
      for (size_t i = 0; i < rows.Width(); i++) {
         if (AddsUp(rows.subject->families[i]) && !inRest[i] && !std::isnan(rows.ValuesOf(row)[i])) {
            inRest[i] = true;
            rest++;
         }
      }
   }
   return count;
}

void AddUp(const MetricRows &rows, size_t row, double *rest)
{
   for (size_t i = 0; i < rows.Width(); i++) {
      if (const double value = rows.ValuesOf(row)[i];
          AddsUp(rows.subject->families[i]) && !std::isnan(value)) {
         rest[i] = std::isnan(rest[i]) ? value : rest[i] + value;
      }
   }
}

} // namespace

size_t LimitRows(size_t top, size_t budget, MetricRows *rows)
{
   const size_t series = rows->Series();
   const bool hasRest = rows->subject->largest != nullptr;
   if (series <= budget && (rows->Count() <= top || !hasRest)) {
      return 0;
   }
   MetricRows kept = {.subject = rows->subject, .before = rows->before};
   if (!hasRest) {
      std::swap(*rows, kept);
      return series;
   }
   const std::vector<size_t> order = BySize(*rows);
   const size_t most = std::min(top, order.size());
   const std::optional<size_t> count = LargestCount(*rows, order, most, budget);
   std::vector<bool> isKept(rows->Count());
   for (size_t i = 0; i < count.value_or(0); i++) {
      isKept[order[i]] = true;
   }
   size_t dropped = 0;
   for (size_t i = count.value_or(0); i < most; i++) {
      dropped += rows->SeriesOf(order[i]);
   }
   std::vector<double> rest(rows->Width(), kNoValue);
   for (size_t row = 0; row < rows->Count(); row++) {
      if (isKept[row]) {
         const double *values = rows->ValuesOf(row);
         const size_t to = kept.Add(std::move(rows->labels[row]), std::move(rows->infos[row]));
         std::copy(values, values + kept.Width(), kept.ValuesOf(to));
      } else {
         AddUp(*rows, row, rest.data());
      }
   }
   if (count.has_value() && *count < rows->Count()) {
      const size_t to = kept.Add(rows->before + LabelPair(rows->subject->labels.front().name, kRestName));
      std::ranges::copy(rest, kept.ValuesOf(to));
   }
   std::swap(*rows, kept);
   return dropped;
}
