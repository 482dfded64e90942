// Names of strangers on a terminal.
#include <clocale>
#include <string>

#include <gtest/gtest.h>

#include "nevra/shown_text.h"
#include "overview/bar.h"
#include "overview/display_text.h"

namespace {

using overview::Align;
using overview::Bar;
using overview::Charset;
using overview::ColumnsOf;
using overview::FitName;
using overview::FitText;

class DisplayText : public ::testing::Test {
 protected:
   void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
};

TEST_F(DisplayText, IsPaddedOrCutToColumns)
{
   EXPECT_EQ(FitText("birch", 8, Charset::Utf8), "birch   ");
   EXPECT_EQ(FitText("birch", 8, Charset::Utf8, Align::Right), "   birch");
   EXPECT_EQ(FitText("birch", 5, Charset::Utf8), "birch");
   EXPECT_EQ(FitText("birches", 5, Charset::Utf8), "bir..");
   EXPECT_EQ(FitText("birches", 2, Charset::Utf8), "..");
   EXPECT_EQ(FitText("birches", 0, Charset::Utf8), "");
   EXPECT_EQ(FitText("", 3, Charset::Ascii), "   ");
}

TEST_F(DisplayText, OfANameKeepsBothEnds)
{
   EXPECT_EQ(FitName("database-primary-01", 12, Charset::Utf8), "datab..ry-01");
   EXPECT_EQ(FitName("database-primary-01", 19, Charset::Utf8), "database-primary-01");
   EXPECT_EQ(FitName("database-primary-01", 3, Charset::Utf8), "d..");
}

TEST_F(DisplayText, CountsWideCharactersAsTwoColumns)
{
   EXPECT_EQ(ColumnsOf("日本語"), 6u);
   EXPECT_EQ(FitText("日本語", 8, Charset::Utf8), "日本語  ");
   EXPECT_EQ(FitText("日本語", 5, Charset::Utf8), "日.. "); // half a character has no place
   EXPECT_EQ(FitName("日本語日本語", 8, Charset::Utf8), "日..語  ");
}

TEST_F(DisplayText, KeepsMarksWithTheirLetterButNotTowersOfThem)
{
   EXPECT_EQ(FitText("e\u0301x", 3, Charset::Utf8), "e\u0301x ");
   EXPECT_EQ(FitText("e\u0301\u0301\u0301\u0301\u0301x", 2, Charset::Utf8), "e\u0301\u0301\u0301x");
   EXPECT_EQ(FitText("\u0301x", 2, Charset::Utf8), "x ") << "it would change what stands before the name";
   EXPECT_EQ(FitName("abcdefghij\u0301", 6, Charset::Utf8), "ab..ij\u0301");
}

TEST_F(DisplayText, ShowsWhatCouldSteerATerminalAsQuestionMarks)
{
   EXPECT_EQ(FitText("a\033[2Jb\nc\007", 10, Charset::Utf8), "a?[2Jb?c? ");
   EXPECT_EQ(FitText("a\u202eb\u200fc\u200bd\ufeffe", 16, Charset::Utf8), "a???b?c?d?e     ");
   EXPECT_EQ(FitText("\xff\xc3z", 4, Charset::Utf8), "??z ");
}

TEST_F(DisplayText, IsAsciiWhereTheLocaleHasNoMore)
{
   EXPECT_EQ(FitText("日本e\u0301", 6, Charset::Ascii), "??e?  ");
}

TEST_F(DisplayText, OfAnyBytesHasTheColumnsThatItShould)
{
   std::string text;
   uint32_t state = 1;
   for (int run = 0; run < 20000; run++) {
      state = state * 1664525 + 1013904223;
      text.assign(1 + state % 20, '\0');
      for (char &c : text) {
         state = state * 1664525 + 1013904223;
         c = static_cast<char>(state >> 24);
      }
      for (const size_t columns : {0, 1, 2, 3, 7, 30}) {
         ASSERT_EQ(ColumnsOf(FitText(text, columns, Charset::Utf8)), columns);
         ASSERT_EQ(ColumnsOf(FitName(text, columns, Charset::Utf8)), columns);
         ASSERT_EQ(FitName(text, columns, Charset::Ascii).size(), columns);
         ASSERT_TRUE(nevra::IsShownText(FitText(text, columns, Charset::Utf8)));
      }
   }
}

TEST_F(DisplayText, OfABarIsAsLongAsThePartIs)
{
   EXPECT_EQ(Bar(1, 2, 4, Charset::Utf8), "██  ");
   EXPECT_EQ(Bar(1, 2, 3, Charset::Utf8), "█▌ ");
   EXPECT_EQ(Bar(1, 1, 3, Charset::Utf8), "███");
   EXPECT_EQ(Bar(1, 1000000, 3, Charset::Utf8), "▏  ");
   EXPECT_EQ(Bar(0, 10, 3, Charset::Utf8), "   ");
   EXPECT_EQ(Bar(-5, 10, 3, Charset::Utf8), "   ");
   EXPECT_EQ(Bar(5, 0, 3, Charset::Utf8), "   ");
   EXPECT_EQ(Bar(5, 10, 0, Charset::Utf8), "");
   EXPECT_EQ(Bar(50, 10, 3, Charset::Utf8), "███");
   EXPECT_EQ(Bar(1, 2, 4, Charset::Ascii), "##  ");
   EXPECT_EQ(Bar(1, 1000000, 4, Charset::Ascii), "#   ");
}

} // namespace
