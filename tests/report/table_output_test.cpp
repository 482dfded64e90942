// What reports hand over, and what the two outputs of hostmem make of it.
#include "report/table_output.h"

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

namespace {

template <typename Print> std::string Printed(Print print)
{
   testing::internal::CaptureStdout();
   print();
   std::fflush(stdout);
   return testing::internal::GetCapturedStdout();
}

// ---- cells

TEST(CellValue, KnowsItsKind)
{
   EXPECT_EQ(CellValue().Kind(), CellKind::Blank);
   EXPECT_EQ(CellValue("text").Kind(), CellKind::Text);
   EXPECT_EQ(CellValue(YesNo(true)).Kind(), CellKind::Flag);
   EXPECT_EQ(CellValue(5U, groupFlagNames).Kind(), CellKind::FlagList);
   EXPECT_EQ(CellValue(-5).Kind(), CellKind::Signed);
   EXPECT_EQ(CellValue(int64_t{-5}).Kind(), CellKind::Signed);
   EXPECT_EQ(CellValue(5U).Kind(), CellKind::Unsigned);
   EXPECT_EQ(CellValue(uint64_t{5}).Kind(), CellKind::Unsigned);
   EXPECT_EQ(CellValue(NotAvailable).Kind(), CellKind::Missing);
   EXPECT_EQ(CellValue(int64_t{-1}).Kind(), CellKind::Missing);
   EXPECT_EQ(CellValue(UINT32_MAX).Kind(), CellKind::Unsigned);
}

TEST(CellValue, KeepsWhatItIsGiven)
{
   EXPECT_EQ(CellValue("text").Text(), "text");
   EXPECT_EQ(CellValue("text", 2).Text(), "te");
   EXPECT_EQ(CellValue(static_cast<const char *>(nullptr)).Text(), "");
   EXPECT_EQ(CellValue(7U).Text(), "");
   EXPECT_EQ(CellValue(YesNo(false)).Integer(), uint64_t{'n'});
   EXPECT_EQ(CellValue(-5).Integer(), static_cast<uint64_t>(-5));
   EXPECT_EQ(CellValue(5U, groupFlagNames).Mask(), 5U);
   EXPECT_EQ(CellValue(5U, groupFlagNames).Flags(), groupFlagNames);
}

ReportColumn Column(const char *format)
{
   return {"column", "", 1, format, kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge};
}

TEST(FitToColumn, GivesANumberTheWidthAndTheSignOfItsFormat)
{
   const uint64_t wide = 0x1fffffffe; // the low half is -2
   EXPECT_EQ(FitToColumn(Column("u"), wide).Integer(), 0xfffffffeU);
   EXPECT_EQ(FitToColumn(Column("u"), wide).Kind(), CellKind::Unsigned);
   EXPECT_EQ(static_cast<int64_t>(FitToColumn(Column("d"), wide).Integer()), -2);
   EXPECT_EQ(FitToColumn(Column("d"), wide).Kind(), CellKind::Signed);
   EXPECT_EQ(FitToColumn(Column("lu"), -2).Integer(), UINT64_MAX - 1);
   EXPECT_EQ(FitToColumn(Column("lu"), -2).Kind(), CellKind::Unsigned);
   EXPECT_EQ(FitToColumn(Column("ld"), wide).Kind(), CellKind::Signed);
}

TEST(FitToColumn, AllOnesOfAColumnAreNoFigure)
{
   EXPECT_EQ(FitToColumn(Column("d"), UINT32_MAX).Kind(), CellKind::Missing);
   EXPECT_EQ(FitToColumn(Column("ld"), NotAvailable).Kind(), CellKind::Missing);
   EXPECT_EQ(FitToColumn(Column("lu"), UINT32_MAX).Kind(), CellKind::Unsigned);
}

TEST(FitToColumn, LeavesWhatIsNoNumber)
{
   EXPECT_EQ(FitToColumn(Column("s"), "text").Text(), "text");
   EXPECT_EQ(FitToColumn(Column("s"), CellValue(1U, groupFlagNames)).Kind(), CellKind::FlagList);
   EXPECT_EQ(FitToColumn(Column("u"), CellValue()).Kind(), CellKind::Blank);
   EXPECT_EQ(FitToColumn(Column("s"), 'y').Integer(), uint64_t{'y'});
}

TEST(DescribeColumns, DescribesTheShownColumns)
{
   const ReportColumn table[] = {{"gid", "Group ID", 1, "u", 0, 0, 1},
                                 {"hidden", "not this", 1, "u", 0, 0, 0},
                                 {"aNameOfMoreThan20Letters", "long", 1, "u", 0, 0, 1},
                                 kEndOfColumns};
   EXPECT_EQ(Printed([&] { DescribeColumns(kCsvTable, table); }), "Description of report header labels:\n"
                                                                  "                 gid: Group ID\n"
                                                                  "aNameOfMoreThan20Letters: long\n");
}

// ---- outputs

constexpr ReportColumn kColumns[] = {
   {"name", "Name", 6, "s", kTotalled, kSelectable, kShown, Unit::Text, Role::Label},
   {"id", "ID", 4, "u", kNotTotalled, kSelectable, kShown, Unit::Id, Role::Label},
   {"used", "Used", 6, "lu", kTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
   kEndOfColumns,
};

TableHead Head()
{
   return {.report = "any-stats",
           .title = "ANY STATS",
           .ruleLength = 9,
           .columns = kColumns,
           .unit = UNIT_KB,
           .settings = {}};
}

// What is printed after the banner of an aligned table.
std::string AfterBanner(const std::string &printed)
{
   const size_t end = printed.find("\n\n", 1);
   return printed.substr(end + 2);
}

void PutTable(const TableOutput &output)
{
   output.Begin(Head());
   PutRow(output, RowKind::Data, kColumns, "a", 1U, uint64_t{10});
   output.Section();
   PutRow(output, RowKind::Total, kColumns, "Total", 0U, uint64_t{10});
}

TEST(AlignedTable, RulesOffSectionsAndTheEnd)
{
   EXPECT_EQ(AfterBanner(Printed([] {
                PutTable(kAlignedTable);
                kAlignedTable.End();
             })),
             "------------------\n"
             "  name   id   used\n"
             "------------------\n"
             "     a    1     10\n"
             "------------------\n"
             " Total          10\n"
             "------------------\n");
}

TEST(AlignedTable, NotesFollowTheLastRule)
{
   EXPECT_EQ(AfterBanner(Printed([] {
                kAlignedTable.Begin(Head());
                kAlignedTable.Section("Title");
                kAlignedTable.Note("one");
                kAlignedTable.Note("two");
                kAlignedTable.End();
             })),
             "------------------\n"
             "  name   id   used\n"
             "------------------\n"
             "------------------\n"
             "Title\n"
             "------------------\n"
             "one\n"
             "two\n");
}

TEST(CsvTable, HasAHeaderLineAndRows)
{
   EXPECT_EQ(Printed([] {
                PutTable(kCsvTable);
                kCsvTable.Section("Title");
                kCsvTable.Note("note");
                kCsvTable.End();
             }),
             "name,id,used\n"
             "a,1,10\n"
             "Total,,10\n"
             "Title\n"
             "note\n");
}

} // namespace
