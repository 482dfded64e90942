// What a report shows of itself to the usage text, the manuals and the shell completions: its columns and its
// options, from the tables that it runs by.
#ifndef REPORT_REPORT_DESCRIPTION_H
#define REPORT_REPORT_DESCRIPTION_H

#include <getopt.h>

#include "report/column_table.h"
#include "report/flag_filter.h"

struct ReportDescription {
   const ReportColumn *columns;
   const char *shortOptions;
   const option *longOptions;
   const char *usage = nullptr; // its section of the usage text; null: none
   bool hasTotalRow = false;
   bool takesBytes = false;             // whether -u takes "b"
   const FlagName *flagNames = nullptr; // what -i and -e name, and a column of flags shows
};

#endif
