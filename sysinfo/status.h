// Status codes and their messages.
#ifndef SYSINFO_STATUS_H
#define SYSINFO_STATUS_H

#include "nevra/nevra.h"

// The message for a status: a constant text, never null. Small plain numbers index the catalogue directly.
const char *ORSKA_ReturnStatusToString(NevraStatus status);

#endif
