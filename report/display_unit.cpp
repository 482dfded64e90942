#include "report/display_unit.h"

#include <strings.h>

NevraStatus ParseDisplayUnit(const char *text, bool allowBytes, DisplayUnit *unit)
{
   if (text == nullptr || strcasecmp(text, "kb") == 0) {
      *unit = UNIT_KB;
   } else if (strcasecmp(text, "gb") == 0) {
      *unit = UNIT_GB;
   } else if (strcasecmp(text, "mb") == 0) {
      *unit = UNIT_MB;
   } else if (strcasecmp(text, "pg") == 0) {
      *unit = UNIT_PAGE;
   } else if (allowBytes && strcasecmp(text, "b") == 0) {
      *unit = UNIT_BYTES;
   } else {
      Warning("Invalid unit specified. Choose from {mb, kb, pg%s}\n", allowBytes ? ", b" : "");
      return NEVRA_BAD_PARAMETER;
   }
   return NEVRA_OK;
}

const char *DisplayUnitName(DisplayUnit unit)
{
   switch (unit) {
   case UNIT_GB:
      return "GB";
   case UNIT_MB:
      return "MB";
   case UNIT_KB:
      return "KB";
   case UNIT_PAGE:
      return "Page (4K)";
   case UNIT_BYTES:
      return "Bytes";
   }
   return "Unknown";
}
