// The banner: a report's title, the current time and its settings, printed before the table.
#ifndef REPORT_BANNER_H
#define REPORT_BANNER_H

#include <cstdint>

#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/flag_filter.h"

// The current local time as the C library's ctime formats it, with its newline. Owned by the C library.
const char *CurrentTimeText();

// Prints a blank line, " TITLE: " with the current time, and a rule of a blank and `ruleLength` dashes.
void PrintBannerTitle(const char *title, int ruleLength);

// The settings lines; a report prints those that it has.
void PrintBannerStartGroup(uint64_t groupID);
void PrintBannerLevels(uint32_t levels);
void PrintBannerUnit(DisplayUnit unit);
void PrintBannerUnit(const char *unitName);
void PrintBannerFilters(uint32_t inclusionMask, uint32_t exclusionMask, const FlagName *table);
void PrintBannerSelectedColumns(const ReportColumn *table); // with the blank line that ends a banner

#endif
