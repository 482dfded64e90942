#include "report/grid.h"

#include <bit>
#include <string>

namespace {

// The line being put together; kept from row to row for its storage.
OutputLine &EmptyLine()
{
   static OutputLine line;
   line.Clear();
   return line;
}

// The characters that a number has in decimal.
size_t LengthOf(uint64_t number)
{
   static constexpr uint64_t kPowersOfTen[] = {
      1,
      10,
      100,
      1000,
      10000,
      100000,
      1000000,
      10000000,
      100000000,
      1000000000,
      10000000000,
      100000000000,
      1000000000000,
      10000000000000,
      100000000000000,
      1000000000000000,
      10000000000000000,
      100000000000000000,
      1000000000000000000,
      10000000000000000000U,
   };
   const uint64_t shown = number | 1;
   // log10(2) is about 1233 / 4096.
   const size_t digits = static_cast<size_t>(std::bit_width(shown)) * 1233 >> 12;
   return digits + (shown >= kPowersOfTen[digits] ? 1 : 0);
}

size_t LengthOf(int64_t number)
{
   return number < 0 ? LengthOf(0 - static_cast<uint64_t>(number)) + 1
                     : LengthOf(static_cast<uint64_t>(number));
}

size_t LengthOf(uint32_t number)
{
   return LengthOf(uint64_t{number});
}

size_t LengthOf(int32_t number)
{
   return LengthOf(int64_t{number});
}

size_t LengthOf(char)
{
   return 1;
}

size_t LengthOf(std::string_view text)
{
   return text.size();
}

// Passes a value on as what the column's format prints: an integer of its size and sign, a character, or a
// text.
template <typename Take> void PassValue(const char *format, const CellValue &value, const Take &take)
{
   switch (format[0]) {
   case 'l':
   case 'u':
   case 'd':
      PassNumber(format, value.Integer(), take);
      break;
   case 'c':
      take(static_cast<char>(value.Integer()));
      break;
   default:
      if (value.Kind() == CellKind::FlagList) {
         take(std::string_view(FormatFlagList(value.Mask(), value.Flags())));
      } else if (value.Kind() == CellKind::Flag) {
         take(static_cast<char>(value.Integer()));
      } else {
         take(value.Text());
      }
      break;
   }
}

// A value on the grid, written where it belongs at once.
template <typename Value> void AppendOnGrid(OutputLine &line, Value value, uint8_t width, uint8_t *carry)
{
   const int field = width - *carry;
   const size_t fieldWidth = static_cast<size_t>(field < 0 ? -field : field);
   const size_t length = LengthOf(value);
   const size_t padding = length < fieldWidth ? fieldWidth - length : 0;
   if (field >= 0) {
      line.AppendRepeated(padding, ' ');
   }
   line.Append(value);
   if (field < 0) {
      line.AppendRepeated(padding, ' ');
   }
   *carry = static_cast<uint8_t>(*carry + length + padding - width);
}

} // namespace

void AppendGridCell(OutputLine &line, std::string_view text, uint8_t width, uint8_t *carry)
{
   AppendOnGrid(line, text, width, carry);
}

void AppendValue(OutputLine &line, const CellValue &value)
{
   switch (value.Kind()) {
   case CellKind::Blank:
      break;
   case CellKind::Text:
      line.Append(value.Text());
      break;
   case CellKind::Flag:
      line.Append(static_cast<char>(value.Integer()));
      break;
   case CellKind::FlagList:
      line.Append(std::string_view(FormatFlagList(value.Mask(), value.Flags())));
      break;
   case CellKind::Signed:
      line.Append(static_cast<int64_t>(value.Integer()));
      break;
   case CellKind::Unsigned:
   case CellKind::Missing:
      line.Append(value.Integer());
      break;
   }
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

void PrintReportRow(const ReportColumn *table, bool csvMode, bool isTotalRow, const CellValue *values)
{
   OutputLine &line = EmptyLine();
   uint8_t carry = 0;
   bool first = true;
   const CellValue *value = values;
   for (const ReportColumn *column = table; column->name != nullptr; column++, value++) {
      if (!column->shown) {
         continue;
      }
      if (!first) {
         line.Append(csvMode ? ',' : ' ');
      }
      first = false;
      const bool isBlank = isTotalRow && !column->totalled;
      if (csvMode && !isBlank) {
         PassValue(column->format, *value, [&](const auto &shown) { line.Append(shown); });
      } else if (!csvMode && isBlank) {
         AppendGridCell(line, std::string_view(), column->width, &carry);
      } else if (!csvMode) {
         PassValue(column->format, *value,
                   [&](const auto &shown) { AppendOnGrid(line, shown, column->width, &carry); });
      }
   }
   line.Write();
}
