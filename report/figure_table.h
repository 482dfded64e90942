// Figure tables: each column of a report beside the place of its value in the report's row structure.
//
//    using Row = ZipStatsRow;
//    constinit auto table = MakeFigureTable<Row>({
//       {{"zipped", "Total memory compressed", 10, "lu", kTotalled, kSelectable, kShown, Unit::Memory,
//       Role::Gauge},
//        ROW_FIELD(zip.zipped)},
//       ...
//
// Conversion, printing and sums follow from the row of the table: a figure whose unit is Memory is converted
// to the display unit, one that is totalled is summed. A row structure holds records of the platform as they
// are; a column and a field that do not fit each other do not compile.
#ifndef REPORT_FIGURE_TABLE_H
#define REPORT_FIGURE_TABLE_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

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

template <typename Row, size_t N> struct FigureTable {
   ReportColumn columns[N + 1];
   RowField fields[N];
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
      return !isText && column.format[0] != 's' && column.format[0] != 'c';
   }
}

template <typename Row, size_t N> consteval FigureTable<Row, N> MakeFigureTable(const Figure (&figures)[N])
{
   static_assert(std::is_standard_layout_v<Row>);
   FigureTable<Row, N> table = {};
   for (size_t i = 0; i < N; i++) {
      if (!FitsColumn(figures[i].column, figures[i].field)) {
         throw "a column and its field do not fit each other";
      }
      table.columns[i] = figures[i].column;
      table.fields[i] = figures[i].field;
   }
   table.columns[N] = kEndOfColumns;
   return table;
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

// A figure table without its row type and length, for the functions that are the same for all.
struct FigureView {
   std::span<const RowField> fields;
   const ReportColumn *columns;
};

template <typename Row, size_t N> FigureView ViewOf(const FigureTable<Row, N> &table)
{
   return {table.fields, table.columns};
}

// Sums over rows, by column. Amounts are in KB; every sum is modulo 2^64.
template <typename Row, size_t N> struct FigureSums {
   uint64_t values[N];
   uint32_t rows;
};

template <typename Row, size_t N> FigureSums<Row, N> SumsOf(const FigureTable<Row, N> &)
{
   return {};
}

// Whether a column's figures add up: it is totalled, and is neither a label nor a relative claim.
inline bool IsSummed(const ReportColumn &column)
{
   return column.totalled && column.role != Role::Label && column.unit != Unit::Shares;
}

// ---- for any table

// The cells of a row, hidden columns left blank, converted to the display unit.
void MakeFigureCells(FigureView table, const void *row, DisplayUnit unit, CellValue *cells);

// The same of a row of sums: a summed column shows its sum, any other what `row` holds.
void MakeSumCells(FigureView table, const void *row, const uint64_t *sums, DisplayUnit unit,
                  CellValue *cells);

// What becomes of a figure that is all ones in its field: it is added as the number that it reads, or it has
// no part in the sum.
enum class AllOnes : uint8_t { Added, LeftOut };

void AddToSums(FigureView table, const void *row, uint64_t *sums, AllOnes allOnes);

// ---- typed

template <typename Row, size_t N>
void PutFigures(const TableOutput &output, const FigureTable<Row, N> &table, const Row &row, DisplayUnit unit)
{
   CellValue cells[N];
   MakeFigureCells(ViewOf(table), &row, unit, cells);
   output.Row(RowKind::Data, cells);
}

// A Tag or Total row; `row` holds what is not a sum, its name above all.
template <typename Row, size_t N>
void PutSums(const TableOutput &output, RowKind kind, const FigureTable<Row, N> &table, const Row &row,
             const FigureSums<Row, N> &sums, DisplayUnit unit)
{
   CellValue cells[N];
   MakeSumCells(ViewOf(table), &row, sums.values, unit, cells);
   output.Row(kind, cells);
}

template <typename Row, size_t N>
void AddToSums(const FigureTable<Row, N> &table, const Row &row, FigureSums<Row, N> *sums,
               AllOnes allOnes = AllOnes::Added)
{
   AddToSums(ViewOf(table), &row, sums->values, allOnes);
   sums->rows++;
}

#endif
