// The page of all columns: how it is made, and that docs/columns.md is the one that the build makes.
#include "manuals/column_reference.h"

#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "frontend/report_table.h"

namespace {

using ::testing::HasSubstr;

std::string ReadFile(const char *path)
{
   std::ostringstream text;
   text << std::ifstream(path).rdbuf();
   return text.str();
}

std::string MakePage(const std::string &source, std::vector<std::string> *errors)
{
   std::istringstream input(source);
   std::vector<PageLine> lines;
   std::string error;
   EXPECT_TRUE(ReadPageSource(input, &lines, &error)) << error;
   return MakeColumnReference({{"hostmem-pshareHint-stats", lines}}, errors);
}

TEST(ColumnReference, ShowsTitlePrivilegesColumnsAndWhatLinuxHas)
{
   std::vector<std::string> errors;
   EXPECT_THAT(
      MakePage("@title hints on the host\n"
               "@columns\ntype | One of \\fBtwo\\fP.\ntotAdd | {Linux: 0}\ntotRemove |\nactive |\n@end\n"
               "@privileges\nRoot.\nFor all.\n@end\n",
               &errors),
      HasSubstr("\n## pshareHint-stats\n\nHints on the host.\n\n*Root:* Root. For all.\n\n"
                "| column | unit | meaning | on Linux |\n|---|---|---|---|\n"
                "| `type` | text | Hint type (regular or large page hint). One of `two`. |  |\n"
                "| `totAdd` | memory | Total hints added. | always 0 |\n"
                "| `totRemove` | memory | Total hints removed. |  |\n"
                "| `active` | memory | Currently active hints. |  |\n"));
   EXPECT_THAT(errors, ::testing::SizeIs(Reports().size() - 1));
   EXPECT_THAT(errors, ::testing::Contains("no page for vm-stats"));
}

TEST(ColumnReference, TurnsRoffIntoMarkdown)
{
   EXPECT_EQ(MarkdownOf("plain\nand \\fBbold\\fP"), "plain and `bold`");
   EXPECT_EQ(MarkdownOf("\\fIN\\fR 4\\ KB \\-1 a\\eb a|b"), "*N* 4 KB -1 a\\b a\\|b");
   EXPECT_EQ(MarkdownOf("\\(lqa\\(rq \\(oqb\\(cq \\&.c"), "“a” ‘b’ .c");
   EXPECT_EQ(MarkdownOf("\\fBopen"), "`open`");
   EXPECT_EQ(MarkdownOf("end\\"), "end\\");
}

TEST(ColumnReference, InTheDocumentationIsUpToDate)
{
   EXPECT_EQ(ReadFile(SOURCE_FOLDER "/docs/columns.md"), ReadFile(MANUALS_FOLDER "/columns.md"))
      << "to update it: cp " MANUALS_FOLDER "/columns.md docs/columns.md";
}

} // namespace
