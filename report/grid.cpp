#include "report/grid.h"

#include <charconv>
#include <iterator>

namespace {

constexpr size_t kLongestNumber = 20; // digits of 2^64 - 1; a sign takes the place of the 20th

// The line being put together; kept from row to row for its storage.
OutputLine &EmptyLine()
{
   static OutputLine line;
   line.Clear();
   return line;
}

// Passes a value on as what the column's format prints: an integer of its size and sign, a character, or a
// text.
template <typename Take> void PassValue(const char *format, const CellValue &value, const Take &take)
{
   switch (format[0]) {
   case 'l':
      format[1] == 'd' ? take(static_cast<int64_t>(value.Integer())) : take(value.Integer());
      break;
   case 'u':
      take(static_cast<uint32_t>(value.Integer()));
      break;
   case 'd':
      take(static_cast<int32_t>(value.Integer()));
      break;
   case 'c':
      take(static_cast<char>(value.Integer()));
      break;
   default:
      take(value.Text() != nullptr ? std::string_view(value.Text()) : std::string_view());
      break;
   }
}

// A value's text as printf would have it. `room` is for what is none yet.
std::string_view TextOf(std::string_view text, char (&)[kLongestNumber])
{
   return text;
}

std::string_view TextOf(char character, char (&room)[kLongestNumber])
{
   room[0] = character;
   return {room, 1};
}

template <typename Integer> std::string_view TextOf(Integer number, char (&room)[kLongestNumber])
{
   return {room, static_cast<size_t>(std::to_chars(room, std::end(room), number).ptr - room)};
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
      const auto appendCell = [&](const auto &shown) {
         char room[kLongestNumber];
         AppendGridCell(line, TextOf(shown, room), column->width, &carry);
      };
      const bool isBlank = isTotalRow && !column->totalled;
      if (csvMode && !isBlank) {
         PassValue(column->format, *value, [&](const auto &shown) { line.Append(shown); });
      } else if (!csvMode && isBlank) {
         appendCell(std::string_view());
      } else if (!csvMode) {
         PassValue(column->format, *value, appendCell);
      }
   }
   line.Write();
}
