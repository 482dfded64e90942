// The subcommands of hostmem-record that read, as programs.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/recorder/reading/made_recording.h"
#include "tests/shell/run_command.h"

namespace {

struct Ended {
   std::string out;
   std::string err;
   int exitStatus = -1;
};

std::string Contents(const std::string &path)
{
   std::ostringstream text;
   text << std::ifstream(path, std::ios::binary).rdbuf();
   return text.str();
}

Ended RunShell(const std::string &command)
{
   char errors[] = "/tmp/reading-XXXXXX";
   close(mkstemp(errors));
   const CommandResult result = RunCommand("{ TZ=UTC " + command + "\n} 2>" + errors);
   const Ended run = {.out = result.output, .err = Contents(errors), .exitStatus = result.exitStatus};
   std::filesystem::remove(errors);
   return run;
}

class Reading : public testing::Test {
 protected:
   // hostmem-record SUBCOMMAND --dir FOLDER ARGUMENT...
   Ended Record(const std::string &subcommand, const std::string &arguments = "") const
   {
      return RunShell(HOSTMEM_RECORD " " + subcommand + " --dir " + recording.Folder() + ' ' + arguments);
   }

   std::string Path(const char *name) const { return recording.Folder() + '/' + name; }

   // Three frames, a minute apart: rowan swaps more, and birch has no say.
   void RecordThreeFrames()
   {
      recording.Add(kNoon, {}, recorder::kReasonStart);
      recording.Add(kNoon + 60, {{"\"swapOut\": 14336", "\"swapOut\": 14936"},
                                 {"\"swapped\": 12288", "\"swapped\": 12888"}});
      recording.Add(
         kNoon + 120,
         {{"\"swapOut\": 14336", "\"swapOut\": 14951"}, {"\"swapped\": 12288", "\"swapped\": 12888"}},
         recorder::kReasonPressure);
   }

   MadeRecording recording;
};

// ---- list, info, verify

TEST_F(Reading, ListShowsSegmentsAndFramesOfNote)
{
   RecordThreeFrames();
   recording.Stop();
   const Ended run = Record("list");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_EQ(run.err, "");
   const std::string size = std::to_string(std::filesystem::file_size(recording.Segments()[0]));
   EXPECT_EQ(run.out.substr(0, run.out.find("   2026")),
             "state     frames          bytes  segment\n"
             "   frame                  number      bytes     stored  reason\n"
             "closed         3 " +
                std::string(14 - size.size(), ' ') + size + "  000000000001-20260115T120000Z.segment\n");
   EXPECT_NE(run.out.find("   2026-01-15T12:00:00Z        1"), std::string::npos) << run.out;
   EXPECT_NE(run.out.find("  start\n"), std::string::npos) << run.out;
   EXPECT_EQ(run.out.find("12:01:00Z"), std::string::npos) << "only with --all: " << run.out;
   EXPECT_NE(run.out.find("   2026-01-15T12:02:00Z        3"), std::string::npos) << run.out;
   EXPECT_NE(run.out.find("  pressure\n"), std::string::npos) << run.out;
   EXPECT_NE(Record("list", "--all").out.find("12:01:00Z        2"), std::string::npos);
}

TEST_F(Reading, ListShowsGapsAndBoots)
{
   for (const int64_t seconds : {0, 60, 120, 600, 660}) {
      recording.Add(kNoon + seconds);
   }
   recording.Boot(kNoon + 700);
   recording.Add(kNoon + 760);
   const Ended run = Record("list");
   EXPECT_NE(run.out.find("   gap: 2026-01-15T12:02:00Z to 2026-01-15T12:10:00Z (8m 0s)\n"),
             std::string::npos)
      << run.out;
   EXPECT_NE(
      run.out.find("   gap: 2026-01-15T12:11:00Z to 2026-01-15T12:12:40Z (1m 40s, the host was booted)\n"),
      std::string::npos)
      << run.out;
   EXPECT_NE(run.out.find("open           1"), std::string::npos) << run.out;
}

TEST_F(Reading, InfoShowsTheSum)
{
   RecordThreeFrames();
   const Ended run = Record("info");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_EQ(run.out.substr(0, run.out.find("bytes on disk")), "host               aspen\n"
                                                               "first frame        2026-01-15T12:00:00Z\n"
                                                               "last frame         2026-01-15T12:02:00Z\n"
                                                               "frames             3\n"
                                                               "usual interval     1m 0s\n"
                                                               "gaps               0\n"
                                                               "segments           1\n"
                                                               "damaged segments   0\n");
}

TEST_F(Reading, VerifyTellsSoundFromDamaged)
{
   RecordThreeFrames();
   recording.Stop();
   const Ended sound = Record("verify");
   EXPECT_EQ(sound.out, recording.Folder() + ": sound, 1 segments, 3 frames\n");
   EXPECT_EQ(sound.exitStatus, 0);
   // Within the snapshot of the first frame.
   std::fstream file(recording.Segments()[0], std::ios::in | std::ios::out | std::ios::binary);
   file.seekg(400);
   const int byte = file.get();
   file.seekp(400);
   file.put(static_cast<char>(byte ^ 1));
   file.close();
   const Ended damaged = Record("verify");
   EXPECT_EQ(damaged.out, "");
   EXPECT_NE(damaged.err, "");
   EXPECT_EQ(damaged.exitStatus, 1);
}

TEST_F(Reading, ReadsWhatAKilledRecorderLeft)
{
   RecordThreeFrames();
   recording.Kill();
   const std::string segment = recording.Segments()[0];
   const uint64_t size = std::filesystem::file_size(segment);
   std::filesystem::resize_file(segment, size - 10);
   const Ended run = Record("list", "--all");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_NE(run.out.find("open           2"), std::string::npos) << run.out;
   EXPECT_NE(run.out.find("bytes of a frame that is being written, or never was to its end\n"),
             std::string::npos)
      << run.out;
   EXPECT_EQ(Record("series", "-r comp-stats -s free --from 12:00").out.find("12:02"), std::string::npos);
   EXPECT_EQ(Record("verify").exitStatus, 0);
}

TEST_F(Reading, ReadsWhileARecorderWrites)
{
   recording.Add(kNoon);
   for (int hour = 0; hour < 10; hour++) { // a segment each
      const std::jthread writer([this, hour] {
         for (int minute = 1; minute <= 60; minute++) {
            recording.Add(kNoon + (hour * 60 + minute) * 60);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
         }
      });
      for (int i = 0; i < 2; i++) {
         for (const char *command : {"list --all", "info", "verify", "series -r comp-stats -s free"}) {
            const Ended run = Record(command);
            EXPECT_EQ(run.exitStatus, 0) << command;
            EXPECT_EQ(run.err, "") << command;
         }
      }
   }
}

TEST_F(Reading, SaysThatThereIsNothing)
{
   for (const char *command : {"list", "info", "verify", "at", "report", "series", "grow"}) {
      const bool hasTime = command[0] == 'a' || std::string(command) == "report";
      const std::string arguments = std::string(command) == "at"       ? "now -o " + Path("x")
                                    : std::string(command) == "series" ? "-r comp-stats"
                                    : std::string(command) == "grow"   ? "--from now"
                                    : hasTime                          ? "now -r comp-stats"
                                                                       : "";
      const Ended run = Record(command, arguments);
      EXPECT_EQ(run.exitStatus, 1) << command;
      EXPECT_EQ(run.out, "") << command;
      EXPECT_EQ(run.err, "hostmem-record: " + recording.Folder() + ": nothing is recorded here\n") << command;
   }
   EXPECT_EQ(RunShell(HOSTMEM_RECORD " list --dir /nowhere").err,
             "hostmem-record: /nowhere: cannot be read: No such file or directory\n");
}

TEST_F(Reading, SaysWhyNothingCanBeRead)
{
   std::ofstream(Path("000000000001-20260115T120000Z.segment")) << std::string(100, 'x');
   for (const char *command : {"list", "info", "verify"}) {
      const Ended run = Record(command);
      EXPECT_EQ(run.exitStatus, 1);
      EXPECT_EQ(run.err.find("hostmem-record: " + Path("000000000001-20260115T120000Z.segment: ")), 0u)
         << run.err;
      EXPECT_NE(run.err.find(recording.Folder() + ": nothing is recorded here\n"), std::string::npos)
         << run.err;
   }
}

// ---- at, report

TEST_F(Reading, AtGivesTheSnapshotByteForByte)
{
   RecordThreeFrames();
   const std::string path = Path("moment.snapshot");
   const Ended run = Record("at", "2026-01-15T12:01:59Z -o " + path);
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_EQ(run.err, "hostmem-record: " + path + ": host aspen, captured 2026-01-15T12:01:00Z\n");
   const std::vector<uint8_t> expected =
      MakeSnapshot(kNoon + 60, {{"\"swapOut\": 14336", "\"swapOut\": 14936"},
                                {"\"swapped\": 12288", "\"swapped\": 12888"}});
   EXPECT_EQ(Contents(path), std::string(expected.begin(), expected.end()));
   struct stat facts;
   ASSERT_EQ(stat(path.c_str(), &facts), 0);
   EXPECT_EQ(facts.st_mode & 0777, 0600u);
}

TEST_F(Reading, AtKeepsAFileThatIsThere)
{
   RecordThreeFrames();
   const std::string path = Path("there");
   std::ofstream(path) << "precious";
   const Ended run = Record("at", "now -o " + path);
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(run.err, "hostmem-record: " + path + ": already exists; --force replaces it\n");
   EXPECT_EQ(Contents(path), "precious");
   EXPECT_EQ(Record("at", "now --force -o " + path).exitStatus, 0);
   EXPECT_NE(Contents(path), "precious");
}

TEST_F(Reading, ReportIsWhatHostmemPrintsOfThatMoment)
{
   RecordThreeFrames();
   const std::string path = Path("moment.snapshot");
   ASSERT_EQ(Record("at", "@1768478519 -o " + path).exitStatus, 0);
   const Ended run = Record("report", "@1768478519 -r vm-stats -s name:swapped -q");
   EXPECT_EQ(run.out, RunShell(HOSTMEM " -c " + path + " -r vm-stats -s name:swapped -q").out);
   EXPECT_NE(run.out.find("rowan,12888\n"), std::string::npos) << run.out;
   EXPECT_EQ(run.err,
             "hostmem-record: " + recording.Folder() + ": host aspen, captured 2026-01-15T12:01:00Z\n");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_EQ(Record("report", "now -r no-such-stats").exitStatus, 1);
}

TEST_F(Reading, SaysSinceWhenThereAreFrames)
{
   RecordThreeFrames();
   const Ended run = Record("report", "2026-01-15T11:59:59Z -r comp-stats");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(run.err, "hostmem-record: " + recording.Folder() +
                         ": nothing is recorded at or before 2026-01-15T11:59:59Z; the first frame is of "
                         "2026-01-15T12:00:00Z\n");
   EXPECT_NE(Record("report", "whenever -r comp-stats").err.find("no time: whenever (now, "),
             std::string::npos);
}

// ---- series

TEST_F(Reading, SeriesHasTheRowsOfEachMoment)
{
   RecordThreeFrames();
   const Ended run = Record("series", "-r vm-stats -s name:swapped");
   EXPECT_EQ(run.out, "time,host,report,row,name,swapped (KB)\n"
                      "2026-01-15T12:00:00Z,aspen,vm-stats,data,birch,0\n"
                      "2026-01-15T12:00:00Z,aspen,vm-stats,data,rowan,12288\n"
                      "2026-01-15T12:01:00Z,aspen,vm-stats,data,birch,0\n"
                      "2026-01-15T12:01:00Z,aspen,vm-stats,data,rowan,12888\n"
                      "2026-01-15T12:02:00Z,aspen,vm-stats,data,birch,0\n"
                      "2026-01-15T12:02:00Z,aspen,vm-stats,data,rowan,12888\n");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
}

// What a program writes to a terminal, until it ends.
std::string ReadTerminal(int terminal)
{
   std::string text;
   char part[4096];
   for (ssize_t count; (count = read(terminal, part, sizeof part)) > 0;) { // fails when nobody has it open
      text.append(part, static_cast<size_t>(count));
   }
   return text;
}

// Its output is not taken for more than a second, so that the work takes longer than that.
TEST_F(Reading, SeriesShowsItsProgressOnATerminal)
{
   for (int minute = 0; minute < 1500; minute++) {
      recording.Add(kNoon + minute * 60);
   }
   recording.Stop();
   int output[2];
   ASSERT_EQ(pipe2(output, O_CLOEXEC), 0);
   int terminal = -1;
   const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
   ASSERT_GE(child, 0);
   if (child == 0) {
      dup2(output[1], STDOUT_FILENO);
      execl(HOSTMEM_RECORD, HOSTMEM_RECORD, "series", "--dir", recording.Folder().c_str(), "-r", "vm-stats",
            nullptr);
      _exit(127);
   }
   close(output[1]);
   std::this_thread::sleep_for(std::chrono::milliseconds(1500));
   std::jthread reader([&output] {
      char part[4096];
      while (read(output[0], part, sizeof part) > 0) {
      }
   });
   const std::string shown = ReadTerminal(terminal);
   int status = -1;
   waitpid(child, &status, 0);
   EXPECT_EQ(status, 0);
   reader.join();
   close(output[0]);
   close(terminal);
   EXPECT_THAT(shown, testing::MatchesRegex("(\r\033\\[Kreading: [0-9]+%)+\r\033\\[K"));
}

TEST_F(Reading, SeriesTakesAStretchAndSomeRows)
{
   RecordThreeFrames();
   EXPECT_EQ(Record("series",
                    "-r vm-stats -s name:swapped -u mb --match 'name=r*' --from '2026-01-15 12:00:01' "
                    "--to 2026-01-15T12:01:00Z")
                .out,
             "time,host,report,row,name,swapped (MB)\n"
             "2026-01-15T12:01:00Z,aspen,vm-stats,data,rowan,13\n");
   const Ended none = Record("series", "-r comp-stats --from '2026-01-16 00:00'");
   EXPECT_EQ(none.exitStatus, 1);
   EXPECT_EQ(none.err, "hostmem-record: " + recording.Folder() +
                          ": nothing is recorded between these times; there are frames from "
                          "2026-01-15T12:00:00Z to 2026-01-15T12:02:00Z\n");
}

TEST_F(Reading, SeriesShowsHowFastCountersGoUp)
{
   RecordThreeFrames();
   const std::string arguments = "-r swap-stats -s name:swapped:swapOut --match name=rowan --rate";
   EXPECT_EQ(Record("series", arguments).out,
             "time,host,report,row,name,swapped (KB),swapOut (KB/s)\n"
             "2026-01-15T12:00:00Z,aspen,swap-stats,data,rowan,12288,\n"
             "2026-01-15T12:01:00Z,aspen,swap-stats,data,rowan,12888,10\n"
             "2026-01-15T12:02:00Z,aspen,swap-stats,data,rowan,12888,0.25\n");
   // The frame before the stretch is the base of its first rate.
   EXPECT_EQ(Record("series", arguments + " --from '2026-01-15 12:02' --format jsonl | tail -1").out,
             R"({"row":"data","report":"swap-stats","host":"aspen","time":"2026-01-15T12:02:00Z",)"
             R"("name":"rowan","swapped":12888,"swapOut":0.25})"
             "\n");
}

TEST_F(Reading, NoRateGoesAcrossABootOrBackwards)
{
   recording.Add(kNoon);
   recording.Boot(kNoon + 30);
   recording.Add(kNoon + 60, {{"\"swapOut\": 14336", "\"swapOut\": 14936"}});
   recording.Add(kNoon + 120);
   EXPECT_EQ(Record("series", "-r swap-stats -s swapOut --rate --match name=rowan").exitStatus, 1)
      << "name is not selected";
   EXPECT_EQ(Record("series", "-r swap-stats -s name:swapOut --rate --match name=rowan").out,
             "time,host,report,row,name,swapOut (KB/s)\n"
             "2026-01-15T12:00:00Z,aspen,swap-stats,data,rowan,\n"
             "2026-01-15T12:01:00Z,aspen,swap-stats,data,rowan,\n"
             "2026-01-15T12:02:00Z,aspen,swap-stats,data,rowan,\n");
}

TEST_F(Reading, SeriesKeepsAnyNameInItsField)
{
   recording.Add(kNoon, {{"\"rowan\"", R"("a,\"b")"}});
   EXPECT_EQ(Record("series", "-r vm-stats -s name:swapped --match 'name=a*'").out,
             "time,host,report,row,name,swapped (KB)\n"
             "2026-01-15T12:00:00Z,aspen,vm-stats,data,\"a,\"\"b\",12288\n");
}

TEST_F(Reading, SeriesRefusesWhatCannotBeMeant)
{
   RecordThreeFrames();
   for (const auto &[arguments, message] :
        {std::pair{"-r vm-stats -s name:swaped", "-r: vm-stats has no column swaped"},
         {"-r vm-stat", "vm-stat: no such report"},
         {"-r dcpmm-stats", "dcpmm-stats: reads no recording"},
         {"-r vm-stats --match name", "--match: not COLUMN=PATTERN: name"},
         {"-r vm-stats --nonsense", "-r: vm-stats has no such option, or it lacks its value: --nonsense"},
         {"-r vm-stats --from soon", "TIME: no time: soon ("}}) {
      const Ended run = Record("series", arguments);
      EXPECT_EQ(run.exitStatus, 2) << arguments;
      EXPECT_EQ(run.out, "") << arguments;
      EXPECT_NE(run.err.find(std::string("hostmem-record: ") + message), std::string::npos) << run.err;
   }
   EXPECT_EQ(Record("series", "-r vm-stats --match nome=x").err,
             "hostmem-record: --match: vm-stats shows no column nome to match with\n");
}

// ---- grow

TEST_F(Reading, GrowShowsWhoGrewAndWhoShrank)
{
   recording.Add(kNoon);
   recording.Add(kNoon + 600, {{"\"mapped\": 1736704", "\"mapped\": 1941504"},   // rowan
                               {"\"mapped\": 3801088", "\"mapped\": 3800064"}}); // birch
   const Ended run = Record("grow", "--from '2026-01-15 12:00' --by vm");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_EQ(run.out, "host aspen, 2026-01-15T12:00:00Z to 2026-01-15T12:10:00Z\n"
                      "\n"
                      "vm                                   before          now       grew MB   number\n"
                      "rowan                                1643.0       1843.0        +200.0        1\n"
                      "birch                                3596.0       3595.0          -1.0        1\n");
   EXPECT_EQ(Record("grow", "--from '2026-01-15 12:00' --top 1 -u kb").out,
             "host aspen, 2026-01-15T12:00:00Z to 2026-01-15T12:10:00Z\n"
             "\n"
             "vm                                   before          now       grew KB   number\n"
             "rowan                               1682432      1887232       +204800        1\n"
             "and 1 more that changed\n");
}

TEST_F(Reading, GrowKnowsItsSubjects)
{
   recording.Add(kNoon);
   recording.Add(kNoon + 60);
   for (const char *subject : {"vm", "group", "process", "heap"}) {
      const Ended run = Record("grow", std::string("--from '2026-01-15 12:00' --by ") + subject);
      EXPECT_EQ(run.exitStatus, 0);
      EXPECT_NE(run.out.find(std::string("\n") + subject + ' '), std::string::npos) << run.out;
   }
   EXPECT_EQ(Record("grow", "--from now --by disk").exitStatus, 2);
}

} // namespace
