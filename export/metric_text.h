// Metrics as text: OpenMetrics 1.0.0, and the text format 0.0.4 that came before it.
#ifndef EXPORT_METRIC_TEXT_H
#define EXPORT_METRIC_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>

#include "export/metric_rows.h"

enum class MetricFormat : uint8_t { OpenMetrics, Text004 };

// The rows of a kind in a format, and, unless it is null, to another text in format 0.0.4: the samples are
// the same in both.
void AppendMetrics(const MetricRows &rows, MetricFormat format, std::string *text,
                   std::string *text004 = nullptr);

// What ends the text: OpenMetrics has a line for it.
void FinishMetrics(MetricFormat format, std::string *text);

// The lines above a family's samples.
void AppendMetricHead(const MetricFamily &family, MetricFormat format, std::string *text);

// Whether two families are parts of one.
bool IsSameFamily(const MetricFamily &one, const MetricFamily &other);

// Writes samples of a family.
class SampleWriter {
 public:
   explicit SampleWriter(const MetricFamily &family);

   // `infos` is for an info only. `time` is empty, or begins with a space.
   void Append(std::string_view labels, std::string_view infos, double value, std::string_view time,
               std::string *text) const;

 private:
   void AppendStates(std::string_view labels, double value, std::string_view time, std::string *text) const;

   const MetricFamily &part;
   std::string name;
};

#endif
