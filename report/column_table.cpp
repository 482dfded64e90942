#include "report/column_table.h"

#include <algorithm>
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

const char *UnitWord(Unit unit)
{
   switch (unit) {
   case Unit::Text:
      return "text";
   case Unit::YesNo:
      return "y or n";
   case Unit::FlagList:
      return "flags";
   case Unit::Id:
      return "ID";
   case Unit::Number:
      return "number";
   case Unit::BitMask:
      return "bits";
   case Unit::Memory:
      return "memory";
   case Unit::Bytes:
      return "bytes";
   case Unit::Pages4KB:
      return "4 KB";
   case Unit::Blocks2MB:
      return "2 MB";
   case Unit::Count:
      return "count";
   case Unit::Shares:
      return "shares";
   case Unit::Percent:
      return "%";
   case Unit::Microseconds:
      return "microseconds";
   case Unit::Ticks:
      return "time";
   case Unit::PagesPerSecond:
      return "pages/s";
   }
   return "";
}
