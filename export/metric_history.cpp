#include "export/metric_history.h"

#include <algorithm>
#include <cmath>

void MetricHistory::Add(int64_t seconds, const MetricRows &rows)
{
   auto kind = std::ranges::find(kinds, rows.subject, &Kind::subject);
   if (kind == kinds.end()) {
      kind = kinds.insert(kinds.end(), Kind{rows.subject, {}, {}, {}, {}});
   }
   for (size_t row = 0; row < rows.Count(); row++) {
      AddPoint(seconds, rows, row, &*kind);
   }
}

void MetricHistory::AddPoint(int64_t seconds, const MetricRows &rows, size_t row, Kind *kind)
{
   const auto [at, isNew] = kind->byLabels.try_emplace(rows.labels[row], kind->series.size());
   if (isNew) {
      kind->series.push_back({rows.labels[row], {}, {}});
   }
   Series &series = kind->series[at->second];
   const auto [info, isNewInfo] =
      kind->byInfo.try_emplace(rows.labels[row] + rows.infos[row], series.infos.size());
   if (isNewInfo) {
      series.infos.push_back(rows.infos[row]);
   }
   series.points.push_back({seconds, kind->values.size(), info->second});
   kind->values.insert(kind->values.end(), rows.ValuesOf(row), rows.ValuesOf(row) + rows.Width());
}

void MetricHistory::SortPoints(Kind *kind)
{
   for (Series &series : kind->series) {
      std::ranges::stable_sort(series.points, {}, &Point::seconds);
      const auto isSame = [](const Point &one, const Point &next) { return one.seconds == next.seconds; };
      series.points.erase(std::unique(series.points.begin(), series.points.end(), isSame),
                          series.points.end());
   }
}

bool MetricHistory::HasValue(const Kind &kind, size_t family)
{
   return std::ranges::any_of(kind.series, [&](const Series &series) {
      return std::ranges::any_of(
         series.points, [&](const Point &point) { return !std::isnan(kind.values[point.values + family]); });
   });
}

void MetricHistory::AppendFamily(const Kind &kind, size_t family, MetricFormat format, std::string *text)
{
   const MetricFamily &part = kind.subject->families[family];
   const SampleWriter writer(part);
   const char *inUnit = format == MetricFormat::Text004 ? "000" : ""; // milliseconds
   for (const Series &series : kind.series) {
      // An info with other IDs is another series.
      const bool isInfo = part.type == MetricType::Info;
      for (size_t info = 0; info < (isInfo ? series.infos.size() : 1); info++) {
         for (const Point &point : series.points) {
            const double value = kind.values[point.values + family];
            if (!std::isnan(value) && (!isInfo || point.info == info)) {
               writer.Append(series.labels, series.infos[info], value,
                             ' ' + std::to_string(point.seconds) + inUnit, text);
            }
         }
      }
   }
}

void MetricHistory::Append(MetricFormat format, std::string *text)
{
   for (Kind &kind : kinds) {
      SortPoints(&kind);
      const std::span<const MetricFamily> families = kind.subject->families;
      const MetricFamily *head = nullptr; // the family in hand
      for (size_t i = 0; i < families.size(); i++) {
         if (!HasValue(kind, i)) {
            continue;
         }
         if (head == nullptr || !IsSameFamily(*head, families[i])) {
            head = &families[i];
            AppendMetricHead(*head, format, text);
         }
         AppendFamily(kind, i, format, text);
      }
   }
}
