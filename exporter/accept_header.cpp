#include "exporter/accept_header.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <strings.h>

namespace exporter {

namespace {

std::string_view Trimmed(std::string_view text)
{
   constexpr char kSpaces[] = " \t";
   const size_t first = text.find_first_not_of(kSpaces);
   return first == std::string_view::npos ? std::string_view()
                                          : text.substr(first, text.find_last_not_of(kSpaces) - first + 1);
}

// Takes what comes before the next separator, which is none inside quotes.
std::string_view TakePart(std::string_view *text, char separator)
{
   bool isQuoted = false;
   size_t end = 0;
   while (end < text->size() && (isQuoted || (*text)[end] != separator)) {
      isQuoted ^= (*text)[end] == '"';
      end++;
   }
   const std::string_view part = Trimmed(text->substr(0, end));
   text->remove_prefix(std::min(end + 1, text->size()));
   return part;
}

bool IsSame(std::string_view one, std::string_view other)
{
   return one.size() == other.size() && strncasecmp(one.data(), other.data(), one.size()) == 0;
}

// A rating from 0 to 1; nothing for what is none.
std::optional<double> ReadRating(std::string_view text)
{
   double rating = 0;
   const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), rating, std::chars_format::fixed);
   if (error != std::errc() || end != text.data() + text.size() || !(rating >= 0 && rating <= 1)) {
      return std::nullopt;
   }
   return rating;
}

// One of the ranges of the header: text/plain;version=0.0.4;q=0.5.
struct MediaRange {
   std::string_view type;
   std::string_view version; // empty: any
   double rating = 1;
};

std::optional<MediaRange> ReadRange(std::string_view text)
{
   MediaRange range = {.type = TakePart(&text, ';'), .version = {}};
   while (!text.empty()) {
      std::string_view parameter = TakePart(&text, ';');
      const std::string_view name = TakePart(&parameter, '=');
      std::string_view value = parameter;
      if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
         value = value.substr(1, value.size() - 2);
      }
      if (IsSame(name, "version")) {
         range.version = value;
      } else if (IsSame(name, "q")) {
         const std::optional<double> rating = ReadRating(value);
         if (!rating.has_value()) {
            return std::nullopt;
         }
         range.rating = *rating;
      }
   }
   return range;
}

// What a format is called.
struct Format {
   std::string_view type;
   std::string_view anySubtype;
   std::string_view version;
};

constexpr Format kOpenMetrics = {"application/openmetrics-text", "application/*", "1.0.0"};
constexpr Format kText = {"text/plain", "text/*", "0.0.4"};

// How closely the range names the format: 0, not at all.
int ClosenessOf(const MediaRange &range, const Format &format)
{
   if (IsSame(range.type, format.type)) {
      return range.version.empty() ? 3 : range.version == format.version ? 4 : 0;
   }
   return IsSame(range.type, format.anySubtype) ? 2 : range.type == "*/*" ? 1 : 0;
}

// The rating of a format: that of the range that names it most closely.
struct Rating {
   int closeness = 0;
   double rating = 0;

   void Add(const MediaRange &range, const Format &format)
   {
      const int closer = ClosenessOf(range, format);
      if (closer > closeness) {
         closeness = closer;
         rating = range.rating;
      }
   }
};

} // namespace

MetricFormat ChooseFormat(std::string_view accept)
{
   Rating openMetrics;
   Rating text;
   while (!accept.empty()) {
      if (const std::optional<MediaRange> range = ReadRange(TakePart(&accept, ',')); range.has_value()) {
         openMetrics.Add(*range, kOpenMetrics);
         text.Add(*range, kText);
      }
   }
   const bool isNamed = openMetrics.closeness >= 3 && openMetrics.rating > 0;
   return openMetrics.rating > text.rating || (isNamed && openMetrics.rating == text.rating)
             ? MetricFormat::OpenMetrics
             : MetricFormat::Text004;
}

} // namespace exporter
