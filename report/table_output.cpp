#include "report/table_output.h"

#include <cstring>
#include <string>

CellValue::CellValue(const char *value)
    : CellValue(value != nullptr ? value : "", value != nullptr ? std::strlen(value) : 0)
{
}

CellValue FitToColumn(const ReportColumn &column, CellValue value)
{
   switch (value.Kind()) {
   case CellKind::Signed:
   case CellKind::Unsigned:
   case CellKind::Missing:
      break;
   default:
      return value;
   }
   switch (column.format[0]) {
   case 'u':
      return static_cast<uint32_t>(value.Integer());
   case 'd':
      return static_cast<int32_t>(value.Integer());
   case 'l':
      return column.format[1] == 'd' ? CellValue(static_cast<int64_t>(value.Integer()))
                                     : CellValue(value.Integer());
   default:
      return value;
   }
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
