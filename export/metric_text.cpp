#include "export/metric_text.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>

namespace {

const char *TypeWord(MetricType type, MetricFormat format)
{
   switch (type) {
   case MetricType::Counter:
      return "counter";
   case MetricType::Info:
      return format == MetricFormat::OpenMetrics ? "info" : "gauge";
   case MetricType::StateSet:
      return format == MetricFormat::OpenMetrics ? "stateset" : "gauge";
   case MetricType::Gauge:
      break;
   }
   return "gauge";
}

// What a sample's name has that its family's does not, in OpenMetrics.
const char *SampleSuffix(MetricType type)
{
   return type == MetricType::Counter ? "_total" : type == MetricType::Info ? "_info" : "";
}

// The end of a sample's line: a space, the value, the time if there is one.
void AppendValue(double value, std::string_view time, std::string *text)
{
   char digits[40];
   // Whole numbers are as short as any, and read better without an exponent.
   const std::to_chars_result result =
      std::fabs(value) < 0x1p63 && value == std::trunc(value)
         ? std::to_chars(digits, std::end(digits), static_cast<int64_t>(value))
         : std::to_chars(digits, std::end(digits), value);
   text->push_back(' ');
   text->append(digits, result.ptr);
   text->append(time);
   text->push_back('\n');
}

// The parts of a label list; the second one may begin with a comma.
void AppendLabels(std::string_view first, std::string_view second, std::string *text)
{
   if (second.starts_with(',')) {
      second.remove_prefix(1);
   }
   if (first.empty() && second.empty()) {
      return;
   }
   *text += '{';
   *text += first;
   if (!first.empty() && !second.empty()) {
      *text += ',';
   }
   *text += second;
   *text += '}';
}

bool HasValue(const MetricRows &rows, size_t family)
{
   for (size_t row = 0; row < rows.Count(); row++) {
      if (!std::isnan(rows.ValuesOf(row)[family])) {
         return true;
      }
   }
   return false;
}

} // namespace

void AppendMetricHead(const MetricFamily &family, MetricFormat format, std::string *text)
{
   std::string name = family.name;
   if (format == MetricFormat::Text004) {
      name += SampleSuffix(family.type);
   }
   *text +=
      "# HELP " + name + ' ' + family.help + "\n# TYPE " + name + ' ' + TypeWord(family.type, format) + '\n';
   if (format == MetricFormat::OpenMetrics && *family.unit != '\0') {
      *text += "# UNIT " + name + ' ' + family.unit + '\n';
   }
}

bool IsSameFamily(const MetricFamily &one, const MetricFamily &other)
{
   return std::strcmp(one.name, other.name) == 0;
}

SampleWriter::SampleWriter(const MetricFamily &family)
    : part(family), name(std::string(family.name) + SampleSuffix(family.type))
{
}

void SampleWriter::Append(std::string_view labels, std::string_view infos, double value,
                          std::string_view time, std::string *text) const
{
   if (part.type == MetricType::StateSet) {
      AppendStates(labels, value, time, text);
      return;
   }
   *text += name;
   AppendLabels(labels, part.type == MetricType::Info ? infos : std::string_view(part.label), text);
   AppendValue(value, time, text);
}

void SampleWriter::AppendStates(std::string_view labels, double value, std::string_view time,
                                std::string *text) const
{
   for (size_t i = 0; i < std::size(kMemoryStates); i++) {
      *text += name;
      AppendLabels(labels, name + "=\"" + kMemoryStates[i] + '"', text);
      AppendValue(value == static_cast<double>(i) ? 1 : 0, time, text);
   }
}

void AppendMetrics(const MetricRows &rows, MetricFormat format, std::string *text, std::string *text004)
{
   const std::span<const MetricFamily> families = rows.subject->families;
   const MetricFamily *head = nullptr; // the family in hand
   for (size_t i = 0; i < families.size(); i++) {
      if (!HasValue(rows, i)) {
         continue;
      }
      if (head == nullptr || !IsSameFamily(*head, families[i])) {
         head = &families[i];
         AppendMetricHead(*head, format, text);
         if (text004 != nullptr) {
            AppendMetricHead(*head, MetricFormat::Text004, text004);
         }
      }
      const size_t start = text->size();
      const SampleWriter writer(families[i]);
      for (size_t row = 0; row < rows.Count(); row++) {
         if (const double value = rows.ValuesOf(row)[i]; !std::isnan(value)) {
            writer.Append(rows.labels[row], rows.infos[row], value, {}, text);
         }
      }
      if (text004 != nullptr) {
         text004->append(*text, start);
      }
   }
}

void FinishMetrics(MetricFormat format, std::string *text)
{
   if (format == MetricFormat::OpenMetrics) {
      *text += "# EOF\n";
   }
}
