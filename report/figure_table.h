// Figure tables: each column of a report beside the place of its value in the report's row structure.
//
//    using Row = ZipStatsRow;
//    constexpr Figure kFigures[] = {
//       {{"zipped", ..., "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
//        ROW_FIELD(zip.zipped)},
//       ...
//    };
//    constinit FigureTable<Row, kFigures> table;
//
// Conversion, printing and sums follow from the row of the table: a figure whose unit is Memory is converted
// to the display unit, one that is totalled is summed. A row structure holds records of the platform as they
// are; a column and a field that do not fit each other do not compile.
#ifndef REPORT_FIGURE_TABLE_H
#define REPORT_FIGURE_TABLE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>
#include <string_view>
#include <type_traits>
#include <utility>

#include "nevra/values.h"
#include "report/table_output.h"

enum class FieldType : uint8_t {
   Unsigned8,
   Unsigned16,
   Unsigned32,
   Signed32,
   Unsigned64,
   Signed64,
   TextArray,
   TextPointer
};

// Where a row structure holds a value. Its bytes need not be aligned.
struct RowField {
   uint16_t offset;
   uint16_t size; // bytes
   FieldType type;
   uint8_t kbPerUnit = 1;           // of a memory figure: 1 for KB, 4 for pages
   const FlagName *flags = nullptr; // of a flag list
   // Whether there are flags. With its sanitizers GCC cannot compare their address with null at compile time.
   bool isFlagList = false;
   bool isBytes = false; // a memory figure in bytes
};

template <typename Type> consteval FieldType FieldTypeOf()
{
   if constexpr (std::is_array_v<Type>) {
      return FieldType::TextArray;
   } else if constexpr (std::is_pointer_v<Type>) {
      return FieldType::TextPointer;
   } else if constexpr (sizeof(Type) == 1) {
      return FieldType::Unsigned8;
   } else if constexpr (sizeof(Type) == 2) {
      return FieldType::Unsigned16;
   } else if constexpr (sizeof(Type) == 4) {
      return std::is_signed_v<Type> ? FieldType::Signed32 : FieldType::Unsigned32;
   } else {
      static_assert(sizeof(Type) == 8);
      return std::is_signed_v<Type> ? FieldType::Signed64 : FieldType::Unsigned64;
   }
}

// The place of a member of the structure that is called Row where this stands: ROW_FIELD(zip.zipped).
#define ROW_FIELD(member) ROW_FIELD_SCALED(member, 1)
// The same of a count of 4 KB pages that is shown as memory.
#define ROW_PAGES(member) ROW_FIELD_SCALED(member, kKBPerPage)
// The same of a number of bytes that is shown as memory.
#define ROW_BYTES(member)                                                                                    \
   RowField                                                                                                  \
   {                                                                                                         \
      .offset = offsetof(Row, member), .size = sizeof(Row::member),                                          \
      .type = FieldTypeOf<decltype(Row::member)>(), .isBytes = true                                          \
   }
// The same of a mask whose bits have names.
#define ROW_FLAGS(member, names)                                                                             \
   RowField                                                                                                  \
   {                                                                                                         \
      offsetof(Row, member), sizeof(Row::member), FieldTypeOf<decltype(Row::member)>(), 1, names, true       \
   }
#define ROW_FIELD_SCALED(member, scale)                                                                      \
   RowField                                                                                                  \
   {                                                                                                         \
      offsetof(Row, member), sizeof(Row::member), FieldTypeOf<decltype(Row::member)>(), scale                \
   }

struct Figure {
   ReportColumn column;
   RowField field;
};

// Whether the column's format can show what the field holds.
constexpr bool FitsColumn(const ReportColumn &column, const RowField &field)
{
   const bool isText = field.type == FieldType::TextArray || field.type == FieldType::TextPointer;
   switch (column.unit) {
   case Unit::Text:
   case Unit::BitMask:
      return isText && column.format[0] == 's';
   case Unit::YesNo:
      return field.type == FieldType::Unsigned8 && (column.format[0] == 'c' || column.format[0] == 's');
   case Unit::FlagList:
      return field.type == FieldType::Unsigned32 && field.isFlagList && column.format[0] == 's';
   default:
      return !isText && column.format[0] != 's' && column.format[0] != 'c' &&
             (!field.isBytes || column.unit == Unit::Memory);
   }
}

constexpr bool FitsFigure(const Figure &figure)
{
   return FitsColumn(figure.column, figure.field);
}

// The columns of a report's figures, which the selection changes. Row and figures are part of the type, so
// that reading a row is straight-line code.
template <typename Row, const auto &figures> struct FigureTable {
   static_assert(std::is_standard_layout_v<Row>);
   static_assert(std::ranges::all_of(figures, FitsFigure), "a column and its field do not fit each other");
   static constexpr size_t kCount = std::size(figures);

   consteval FigureTable()
   {
      for (size_t i = 0; i < kCount; i++) {
         columns[i] = figures[i].column;
      }
      columns[kCount] = kEndOfColumns;
   }

   ReportColumn columns[kCount + 1] = {};
};

// Sums over rows, by column. Amounts are in KB, or in the bytes of their fields; every sum is modulo 2^64.
template <typename Row, const auto &figures> struct FigureSums {
   uint64_t values[std::size(figures)];
   uint32_t rows;
};

template <typename Row, const auto &figures>
FigureSums<Row, figures> SumsOf(const FigureTable<Row, figures> &)
{
   return {};
}

// The index of a column by its name; an unknown name does not compile.
template <size_t N> consteval size_t ColumnIndex(const Figure (&figures)[N], std::string_view name)
{
   size_t index = 0;
   while (figures[index].column.name != name) {
      index++;
   }
   return index;
}

// Whether a column's figures add up: it is totalled, and is neither a label nor shares.
constexpr bool IsSummed(const ReportColumn &column)
{
   return column.totalled && column.role != Role::Label && column.unit != Unit::Shares;
}

// What becomes of a figure that is all ones in its field: it is added as the number that it reads, or it has
// no part in the sum.
enum class AllOnes : uint8_t { Added, LeftOut };

// ---- reading one field

template <typename Integer> Integer ReadAs(const char *from)
{
   Integer value;
   std::memcpy(&value, from, sizeof value);
   return value;
}

// An integer field widened to 64 bits, with its sign.
template <FieldType type> uint64_t ReadInteger(const char *from)
{
   if constexpr (type == FieldType::Unsigned8) {
      return ReadAs<uint8_t>(from);
   } else if constexpr (type == FieldType::Unsigned16) {
      return ReadAs<uint16_t>(from);
   } else if constexpr (type == FieldType::Unsigned32) {
      return ReadAs<uint32_t>(from);
   } else if constexpr (type == FieldType::Signed32) {
      return static_cast<uint64_t>(int64_t{ReadAs<int32_t>(from)});
   } else {
      return ReadAs<uint64_t>(from);
   }
}

// A number of the column at `i`: an amount of memory, in KB or in its field's bytes, in the display unit; any
// other as it is.
template <const auto &figures, size_t i> CellValue NumberCell(uint64_t value, DisplayUnit unit)
{
   if constexpr (figures[i].field.isBytes) {
      value = ConvertBytes(value, unit);
   } else if constexpr (figures[i].column.unit == Unit::Memory) {
      value = unit != UNIT_KB ? ConvertKB(value, unit) : value;
   }
   return PassNumber(figures[i].column.format, value, [](auto number) { return CellValue(number); });
}

// The cell of the column at `i`. A text need not be terminated; its field's last byte never shows.
template <const auto &figures, size_t i> CellValue ReadCell(const char *row, DisplayUnit unit)
{
   constexpr RowField field = figures[i].field;
   constexpr Unit columnUnit = figures[i].column.unit;
   const char *from = row + field.offset;
   if constexpr (field.type == FieldType::TextPointer) {
      return ReadAs<const char *>(from);
   } else if constexpr (field.type == FieldType::TextArray) {
      return {from, strnlen(from, field.size - size_t{1})};
   } else if constexpr (columnUnit == Unit::YesNo) {
      return YesNo(ReadInteger<field.type>(from) != 0);
   } else if constexpr (columnUnit == Unit::FlagList) {
      return {static_cast<uint32_t>(ReadInteger<field.type>(from)), field.flags};
   } else {
      return NumberCell<figures, i>(ReadInteger<field.type>(from) * field.kbPerUnit, unit);
   }
}

// Calls `visit` with the index of every figure, as a constant.
template <const auto &figures, typename Visit> void ForEachFigure(const Visit &visit)
{
   [&]<size_t... i>(std::index_sequence<i...>)
   {
      (visit(std::integral_constant<size_t, i>()), ...);
   }
   (std::make_index_sequence<std::size(figures)>());
}

// ---- rows

// Puts out a row; hidden columns are left blank.
template <typename Row, const auto &figures>
void PutFigures(const TableOutput &output, const FigureTable<Row, figures> &table, const Row &row,
                DisplayUnit unit)
{
   const char *bytes = reinterpret_cast<const char *>(&row);
   CellValue cells[std::size(figures)];
   ForEachFigure<figures>([&](auto i) {
      if (table.columns[i].shown) {
         // Constructed in place: a copy would stall on store forwarding.
         ::new (&cells[i]) CellValue(ReadCell<figures, i>(bytes, unit));
      }
   });
   output.Row(RowKind::Data, cells);
}

// A Tag or Total row: a summed column shows its sum, any other what `row` holds, its name above all.
template <typename Row, const auto &figures>
void PutSums(const TableOutput &output, RowKind kind, const FigureTable<Row, figures> &table,
             const std::type_identity_t<Row> &row, const FigureSums<Row, figures> &sums, DisplayUnit unit)
{
   const char *bytes = reinterpret_cast<const char *>(&row);
   CellValue cells[std::size(figures)];
   ForEachFigure<figures>([&](auto i) {
      if (!table.columns[i].shown) {
         return;
      }
      if constexpr (IsSummed(figures[i].column)) {
         cells[i] = NumberCell<figures, i>(sums.values[i], unit);
      } else {
         cells[i] = ReadCell<figures, i>(bytes, unit);
      }
   });
   output.Row(kind, cells);
}

template <typename Row, const auto &figures>
void AddToSums(const FigureTable<Row, figures> &, const std::type_identity_t<Row> &row,
               FigureSums<Row, figures> *sums, AllOnes allOnes = AllOnes::Added)
{
   const char *bytes = reinterpret_cast<const char *>(&row);
   ForEachFigure<figures>([&](auto i) {
      constexpr RowField field = figures[i].field;
      if constexpr (IsSummed(figures[i].column)) {
         const uint64_t value = ReadInteger<field.type>(bytes + field.offset);
         constexpr uint64_t kAllOnes = field.size == sizeof(uint32_t) ? UINT32_MAX : UINT64_MAX;
         if (allOnes == AllOnes::Added || value != kAllOnes) {
            sums->values[i] += value * field.kbPerUnit;
         }
      }
   });
   sums->rows++;
}

#endif
