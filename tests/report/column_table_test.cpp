#include "report/column_table.h"

#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

template <typename Print> std::string Printed(Print print)
{
   testing::internal::CaptureStdout();
   print();
   std::fflush(stdout);
   return testing::internal::GetCapturedStdout();
}

// Applies a selection and gives what is shown, with the warnings.
struct Applied {
   std::string shown;
   std::string warnings;
};

class ColumnSelection : public testing::Test {
 protected:
   Applied Apply(const char *selection)
   {
      testing::internal::CaptureStderr();
      ApplyColumnSelection(table, selection);
      return {FormatSelectedColumns(table), testing::internal::GetCapturedStderr()};
   }

   // The key column is a, the column that is hidden by default is hid.
   ReportColumn table[6] = {{"a", "the key", 3, "u", 1, 1, 1},      {"gid", "group", 8, "lu", 1, 0, 1},
                            {"hid", "hidden", 5, "u", 1, 0, 0},     {"longName", "long", 2, "u", 1, 0, 1},
                            {"name", "the name", 28, "s", 1, 0, 1}, kEndOfColumns};
};

TEST_F(ColumnSelection, ShowsWhatIsShownByDefaultWithoutASelection)
{
   EXPECT_EQ(Apply(nullptr).shown, "a:gid:longName:name");
}

TEST_F(ColumnSelection, MatchesNamesInAnyCase)
{
   EXPECT_EQ(Apply("GID:LONGname").shown, "a:gid:longName");
}

TEST_F(ColumnSelection, KeepsTheOrderOfTheTable)
{
   EXPECT_EQ(Apply("name:gid").shown, "a:gid:name");
}

TEST_F(ColumnSelection, NeverShowsAColumnThatIsHiddenByDefault)
{
   EXPECT_EQ(Apply("hid:gid").shown, "a:gid");
}

TEST_F(ColumnSelection, LeavesOnlyKeyColumnsWhenNoWordMatches)
{
   const Applied applied = Apply("nothing");
   EXPECT_EQ(applied.shown, "a");
   EXPECT_EQ(applied.warnings, "");
}

TEST_F(ColumnSelection, ShowsNoneWhenNothingMatchesAndNothingIsKey)
{
   table[0].key = 0;
   EXPECT_EQ(Apply("nothing").shown, "(none)");
}

TEST_F(ColumnSelection, HidesEverythingButTheKeyForAnEmptySelection)
{
   EXPECT_EQ(Apply("").shown, "a");
   EXPECT_EQ(Apply(":::").shown, "a");
}

TEST_F(ColumnSelection, SkipsEmptyWords)
{
   EXPECT_EQ(Apply("::gid::::name:").shown, "a:gid:name");
}

TEST_F(ColumnSelection, MatchesWholeWordsOnly)
{
   EXPECT_EQ(Apply("gi:gids:nam: name").shown, "a");
}

TEST_F(ColumnSelection, WidensAColumnToItsNameShownOrNot)
{
   Apply(nullptr);
   EXPECT_EQ(table[0].width, 3);
   EXPECT_EQ(table[3].width, 8);
   EXPECT_EQ(table[4].width, 28);
   table[2].width = 1;
   Apply("gid");
   EXPECT_EQ(table[2].width, 3);
   EXPECT_EQ(table[3].shown, 0);
   EXPECT_EQ(table[3].width, 8);
}

TEST_F(ColumnSelection, TakesTheLengthOfANameModulo256)
{
   const std::string name(256 + 7, 'n');
   table[3].name = name.c_str();
   Apply(nullptr);
   EXPECT_EQ(table[3].width, 7);
}

TEST_F(ColumnSelection, DoesNotBringBackWhatAFirstApplicationHid)
{
   Apply("gid");
   EXPECT_EQ(Apply("name").shown, "a");
}

TEST_F(ColumnSelection, WarnsOnceOfASelectionOfMoreThan512Characters)
{
   const std::string warning = "Selected columns is too long, selection might be ignored.\n";
   EXPECT_EQ(Apply(std::string(512, 'x').c_str()).warnings, "");
   EXPECT_EQ(Apply(std::string(513, 'x').c_str()).warnings, warning);
   EXPECT_EQ(Apply((std::string(596, 'x') + ":gid").c_str()).warnings, warning);
}

TEST(IsColumnSelected, ReadsTheFirst511Characters)
{
   const std::string before(507, 'x');
   EXPECT_TRUE(IsColumnSelected((before + ":gid").c_str(), "gid"));      // 511 characters
   EXPECT_TRUE(IsColumnSelected((before + ":gid:x").c_str(), "gid"));    // followed by more
   EXPECT_FALSE(IsColumnSelected((before + "x:gid").c_str(), "gid"));    // ends at character 512
   EXPECT_FALSE(IsColumnSelected((before + "xxxx:gid").c_str(), "gid")); // lies beyond
}

// Kept for compatibility: a word that the cut goes through is compared as what is left of it.
TEST(IsColumnSelected, ComparesWhatIsLeftOfACutWord)
{
   const std::string before(507, 'x');
   EXPECT_TRUE(IsColumnSelected((before + ":gidAndMore").c_str(), "gid"));
   EXPECT_FALSE(IsColumnSelected((before + ":gidAndMore").c_str(), "gidAndMore"));
}

TEST(IsColumnSelected, LeavesTheSelectionAsItIs)
{
   const std::string selection = "a:b:c";
   EXPECT_TRUE(IsColumnSelected(selection.c_str(), "c"));
   EXPECT_TRUE(IsColumnSelected(selection.c_str(), "B"));
   EXPECT_EQ(selection, "a:b:c");
}

TEST(FormatSelectedColumns, SaysAllWhenEveryColumnIsShown)
{
   const ReportColumn table[] = {{"a", "", 1, "u", 0, 0, 1}, {"b", "", 1, "u", 0, 0, 1}, kEndOfColumns};
   EXPECT_EQ(FormatSelectedColumns(table), "(all)");
   const ReportColumn empty[] = {kEndOfColumns};
   EXPECT_EQ(FormatSelectedColumns(empty), "(all)");
}

TEST(FormatSelectedColumns, JoinsTheShownNames)
{
   const ReportColumn table[] = {
      {"a", "", 1, "u", 0, 0, 0}, {"b", "", 1, "u", 0, 0, 1}, {"c", "", 1, "u", 0, 0, 1}, kEndOfColumns};
   EXPECT_EQ(FormatSelectedColumns(table), "b:c");
}

} // namespace
