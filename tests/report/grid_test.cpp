// The grid against printf: the rule of the carry is what printf's field widths make of it.
#include "report/grid.h"

#include <cstdio>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/report/grid_model.h"

namespace {

// ---- capture

template <typename Print> std::string Printed(Print print)
{
   testing::internal::CaptureStdout();
   print();
   std::fflush(stdout);
   return testing::internal::GetCapturedStdout();
}

ReportColumn Column(const char *name, uint8_t width, const char *format)
{
   return {name, "", width, format, 1, 0, 1};
}

void PrintRow(const ReportColumn *table, bool csvMode, bool isTotalRow,
              std::initializer_list<CellValue> values)
{
   PrintReportRow(table, csvMode, isTotalRow, values.begin());
}

// ---- the carry

TEST(GridCell, FollowsPrintfForEveryWidthCarryAndLength)
{
   for (const size_t length : {0U, 1U, 2U, 5U, 10U, 20U, 28U, 63U, 127U, 200U, 255U, 256U, 300U}) {
      const std::string text(length, 'x');
      for (unsigned width = 0; width < 256; width++) {
         for (unsigned carry = 0; carry < 256; carry++) {
            uint8_t modelCarry = static_cast<uint8_t>(carry);
            uint8_t gridCarry = modelCarry;
            OutputLine line;
            AppendGridCell(line, text, static_cast<uint8_t>(width), &gridCarry);
            const std::string_view cell = line.View();
            const std::string model = ModelCell(text, static_cast<uint8_t>(width), &modelCarry);
            if (cell != model || gridCarry != modelCarry) {
               FAIL() << "length " << length << ", width " << width << ", carry " << carry << ": '" << cell
                      << "' carry " << +gridCarry << ", not '" << model << "' carry " << +modelCarry;
            }
         }
      }
   }
}

TEST(GridCell, AppendsToWhatTheLineHas)
{
   OutputLine line;
   line.Append("a ");
   uint8_t carry = 0;
   AppendGridCell(line, "b", 3, &carry);
   EXPECT_EQ(line.View(), "a   b");
   EXPECT_EQ(carry, 0);
}

TEST(GridRow, TakesAnOverflowFromTheNextField)
{
   const ReportColumn table[] = {Column("a", 4, "lu"), Column("b", 6, "lu"), Column("c", 4, "lu"),
                                 kEndOfColumns};
   EXPECT_EQ(Printed([&] {
                PrintRow(table, false, false, {uint64_t{1}, uint64_t{22}, uint64_t{333}});
                PrintRow(table, false, false, {uint64_t{123456}, uint64_t{22}, uint64_t{333}});
             }),
             "   1     22  333\n"
             "123456   22  333\n");
}

TEST(GridRow, PassesAnOverflowOnUntilItFits)
{
   const ReportColumn table[] = {Column("a", 4, "s"), Column("b", 3, "s"), Column("c", 3, "s"),
                                 Column("d", 6, "s"), kEndOfColumns};
   EXPECT_EQ(Printed([&] {
                PrintRow(table, false, false, {"abcdefg", "123", "456", "x"});
                PrintRow(table, false, false, {"abcd", "123", "456", "x"});
             }),
             "abcdefg 123 456   x\n"
             "abcd 123 456      x\n");
}

// Kept for compatibility: a carry beyond the next field's width makes the width negative, and printf then
// fills on the right.
TEST(GridRow, LeftJustifiesACellThatTheCarryLeavesNoRoomFor)
{
   const ReportColumn table[] = {Column("a", 2, "s"), Column("b", 3, "u"), Column("c", 10, "u"),
                                 kEndOfColumns};
   EXPECT_EQ(Printed([&] {
                PrintRow(table, false, false, {"abcdefghijkl", 1U, 2U});
             }),
             // carry 10; field 3 - 10 = -7: "1" and six blanks; carry 10 + 7 - 3 = 14; field 10 - 14 = -4
             "abcdefghijkl 1       2   \n");
}

TEST(GridRow, CountsTheCarryInEightBits)
{
   const std::string text(4 + 256, 'x'); // overflows by 256: no carry at all
   const ReportColumn table[] = {Column("a", 4, "s"), Column("b", 5, "u"), kEndOfColumns};
   EXPECT_EQ(Printed([&] { PrintRow(table, false, false, {text.c_str(), 7U}); }), text + "     7\n");
}

// ---- formats

TEST(GridRow, PrintsEveryFormat)
{
   const ReportColumn table[] = {Column("u", 11, "u"),   Column("d", 11, "d"),   Column("c", 3, "c"),
                                 Column("lu", 21, "lu"), Column("ld", 21, "ld"), Column("s", 6, "s"),
                                 kEndOfColumns};
   EXPECT_EQ(Printed([&] {
                PrintRow(table, false, false, {UINT32_MAX, INT32_MIN, 'y', UINT64_MAX, INT64_MIN, "text"});
                PrintRow(table, true, false, {UINT32_MAX, INT32_MIN, 'n', UINT64_MAX, int64_t{-1}, "text"});
             }),
             " 4294967295 -2147483648   y  18446744073709551615  -9223372036854775808   text\n"
             "4294967295,-2147483648,n,18446744073709551615,-1,text\n");
}

// A 32-bit column takes the low half of a wider value, as a variadic printf does.
TEST(GridRow, CutsAWiderValueToItsColumn)
{
   const ReportColumn table[] = {Column("u", 4, "u"), Column("d", 4, "d"), kEndOfColumns};
   EXPECT_EQ(Printed([&] {
                PrintRow(table, true, false, {uint64_t{0x100000005}, uint64_t{0xffffffff}});
             }),
             "5,-1\n");
}

TEST(GridRow, NeitherQuotesNorEscapesTextInCsv)
{
   const ReportColumn table[] = {Column("a", 2, "s"), Column("b", 2, "s"), kEndOfColumns};
   EXPECT_EQ(Printed([&] { PrintRow(table, true, false, {"a,\"b\"", ""}); }), "a,\"b\",\n");
}

// ---- hidden and blank cells

TEST(GridRow, GivesAHiddenColumnNoCell)
{
   ReportColumn table[] = {Column("a", 3, "u"), Column("b", 3, "u"), Column("c", 3, "u"), kEndOfColumns};
   table[0].shown = 0;
   EXPECT_EQ(Printed([&] {
                PrintSeparatorLine(table, false);
                PrintHeaderLine(table, false);
                PrintRow(table, false, false, {1U, 2U, 3U});
                PrintHeaderLine(table, true);
                PrintRow(table, true, false, {1U, 2U, 3U});
             }),
             "-------\n"
             "  b   c\n"
             "  2   3\n"
             "b,c\n"
             "2,3\n");
}

TEST(GridRow, BlanksWhatHasNoTotal)
{
   ReportColumn table[] = {Column("name", 5, "s"), Column("b", 4, "lu"), Column("c", 4, "lu"), kEndOfColumns};
   table[1].totalled = 0;
   EXPECT_EQ(Printed([&] {
                PrintRow(table, false, true, {"Total", uint64_t{1}, uint64_t{2}});
                PrintRow(table, true, true, {"Total", uint64_t{1}, uint64_t{2}});
                PrintRow(table, true, false, {"row", uint64_t{1}, uint64_t{2}});
             }),
             "Total         2\n"
             "Total,,2\n"
             "row,1,2\n");
}

TEST(GridRow, BlanksAFirstCellWithoutABlankBeforeIt)
{
   ReportColumn table[] = {Column("a", 3, "u"), Column("b", 3, "u"), kEndOfColumns};
   table[0].totalled = 0;
   EXPECT_EQ(Printed([&] {
                PrintRow(table, false, true, {1U, 2U});
                PrintRow(table, true, true, {1U, 2U});
             }),
             "      2\n"
             ",2\n");
}

TEST(GridRow, LetsABlankCellTakeAnOverflow)
{
   ReportColumn table[] = {Column("a", 3, "s"), Column("b", 6, "u"), Column("c", 3, "u"), kEndOfColumns};
   table[1].totalled = 0;
   EXPECT_EQ(Printed([&] { PrintRow(table, false, true, {"Total", 1U, 2U}); }), "Total        2\n");
}

// ---- lines

TEST(GridLines, PrintsSeparatorsUnlessCsv)
{
   const ReportColumn table[] = {Column("a", 3, "u"), Column("bb", 5, "u"), kEndOfColumns};
   EXPECT_EQ(Printed([&] { PrintTableHead(table, false); }), "---------\n"
                                                             "  a    bb\n"
                                                             "---------\n");
   EXPECT_EQ(Printed([&] { PrintTableHead(table, true); }), "a,bb\n");
   EXPECT_EQ(Printed([&] { PrintSeparatorLine(table, true); }), "");
}

TEST(GridLines, PrintsBareNewlinesForATableWithoutColumns)
{
   const ReportColumn table[] = {kEndOfColumns};
   EXPECT_EQ(Printed([&] { PrintSeparatorLine(table, false); }), "\n");
   EXPECT_EQ(Printed([&] { PrintHeaderLine(table, false); }), "\n");
   EXPECT_EQ(Printed([&] { PrintHeaderLine(table, true); }), "\n");
   EXPECT_EQ(Printed([&] { PrintRow(table, false, false, {}); }), "\n");
}

TEST(GridLines, PrintsANullTextAsAnEmptyOne)
{
   const ReportColumn table[] = {
      {"a", "", 3, "s", 1, 0, 1}, {"b", "", 3, "u", 1, 0, 1}, {nullptr, nullptr, 0, nullptr, 0, 0, 0}};
   const std::string printed = Printed([&] {
      PrintRow(table, false, false, {static_cast<const char *>(nullptr), 7U});
      PrintRow(table, true, false, {static_cast<const char *>(nullptr), 7U});
   });
   EXPECT_EQ(printed, "      7\n,7\n");
}

TEST(GridLines, CarriesAHeaderThatIsWiderThanItsColumn)
{
   const ReportColumn table[] = {Column("abcdef", 3, "u"), Column("b", 6, "u"), kEndOfColumns};
   EXPECT_EQ(Printed([&] { PrintHeaderLine(table, false); }), "abcdef   b\n");
}

// ---- at random

class RandomGrid : public testing::Test {
 protected:
   uint64_t Below(uint64_t bound) { return generator() % bound; }

   std::vector<ReportColumn> Table()
   {
      static constexpr const char *kFormats[] = {"u", "d", "c", "lu", "ld", "s"};
      static constexpr const char *kNames[] = {"a", "gid", "consumedPeak", "orskaClientConsumed", "x9"};
      std::vector<ReportColumn> table;
      const size_t columns = Below(12);
      for (size_t i = 0; i < columns; i++) {
         const uint8_t width = static_cast<uint8_t>(Below(20) == 0 ? Below(256) : Below(24));
         table.push_back({kNames[Below(5)], "", width, kFormats[Below(6)], static_cast<uint8_t>(Below(2)),
                          static_cast<uint8_t>(Below(2)), static_cast<uint8_t>(Below(4) != 0)});
      }
      table.push_back(kEndOfColumns);
      return table;
   }

   ModelValue RandomValue()
   {
      ModelValue value;
      value.integer = generator() >> Below(64);
      if (Below(8) == 0) {
         value.integer = UINT64_MAX;
      }
      const size_t length = Below(40) == 0 ? Below(600) : Below(30);
      value.text.assign(length, static_cast<char>('a' + Below(26)));
      return value;
   }

   std::mt19937_64 generator{20260101};
};

TEST_F(RandomGrid, PrintsAsPrintfWould)
{
   std::string expected;
   const std::string printed = Printed([&] {
      for (int tables = 0; tables < 20000; tables++) {
         const std::vector<ReportColumn> table = Table();
         for (int rows = 0; rows < 10; rows++) {
            const bool csvMode = Below(4) == 0;
            const bool isTotalRow = Below(4) == 0;
            std::vector<ModelValue> values(table.size() - 1);
            for (size_t i = 0; i < values.size(); i++) {
               values[i] = RandomValue();
               if (std::string(table[i].format) == "c") {
                  values[i].integer = 'a' + values[i].integer % 26;
               }
            }
            std::vector<CellValue> cells;
            for (size_t i = 0; i < values.size(); i++) {
               cells.push_back(AsCell(table[i].format, values[i]));
            }
            PrintReportRow(table.data(), csvMode, isTotalRow, cells.data());
            expected += ModelRow(table.data(), csvMode, isTotalRow, values);
         }
      }
   });
   if (printed != expected) {
      size_t at = 0;
      while (printed[at] == expected[at]) {
         at++;
      }
      const size_t line = expected.rfind('\n', at) + 1;
      FAIL() << "printed:  " << printed.substr(line, printed.find('\n', line) - line)
             << "\nexpected: " << expected.substr(line, expected.find('\n', line) - line);
   }
}

TEST_F(RandomGrid, PrintsHeadersAndSeparatorsAsPrintfWould)
{
   std::string expected;
   const std::string printed = Printed([&] {
      for (int tables = 0; tables < 20000; tables++) {
         const std::vector<ReportColumn> table = Table();
         PrintHeaderLine(table.data(), false);
         PrintHeaderLine(table.data(), true);
         PrintSeparatorLine(table.data(), false);
         expected +=
            ModelHeader(table.data(), false) + ModelHeader(table.data(), true) + ModelSeparator(table.data());
      }
   });
   EXPECT_TRUE(printed == expected);
}

} // namespace
