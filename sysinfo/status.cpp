#include "sysinfo/status.h"

const char *ORSKA_ReturnStatusToString(NevraStatus)
{
   return "Unknown status";
}
