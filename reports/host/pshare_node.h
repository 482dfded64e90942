// What the two page-sharing reports share: their node and the conversion of its page counts.
#ifndef REPORTS_HOST_PSHARE_NODE_H
#define REPORTS_HOST_PSHARE_NODE_H

#include <cstdint>

#include "nevra/nevra.h"
#include "nevra/records.h"
#include "nevra/values.h"
#include "report/display_unit.h"

// Reads the page-sharing statistics. Only a list that cannot be made is reported, under the reader's name,
// and gives "Failure"; the status of the read comes back without a message.
NevraStatus GetPShareStats(const char *reader, PShareStats *stats);

// A count of 4 KB pages in the display unit, rounded up. Every count is converted, an all-ones one too.
inline uint64_t ConvertPages(uint64_t pages, DisplayUnit unit)
{
   return ConvertKB(kKBPerPage * pages, unit);
}

#endif
