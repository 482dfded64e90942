// Display units: what -u chooses, and the conversion of kilobytes into it.
#ifndef REPORT_DISPLAY_UNIT_H
#define REPORT_DISPLAY_UNIT_H

#include <cstdint>

#include "nevra/nevra.h"

enum DisplayUnit : uint32_t {
   UNIT_GB = 3,
   UNIT_MB = 4,
   UNIT_KB = 5,
   UNIT_PAGE = 6, // 4 KB pages
   UNIT_BYTES = 7 // only where the report allows it
};

// "Not available": never converted.
inline constexpr uint64_t NotAvailable = UINT64_MAX;

// Above this a raw value counts as not available, where a report says so.
inline constexpr uint64_t NA_THRESHOLD = 0xFFFFFFFFF0;

// No text gives KB. An unknown unit is reported, and the status is "Bad parameter".
NevraStatus ParseDisplayUnit(const char *text, bool allowBytes, DisplayUnit *unit);

const char *DisplayUnitName(DisplayUnit unit);

// Kilobytes in the display unit, rounded up. NotAvailable stays as it is.
inline uint64_t ConvertKB(uint64_t value, DisplayUnit unit)
{
   if (value == NotAvailable) {
      return value;
   }
   switch (unit) {
   case UNIT_GB:
      return (value + 0xFFFFF) >> 20;
   case UNIT_MB:
      return (value + 1023) >> 10;
   case UNIT_PAGE:
      return (value + 3) >> 2;
   case UNIT_BYTES:
      return value << 10;
   case UNIT_KB:
      break;
   }
   return value;
}

// Bytes in whole kilobytes, rounded up.
inline uint64_t BytesToKB(uint64_t bytes)
{
   return (bytes + 1023) / 1024;
}

// Bytes in the display unit: exact in bytes, else to whole kilobytes and on to the unit, both rounded up.
inline uint64_t ConvertBytes(uint64_t bytes, DisplayUnit unit)
{
   return unit == UNIT_BYTES ? bytes : ConvertKB(BytesToKB(bytes), unit);
}

// NotAvailable for a raw value above NA_THRESHOLD, compared unsigned; any other value as it is.
inline int64_t OrNotAvailable(int64_t value)
{
   return static_cast<uint64_t>(value) > NA_THRESHOLD ? static_cast<int64_t>(NotAvailable) : value;
}

#endif
