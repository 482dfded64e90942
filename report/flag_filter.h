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

// Calls visit(name) for each row that shares a bit with `mask`.
template <typename Visit> void ForEachFlag(uint32_t mask, const FlagName *table, const Visit &visit)
{
   for (const FlagName *flag = table; flag->name != nullptr; flag++) {
      if ((mask & flag->mask) != 0) {
         visit(flag->name);
      }
   }
}

// The names of those rows joined by ':'.
std::string JoinFlags(uint32_t mask, const FlagName *table);

// The same, but "(all)" when every row shares a bit, "(none)" when none does.
std::string FormatFlagList(uint32_t mask, const FlagName *table);

#endif
