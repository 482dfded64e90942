#include "report/table_output.h"

#include <cstring>
#include <string>

CellValue::CellValue(const char *value)
    : CellValue(value != nullptr ? value : "", value != nullptr ? std::strlen(value) : 0)
{
}

CellValue FitToColumn(const ReportColumn &column, CellValue value)
{
   const bool isNumber = value.Kind() == CellKind::Signed || value.Kind() == CellKind::Unsigned ||
                         value.Kind() == CellKind::Missing;
   const bool hasFormat = column.format[0] == 'l' || column.format[0] == 'u' || column.format[0] == 'd';
   return isNumber && hasFormat
             ? PassNumber(column.format, value.Integer(), [](auto number) { return CellValue(number); })
             : value;
}

void DescribeColumns(const TableOutput &output, const ReportColumn *table)
{
   output.Note("Description of report header labels:");
   constexpr size_t kNameWidth = 20;
   for (const ReportColumn *column = table; column->name != nullptr; column++) {
      if (column->shown) {
         const size_t length = std::strlen(column->name);
         const std::string indent(length < kNameWidth ? kNameWidth - length : 0, ' ');
         output.Note((indent + column->name + ": " + column->description).c_str());
      }
   }
}
