// Figure tables: what follows from a column and the field beside it.
#include "report/figure_table.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

namespace {

// Packed like the records of the platform: nothing after the first byte is aligned.
struct [[gnu::packed]] PackedRecord {
   uint8_t isActive;
   uint64_t used;
   uint32_t count;
   int32_t limit;
   uint16_t tag;
   char text[4];
};

struct SampleRow {
   const char *name;
   uint32_t mask;
   PackedRecord record;
};

using Row = SampleRow;

constexpr ReportColumn Column(const char *name, const char *format, uint8_t totalled, Unit unit, Role role)
{
   return {name, "", 10, format, totalled, kSelectable, kShown, unit, role};
}

constexpr Figure kFigures[] = {
   {Column("name", "s", kTotalled, Unit::Text, Role::Label), ROW_FIELD(name)},
   {Column("flags", "s", kTotalled, Unit::FlagList, Role::Label), ROW_FLAGS(mask, uwTypeNames)},
   {Column("isActive", "c", kNotTotalled, Unit::YesNo, Role::Gauge), ROW_FIELD(record.isActive)},
   {Column("used", "lu", kTotalled, Unit::Memory, Role::Gauge), ROW_FIELD(record.used)},
   {Column("pages", "lu", kTotalled, Unit::Memory, Role::Gauge), ROW_PAGES(record.count)},
   {Column("bytes", "lu", kTotalled, Unit::Memory, Role::Gauge), ROW_BYTES(record.count)},
   {Column("count", "u", kTotalled, Unit::Count, Role::Counter), ROW_FIELD(record.count)},
   {Column("limit", "ld", kNotTotalled, Unit::Memory, Role::Gauge), ROW_FIELD(record.limit)},
   {Column("shares", "ld", kTotalled, Unit::Shares, Role::Gauge), ROW_FIELD(record.limit)},
   {Column("tag", "ld", kNotTotalled, Unit::Number, Role::Label), ROW_FIELD(record.tag)},
   {Column("text", "s", kNotTotalled, Unit::Text, Role::Label), ROW_FIELD(record.text)},
};
constinit FigureTable<Row, kFigures> table;
constexpr size_t kColumns = std::size(kFigures);

// The cells that the last row was put out with.
CellValue cells[kColumns];

void KeepCells(void *, RowKind, const CellValue *row)
{
   std::copy(row, row + kColumns, cells);
}

constexpr TableOutput kKeeper = {nullptr, KeepCells, nullptr, nullptr, nullptr, nullptr};

CellValue CellOf(const Row &row, const char *column, DisplayUnit unit = UNIT_KB)
{
   PutFigures(kKeeper, table, row, unit);
   for (size_t i = 0; i < kColumns; i++) {
      if (std::strcmp(table.columns[i].name, column) == 0) {
         return cells[i];
      }
   }
   ADD_FAILURE() << column;
   return {};
}

TEST(FigureTable, ReadsEveryTypeOfField)
{
   const Row row = {"a name", 0xc, {2, uint64_t{1} << 40, 7, -5, 65535, {'a', 'b', 'c', 'd'}}};
   EXPECT_EQ(CellOf(row, "name").Text(), "a name");
   EXPECT_EQ(CellOf(row, "flags").Kind(), CellKind::FlagList);
   EXPECT_EQ(CellOf(row, "flags").Mask(), 0xcU);
   EXPECT_EQ(CellOf(row, "isActive").Integer(), uint64_t{'y'});
   EXPECT_EQ(CellOf(row, "used").Integer(), uint64_t{1} << 40);
   EXPECT_EQ(CellOf(row, "count").Integer(), 7U);
   EXPECT_EQ(static_cast<int64_t>(CellOf(row, "limit").Integer()), -5);
   EXPECT_EQ(CellOf(row, "limit").Kind(), CellKind::Signed);
   EXPECT_EQ(CellOf(row, "tag").Integer(), 65535U);
}

TEST(FigureTable, EndsATextAtItsFieldsLastByte)
{
   EXPECT_EQ(CellOf({"", 0, {0, 0, 0, 0, 0, {'a', 'b', 'c', 'd'}}}, "text").Text(), "abc");
   EXPECT_EQ(CellOf({"", 0, {0, 0, 0, 0, 0, {'a', '\0', 'c', 'd'}}}, "text").Text(), "a");
   EXPECT_EQ(CellOf({nullptr, 0, {}}, "name").Text(), "");
}

TEST(FigureTable, ConvertsMemoryAndNothingElse)
{
   const Row row = {"", 0, {0, 1025, 3, -1, 0, {}}};
   EXPECT_EQ(CellOf(row, "used", UNIT_MB).Integer(), 2U);
   EXPECT_EQ(CellOf(row, "pages", UNIT_KB).Integer(), 12U);
   EXPECT_EQ(CellOf(row, "pages", UNIT_PAGE).Integer(), 3U);
   EXPECT_EQ(CellOf(row, "bytes", UNIT_BYTES).Integer(), 3U);
   EXPECT_EQ(CellOf(row, "bytes", UNIT_KB).Integer(), 1U);
   EXPECT_EQ(CellOf(row, "count", UNIT_MB).Integer(), 3U);
   EXPECT_EQ(CellOf(row, "limit", UNIT_MB).Kind(), CellKind::Missing); // all ones is no amount
}

TEST(FigureTable, LeavesHiddenColumnsBlank)
{
   FigureTable<Row, kFigures> hidden;
   hidden.columns[ColumnIndex(kFigures, "used")].shown = kHidden;
   PutFigures(kKeeper, hidden, {"", 0, {0, 5, 0, 0, 0, {}}}, UNIT_KB);
   EXPECT_EQ(cells[ColumnIndex(kFigures, "used")].Kind(), CellKind::Blank);
}

TEST(FigureSums, AddTotalledFiguresThatAreNoLabelsAndNoShares)
{
   auto sums = SumsOf(table);
   AddToSums(table, {"a", 4, {1, 10, 2, 3, 4, {}}}, &sums);
   AddToSums(table, {"b", 8, {1, 20, 5, 6, 7, {}}}, &sums);
   EXPECT_EQ(sums.rows, 2U);
   const std::vector<uint64_t> values(sums.values, sums.values + kColumns);
   EXPECT_EQ(values, (std::vector<uint64_t>{0, 0, 0, 30, 28, 7, 7, 0, 0, 0, 0}));
}

TEST(FigureSums, AddA32BitFigureIn64Bits)
{
   auto sums = SumsOf(table);
   const Row row = {"", 0, {0, 0, UINT32_MAX, 0, 0, {}}};
   AddToSums(table, row, &sums);
   AddToSums(table, row, &sums);
   EXPECT_EQ(sums.values[ColumnIndex(kFigures, "count")], 2 * uint64_t{UINT32_MAX});
   AddToSums(table, row, &sums, AllOnes::LeftOut);
   EXPECT_EQ(sums.values[ColumnIndex(kFigures, "count")], 2 * uint64_t{UINT32_MAX});
}

TEST(FigureSums, LeaveOutWhatIsAllOnesIfToldSo)
{
   auto sums = SumsOf(table);
   AddToSums(table, {"", 0, {0, 5, 1, 0, 0, {}}}, &sums, AllOnes::LeftOut);
   AddToSums(table, {"", 0, {0, UINT64_MAX, 1, 0, 0, {}}}, &sums, AllOnes::LeftOut);
   EXPECT_EQ(sums.values[ColumnIndex(kFigures, "used")], 5U);
   AddToSums(table, {"", 0, {0, UINT64_MAX, 1, 0, 0, {}}}, &sums);
   EXPECT_EQ(sums.values[ColumnIndex(kFigures, "used")], 4U); // as the number that it reads
}

TEST(FigureSums, ShowSumsAndWhatTheRowHolds)
{
   auto sums = SumsOf(table);
   AddToSums(table, {"a", 4, {1, 1025, 2, 3, 4, {}}}, &sums);
   PutSums(kKeeper, RowKind::Total, table, {"Total", 0, {}}, sums, UNIT_MB);
   EXPECT_EQ(cells[ColumnIndex(kFigures, "name")].Text(), "Total");
   EXPECT_EQ(cells[ColumnIndex(kFigures, "used")].Integer(), 2U);
   EXPECT_EQ(cells[ColumnIndex(kFigures, "shares")].Integer(), 0U);
}

TEST(FitsColumn, TellsAFieldThatTheColumnCannotShow)
{
   const RowField number = ROW_FIELD(record.used);
   const RowField bytes = ROW_BYTES(record.count);
   const RowField text = ROW_FIELD(record.text);
   const RowField mask = ROW_FIELD(mask); // without names
   EXPECT_TRUE(FitsColumn(Column("", "lu", 0, Unit::Count, Role::Gauge), number));
   EXPECT_FALSE(FitsColumn(Column("", "s", 0, Unit::Count, Role::Gauge), number));
   EXPECT_FALSE(FitsColumn(Column("", "lu", 0, Unit::Count, Role::Gauge), text));
   EXPECT_TRUE(FitsColumn(Column("", "lu", 0, Unit::Memory, Role::Gauge), bytes));
   EXPECT_FALSE(FitsColumn(Column("", "lu", 0, Unit::Count, Role::Gauge), bytes));
   EXPECT_FALSE(FitsColumn(Column("", "s", 0, Unit::Text, Role::Label), number));
   EXPECT_FALSE(FitsColumn(Column("", "c", 0, Unit::YesNo, Role::Gauge), number));
   EXPECT_FALSE(FitsColumn(Column("", "s", 0, Unit::FlagList, Role::Label), mask));
}

} // namespace
