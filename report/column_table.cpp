#include "report/column_table.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <strings.h>

#include "nevra/nevra.h"

bool IsColumnSelected(const char *selection, const char *name)
{
   constexpr size_t kSelectionSize = 512;
   char words[kSelectionSize];
   std::strncpy(words, selection, kSelectionSize);
   words[kSelectionSize - 1] = '\0';
   for (char *word = std::strtok(words, ":"); word != nullptr; word = std::strtok(nullptr, ":")) {
      if (strcasecmp(word, name) == 0) {
         return true;
      }
   }
   return false;
}

void ApplyColumnSelection(ReportColumn *table, const char *selection)
{
   if (selection != nullptr && std::strlen(selection) > 512) {
      Warning("Selected columns is too long, selection might be ignored.\n");
   }
   for (ReportColumn *column = table; column->name != nullptr; column++) {
      if (selection != nullptr && column->key == 0 && column->shown == 1 &&
          !IsColumnSelected(selection, column->name)) {
         column->shown = 0;
      }
      column->width = std::max(column->width, static_cast<uint8_t>(std::strlen(column->name)));
   }
}

std::string FormatSelectedColumns(const ReportColumn *table)
{
   std::string names;
   bool allShown = true;
   for (const ReportColumn *column = table; column->name != nullptr; column++) {
      if (!column->shown) {
         allShown = false;
         continue;
      }
      if (!names.empty()) {
         names += ':';
      }
      names += column->name;
   }
   if (allShown) {
      return "(all)";
   }
   return names.empty() ? "(none)" : names;
}

void DescribeColumns(const ReportColumn *table)
{
   std::puts("Description of report header labels:");
   for (const ReportColumn *column = table; column->name != nullptr; column++) {
      if (column->shown) {
         std::printf("%20s: %s\n", column->name, column->description);
      }
   }
}
