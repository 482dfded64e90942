// The manual pages: that nothing a report has is left out, that they render, and that their examples print
// what they show.
#include "manuals/manual_page.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "frontend/report_table.h"
#include "frontend/tool_options.h"
#include "manuals/option_help.h"
#include "sysinfo/status.h"
#include "tests/docs/document.h"
#include "tests/shell/run_command.h"

namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

std::string ReadFile(const std::filesystem::path &path)
{
   std::ifstream file(path);
   std::ostringstream text;
   text << file.rdbuf();
   return text.str();
}

std::vector<PageLine> ParseSource(const std::string &text)
{
   std::istringstream input(text);
   std::vector<PageLine> lines;
   std::string error;
   EXPECT_TRUE(ReadPageSource(input, &lines, &error)) << error;
   return lines;
}

std::string MakePage(const std::string &name, const std::string &source, std::vector<std::string> *errors)
{
   return MakeManualPage(name, ParseSource(source), {"1.0", "2026-01-01"}, errors);
}

// What making a page of this source complains about.
std::vector<std::string> ErrorsOf(const std::string &name, const std::string &source)
{
   std::vector<std::string> errors;
   MakePage(name, source, &errors);
   return errors;
}

constexpr char kHintColumns[] = "type |\n"
                                "totAdd | All of them.\n"
                                "totRemove\n"
                                "active |\n";

std::string ColumnBlock(const std::string &entries)
{
   return "@columns\n" + entries + "@end\n";
}

TEST(ManualPage, ColumnsAreThoseOfTheReportInItsOrder)
{
   std::vector<std::string> errors;
   EXPECT_THAT(MakePage("hostmem-pshareHint-stats", ColumnBlock(kHintColumns), &errors),
               HasSubstr("type\ttext\tyes\tT{\nHint type (regular or large page hint).\nT}\n"
                         "totAdd\tmemory\tyes\tT{\nTotal hints added.\nAll of them.\nT}\n"
                         "totRemove\tmemory\tyes\tT{\nTotal hints removed.\nT}\n"));
   EXPECT_THAT(errors, IsEmpty());
}

TEST(ManualPage, HiddenAndKeyColumnsAreToldApart)
{
   EXPECT_THAT(ReadFile(MANUALS_FOLDER "/hostmem-vm-stats.8"),
               HasSubstr("dname\ttext\t\\-\tT{\nVirtual machine display name.\n"
                         "Hidden unless \\fB\\-x\\fP is given.\nT}\n"));
   EXPECT_THAT(ReadFile(MANUALS_FOLDER "/hostmem-heap-stats.8"),
               HasSubstr("name\ttext\tyes\tT{\nHeap name.\nA key column: always shown.\nT}\n"));
}

TEST(ManualPage, ColumnsWithOneValueOnLinuxAreMarkedAndListed)
{
   std::vector<std::string> errors;
   const std::string page = MakePage("hostmem-pshareHint-stats",
                                     ColumnBlock("type |\n"
                                                 "totAdd | {Linux: 0} All of them.\n"
                                                 "totRemove | {Linux: 0}\n"
                                                 "active | {Linux: -1}\n") +
                                        "@on-linux\n",
                                     &errors);
   EXPECT_THAT(page, HasSubstr("T{\nTotal hints added.\nAll of them.\nAlways 0 on Linux.\nT}\n"));
   EXPECT_THAT(page, HasSubstr(".TP\n.B \\-1\nactive\n.TP\n.B 0\ntotAdd, totRemove\n"));
   EXPECT_THAT(errors, IsEmpty());
}

TEST(ManualPage, PrivilegesOfAllReportsAreThoseOfTheirPages)
{
   EXPECT_THAT(ReadFile(MANUALS_FOLDER "/hostmem.8"),
               HasSubstr("heap\\-stats\tT{\nRoot. Without it there is no table, only a message.\nT}\n"));
}

TEST(ManualPage, ColumnLeftOutIsAnError)
{
   EXPECT_THAT(ErrorsOf("hostmem-pshareHint-stats", ColumnBlock("type |\ntotAdd |\nactive |\n")),
               ElementsAre("@columns: 0 entries for totRemove"));
}

TEST(ManualPage, EntryWithoutColumnIsAnError)
{
   EXPECT_THAT(ErrorsOf("hostmem-pshareHint-stats", ColumnBlock(std::string(kHintColumns) + "gone |\n")),
               ElementsAre("@columns: nothing is called gone"));
}

TEST(ManualPage, ColumnExplainedTwiceIsAnError)
{
   EXPECT_THAT(ErrorsOf("hostmem-pshareHint-stats", ColumnBlock(std::string(kHintColumns) + "type |\n")),
               ElementsAre("@columns: 2 entries for type"));
}

TEST(ManualPage, ReportsHaveTheTitlesOfTheirPages)
{
   EXPECT_THAT(ReadFile(MANUALS_FOLDER "/hostmem.8"),
               HasSubstr("swap\\-stats\tT{\nSwapping of every virtual machine.\nT}\n"));
}

TEST(ManualPage, ReportWithoutAPageIsAnError)
{
   EXPECT_THAT(ErrorsOf("hostmem", "@reports\n"),
               AllOf(SizeIs(Reports().size()), Contains("@reports: no page for swap-stats")));
}

TEST(ManualPage, FlagLeftOutIsAnError)
{
   EXPECT_THAT(ErrorsOf("hostmem-uw-stats", "@flags\nuw | User world.\n@end\n"),
               ElementsAre("@flags: 0 entries for vm"));
}

TEST(ManualPage, UnknownDirectiveIsAnError)
{
   EXPECT_THAT(ErrorsOf("hostmem-uw-stats", "@colums\n"), ElementsAre("unknown directive @colums"));
}

TEST(ManualPage, BlockWithoutEndIsAnError)
{
   std::istringstream input("@columns\nname |\n");
   std::vector<PageLine> lines;
   std::string error;
   EXPECT_FALSE(ReadPageSource(input, &lines, &error));
   EXPECT_EQ(error, "@columns has no @end");
}

// ---- the pages themselves

std::vector<std::string> PageNames()
{
   std::vector<std::string> names = {"hostmem", "hostmem-snapshot", "hostmem-record", "hostmem-export",
                                     "hostmem-overview"};
#ifdef HAS_EXPORTER
   names.push_back("hostmem-exporter");
#endif
   for (const ReportEntry &report : Reports()) {
      names.push_back(std::string("hostmem-") + report.name);
   }
   return names;
}

class EveryPage : public ::testing::TestWithParam<std::string> {
 protected:
   static bool IsThatOfTheTool() { return GetParam() == "hostmem"; }
   std::string Source() { return ReadFile(MANUAL_SOURCES_FOLDER "/" + GetParam() + ".8.in"); }
   std::string BuiltPath() { return MANUALS_FOLDER "/" + GetParam() + ".8"; }
};

TEST_P(EveryPage, IsMadeWithoutErrors)
{
   EXPECT_NE(Source(), "");
   // The lists of reports take what the other pages say, which stand beside the source only.
   EXPECT_THAT(ErrorsOf(GetParam(), Source()), SizeIs(IsThatOfTheTool() ? 2 * Reports().size() : 0));
   EXPECT_TRUE(std::filesystem::exists(BuiltPath()));
}

TEST_P(EveryPage, RendersWithoutWarnings)
{
   if (!IsInstalled("groff")) {
      GTEST_SKIP() << "groff is not installed";
   }
   EXPECT_EQ(RunCommand("groff -ww -t -man -Tutf8 -z " + ShellWord(BuiltPath())).output, "");
}

TEST_P(EveryPage, PassesLint)
{
   if (!IsInstalled("mandoc")) {
      GTEST_SKIP() << "mandoc is not installed";
   }
   EXPECT_EQ(RunCommand("mandoc -T lint -W warning " + ShellWord(BuiltPath())).output, "");
}

TEST_P(EveryPage, HasHeadsThatDoNotMeetOnATerminal)
{
   std::string capitals = GetParam();
   std::transform(capitals.begin(), capitals.end(), capitals.begin(),
                  [](unsigned char c) { return std::toupper(c); });
   const std::string title = capitals + "\\(8\\)";
   const std::string plain = " | sed 's/\033\\[[0-9;]*m//g; s/.\b//g' | head -n 1";
   for (const char *program : {"mandoc -T utf8 -O width=78 ", "groff -t -man -Tutf8 -rLL=78n "}) {
      if (IsInstalled(std::string(program).substr(0, std::string(program).find(' ')))) {
         EXPECT_THAT(RunCommand(program + ShellWord(BuiltPath()) + plain).output,
                     ::testing::MatchesRegex(title + "  +hostmem  +" + title + "\n"))
            << program;
      }
   }
}

TEST_P(EveryPage, IsAsOldAsTheNewestEntryOfTheChangelog)
{
   const std::string date = RunCommand("sed -n 's/^## .* (\\(.*\\))$/\\1/p' " SOURCE_FOLDER
                                       "/CHANGELOG.md | head -n 1 | tr -d '\\n'")
                               .output;
   EXPECT_THAT(date, ::testing::MatchesRegex("[0-9]+-[0-9]+-[0-9]+"));
   EXPECT_THAT(ReadFile(BuiltPath()), HasSubstr(" 8 " + date + " \"hostmem "));
}

TEST_P(EveryPage, SaysWhatNeedsRoot)
{
   EXPECT_THAT(ReadFile(BuiltPath()), HasSubstr("\n.SH PRIVILEGES\n"));
}

TEST_P(EveryPage, LinksToPagesThatAreThereForABrowser)
{
   if (!IsInstalled("mandoc")) {
      GTEST_SKIP() << "mandoc is not installed";
   }
   const std::string links =
      RunCommand("grep -o 'href=\"[^#\"]*' " + ShellWord(BuiltPath() + ".html") + " | cut -d '\"' -f 2")
         .output;
   EXPECT_NE(links, "");
   for (const std::string &link : SplitLines(links)) {
      EXPECT_TRUE(std::filesystem::exists(MANUALS_FOLDER "/" + link)) << link;
   }
}

TEST(ManualPages, ThatOfHostmemLinksToEveryReportForABrowser)
{
   if (!IsInstalled("mandoc")) {
      GTEST_SKIP() << "mandoc is not installed";
   }
   const std::string page = ReadFile(MANUALS_FOLDER "/hostmem.8.html");
   for (const ReportEntry &report : Reports()) {
      const std::string link = std::string("<td><a href=\"hostmem-") + report.name + ".8.html\">";
      EXPECT_NE(page.find(link), std::string::npos) << link;
   }
}

struct Example {
   std::string command;
   std::string output;
};

std::vector<Example> ReadExamples(const std::string &source)
{
   std::vector<Example> examples;
   for (const PageLine &block : ParseSource(source)) {
      if (block.directive != "example") {
         continue;
      }
      for (const std::string &line : block.lines) {
         if (line.starts_with("$ ")) {
            examples.push_back({line.substr(2), ""});
         } else if (line.starts_with("> ")) {
            examples.back().command += "\n" + line.substr(2);
         } else {
            examples.back().output += line + "\n";
         }
      }
   }
   return examples;
}

TEST_P(EveryPage, ExamplesPrintWhatItShows)
{
   const std::filesystem::path folder =
      std::filesystem::path(::testing::TempDir()) / ("hostmem-examples-" + std::to_string(getpid()));
   std::filesystem::create_directory(folder);
   std::filesystem::copy_file(SAMPLE_SNAPSHOT, folder / "host.snapshot");
   for (const Example &example : ReadExamples(Source())) {
      const CommandResult run = RunCommand("cd " + ShellWord(folder) + " && PATH=" + ShellWord(BIN_FOLDER) +
                                           ":$PATH\n" + example.command);
      EXPECT_EQ(WithoutTimes(run.output), WithoutTimes(example.output)) << example.command;
      EXPECT_EQ(run.exitStatus, 0) << example.command;
   }
   std::filesystem::remove_all(folder);
}

std::string TestName(const ::testing::TestParamInfo<std::string> &info)
{
   std::string name = info.param;
   std::replace(name.begin(), name.end(), '-', '_');
   return name;
}

INSTANTIATE_TEST_SUITE_P(Manual, EveryPage, ::testing::ValuesIn(PageNames()), TestName);

TEST(ManualPages, ThoseOfTheReportsExplainColumnsOptionsAndMessages)
{
   for (const ReportEntry &entry : Reports()) {
      const std::string report = entry.name;
      const std::string page = "hostmem-" + report + ".8";
      const std::string source = ReadFile(MANUAL_SOURCES_FOLDER "/" + page + ".in");
      EXPECT_THAT(source, AllOf(HasSubstr("\n@columns\n"), HasSubstr("\n@options\n"))) << report;
      EXPECT_THAT(ReadFile(MANUALS_FOLDER "/" + page),
                  AllOf(HasSubstr("\n.SH EXIT STATUS\n"), HasSubstr("\n.SH DIAGNOSTICS\n")))
         << report;
   }
}

TEST(ManualPages, AllReportsButTheProfilerHaveAnExample)
{
   for (const ReportEntry &entry : Reports()) {
      const std::string report = entry.name;
      const std::string source = ReadFile(MANUAL_SOURCES_FOLDER "/hostmem-" + report + ".8.in");
      EXPECT_EQ(ReadExamples(source).empty(), report == "dcpmm-stats") << report;
   }
}

TEST(ManualPages, ThatOfHostmemNamesEveryOptionOfTheTool)
{
   const std::string source = ReadFile(MANUAL_SOURCES_FOLDER "/hostmem.8.in");
   for (const option *row = kToolLongOptions; row->name != nullptr; row++) {
      EXPECT_THAT(source, HasSubstr(std::string("\\fB\\-\\-") + row->name + "\\fP"));
      EXPECT_THAT(source, HasSubstr(std::string("\\fB\\-") + static_cast<char>(row->val) + "\\fP"));
   }
}

TEST(ManualPages, ThatOfHostmemExplainsEveryStatusOfTheInterface)
{
   const std::string source = ReadFile(MANUAL_SOURCES_FOLDER "/hostmem.8.in");
   const std::string statuses = RunCommand("grep -o '0xbad00[0-9a-f][0-9a-f]' " SOURCE_FOLDER
                                           "/nevra/include/nevra/nevra.h | grep -v 0xbad0000")
                                   .output;
   EXPECT_THAT(SplitLines(statuses), SizeIs(testing::Ge(14)));
   for (const std::string &status : SplitLines(statuses)) {
      const auto number = static_cast<NevraStatus>(std::stoul(status, nullptr, 16));
      EXPECT_THAT(source, HasSubstr("\n" + std::to_string(number) + "\t" +
                                    ORSKA_ReturnStatusToString(number) + "\tT{\n"));
   }
}

// An option as a page writes it.
std::string InRoff(const std::string &option)
{
   std::string text;
   for (const char character : option) {
      text += (character == '-' ? "\\" : "") + std::string(1, character);
   }
   return text;
}

class PageOfSubcommands : public ::testing::TestWithParam<const char *> {};

TEST_P(PageOfSubcommands, NamesWhatTheHelpNames)
{
   const std::string source = ReadFile(MANUAL_SOURCES_FOLDER "/" + std::string(GetParam()) + ".8.in");
   const std::string program = ShellWord(BIN_FOLDER "/" + std::string(GetParam()));
   const std::string subcommands =
      RunCommand(program + " --help | sed -n '/^Subcommands:/,/^$/s/^  \\([a-z]*\\) .*/\\1/p'").output;
   EXPECT_THAT(SplitLines(subcommands), SizeIs(testing::Ge(3)));
   for (const std::string &subcommand : SplitLines(subcommands)) {
      EXPECT_THAT(source, HasSubstr(".TP\n.B " + subcommand + "\n"));
      const std::string options =
         RunCommand(program + " " + subcommand + " --help | grep -o '^  -[^ ]*' | tr -d ' ' | tr , '\\n'")
            .output;
      EXPECT_THAT(SplitLines(options), Contains("--help"));
      for (const std::string &option : SplitLines(options)) {
         EXPECT_THAT(source, HasSubstr("\\fB" + InRoff(option) + "\\fP")) << subcommand;
      }
   }
}

INSTANTIATE_TEST_SUITE_P(ManualPages, PageOfSubcommands,
                         testing::Values("hostmem-snapshot", "hostmem-record", "hostmem-export"),
                         [](const testing::TestParamInfo<const char *> &page) {
                            return std::string(page.param).substr(sizeof "hostmem-" - 1);
                         });

#ifdef HAS_EXPORTER
TEST(PageOfExporter, HasEveryOption)
{
   const std::string source = ReadFile(MANUAL_SOURCES_FOLDER "/hostmem-exporter.8.in");
   const std::string options =
      RunCommand(BIN_FOLDER "/hostmem-exporter --help | grep -o '^  -[^ ]*' | tr -d ' ' | tr , '\\n'").output;
   EXPECT_THAT(SplitLines(options), Contains("--web.config.file"));
   for (const std::string &option : SplitLines(options)) {
      EXPECT_THAT(source, HasSubstr("\\fB" + InRoff(option) + "\\fP"));
   }
}
#endif

// ---- the help on options

TEST(OptionHelp, EveryOptionOfEveryReportHasSome)
{
   for (const ReportEntry &report : Reports()) {
      for (const ListedOption &option : ListOptions(*report.description)) {
         const OptionHelp *help = FindOptionHelp(report.name, option.letter, option.longName);
         ASSERT_NE(help, nullptr) << report.name << " " << option.letter;
         EXPECT_EQ(help->argument != nullptr, option.takesArgument) << report.name << " " << option.letter;
      }
   }
}

bool IsUsed(const OptionHelp &help)
{
   for (const ReportEntry &report : Reports()) {
      for (const ListedOption &option : ListOptions(*report.description)) {
         if (FindOptionHelp(report.name, option.letter, option.longName) == &help) {
            return true;
         }
      }
   }
   return false;
}

TEST(OptionHelp, EveryEntryIsForAnOptionOfSomeReport)
{
   for (const OptionHelp &help : AllOptionHelp()) {
      EXPECT_TRUE(IsUsed(help)) << help.brief;
   }
}

TEST(OptionHelp, LongNameWhoseArgumentDiffersFromItsLetterStandsAlone)
{
   std::vector<std::string> forms;
   for (const ListedOption &option : ListOptions(*FindReport("heap-stats")->description)) {
      forms.push_back((option.letter != 0 ? std::string("-") + option.letter : "") +
                      (option.longName != nullptr ? std::string("--") + option.longName : ""));
   }
   EXPECT_THAT(forms, ElementsAre("-s--cSelect", "-u--unit", "-v", "-q--csvMode", "--verbose"));
}

} // namespace
