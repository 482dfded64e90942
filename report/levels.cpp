#include "report/levels.h"

#include <cstdlib>

NevraStatus ParseLevel(const char *text, uint32_t *levels)
{
   *levels = static_cast<uint32_t>(std::strtol(text, nullptr, 10));
   if (*levels == 0) {
      Warning("Invalid level %s, must be > 0\n", text);
      return NEVRA_BAD_PARAMETER;
   }
   if (*levels > MAX_LEVELS) {
      Warning("Specified level %s too high, reseting to %d\n", text, static_cast<int>(MAX_LEVELS));
      *levels = MAX_LEVELS;
   }
   return NEVRA_OK;
}
