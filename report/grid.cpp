#include "report/grid.h"

#include <charconv>

namespace {

constexpr size_t kLongestNumber = 20; // digits of 2^64 - 1; a sign takes the place of the 20th

// The line being put together; kept from row to row for its storage.
OutputLine &EmptyLine()
{
   static OutputLine line;
   line.Clear();
   return line;
}

// The text of a value as the column's format prints it. `digits` is room for a number.
std::string_view FormatValue(const char *format, const CellValue &value, char (&digits)[kLongestNumber + 1])
{
   const auto number = [&](auto integer) {
      const std::to_chars_result end = std::to_chars(digits, digits + kLongestNumber + 1, integer);
      return std::string_view(digits, static_cast<size_t>(end.ptr - digits));
   };
   switch (format[0]) {
   case 'l':
      return format[1] == 'd' ? number(static_cast<int64_t>(value.Integer())) : number(value.Integer());
   case 'u':
      return number(static_cast<uint32_t>(value.Integer()));
   case 'd':
      return number(static_cast<int32_t>(value.Integer()));
   case 'c':
      digits[0] = static_cast<char>(value.Integer());
      return {digits, 1};
   default:
      return value.Text() != nullptr ? value.Text() : std::string_view();
   }
}

} // namespace

void AppendGridCell(OutputLine &line, std::string_view text, uint8_t width, uint8_t *carry)
{
   const int field = width - *carry;
   const size_t fieldWidth = static_cast<size_t>(field < 0 ? -field : field);
   const size_t padding = text.size() < fieldWidth ? fieldWidth - text.size() : 0;
   if (field >= 0) {
      line.AppendRepeated(padding, ' ');
   }
   line.Append(text);
   if (field < 0) {
      line.AppendRepeated(padding, ' ');
   }
   *carry = static_cast<uint8_t>(*carry + text.size() + padding - width);
}

void PrintSeparatorLine(const ReportColumn *table, bool csvMode)
{
   if (csvMode) {
      return;
   }
   OutputLine &line = EmptyLine();
   bool first = true;
   for (const ReportColumn *column = table; column->name != nullptr; column++) {
      if (!column->shown) {
         continue;
      }
      line.AppendRepeated(column->width + (first ? 0U : 1U), '-');
      first = false;
   }
   line.Write();
}

void PrintHeaderLine(const ReportColumn *table, bool csvMode)
{
   OutputLine &line = EmptyLine();
   uint8_t carry = 0;
   bool first = true;
   for (const ReportColumn *column = table; column->name != nullptr; column++) {
      if (!column->shown) {
         continue;
      }
      if (!first) {
         line.Append(csvMode ? ',' : ' ');
      }
      first = false;
      if (csvMode) {
         line.Append(std::string_view(column->name));
      } else {
         AppendGridCell(line, column->name, column->width, &carry);
      }
   }
   line.Write();
}

void PrintTableHead(const ReportColumn *table, bool csvMode)
{
   PrintSeparatorLine(table, csvMode);
   PrintHeaderLine(table, csvMode);
   PrintSeparatorLine(table, csvMode);
}

void PrintReportRow(const ReportColumn *table, bool csvMode, bool isTotalRow,
                    std::span<const CellValue> values)
{
   OutputLine &line = EmptyLine();
   uint8_t carry = 0;
   bool first = true;
   const CellValue *value = values.data();
   for (const ReportColumn *column = table; column->name != nullptr; column++, value++) {
      if (!column->shown) {
         continue;
      }
      if (!first) {
         line.Append(csvMode ? ',' : ' ');
      }
      first = false;
      char digits[kLongestNumber + 1];
      const bool blank = isTotalRow && !column->totalled;
      const std::string_view text = blank ? std::string_view() : FormatValue(column->format, *value, digits);
      if (csvMode) {
         line.Append(text);
      } else {
         AppendGridCell(line, text, column->width, &carry);
      }
   }
   line.Write();
}
