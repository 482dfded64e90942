#include "frontend/usage.h"

#include <cstdio>

#include "frontend/report_table.h"

void PrintUsage(const char *program)
{
   std::printf(R"(Usage: %s [-hf] [-c <cacheFile>] -r <reportType> [report specific options]
   -h, --help                Show this message
   -f, --force               Continue even if version check fails
   -c, --cache <cacheFile>   Use Nevra cache file

   Supported report types:
)",
               program);
   for (const ReportEntry &report : Reports()) {
      std::printf("      %s\n", report.name);
   }
   std::fputs(R"(
   Options for all reports:
      -v, --verbose             Describe report header labels
      -s  --cSelect <mask>      Column selection filter
      -q  --csvMode             Display output as CSV, not as table
      Note 1: The column selection must be a string comprising of a ':' separated list of column names.
)",
              stdout);
   for (const ReportEntry &report : Reports()) {
      if (report.description->usage != nullptr) {
         std::printf("\n   '%s'%s", report.name, report.description->usage);
      }
   }
}
