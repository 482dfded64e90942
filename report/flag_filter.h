// Named bit flags: the filters -i and -e, and masks printed as text.
#ifndef REPORT_FLAG_FILTER_H
#define REPORT_FLAG_FILTER_H

#include <cstdint>
#include <string>

#include "nevra/nevra.h"
#include "nevra/values.h"

// A table is an array of these in printing order, ended by a row whose name is null.
struct FlagName {
   uint32_t mask;
   const char *name;
};

extern const FlagName groupFlagNames[]; // the 15 scheduler-group flags
extern const FlagName uwTypeNames[];    // "uw" stand-alone, "vm" VM-based

// ORs the masks of the ':'-separated names in `text`, which is split in place. No text gives all bits, or
// none for an exclusion. An unknown name is reported, the mask is 0 and the status is "Bad parameter".
NevraStatus ParseFlagFilter(char *text, const FlagName *table, uint32_t *mask, bool isExclusion);

// Whether flags pass a pair of filters: a bit of the inclusion mask, and none of the exclusion mask.
inline bool PassesFlagFilter(uint32_t flags, uint32_t inclusionMask, uint32_t exclusionMask)
{
   return (flags & inclusionMask) != 0 && (flags & exclusionMask) == 0;
}

// The names of the rows that share a bit with `mask`, joined by ':'; "(all)" when every row does, "(none)"
// when none does.
std::string FormatFlagList(uint32_t mask, const FlagName *table);

#endif
