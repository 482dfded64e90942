// hostmem-overview as a program.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/recorder/reading/made_recording.h"
#include "tests/shell/run_command.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char kSmallHost[] = " -c " SAMPLES "/small-host.snapshot";
constexpr char kLargeHost[] = " -c " SAMPLES "/hypervisor-host.snapshot";

// The address sanitizer opens libraries in the program's place and looks where it would look itself.
#ifdef __SANITIZE_ADDRESS__
constexpr char kEnvironment[] = "TZ=UTC LC_ALL=C.UTF-8 LD_LIBRARY_PATH=" LIBRARY_FOLDER " ";
#else
constexpr char kEnvironment[] = "TZ=UTC LC_ALL=C.UTF-8 ";
#endif

CommandResult Overview(const std::string &arguments)
{
   return RunCommand(std::string(kEnvironment) + HOSTMEM_OVERVIEW " " + arguments);
}

size_t CountOfLines(const std::string &text)
{
   return static_cast<size_t>(std::ranges::count(text, '\n'));
}

TEST(OverviewProgram, ShowsThisHost)
{
   const CommandResult ended = Overview("2>/dev/null");
   EXPECT_EQ(ended.exitStatus, 0) << ended.output;
   EXPECT_THAT(ended.output, HasSubstr("  this host  "));
   EXPECT_THAT(ended.output, HasSubstr("caches and drivers"));
   EXPECT_THAT(ended.output, HasSubstr(" available without swapping\n"));
   EXPECT_LT(CountOfLines(ended.output), 24u);
}

TEST(OverviewProgram, ShowsThisHostToOneWhoIsNotRoot)
{
   if (geteuid() != 0) {
      GTEST_SKIP() << "needs root, who may become somebody else";
   }
   // Where anybody may read them.
   const std::string folder =
      std::filesystem::path(::testing::TempDir()) / ("overview-" + std::to_string(getpid()));
   std::filesystem::create_directory(folder);
   std::filesystem::copy_file(HOSTMEM_OVERVIEW, folder + "/overview");
   std::filesystem::copy_file(LIBRARY_FOLDER "/libnevra.so.1", folder + "/libnevra.so.1");
   const CommandResult ended =
      RunCommand("LD_LIBRARY_PATH=" + folder + " setpriv --reuid nobody --regid nogroup --clear-groups " +
                 folder + "/overview");
   EXPECT_EQ(ended.exitStatus, 0) << ended.output;
   EXPECT_THAT(ended.output, HasSubstr("\nnot read: "));
   EXPECT_LT(CountOfLines(ended.output), 24u);
   const CommandResult list =
      RunCommand("LD_LIBRARY_PATH=" + folder + " setpriv --reuid nobody --regid nogroup --clear-groups " +
                 folder + "/overview --findings");
   EXPECT_THAT(list.output, HasSubstr("not read  /proc/slabinfo: Permission denied; heaps are not shown\n"));
   EXPECT_THAT(list.output, Not(HasSubstr("Kelmar")));
   std::filesystem::remove_all(folder);
}

TEST(OverviewProgram, ShowsASnapshotOfThisHostAsItShowsTheHost)
{
   MadeRecording folder; // to write to
   const std::string path = folder.Folder() + "/host.snapshot";
   ASSERT_EQ(RunCommand(std::string(kEnvironment) + HOSTMEM_SNAPSHOT " capture -o " + path + " 2>/dev/null")
                .exitStatus,
             0);
   const CommandResult ended = Overview("-c " + path);
   EXPECT_EQ(ended.exitStatus, 0) << ended.output;
   EXPECT_THAT(ended.output, HasSubstr("\ncaches and drivers "));
   EXPECT_THAT(ended.output, HasSubstr(" available without swapping\n"));
}

TEST(OverviewProgram, ShowsASnapshot)
{
   const CommandResult ended = Overview(kSmallHost);
   EXPECT_EQ(ended.exitStatus, 0);
   EXPECT_THAT(ended.output, StartsWith("aspen  2026-01-15T12:00:00Z  "));
   EXPECT_THAT(ended.output,
               HasSubstr("\nwarn  rowan has 12.0 MB swapped, 0.6 % of its memory, and is swapping\n"));
}

TEST(OverviewProgram, ComparesSnapshots)
{
   const CommandResult ended =
      Overview(std::string(kLargeHost) + " --against " SAMPLES "/small-host.snapshot");
   EXPECT_EQ(ended.exitStatus, 0);
   EXPECT_THAT(ended.output, HasSubstr("; changes since 2026-01-15T12:00:00Z\n"));
   EXPECT_THAT(ended.output, HasSubstr("+157.5 GB\n"));
}

TEST(OverviewProgram, ShowsMomentsOfARecording)
{
   MadeRecording recording;
   recording.Add(kNoon);
   recording.Add(kNoon + 60, {{"\"consumed\": 3932160", "\"consumed\": 4194304"}});
   const std::string folder = "--dir " + recording.Folder();
   EXPECT_THAT(Overview(folder).output, StartsWith("aspen  2026-01-15T12:01:00Z  "));
   EXPECT_THAT(Overview(folder + " --at 2026-01-15T12:00:30Z").output,
               StartsWith("aspen  2026-01-15T12:00:00Z  "));
   const CommandResult ended =
      Overview(folder + " --against 12:00 --at '2026-01-15 12:01' --against '2026-01-15 12:00'");
   EXPECT_NE(ended.exitStatus, 0) << "two moments to compare with";
   const CommandResult compared = Overview(folder + " --against '2026-01-15 12:00'");
   EXPECT_THAT(compared.output, HasSubstr("; changes since 2026-01-15T12:00:00Z\n"));
   EXPECT_THAT(compared.output, HasSubstr("\nbirch          +256.0 MB"));
   EXPECT_EQ(compared.exitStatus, 0);
   const CommandResult early = Overview(folder + " --at @5");
   EXPECT_EQ(early.exitStatus, 1);
   EXPECT_THAT(early.output, HasSubstr("nothing is recorded at or before @5"));
   EXPECT_THAT(Overview(folder + " --findings --at now").output,
               HasSubstr("hostmem-record report --dir " + recording.Folder() + " now -r swap-stats\n"));
}

TEST(OverviewProgram, ListsFindingsWithTheirCommands)
{
   const CommandResult ended = Overview(std::string(kSmallHost) + " --findings");
   EXPECT_EQ(ended.exitStatus, 0);
   EXPECT_THAT(ended.output, HasSubstr("warning   rowan gave 64.0 MB to its balloon, 3.1 % of its memory\n"
                                       "          hostmem -c " SAMPLES "/small-host.snapshot -r vm-stats -s "
                                       "name:memSize:ballooned:balloonTgt\n"));
}

TEST(OverviewProgram, ChecksAsPluginsOfMonitoringSystemsDo)
{
   const CommandResult critical = Overview(std::string(kSmallHost) + " --check");
   EXPECT_EQ(critical.output,
             "HOSTMEM CRITICAL - emu.birch uses 128.0 MB, 100 % of its limit of 128.0 MB (+2) | "
             "free=1048576KB;;;0;8388608\n");
   EXPECT_EQ(critical.exitStatus, 2);
   const CommandResult warning = Overview(std::string(kLargeHost) + " --check");
   EXPECT_EQ(warning.output,
             "HOSTMEM WARNING - vdi-03 has 178.1 MB swapped, 4.3 % of its memory, and is swapping (+7) "
             "| free=166208628KB;;;0;805306368\n");
   EXPECT_EQ(warning.exitStatus, 1);
   const CommandResult unknown = Overview("--check -c /nowhere");
   EXPECT_EQ(unknown.output, "hostmem-overview: /nowhere: cannot be read: No such file or directory\n"
                             "HOSTMEM UNKNOWN - the memory of the host could not be read\n");
   EXPECT_EQ(unknown.exitStatus, 3);
   for (const char *wrong : {"--check --no-such-option", "--check --findings", "--check -u pages"}) {
      EXPECT_EQ(Overview(wrong).exitStatus, 3) << wrong;
   }
}

// A copy of a sample that is changed.
class ChangedFile : public ::testing::Test {
 protected:
   void SetUp() override { std::filesystem::copy_file(SAMPLES "/small-host.snapshot", path); }
   void TearDown() override { std::filesystem::remove(path); }

   const std::string path =
      std::filesystem::path(::testing::TempDir()) / ("overview-" + std::to_string(getpid()) + ".snapshot");
};

TEST_F(ChangedFile, ThatIsCutShortIsAnError)
{
   for (const size_t size : {0, 7, 1000, 20000}) {
      std::filesystem::resize_file(path, std::min<size_t>(size, std::filesystem::file_size(path)));
      for (const char *form : {"", " --findings", " --check"}) {
         const CommandResult ended = Overview("-c " + path + form);
         EXPECT_EQ(ended.exitStatus, *form != '\0' && std::string(form) == " --check" ? 3 : 1)
            << ended.output;
         EXPECT_THAT(ended.output, StartsWith("hostmem-overview: " + path + ": "));
      }
      std::filesystem::copy_file(SAMPLES "/small-host.snapshot", path,
                                 std::filesystem::copy_options::overwrite_existing);
   }
}

TEST_F(ChangedFile, WithAFlippedBitGivesNoWrongFigure)
{
   const std::string sound = Overview(std::string(kSmallHost) + " --width 200").output;
   const auto size = std::filesystem::file_size(path);
   size_t refused = 0;
   for (uintmax_t at = 100; at < size; at += size / 40) {
      std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
      file.seekg(static_cast<std::streamoff>(at));
      const char former = static_cast<char>(file.get());
      file.seekp(static_cast<std::streamoff>(at));
      file.put(static_cast<char>(former ^ 0x10));
      file.close();
      const CommandResult ended = Overview("--width 200 -c " + path);
      ASSERT_GE(ended.exitStatus, 0) << "at " << at;
      refused += ended.exitStatus != 0 ? 1 : 0;
      // What is shown in spite of the damage is right: the same lines, or fewer.
      if (ended.exitStatus == 0) {
         EXPECT_EQ(CountOfLines(ended.output), CountOfLines(sound)) << "at " << at << '\n' << ended.output;
      }
      std::filesystem::copy_file(SAMPLES "/small-host.snapshot", path,
                                 std::filesystem::copy_options::overwrite_existing);
   }
   EXPECT_GT(refused, 10u);
}

TEST(OverviewProgram, FailsWhereNothingIsRecorded)
{
   MadeRecording recording; // not begun
   const CommandResult ended = Overview("--dir " + recording.Folder());
   EXPECT_EQ(ended.output, "hostmem-overview: " + recording.Folder() + ": nothing is recorded here\n");
   EXPECT_EQ(ended.exitStatus, 1);
   EXPECT_EQ(Overview("--dir /nowhere").exitStatus, 1);
}

TEST(OverviewProgram, RefusesWhatCannotBeMeant)
{
   for (const auto &[arguments, message] :
        {std::pair<std::string, std::string>{"--at now", "--at requires --dir"},
         {"--dir /tmp" + std::string(kSmallHost), "excludes"},
         {"-u pages", "--unit"},
         {"--width 10", "--width"},
         {"--height 5", "--height"},
         {"surplus", "surplus"}}) {
      const CommandResult ended = Overview(arguments);
      EXPECT_EQ(ended.exitStatus, 2) << arguments;
      EXPECT_THAT(ended.output, HasSubstr(message));
      EXPECT_THAT(ended.output, HasSubstr("Run with --help for more information.\n"));
   }
}

TEST(OverviewProgram, SaysWhenItsOutputIsNotTaken)
{
   const CommandResult ended = Overview(std::string(kSmallHost) + " >/dev/full");
   EXPECT_EQ(ended.exitStatus, 1);
   EXPECT_THAT(ended.output, HasSubstr("standard output: cannot be written: No space left on device"));
}

TEST(OverviewProgram, PrintsItsVersion)
{
   EXPECT_EQ(Overview("--version").output, "hostmem-overview " HOSTMEM_VERSION "\n");
}

TEST(OverviewProgram, IsAsciiWhereTheLocaleIs)
{
   const CommandResult ended = RunCommand(std::string("LC_ALL=C " HOSTMEM_OVERVIEW) + kSmallHost);
   EXPECT_THAT(ended.output, HasSubstr("in use                  #####"));
   EXPECT_TRUE(
      std::ranges::all_of(ended.output, [](char c) { return static_cast<unsigned char>(c) < 0x80; }));
}

// ---- on a terminal

// What a terminal shows after the program ran in a shell there.
std::string OnTerminal(const std::string &arguments, int columns, int lines,
                       const std::string &environment = {})
{
   static int count = 0; // a server that ends would still answer for the next of its name
   const std::string server = "overview-" + std::to_string(getpid()) + "-" + std::to_string(count++);
   const std::string tmux = "tmux -L " + server + " -f /dev/null ";
   const std::string size = " -x " + std::to_string(columns) + " -y " + std::to_string(lines);
   const std::string command =
      environment + " " + kEnvironment + HOSTMEM_OVERVIEW " " + arguments + "; printf 'done>'; exec sleep 20";
   RunCommand("LC_ALL=C.UTF-8 " + tmux + "new-session -d" + size + " \"" + command + "\"");
   std::string shown;
   for (int attempt = 0; attempt < 200 && shown.find("done>") == std::string::npos; attempt++) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      shown = RunCommand(tmux + "capture-pane -p -e -S -").output; // from the start of what scrolled away
   }
   RunCommand(tmux + "kill-server");
   return shown;
}

class OnATerminal : public ::testing::Test {
 protected:
   void SetUp() override
   {
      if (RunCommand("command -v tmux").exitStatus != 0) {
         GTEST_SKIP() << "tmux is not installed";
      }
   }
};

TEST_F(OnATerminal, TheScreenFitsWithThePromptBelowIt)
{
   for (const std::string &source : {std::string(kSmallHost), std::string(kLargeHost), std::string()}) {
      const std::string shown = OnTerminal(source, 80, 24);
      EXPECT_THAT(shown, HasSubstr("done>"));
      EXPECT_LE(CountOfLines(shown), 24u) << shown;
      EXPECT_THAT(shown, HasSubstr("memory state "));
      EXPECT_THAT(shown, HasSubstr("\033[36m")) << "bars have a colour";
   }
}

TEST_F(OnATerminal, ThereAreNoColoursWhereItKnowsNone)
{
   const std::string shown = OnTerminal(kSmallHost, 80, 24, "TERM=dumb");
   EXPECT_THAT(shown, HasSubstr("memory state Clear"));
   EXPECT_THAT(shown, Not(HasSubstr("\033")));
}

TEST_F(OnATerminal, NamesOfStrangersDoNotMoveTheScreen)
{
   MadeRecording recording;
   recording.Add(kNoon,
                 {{"\"name\": \"birch\"", R"("name": "\u001b[2J\u001b[Hboo\u202e\u200f")"},
                  {"\"name\": \"rowan\"", R"("name": "日本語の名前e\u0301\u0301\u0301\u0301の仮想機械")"},
                  {"\"name\": \"shell\"", R"("name": "two\nlines\tand\ra return")"}});
   const std::string shown = OnTerminal("--dir " + recording.Folder(), 80, 24, "NO_COLOR=1");
   EXPECT_THAT(shown, StartsWith("aspen  2026-01-15T12:00:00Z  "));
   EXPECT_LE(CountOfLines(shown), 24u) << shown;
   EXPECT_THAT(shown, Not(HasSubstr("\033")));
   EXPECT_THAT(shown, HasSubstr("?[2J?[Hboo"));
   EXPECT_THAT(shown, HasSubstr("two?lin..return"));
   // What stands beside a wide name stands where it does in the other lines.
   std::istringstream lines(shown);
   for (std::string line; std::getline(lines, line);) {
      if (line.find(" 1.8 GB") != std::string::npos && line.find("system") != std::string::npos) {
         EXPECT_THAT(line, ::testing::EndsWith("   system          640.0 MB   two?lin..return  16.0 MB"))
            << shown;
      }
   }
}

TEST_F(OnATerminal, AHigherOneShowsMore)
{
   const std::string shown = OnTerminal(kLargeHost, 132, 60);
   EXPECT_THAT(shown, HasSubstr("storage"));
   EXPECT_LE(CountOfLines(shown), 60u);
   EXPECT_GT(CountOfLines(shown), 40u) << shown;
}

} // namespace
