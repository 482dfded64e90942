// The metrics of many moments as one text.
#ifndef EXPORT_METRIC_HISTORY_H
#define EXPORT_METRIC_HISTORY_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "export/metric_text.h"

// A text has all samples of a series side by side, the oldest first, and so all values are held until the
// end: 8 bytes each.
class MetricHistory {
 public:
   // Of one moment, in seconds since 1970. Of two values of a series at one time the first is kept.
   void Add(int64_t seconds, const MetricRows &rows);
   // Appends all that was added, each sample with its time.
   void Append(MetricFormat format, std::string *text);

 private:
   struct Point {
      int64_t seconds;
      size_t values; // where they begin
      size_t info;   // which one of its series
   };
   struct Series {
      std::string labels;
      std::vector<std::string> infos; // the different ones
      std::vector<Point> points;
   };
   struct Kind {
      const MetricSubject *subject;
      std::vector<Series> series;
      std::unordered_map<std::string, size_t> byLabels;
      std::unordered_map<std::string, size_t> byInfo; // its number, by labels and info
      std::vector<double> values;
   };

   static void AddPoint(int64_t seconds, const MetricRows &rows, size_t row, Kind *kind);
   static void SortPoints(Kind *kind);
   static void AppendFamily(const Kind &kind, size_t family, MetricFormat format, std::string *text);
   static bool HasValue(const Kind &kind, size_t family);

   std::vector<Kind> kinds;
};

#endif
