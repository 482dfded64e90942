// The command line of hostmem, as a whole process on the scripted platform.
#include <array>
#include <csignal>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/scripted/scenario.h"
#include "tests/scripted/trace_lines.h"

using namespace scripted;

namespace {

constexpr char kProgram[] = "hostmem-by-name";
constexpr char kUnexpected[] = "Unexpected or out-of-sequence argument detected\n";

// The usage text as printed under this name: usage.txt has it word for word, irregularities included.
std::string Usage(const std::string &program = kProgram)
{
   std::ifstream file(USAGE_TEXT);
   std::string text{std::istreambuf_iterator<char>(file), {}};
   const std::string name = "hostmem";
   const size_t at = text.find(name);
   return at == std::string::npos ? "no text in " USAGE_TEXT : text.replace(at, name.size(), program);
}

// A host that a report can be made of.
Scenario Host()
{
   Scenario scenario;
   scenario.Group(0).Name("host").Flags(GROUP_PREDEFINED);
   return scenario;
}

RunResult RunTool(const Scenario &scenario, const std::vector<std::string> &arguments)
{
   RunOptions options;
   options.program = kProgram;
   RunResult run = RunHostmem(scenario, arguments, options);
   EXPECT_THAT(run, RanCleanly());
   return run;
}

RunResult RunTool(const std::vector<std::string> &arguments)
{
   return RunTool(Host(), arguments);
}

// What a run of group-stats shows with "-q -s gid:name".
const std::string kGroupTable = "gid,name\n0,host\n";

void ExpectUsage(const RunResult &run, const std::string &err, int exitStatus)
{
   EXPECT_EQ(run.out, Usage());
   EXPECT_EQ(run.err, err);
   EXPECT_EQ(run.exitStatus, exitStatus);
}

void ExpectNoPlatformCall(const RunResult &run)
{
   for (const std::string &line : run.trace) {
      EXPECT_TRUE(line.starts_with("Warning(")) << line;
   }
}

// ---- help and usage

TEST(FrontEnd, PrintsTheUsageForHelpBeforeAnyPlatformCall)
{
   for (const std::vector<std::string> &arguments : std::vector<std::vector<std::string>>{
           {"-h"},
           {"--help"},
           {"--he"},
           {"-c", "file", "-h"},
           {"--force", "-h"},
           {"-h", "-z"},
           {"-h", "-r", "nothing"},
           {"word", "-h"},
        }) {
      Scenario scenario = Host();
      scenario.SignatureMismatch(0xbad0018, "k", "a").CacheStatus(0xbad0003);
      const RunResult run = RunTool(scenario, arguments);
      ExpectUsage(run, "", 0);
      ExpectNoPlatformCall(run);
   }
}

TEST(FrontEnd, PrintsTheUsageUnderTheNameItWasCalledBy)
{
   RunOptions options;
   options.program = "/usr/bin/other%s%d";
   const RunResult run = RunHostmem(Host(), {"-h"}, options);
   EXPECT_EQ(run.out, Usage(options.program));
}

TEST(FrontEnd, ChecksTheSignatureAndPrintsTheUsageWithoutAReport)
{
   for (const std::vector<std::string> &arguments :
        std::vector<std::vector<std::string>>{{}, {"--force"}, {"word"}, {"--", "-r", "group-stats"}}) {
      const RunResult run = RunTool(arguments);
      ExpectUsage(run, "", 0);
      EXPECT_EQ(run.trace, std::vector<std::string>{"Nevra_CheckSig(21) = 0"});
   }
}

// ---- options that are not the tool's

TEST(FrontEnd, RefusesWhatItDoesNotKnow)
{
   for (const std::vector<std::string> &arguments : std::vector<std::vector<std::string>>{
           {"-u", "mb", "-r", "group-stats"}, // a report's option before -r
           {"-q", "-r", "group-stats"},
           {"-z"},
           {"--nothing"},
           {"--help=x"},
           {"--force=x", "-r", "group-stats"},
           {"-r"},
           {"--report"},
           {"-c"},
           {"--cache"},
           {"-f"},
           {"-zh"},
        }) {
      Scenario scenario = Host();
      scenario.SignatureMismatch(0xbad0018, "k", "a");
      const RunResult run = RunTool(scenario, arguments);
      ExpectUsage(run, kUnexpected, 1);
      ExpectNoPlatformCall(run);
   }
}

TEST(FrontEnd, LetsTheCLibrarySayNothing)
{
   EXPECT_EQ(RunTool({"--nothing"}).err, kUnexpected);
   EXPECT_EQ(RunTool({"-r", "group-stats", "-q", "-s", "gid:name", "-z", "--nothing", "-u"}).err, "");
}

// ---- report types

TEST(FrontEnd, RefusesAReportThatItDoesNotKnow)
{
   for (const std::string name : {"", "group", "group-statss", " group-stats", "group_stats", "%s%n", "19"}) {
      const RunResult run = RunTool({"-r", name});
      ExpectUsage(run, "Invalid report " + name + '\n', 1);
      ExpectNoPlatformCall(run);
   }
}

TEST(FrontEnd, MatchesReportTypesInAnyCase)
{
   for (const std::string name : {"group-stats", "GROUP-STATS", "Group-Stats", "gROUP-sTATS"}) {
      for (const std::string option : {"-r", "--report", "--rep"}) {
         const RunResult run = RunTool({option, name, "-q", "-s", "gid:name"});
         EXPECT_EQ(run.out, kGroupTable);
         EXPECT_EQ(run.exitStatus, 0);
      }
   }
   EXPECT_EQ(RunTool({"-rgroup-stats", "-q", "-s", "gid:name"}).out, kGroupTable);
   EXPECT_EQ(RunTool({"--report=group-stats", "-q", "-s", "gid:name"}).out, kGroupTable);
}

TEST(FrontEnd, KnowsTheNineteenReports)
{
   for (const char *name :
        {"group-stats", "vm-stats", "uw-stats", "pshare-stats", "pshareHint-stats", "swap-stats",
         "buddy-stats", "comp-stats", "lpool-stats", "heap-stats", "guest-stats", "zip-stats", "lpage-stats",
         "asyncremap-stats", "pmem-regionstore-stats", "pmem-region-stats", "pmem-extent-stats",
         "pmem-region-numa-stats", "dcpmm-stats"}) {
      const RunResult run = RunTool({"-r", name});
      EXPECT_EQ(run.err.find("Invalid report"), std::string::npos) << name;
      EXPECT_EQ(run.out.find("Usage:"), std::string::npos) << name;
      ASSERT_FALSE(run.trace.empty());
      EXPECT_EQ(run.trace[0], "Nevra_CheckSig(21) = 0") << name;
   }
}

// ---- force

// Kept for compatibility: the short form takes a word, which nothing reads.
TEST(FrontEnd, LetsTheShortForceSwallowAWord)
{
   const RunResult swallowed = RunTool({"-f", "-r", "group-stats"});
   ExpectUsage(swallowed, "", 0);
   EXPECT_EQ(swallowed.trace, std::vector<std::string>{"Nevra_CheckSig(21) = 0"});
   EXPECT_EQ(RunTool({"-f", "word", "-r", "group-stats", "-q", "-s", "gid:name"}).out, kGroupTable);
   EXPECT_EQ(RunTool({"-fword", "-r", "group-stats", "-q", "-s", "gid:name"}).out, kGroupTable);
   EXPECT_EQ(RunTool({"--force", "-r", "group-stats", "-q", "-s", "gid:name"}).out, kGroupTable);
}

// ---- the signature

TEST(FrontEnd, EndsAtASignatureMismatch)
{
   for (const NevraStatus status : {0xbad0018U, 0xbad0001U, 0xbad0003U, 0x2bad0001U}) {
      Scenario scenario = Host();
      scenario.SignatureMismatch(status, "kernel build", "tool build");
      const RunResult run = RunTool(scenario, {"-r", "group-stats", "-q"});
      EXPECT_EQ(run.out, "");
      EXPECT_EQ(run.err, StatusInTrace(status) +
                            ": md5 signature mismatch with running tarvos built on kernel build. (vs tool "
                            "build for app sysinfo)\nVersion check failed\n");
      EXPECT_EQ(run.exitStatus, 1);
      EXPECT_TRUE(run.Calls().empty());
   }
}

TEST(FrontEnd, GoesOnPastAMismatchWhenForced)
{
   Scenario scenario = Host();
   scenario.SignatureMismatch(0xbad0018, "kernel build", "tool build");
   const std::string message =
      "0xbad0018: md5 signature mismatch with running tarvos built on kernel build. (vs "
      "tool build for app sysinfo)\n";
   for (const std::vector<std::string> &force :
        std::vector<std::vector<std::string>>{{"--force"}, {"-f", "word"}, {"--fo"}}) {
      std::vector<std::string> arguments = force;
      arguments.insert(arguments.end(), {"-r", "group-stats", "-q", "-s", "gid:name"});
      const RunResult run = RunTool(scenario, arguments);
      EXPECT_EQ(run.out, kGroupTable);
      EXPECT_EQ(run.err, message);
      EXPECT_EQ(run.exitStatus, 0);
   }
   ExpectUsage(RunTool(scenario, {"--force"}), message, 0);
}

TEST(FrontEnd, EndsAtAMismatchBeforeTheUsageText)
{
   Scenario scenario = Host();
   scenario.SignatureMismatch(0xbad0018, "k", "a");
   const RunResult run = RunTool(scenario, {});
   EXPECT_EQ(run.out, "");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(run.err, "0xbad0018: md5 signature mismatch with running tarvos built on k. (vs a for app "
                      "sysinfo)\nVersion check failed\n");
}

// The platform fills all 21 bytes here, without an end.
TEST(FrontEnd, ShowsAtMostTwentyCharactersOfTheKernelsBuild)
{
   Scenario scenario = Host();
   scenario.SignatureMismatch(0xbad0018, "abcdefghijklmnopqrstuvwxyz", std::string(300, 'a'));
   EXPECT_EQ(RunTool(scenario, {}).err,
             "0xbad0018: md5 signature mismatch with running tarvos built on abcdefghijklmnopqrst. (vs " +
                std::string(300, 'a') + " for app sysinfo)\nVersion check failed\n");
}

// ---- the cache

TEST(FrontEnd, OpensTheCacheBeforeItChecksTheSignature)
{
   for (const std::vector<std::string> &cache :
        std::vector<std::vector<std::string>>{{"-c", "a file"}, {"--cache", "a file"}, {"--cache=a file"}}) {
      std::vector<std::string> arguments = cache;
      arguments.insert(arguments.end(), {"-r", "group-stats", "-q", "-s", "gid:name", "-l", "1"});
      const RunResult run = RunTool(arguments);
      EXPECT_EQ(run.out, kGroupTable);
      EXPECT_EQ(run.trace[0], "Nevra_UseCache(\"a file\", 0) = 0");
      EXPECT_EQ(run.trace[1], "Nevra_CheckSig(21) = 0");
      EXPECT_EQ(run.Count("Nevra_UseCache"), 1U);
      EXPECT_EQ(run.Count("Nevra_CheckSig"), 1U);
   }
}

TEST(FrontEnd, TakesTheLastCache)
{
   EXPECT_EQ(RunTool({"-c", "one", "-c", "two", "-r", "group-stats"}).trace[0],
             "Nevra_UseCache(\"two\", 0) = 0");
}

TEST(FrontEnd, EndsAtACacheThatDoesNotOpen)
{
   for (const NevraStatus status : kFaultStatuses) {
      Scenario scenario = Host();
      scenario.CacheStatus(status).SignatureMismatch(0xbad0018, "k", "a");
      for (const std::vector<std::string> &arguments :
           std::vector<std::vector<std::string>>{{"-c", "no/such"},
                                                 {"-c", "no/such", "-r", "group-stats"},
                                                 {"--force", "-c", "no/such", "-r", "comp-stats"}}) {
         const RunResult run = RunTool(scenario, arguments);
         EXPECT_EQ(run.out, "");
         EXPECT_EQ(run.err, "Couldn't open cache file no/such, error code: " + std::to_string(status) + '\n');
         EXPECT_EQ(run.exitStatus, 1);
         EXPECT_EQ(run.trace[0], "Nevra_UseCache(\"no/such\", 0) = " + StatusInTrace(status));
         EXPECT_EQ(run.Count("Nevra_CheckSig"), 0U);
      }
   }
}

TEST(FrontEnd, PrintsTheUsageForACacheWithoutAReport)
{
   const RunResult run = RunTool({"-c", "file"});
   ExpectUsage(run, "", 0);
   EXPECT_EQ(run.trace,
             (std::vector<std::string>{"Nevra_UseCache(\"file\", 0) = 0", "Nevra_CheckSig(21) = 0"}));
}

TEST(FrontEnd, RefusesACacheForTheProfiler)
{
   for (const char *name : {"dcpmm-stats", "DCPMM-stats"}) {
      Scenario scenario = Host();
      scenario.CacheStatus(0xbad0003);
      const RunResult run = RunTool(scenario, {"-c", "file", "-r", name});
      EXPECT_EQ(run.out, "");
      EXPECT_EQ(run.err, "DCPMM report does not work on cache file\n");
      EXPECT_EQ(run.exitStatus, 1);
      ExpectNoPlatformCall(run);
   }
}

TEST(FrontEnd, LeavesACacheBehindTheReportToTheReport)
{
   const RunResult run = RunTool({"-r", "group-stats", "-c", "file", "-q", "-s", "gid:name"});
   EXPECT_EQ(run.out, kGroupTable);
   EXPECT_EQ(run.Count("Nevra_UseCache"), 0U);
   EXPECT_EQ(RunTool({"-r", "dcpmm-stats", "-c", "file"}).Count("Nevra_UseCache"), 0U);
}

// ---- the report

TEST(FrontEnd, StopsItsOwnParsingAtTheReport)
{
   // -h, -f and a second -r after the report are unknown to it, and ignored.
   EXPECT_EQ(RunTool({"-r", "group-stats", "-h", "-q", "-s", "gid:name"}).out, kGroupTable);
   EXPECT_EQ(RunTool({"-r", "group-stats", "--help", "-q", "-s", "gid:name"}).out, kGroupTable);
   EXPECT_EQ(RunTool({"-r", "group-stats", "-r", "nothing", "-q", "-s", "gid:name"}).out, kGroupTable);
   EXPECT_EQ(RunTool({"-r", "group-stats", "-f", "-q", "-s", "gid:name"}).out, kGroupTable);
}

TEST(FrontEnd, GoesOnWithTheScanWhereItStopped)
{
   // Not restarted: the -c and --force in front of the report do not reach it again.
   EXPECT_EQ(RunTool({"--force", "-c", "file", "-r", "group-stats", "-q", "-s", "gid:name"}).out,
             kGroupTable);
   // Words that are no options are passed over on both sides.
   EXPECT_EQ(RunTool({"word", "-r", "group-stats", "word", "-q", "word", "-s", "gid:name"}).out, kGroupTable);
   EXPECT_EQ(RunTool({"-r", "group-stats", "--", "-q"}).OutLines()[1].substr(0, 13), " GROUP STATS:");
}

TEST(FrontEnd, ExitsByTheReportsStatus)
{
   EXPECT_EQ(RunTool({"-r", "group-stats", "-q"}).exitStatus, 0);
   Scenario empty;
   const RunResult run = RunTool(empty, {"-r", "group-stats", "-q", "-s", "gid"});
   EXPECT_EQ(run.out, "gid\n");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 1);
}

// ---- output that does not arrive

// Runs with standard output going to a descriptor, which is closed afterwards.
RunResult RunInto(int descriptor, const Scenario &scenario, const std::vector<std::string> &arguments)
{
   RunOptions options;
   options.program = kProgram;
   options.standardOutput = descriptor;
   RunResult run = RunHostmem(scenario, arguments, options);
   close(descriptor);
   return run;
}

int FullDisk()
{
   return open("/dev/full", O_WRONLY | O_CLOEXEC);
}

int PipeWithoutReader()
{
   int ends[2] = {-1, -1};
   EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
   close(ends[0]);
   return ends[1];
}

// Rows for more than what standard output gathers before it writes.
Scenario LargeHost()
{
   Scenario scenario = Host();
   Keys children;
   for (int64_t id = 1; id <= 1200; id++) {
      scenario.Group(id).Name(std::string(63, 'g')).Parent(0);
      children.push_back(id);
   }
   scenario.Group(0).Children(children);
   return scenario;
}

constexpr char kNoSpace[] = "Couldn't write the output: No space left on device\n";

TEST(FrontEnd, FailsAfterAReportThatAFullDiskCutShort)
{
   const std::vector<std::string> arguments = {"-r", "group-stats", "-q", "-s", "gid:name"};
   for (const Scenario &scenario : {Host(), LargeHost()}) {
      const RunResult run = RunInto(FullDisk(), scenario, arguments);
      EXPECT_THAT(run, RanCleanly());
      EXPECT_EQ(run.err, kNoSpace);
      EXPECT_EQ(run.exitStatus, 1);
      // The report asks for all that it asks for otherwise.
      std::vector<std::string> expected = RunTool(scenario, arguments).trace;
      expected.push_back(run.trace.back());
      EXPECT_EQ(run.trace, expected);
      EXPECT_TRUE(run.trace.back().starts_with("Warning(")) << run.trace.back();
   }
}

TEST(FrontEnd, FailsWhenTheUsageTextCannotBeWritten)
{
   const RunResult run = RunInto(FullDisk(), Host(), {"-h"});
   EXPECT_EQ(run.err, kNoSpace);
   EXPECT_EQ(run.exitStatus, 1);
}

TEST(FrontEnd, SaysNothingOfAFullDiskWhenThereIsNoOutput)
{
   const RunResult run =
      RunInto(FullDisk(), Host().CacheStatus(0xbad0003), {"-c", "file", "-r", "comp-stats"});
   EXPECT_EQ(run.err, "Couldn't open cache file file, error code: 195887107\n");
   EXPECT_EQ(run.exitStatus, 1);
}

TEST(FrontEnd, FailsWhenStandardOutputIsClosed)
{
   RunOptions options;
   options.program = kProgram;
   options.closedStreams = {STDIN_FILENO, STDOUT_FILENO};
   const RunResult run = RunHostmem(Host(), {"-r", "group-stats", "-q"}, options);
   EXPECT_THAT(run, RanCleanly());
   EXPECT_EQ(run.err, "Couldn't write the output: Bad file descriptor\n");
   EXPECT_EQ(run.exitStatus, 1);
}

TEST(FrontEnd, IsEndedByThePipeThatNobodyReads)
{
   const RunResult run = RunInto(PipeWithoutReader(), Host(), {"-r", "group-stats", "-q"});
   EXPECT_EQ(run.signal, SIGPIPE);
   EXPECT_EQ(run.err, "");
}

TEST(FrontEnd, FailsOnAPipeThatNobodyReadsWhereTheSignalIsIgnored)
{
   const auto before = std::signal(SIGPIPE, SIG_IGN); // as the child inherits it
   const RunResult run = RunInto(PipeWithoutReader(), Host(), {"-r", "group-stats", "-q"});
   std::signal(SIGPIPE, before);
   EXPECT_THAT(run, RanCleanly());
   EXPECT_EQ(run.err, "Couldn't write the output: Broken pipe\n");
   EXPECT_EQ(run.exitStatus, 1);
}

} // namespace
