// The completions of the three shells, asked as the shells ask them.
#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "frontend/report_table.h"
#include "tests/shell/run_command.h"

namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::UnorderedElementsAre;
using ::testing::UnorderedElementsAreArray;

std::vector<std::string> ReportTypes()
{
   std::vector<std::string> names;
   for (const ReportEntry &report : Reports()) {
      names.emplace_back(report.name);
   }
   return names;
}

// ---- bash

// What bash offers at the end of the line. `before` runs first.
std::vector<std::string> Bash(const std::string &line, const std::string &before = "")
{
   const std::string script = "source " COMPLETIONS_FOLDER "/hostmem.bash\n" + before +
                              "\nCOMP_LINE=" + ShellWord(line) +
                              "\nCOMP_POINT=${#COMP_LINE}\n_hostmem\n"
                              "((${#COMPREPLY[@]})) && printf '%s\\n' \"${COMPREPLY[@]}\"\ntrue";
   const CommandResult run = RunCommand("bash --norc -c " + ShellWord(script));
   EXPECT_EQ(run.exitStatus, 0) << run.output;
   return SplitLines(run.output);
}

class BashCompletion : public ::testing::Test {
 protected:
   void SetUp() override
   {
      if (!IsInstalled("bash")) {
         GTEST_SKIP() << "bash is not installed";
      }
   }
};

TEST_F(BashCompletion, OffersEveryReport)
{
   EXPECT_EQ(Bash("hostmem -r "), ReportTypes());
   EXPECT_EQ(Bash("hostmem --report "), ReportTypes());
   EXPECT_EQ(Bash("hostmem -c host.snapshot --rep "), ReportTypes());
}

TEST_F(BashCompletion, OffersReportsThatBeginSoInAnyCase)
{
   EXPECT_THAT(Bash("hostmem -r VM"), ElementsAre("vm-stats"));
   EXPECT_THAT(Bash("hostmem --report=gu"), ElementsAre("guest-stats"));
   EXPECT_THAT(Bash("hostmem -rgu"), ElementsAre("-rguest-stats"));
}

TEST_F(BashCompletion, OffersTheToolsOptionsBeforeTheReportAndTheReportsBehindIt)
{
   EXPECT_THAT(Bash("hostmem -"),
               ElementsAre("-f", "-c", "--cache", "-r", "--report", "-h", "--help", "--force"));
   EXPECT_THAT(Bash("hostmem -r buddy-stats -"),
               ElementsAre("-s", "--cSelect", "-v", "--verbose", "-q", "--csvMode"));
   EXPECT_THAT(Bash("hostmem -r VM-STATS --e"), ElementsAre("--extra"));
   EXPECT_THAT(Bash("hostmem -r no-stats -"), IsEmpty());
}

TEST_F(BashCompletion, KnowsThatTheShortFormOfForceTakesAWord)
{
   EXPECT_THAT(Bash("hostmem -f -r vm-stats --f"), ElementsAre("--force"));
   EXPECT_THAT(Bash("hostmem -f x -r vm-stats --e"), ElementsAre("--extra"));
   EXPECT_THAT(Bash("hostmem --force -r vm-stats --e"), ElementsAre("--extra"));
}

TEST_F(BashCompletion, OffersColumnsOfTheReport)
{
   EXPECT_THAT(Bash("hostmem -r pshare-stats -s "),
               ElementsAre("cow", "cow1", "zero", "used", "reclaimed", "totAdd", "totRemove"));
   EXPECT_THAT(Bash("hostmem -r vm-stats -s MEMS"), ElementsAre("memSizeLimit", "memSize"));
   EXPECT_THAT(Bash("hostmem -r vm-stats --cSelect=sw"), ElementsAre("swapTgt", "swapped", "swapScope"));
   EXPECT_THAT(Bash("hostmem -r vm-stats -qvs zip"), ElementsAre("zipped", "zipSaved"));
}

TEST_F(BashCompletion, OffersNoColumnThatASelectionCannotShow)
{
   EXPECT_THAT(Bash("hostmem -r vm-stats -s d"), IsEmpty()); // dname
}

TEST_F(BashCompletion, GoesOnWithAList)
{
   EXPECT_THAT(Bash("hostmem -r vm-stats -s name:memSize:memS"), ElementsAre("memSizeLimit"));
   EXPECT_THAT(Bash("hostmem -r vm-stats -s name:memS", "COMP_WORDBREAKS=' '"),
               ElementsAre("name:memSizeLimit", "name:memSize"));
}

TEST_F(BashCompletion, OffersUnits)
{
   EXPECT_THAT(Bash("hostmem -r vm-stats -u "), ElementsAre("kb", "mb", "gb", "pg"));
   EXPECT_THAT(Bash("hostmem -r heap-stats -u "), ElementsAre("b", "kb", "mb", "gb", "pg"));
   EXPECT_THAT(Bash("hostmem -r buddy-stats -u "), Not(Contains("kb")));
}

TEST_F(BashCompletion, OffersFlags)
{
   EXPECT_THAT(Bash("hostmem -r group-stats -i vm:v"), ElementsAre("vmm"));
   EXPECT_THAT(Bash("hostmem -r uw-stats --eFilter "), ElementsAre("uw", "vm"));
   EXPECT_THAT(Bash("hostmem -r dcpmm-stats -i "), IsEmpty()); // a number
}

TEST_F(BashCompletion, OffersFilesAsCache)
{
   EXPECT_THAT(Bash("hostmem -c hostmem.ba", "cd " COMPLETIONS_FOLDER), ElementsAre("hostmem.bash"));
   EXPECT_THAT(Bash("hostmem --cache=hostmem.ba", "cd " COMPLETIONS_FOLDER), ElementsAre("hostmem.bash"));
}

// Of another program than hostmem: "snapshot", "record".
std::vector<std::string> BashOf(const std::string &program, const std::string &words, int index)
{
   const std::string script = "source " COMPLETIONS_FOLDER "/hostmem-" + program + ".bash\nCOMP_WORDS=(" +
                              words + ")\nCOMP_CWORD=" + std::to_string(index) + "\n_hostmem_" + program +
                              "\nprintf '%s\\n' \"${COMPREPLY[@]}\"";
   return SplitLines(RunCommand("bash --norc -c " + ShellWord(script)).output);
}

std::vector<std::string> BashOfSnapshot(const std::string &words, int index)
{
   return BashOf("snapshot", words, index);
}

TEST_F(BashCompletion, OffersSubcommandsAndOptionsOfHostmemRecord)
{
   EXPECT_THAT(BashOf("record", "hostmem-record ''", 1),
               AllOf(Contains("run"), Contains("list"), Contains("report"), Contains("series")));
   EXPECT_THAT(BashOf("record", "hostmem-record se", 1), ElementsAre("series"));
   EXPECT_THAT(BashOf("record", "hostmem-record series --m", 2), ElementsAre("--match"));
   EXPECT_THAT(BashOf("record", "hostmem-record grow --t", 2), ElementsAre("--to", "--top"));
}

TEST_F(BashCompletion, OffersSubcommandsOptionsAndFilesOfHostmemSnapshot)
{
   EXPECT_THAT(BashOfSnapshot("hostmem-snapshot ''", 1),
               AllOf(Contains("info"), Contains("verify"), Contains("export"), Contains("import")));
   EXPECT_THAT(BashOfSnapshot("hostmem-snapshot im", 1), ElementsAre("import"));
   EXPECT_THAT(BashOfSnapshot("hostmem-snapshot import --o", 2), ElementsAre("--output"));
   EXPECT_THAT(BashOfSnapshot("hostmem-snapshot export --", 2),
               AllOf(Contains("--anonymize"), Contains("--names"), Contains("--force")));
   EXPECT_THAT(BashOfSnapshot("hostmem-snapshot info " COMPLETIONS_FOLDER "/hostmem.ba", 2),
               ElementsAre(COMPLETIONS_FOLDER "/hostmem.bash"));
}

TEST_F(BashCompletion, OffersOptionsUnitsAndFilesOfHostmemOverview)
{
   EXPECT_THAT(BashOf("overview", "hostmem-overview --ag", 1), ElementsAre("--against"));
   EXPECT_THAT(BashOf("overview", "hostmem-overview --check -u ''", 3), ElementsAre("kb", "mb", "gb"));
   EXPECT_THAT(BashOf("overview", "hostmem-overview -c " COMPLETIONS_FOLDER "/hostmem.ba", 2),
               ElementsAre(COMPLETIONS_FOLDER "/hostmem.bash"));
}

TEST_F(BashCompletion, OffersWhatTheOptionsOfTheOtherProgramsTake)
{
   EXPECT_THAT(BashOf("record", "hostmem-record grow -u ''", 3), ElementsAre("kb", "mb", "gb"));
   EXPECT_THAT(BashOf("record", "hostmem-record grow --unit = m", 4), ElementsAre("mb"));
   EXPECT_THAT(BashOf("record", "hostmem-record grow --unit =", 3), ElementsAre("kb", "mb", "gb"));
   EXPECT_THAT(BashOf("record", "hostmem-record series -r swap", 3), ElementsAre("swap-stats"));
   EXPECT_THAT(BashOf("export", "hostmem-export jsonl --report = pshare", 4),
               ElementsAre("pshare-stats", "pshareHint-stats"));
   EXPECT_THAT(BashOf("export", "hostmem-export jsonl -r ''", 3),
               AllOf(Contains("asyncremap-stats"), Not(Contains("dcpmm-stats"))));
   EXPECT_THAT(BashOf("record", "hostmem-record report now -r zip", 4), ElementsAre("zip-stats"));
   EXPECT_THAT(BashOf("record", "hostmem-record grow --by ''", 3),
               ElementsAre("vm", "group", "process", "heap"));
   EXPECT_THAT(BashOf("record", "hostmem-record series --format = ''", 4), ElementsAre("csv", "jsonl"));
   EXPECT_THAT(BashOf("record", "hostmem-record series --from 03 : ''", 5), ElementsAre("")) << "any time";
   EXPECT_THAT(BashOf("record", "hostmem-record list --dir " COMPLETIONS_FOLDER "/hostmem.ba", 3),
               ElementsAre(COMPLETIONS_FOLDER "/hostmem.bash"))
      << "a single segment";
   EXPECT_THAT(BashOf("export", "hostmem-export openmetrics -o " COMPLETIONS_FOLDER "/hostmem.ba", 3),
               ElementsAre(COMPLETIONS_FOLDER "/hostmem.bash"));
   EXPECT_THAT(BashOf("export", "hostmem-export csv --dir " COMPLETIONS_FOLDER "/CM", 3),
               ElementsAre(COMPLETIONS_FOLDER "/CMakeFiles"));
}

TEST_F(BashCompletion, OffersReportsThatHaveMetricsWhereMetricsAreAskedFor)
{
   for (const auto &[program, words, index] : {std::tuple{"export", "hostmem-export openmetrics -r ''", 3},
                                               std::tuple{"exporter", "hostmem-exporter -r ''", 2}}) {
      EXPECT_THAT(BashOf(program, words, index),
                  AllOf(Contains("swap-stats"), Not(Contains("asyncremap-stats"))))
         << program;
   }
}

TEST_F(BashCompletion, OffersOptionsOfHostmemExporter)
{
   EXPECT_THAT(BashOf("exporter", "hostmem-exporter --web.c", 1), ElementsAre("--web.config.file"));
   EXPECT_THAT(BashOf("exporter", "hostmem-exporter ''", 1), Contains("--max-series"));
   EXPECT_THAT(BashOf("exporter", "hostmem-exporter --max-series ''", 2), ElementsAre("")) << "any number";
}

// ---- fish

// What fish offers at the end of the line, without the descriptions.
std::vector<std::string> Fish(const std::string &program, const std::string &line)
{
   const std::string script =
      "source " COMPLETIONS_FOLDER "/" + program + ".fish; complete -C " + ShellWord(line);
   // As root, fish would make the folders of a home that is not there.
   const CommandResult run = RunCommand("HOME=/dev/null fish --no-config -c " + ShellWord(script));
   EXPECT_EQ(run.exitStatus, 0) << run.output;
   std::vector<std::string> words = SplitLines(run.output);
   for (std::string &word : words) {
      word.resize(std::min(word.find('\t'), word.size()));
   }
   return words;
}

class FishCompletion : public ::testing::Test {
 protected:
   void SetUp() override
   {
      if (!IsInstalled("fish")) {
         GTEST_SKIP() << "fish is not installed";
      }
   }
};

TEST_F(FishCompletion, OffersEveryReport)
{
   EXPECT_THAT(Fish("hostmem", "hostmem -r "), UnorderedElementsAreArray(ReportTypes()));
}

TEST_F(FishCompletion, OffersWhatGoesWithTheReport)
{
   EXPECT_THAT(Fish("hostmem", "hostmem -r heap-stats -u "), ElementsAre("b", "gb", "kb", "mb", "pg"));
   EXPECT_THAT(Fish("hostmem", "hostmem --report=VM-Stats -s name:vpmemR"),
               ElementsAre("name:vpmemRO", "name:vpmemRW"));
   EXPECT_THAT(Fish("hostmem", "hostmem -r group-stats -i vm:s"), ElementsAre("vm:sc", "vm:sd", "vm:sys"));
   EXPECT_THAT(Fish("hostmem", "hostmem -r vm-stats --e"), ElementsAre("--extra"));
   EXPECT_THAT(Fish("hostmem", "hostmem -f -r vm-stats --f"), ElementsAre("--force"));
}

TEST_F(FishCompletion, OffersSubcommandsAndOptionsOfHostmemSnapshot)
{
   EXPECT_THAT(Fish("hostmem-snapshot", "hostmem-snapshot im"), ElementsAre("import"));
   EXPECT_THAT(Fish("hostmem-snapshot", "hostmem-snapshot import --o"), ElementsAre("--output"));
   EXPECT_THAT(Fish("hostmem-record", "hostmem-record ser"), ElementsAre("series"));
   EXPECT_THAT(Fish("hostmem-record", "hostmem-record series --m"), ElementsAre("--match"));
}

TEST_F(FishCompletion, OffersOptionsAndUnitsOfHostmemOverview)
{
   EXPECT_THAT(Fish("hostmem-overview", "hostmem-overview -c x --ag"), ElementsAre("--against"));
   EXPECT_THAT(Fish("hostmem-overview", "hostmem-overview -u "), UnorderedElementsAre("kb", "mb", "gb"));
   EXPECT_THAT(Fish("hostmem-overview", "hostmem-overview --findings --wi"), ElementsAre("--width"));
}

TEST_F(FishCompletion, OffersReportsOfTheOtherPrograms)
{
   EXPECT_THAT(Fish("hostmem-record", "hostmem-record series -r swap"), ElementsAre("swap-stats"));
   EXPECT_THAT(Fish("hostmem-snapshot", "hostmem-snapshot report x -r swap"), ElementsAre("swap-stats"));
   EXPECT_THAT(Fish("hostmem-record", "hostmem-record grow --by p"), ElementsAre("process"));
   EXPECT_THAT(Fish("hostmem-exporter", "hostmem-exporter -r "),
               AllOf(Contains("swap-stats"), Not(Contains("asyncremap-stats"))));
}

// ---- zsh

// What an interactive zsh shows after the line and a tab, up to and with the text `last`.
std::string Zsh(const std::string &line, const std::string &last)
{
   const std::string setUp =
      "fpath=(" COMPLETIONS_FOLDER " $fpath); autoload -Uz compinit; compinit -u -D; PS1=; "
      "setopt no_beep; COLUMNS=100; print rea''dy";
   const std::string script = "zmodload zsh/zpty || exit 1\n"
                              "zpty shell 'TERM=dumb zsh -f -i'\n"
                              "zpty -w shell " +
                              ShellWord(setUp) +
                              "\n"
                              "zpty -r -m shell text '*ready*' || exit 1\n"
                              "zpty -n -w shell " +
                              ShellWord(line) +
                              "$'\\t'\n"
                              "zpty -r -m shell text '*" +
                              last +
                              "*'\n"
                              "print -rn -- $text\n"
                              "zpty -d shell";
   const CommandResult run = RunCommand("HOME=/dev/null timeout 30 zsh -f -c " + ShellWord(script));
   EXPECT_EQ(run.exitStatus, 0) << run.output;
   return run.output;
}

class ZshCompletion : public ::testing::Test {
 protected:
   void SetUp() override
   {
      if (!IsInstalled("zsh")) {
         GTEST_SKIP() << "zsh is not installed";
      }
   }
};

TEST_F(ZshCompletion, CompletesTheReport)
{
   EXPECT_THAT(Zsh("hostmem -r guest", "guest-stats"), HasSubstr("hostmem -r guest-stats"));
}

TEST_F(ZshCompletion, DescribesTheColumnsThatAListCanGoOnWith)
{
   const std::string shown = Zsh("hostmem -r VM-stats -s vpmemRO:vpmem", "not yet cached");
   EXPECT_THAT(shown, HasSubstr("vpmemRW  -- Guest physical persistent memory that is cached read-write"));
   EXPECT_THAT(shown, HasSubstr("vpmemUC  -- "));
   EXPECT_THAT(shown, Not(HasSubstr("vpmemRO  -- ")));
}

TEST_F(ZshCompletion, DescribesTheSubcommandsOfHostmemSnapshot)
{
   EXPECT_THAT(Zsh("hostmem-snapshot i", "info"), HasSubstr("import  -- Make a snapshot of JSON"));
}

TEST_F(ZshCompletion, OffersUnitsOfTheOtherPrograms)
{
   for (const char *line :
        {"hostmem-record grow -u ", "hostmem-snapshot diff a b --unit=", "hostmem-overview -u "}) {
      EXPECT_THAT(Zsh(line, "mb"), AllOf(HasSubstr("gb  kb  mb"), Not(HasSubstr("_values")))) << line;
   }
}

TEST_F(ZshCompletion, OffersReportsOfTheOtherPrograms)
{
   EXPECT_THAT(Zsh("hostmem-export json -r guest", "guest-stats"), HasSubstr("-r guest-stats"));
   EXPECT_THAT(Zsh("hostmem-record series -r swap", "swap-stats"), HasSubstr("-r swap-stats"));
   EXPECT_THAT(
      Zsh("hostmem-export jsonl --report=", "zip-stats"),
      AllOf(HasSubstr("comp-stats"), Not(HasSubstr("dcpmm-stats")))); // which only a running host has
}

TEST_F(ZshCompletion, OffersReportsAgainWhereMayBeSeveral)
{
   EXPECT_THAT(Zsh("hostmem-export json -r comp-stats -r guest", "guest-stats"), HasSubstr("-r guest-stats"));
   EXPECT_THAT(Zsh("hostmem-exporter -r comp-stats --report=guest", "guest-stats"),
               HasSubstr("--report=guest-stats"));
}

TEST_F(ZshCompletion, DescribesAnOptionWhoseTermReachesToItsText)
{
   EXPECT_THAT(Zsh("hostmem-record list --", "segment"),
               HasSubstr("--dir   -- Folder of the recording, or a single segment"));
}

TEST_F(ZshCompletion, OffersReportsThatHaveMetricsOfHostmemExporter)
{
   EXPECT_THAT(Zsh("hostmem-exporter -r ", "zip-stats"),
               AllOf(HasSubstr("comp-stats"), Not(HasSubstr("asyncremap-stats"))));
}

TEST_F(ZshCompletion, OffersOptionsOfHostmemOverview)
{
   EXPECT_THAT(Zsh("hostmem-overview --ag", "against"), HasSubstr("hostmem-overview --against"));
}

} // namespace
