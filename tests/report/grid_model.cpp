#include "tests/report/grid_model.h"

#include <cstdio>

namespace {

// The conversion that the column's format names, with the value's own type.
int Print(char *cell, size_t size, bool csvMode, const std::string &format, int field,
          const ModelValue &value)
{
   const std::string conversion = (csvMode ? "%" : "%*") + format;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
   const auto print = [&](auto argument) {
      return csvMode ? std::snprintf(cell, size, conversion.c_str(), argument)
                     : std::snprintf(cell, size, conversion.c_str(), field, argument);
   };
#pragma GCC diagnostic pop
   if (format == "s") {
      return print(value.text.c_str());
   }
   if (format == "c" || format == "d") {
      return print(static_cast<int32_t>(value.integer));
   }
   if (format == "u") {
      return print(static_cast<uint32_t>(value.integer));
   }
   if (format == "lu") {
      return print(static_cast<unsigned long>(value.integer));
   }
   return print(static_cast<long>(value.integer));
}

// Calls visit(column, index) for the shown columns, with a separator before all but the first.
template <typename Visit>
void ForEachShown(const ReportColumn *table, std::string *line, const char *separator, Visit visit)
{
   bool isFirst = true;
   for (size_t i = 0; table[i].name != nullptr; i++) {
      if (table[i].shown != 0) {
         *line += isFirst ? "" : separator;
         isFirst = false;
         visit(table[i], i);
      }
   }
   *line += '\n';
}

} // namespace

std::string ModelCell(const std::string &text, uint8_t width, uint8_t *carry)
{
   char cell[2048];
   const int printed = std::snprintf(cell, sizeof cell, "%*s", width - *carry, text.c_str());
   *carry = static_cast<uint8_t>(*carry + printed - width);
   return cell;
}

CellValue AsCell(const char *format, const ModelValue &value)
{
   const std::string name = format;
   if (name == "s") {
      return {value.text.c_str()};
   }
   if (name == "c") {
      return {static_cast<char>(value.integer)};
   }
   if (name == "u") {
      return {static_cast<uint32_t>(value.integer)};
   }
   if (name == "d") {
      return {static_cast<int32_t>(value.integer)};
   }
   if (name == "lu") {
      return {value.integer};
   }
   return {static_cast<int64_t>(value.integer)};
}

std::string ModelRow(const ReportColumn *table, bool csvMode, bool isTotalRow,
                     std::span<const ModelValue> values)
{
   std::string line;
   uint8_t carry = 0;
   ForEachShown(table, &line, csvMode ? "," : " ", [&](const ReportColumn &column, size_t i) {
      char cell[2048];
      int printed;
      if (isTotalRow && column.totalled == 0) {
         printed = csvMode ? 0 : std::snprintf(cell, sizeof cell, "%*s", column.width - carry, "");
      } else {
         printed = Print(cell, sizeof cell, csvMode, column.format, column.width - carry, values[i]);
      }
      line.append(cell, static_cast<size_t>(printed));
      carry = static_cast<uint8_t>(carry + printed - column.width);
   });
   return line;
}

std::string ModelHeader(const ReportColumn *table, bool csvMode)
{
   std::string line;
   uint8_t carry = 0;
   ForEachShown(table, &line, csvMode ? "," : " ", [&](const ReportColumn &column, size_t) {
      line += csvMode ? column.name : ModelCell(column.name, column.width, &carry);
   });
   return line;
}

std::string ModelSeparator(const ReportColumn *table)
{
   std::string line;
   ForEachShown(table, &line, "-",
                [&](const ReportColumn &column, size_t) { line.append(column.width, '-'); });
   return line;
}
