// The banner: a report's title, the current time and its settings, printed before an aligned table.
#ifndef REPORT_BANNER_H
#define REPORT_BANNER_H

#include "report/table_output.h"

// The current local time as the C library's ctime formats it, with its newline. Owned by the C library.
const char *CurrentTimeText();

// Prints a blank line, " TITLE: " with the current time, a rule of a blank and dashes, the settings with
// their values under each other, and the selected columns with the blank line that ends a banner.
void PrintBanner(const TableHead &head);

#endif
