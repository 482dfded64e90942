#include "recorder/time_text.h"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <optional>

namespace recorder {

namespace {

constexpr int64_t kLastSecond = 253402300799; // of the year 9999
constexpr int64_t kSecondsPerDay = 86400;

struct TimeOfDay {
   int hour;
   int minute;
   int second;
};

// Takes a prefix away; false when the text does not begin with it.
bool Take(std::string_view *text, std::string_view prefix)
{
   if (!text->starts_with(prefix)) {
      return false;
   }
   text->remove_prefix(prefix.size());
   return true;
}

// Takes a number of exactly so many digits away.
bool TakeDigits(std::string_view *text, size_t digits, int *number)
{
   if (text->size() < digits ||
       text->substr(0, digits).find_first_not_of("0123456789") != std::string_view::npos) {
      return false;
   }
   std::from_chars(text->data(), text->data() + digits, *number);
   text->remove_prefix(digits);
   return true;
}

// A whole number without a sign, however long.
bool TakeNumber(std::string_view *text, int64_t *number)
{
   if (text->empty() || text->front() < '0' || text->front() > '9') {
      return false;
   }
   const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), *number);
   text->remove_prefix(static_cast<size_t>(end - text->data()));
   return error == std::errc();
}

// HH:MM or HH:MM:SS.
bool ParseTimeOfDay(std::string_view text, TimeOfDay *time)
{
   *time = {};
   if (!TakeDigits(&text, 2, &time->hour) || !Take(&text, ":") || !TakeDigits(&text, 2, &time->minute)) {
      return false;
   }
   if (!text.empty() && (!Take(&text, ":") || !TakeDigits(&text, 2, &time->second))) {
      return false;
   }
   return text.empty() && time->hour < 24 && time->minute < 60 && time->second < 60;
}

// "90s", "2h30m", "1d": the seconds. False for anything else, and for what nobody means.
bool ParseDuration(std::string_view text, int64_t *seconds)
{
   struct DurationUnit {
      const char *letter;
      int64_t seconds;
   };
   constexpr DurationUnit kUnits[] = {{"d", kSecondsPerDay}, {"h", 3600}, {"m", 60}, {"s", 1}};
   *seconds = 0;
   const DurationUnit *unit = std::begin(kUnits);
   while (!text.empty()) {
      int64_t count;
      if (!TakeNumber(&text, &count) || count > kLastSecond) {
         return false;
      }
      unit =
         std::find_if(unit, std::end(kUnits), [&](const DurationUnit &of) { return Take(&text, of.letter); });
      if (unit == std::end(kUnits)) {
         return false;
      }
      *seconds += count * unit->seconds;
      unit++; // each unit once, the larger ones first
   }
   return unit != std::begin(kUnits);
}

tm BrokenDown(const tm &date, const TimeOfDay &time)
{
   tm when = {};
   when.tm_year = date.tm_year;
   when.tm_mon = date.tm_mon;
   when.tm_mday = date.tm_mday;
   when.tm_hour = time.hour;
   when.tm_min = time.minute;
   when.tm_sec = time.second;
   return when;
}

int64_t SecondsUtc(const tm &date, const TimeOfDay &time)
{
   tm when = BrokenDown(date, time);
   return timegm(&when);
}

tm LocalTime(int64_t seconds)
{
   const time_t when = seconds;
   tm local = {};
   localtime_r(&when, &local);
   return local;
}

// When the clock showed this date and time: the later moment of two, unless it is after `latest`.
int64_t SecondsLocal(const tm &date, const TimeOfDay &time, int64_t latest = kLastSecond)
{
   const int64_t utc = SecondsUtc(date, time);
   // The clock is set by less than a day, and not again within one.
   const long before = LocalTime(utc - kSecondsPerDay).tm_gmtoff;
   const long after = LocalTime(utc + kSecondsPerDay).tm_gmtoff;
   std::optional<int64_t> found;
   for (const long offset : {std::max(before, after), std::min(before, after)}) { // the earlier moment first
      const int64_t moment = utc - offset;
      if (LocalTime(moment).tm_gmtoff == offset && (!found.has_value() || moment <= latest)) {
         found = moment;
      }
   }
   return found.value_or(utc - before);
}

// The date that is so many days before that of `now`.
tm DateBefore(int64_t now, int days)
{
   tm date = BrokenDown(LocalTime(now), {12, 0, 0});
   date.tm_mday -= days;
   timegm(&date); // brings the day into its month
   return date;
}

// The last time that the clock showed this.
int64_t LastLocal(const TimeOfDay &time, int64_t now)
{
   for (int days = 0;; days++) {
      const int64_t moment = SecondsLocal(DateBefore(now, days), time, now);
      if (moment <= now) {
         return moment;
      }
   }
}

// YYYY-MM-DD, then T or a space, then the time and perhaps Z.
bool ParseDateAndTime(std::string_view text, int64_t *seconds)
{
   int year;
   int month;
   int day;
   if (!TakeDigits(&text, 4, &year) || !Take(&text, "-") || !TakeDigits(&text, 2, &month) ||
       !Take(&text, "-") || !TakeDigits(&text, 2, &day) || (!Take(&text, "T") && !Take(&text, " "))) {
      return false;
   }
   tm date = {};
   date.tm_year = year - 1900;
   date.tm_mon = month - 1;
   date.tm_mday = day;
   const tm given = date;
   timegm(&date);
   if (date.tm_mday != given.tm_mday || date.tm_mon != given.tm_mon) {
      return false; // no day of the calendar
   }
   const bool isUtc = text.ends_with('Z');
   TimeOfDay time;
   if (!ParseTimeOfDay(text.substr(0, text.size() - (isUtc ? 1 : 0)), &time)) {
      return false;
   }
   *seconds = isUtc ? SecondsUtc(given, time) : SecondsLocal(given, time);
   return true;
}

bool ParseAnyForm(std::string_view text, int64_t now, int64_t *seconds)
{
   TimeOfDay time;
   if (Take(&text, "now")) {
      int64_t ago = 0;
      if (!text.empty() && (!Take(&text, "-") || !ParseDuration(text, &ago))) {
         return false;
      }
      *seconds = now - ago;
      return true;
   }
   if (Take(&text, "@")) {
      return TakeNumber(&text, seconds) && text.empty();
   }
   for (const auto &[word, days] : {std::pair{"today ", 0}, {"yesterday ", 1}}) {
      if (Take(&text, word)) {
         if (!ParseTimeOfDay(text, &time)) {
            return false;
         }
         *seconds = SecondsLocal(DateBefore(now, days), time);
         return true;
      }
   }
   if (ParseTimeOfDay(text, &time)) {
      *seconds = LastLocal(time, now);
      return true;
   }
   return ParseDateAndTime(text, seconds);
}

} // namespace

bool ParseTime(std::string_view text, int64_t now, int64_t *seconds, std::string *problem)
{
   if (!ParseAnyForm(text, now, seconds)) {
      *problem = "no time: " + std::string(text) + " (" + kTimeForms + ")";
      return false;
   }
   if (*seconds < 0 || *seconds > kLastSecond) {
      *problem = "not between 1970 and 9999: " + std::string(text);
      return false;
   }
   return true;
}

} // namespace recorder
