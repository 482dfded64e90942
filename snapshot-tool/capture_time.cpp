#include "snapshot-tool/capture_time.h"

#include <cstdio>
#include <ctime>

std::string FormatCaptureTime(int64_t seconds)
{
   const time_t time = seconds;
   tm calendar = {};
   gmtime_r(&time, &calendar);
   char text[64];
   std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &calendar);
   return text;
}

bool ParseCaptureTime(std::string_view text, int64_t *seconds)
{
   const std::string copy(text);
   tm calendar = {};
   // NOLINTNEXTLINE(cert-err34-c): no number of such a width overflows
   if (std::sscanf(copy.c_str(), "%4d-%2d-%2dT%2d:%2d:%2dZ", &calendar.tm_year, &calendar.tm_mon,
                   &calendar.tm_mday, &calendar.tm_hour, &calendar.tm_min, &calendar.tm_sec) != 6) {
      return false;
   }
   calendar.tm_year -= 1900;
   calendar.tm_mon -= 1;
   *seconds = timegm(&calendar);
   // A 30th of February and a missing zero do not come back as they were.
   return *seconds >= 0 && FormatCaptureTime(*seconds) == text;
}
