// The figures of one moment as metrics have them: rows of base units, with the labels that name them.
#ifndef EXPORT_METRIC_ROWS_H
#define EXPORT_METRIC_ROWS_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "export/metric_families.h"

// A value that is not there.
inline constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();

// What is known of the subjects of one kind. A row has a value for each of the kind's families.
struct MetricRows {
   const MetricSubject *subject;
   std::string before = {};              // pairs that each row's labels begin with, and a comma; or nothing
   std::vector<std::string> labels = {}; // vm="a",... of each row; no two are alike
   std::vector<std::string> infos = {};  // those of the info alone
   std::vector<double> values = {};

   size_t Count() const { return labels.size(); }
   size_t Width() const { return subject->families.size(); }
   double *ValuesOf(size_t row) { return values.data() + row * Width(); }
   const double *ValuesOf(size_t row) const { return values.data() + row * Width(); }

   // Adds a row without values, and returns its number.
   size_t Add(std::string label, std::string info = {});
   // How many series a row makes, and all of them.
   size_t SeriesOf(size_t row) const;
   size_t Series() const;
};

// name="value" with what would end the value escaped. The value is made fit to be shown on a terminal.
std::string LabelPair(std::string_view name, std::string_view value);

// The label value of what the rest adds up to. No subject has this name.
inline constexpr std::string_view kRestName = "other";

// Names that have to be told apart: the first keeps its name, the next of the same is "name#2".
class DistinctNames {
 public:
   // `apart` is what tells names apart already: only those with the same need to differ.
   std::string Take(const std::string &name, const std::string &apart = {});

 private:
   using NameAndRest = std::pair<std::string, std::string>;
   std::set<NameAndRest> taken;
   std::map<NameAndRest, uint32_t> last; // the number that was given last
};

// Leaves at most `top` rows, the largest, and at most `budget` series; the rest adds up to a row of its own,
// and a kind that cannot be parted is left out whole. Returns how many series the budget left out.
size_t LimitRows(size_t top, size_t budget, MetricRows *rows);

#endif
