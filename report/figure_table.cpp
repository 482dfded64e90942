#include "report/figure_table.h"

#include <cstring>

namespace {

template <typename Integer> Integer ReadAs(const char *from)
{
   Integer value;
   std::memcpy(&value, from, sizeof value);
   return value;
}

// An integer field widened to 64 bits, with its sign.
uint64_t ReadInteger(const RowField &field, const void *row)
{
   const char *from = static_cast<const char *>(row) + field.offset;
   switch (field.type) {
   case FieldType::Unsigned8:
      return ReadAs<uint8_t>(from);
   case FieldType::Unsigned16:
      return ReadAs<uint16_t>(from);
   case FieldType::Unsigned32:
      return ReadAs<uint32_t>(from);
   case FieldType::Signed32:
      return static_cast<uint64_t>(int64_t{ReadAs<int32_t>(from)});
   default:
      return ReadAs<uint64_t>(from);
   }
}

bool IsAllOnes(const RowField &field, uint64_t value)
{
   return value == (field.size == sizeof(uint32_t) ? UINT32_MAX : UINT64_MAX);
}

// A text need not be terminated; its field's last byte never shows.
CellValue ReadText(const RowField &field, const void *row)
{
   const char *from = static_cast<const char *>(row) + field.offset;
   if (field.type == FieldType::TextPointer) {
      return ReadAs<const char *>(from);
   }
   return {from, strnlen(from, field.size - size_t{1})};
}

CellValue NumberCell(const ReportColumn &column, uint64_t value, DisplayUnit unit)
{
   return FitToColumn(column, column.unit == Unit::Memory ? ConvertKB(value, unit) : value);
}

CellValue ReadCell(const ReportColumn &column, const RowField &field, const void *row, DisplayUnit unit)
{
   switch (column.unit) {
   case Unit::Text:
   case Unit::BitMask:
      return ReadText(field, row);
   case Unit::YesNo:
      return YesNo(ReadInteger(field, row) != 0);
   case Unit::FlagList:
      return {static_cast<uint32_t>(ReadInteger(field, row)), field.flags};
   default:
      return NumberCell(column, ReadInteger(field, row) * field.kbPerUnit, unit);
   }
}

} // namespace

void MakeFigureCells(FigureView table, const void *row, DisplayUnit unit, CellValue *cells)
{
   for (size_t i = 0; i < table.fields.size(); i++) {
      if (table.columns[i].shown) {
         cells[i] = ReadCell(table.columns[i], table.fields[i], row, unit);
      }
   }
}

void MakeSumCells(FigureView table, const void *row, const uint64_t *sums, DisplayUnit unit, CellValue *cells)
{
   for (size_t i = 0; i < table.fields.size(); i++) {
      const ReportColumn &column = table.columns[i];
      if (column.shown) {
         cells[i] = IsSummed(column) ? NumberCell(column, sums[i], unit)
                                     : ReadCell(column, table.fields[i], row, unit);
      }
   }
}

void AddToSums(FigureView table, const void *row, uint64_t *sums, AllOnes allOnes)
{
   for (size_t i = 0; i < table.fields.size(); i++) {
      const RowField &field = table.fields[i];
      if (!IsSummed(table.columns[i])) {
         continue;
      }
      const uint64_t value = ReadInteger(field, row);
      if (allOnes == AllOnes::Added || !IsAllOnes(field, value)) {
         sums[i] += value * field.kbPerUnit;
      }
   }
}
