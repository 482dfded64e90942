// The depth of the group hierarchy that a report shows (-l).
#ifndef REPORT_LEVELS_H
#define REPORT_LEVELS_H

#include <cstdint>

#include "nevra/nevra.h"

inline constexpr uint32_t MAX_LEVELS = 12;

// Reads a decimal number as unsigned 32-bit. 0 is reported and gives "Bad parameter"; more than MAX_LEVELS,
// and so a negative number, is reported and becomes MAX_LEVELS.
NevraStatus ParseLevel(const char *text, uint32_t *levels);

#endif
