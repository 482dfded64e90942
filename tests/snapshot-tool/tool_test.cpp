// hostmem-snapshot as it is run.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "nevra/definitions.h"
#include "tests/nevra/snapshot/forged_snapshot.h"
#include "tests/nevra/snapshot/small_tree.h"
#include "tests/shell/run_command.h"
#include "tests/snapshot-tool/json_kit.h"

namespace {

namespace fs = std::filesystem;

// What a capture of an empty tree says.
const std::string kNothingIsThere =
   "hostmem-snapshot: /proc: not mounted; processes, VMs and the host's memory are not shown\n"
   "hostmem-snapshot: /sys: not mounted; cgroups, page sharing, huge pages and persistent memory are not "
   "shown\n"
   "hostmem-snapshot: /sys/fs/cgroup: no hierarchy is mounted; all processes are shown directly below the "
   "root\n";

class SnapshotTool : public testing::Test {
 protected:
   SnapshotTool()
   {
      char pattern[] = "/tmp/snapshot_tool_test.XXXXXX";
      folder = mkdtemp(pattern);
   }
   ~SnapshotTool() override { fs::remove_all(folder); }

   std::string Path(const char *name) const { return folder / name; }
   CommandResult Run(const std::string &arguments) const
   {
      return RunCommand("cd " + folder.string() + " && " SNAPSHOT_TOOL " " + arguments);
   }
   void Write(const char *name, const std::string &content) const { std::ofstream(Path(name)) << content; }
   std::string Read(const char *name) const
   {
      std::ifstream file(Path(name));
      return {std::istreambuf_iterator<char>(file), {}};
   }
   std::vector<std::string> Names() const
   {
      std::vector<std::string> names;
      for (const fs::directory_entry &entry : fs::directory_iterator(folder)) {
         names.push_back(entry.path().filename());
      }
      return names;
   }
   void WriteSmallSnapshot(const char *name) const
   {
      const std::vector<uint8_t> bytes = SmallSnapshot();
      Write(name, {bytes.begin(), bytes.end()});
   }

   fs::path folder;
};

TEST_F(SnapshotTool, ExportThenImportGivesTheSameBytes)
{
   WriteSmallSnapshot("a");
   EXPECT_EQ(Run("export a > a.json").exitStatus, 0);
   const CommandResult outcome = Run("import a.json -o b");
   EXPECT_EQ(outcome.exitStatus, 0);
   EXPECT_EQ(outcome.output, "");
   EXPECT_EQ(Read("a"), Read("b"));
   EXPECT_EQ(Run("import - -o c < a.json").exitStatus, 0);
   EXPECT_EQ(Read("a"), Read("c"));
}

TEST_F(SnapshotTool, ImportThatFailsNamesThePlaceAndLeavesNothing)
{
   Write("bad.json",
         "{\n\"nodes\": {\"sched/groups/groupName\": {\"records\": [\n{\"keys\": [0], \"nam\": 1}]}}}");
   const CommandResult outcome = Run("import bad.json -o b");
   EXPECT_EQ(outcome.exitStatus, 1);
   EXPECT_EQ(outcome.output, "hostmem-snapshot: bad.json: line 3: sched/groups/groupName, records[0]: "
                             "unknown field \"nam\" of GroupNameRecord\n");
   EXPECT_THAT(Names(), testing::ElementsAre("bad.json"));
}

TEST_F(SnapshotTool, ImportThatFailsLeavesTheOldFile)
{
   WriteSmallSnapshot("b");
   Write("bad.json", "[");
   const std::string old = Read("b");
   EXPECT_EQ(Run("import bad.json -o b").exitStatus, 1);
   EXPECT_EQ(Read("b"), old);
}

TEST_F(SnapshotTool, TargetThatCannotBeWrittenIsAFailure)
{
   Write("a.json", "{}");
   CommandResult outcome = Run("import a.json -o missing/b");
   EXPECT_EQ(outcome.exitStatus, 1);
   EXPECT_EQ(outcome.output, "hostmem-snapshot: missing/b: cannot be written: No such file or directory\n");
   outcome = Run("import a.json -o .");
   EXPECT_EQ(outcome.exitStatus, 1);
   EXPECT_EQ(outcome.output, "hostmem-snapshot: .: cannot be written: not a regular file\n");
   EXPECT_THAT(Names(), testing::ElementsAre("a.json"));
}

TEST_F(SnapshotTool, AFileThatIsThereStaysUnlessForced)
{
   fs::create_directories(folder / "root/proc/sys/kernel");
   Write("root/proc/sys/kernel/hostname", "elm\n");
   Write("a.json", "{}");
   Write("b", "old");
   for (const char *command : {"import a.json -o b", "capture --root root -o b"}) {
      const CommandResult outcome = Run(command);
      EXPECT_EQ(outcome.exitStatus, 1);
      EXPECT_EQ(outcome.output, "hostmem-snapshot: b: already exists; --force replaces it\n");
      EXPECT_EQ(Read("b"), "old");
   }
   for (const char *command : {"import a.json --force -o b", "capture --root root -f -o b"}) {
      EXPECT_EQ(Run(command).exitStatus, 0);
      EXPECT_EQ(Run("verify b").exitStatus, 0);
      EXPECT_EQ(fs::status(Path("b")).permissions(), fs::perms(0600));
   }
   EXPECT_THAT(Names(), testing::UnorderedElementsAre("root", "a.json", "b"));
}

// A stranger who can write to the folder knows the name that capture chooses.
TEST_F(SnapshotTool, CaptureFollowsNoLink)
{
   fs::create_directories(folder / "root/proc");
   Write("victim", "precious");
   for (const char *target : {"victim", "missing"}) {
      fs::create_symlink(target, Path("host-20231114T221320Z.snapshot"));
      for (const char *options : {"", " --force"}) {
         const CommandResult outcome =
            RunCommand("cd " + folder.string() +
                       " && SOURCE_DATE_EPOCH=1700000000 " SNAPSHOT_TOOL " capture --root root" + options);
         EXPECT_EQ(outcome.exitStatus, 1);
         EXPECT_EQ(
            outcome.output,
            "hostmem-snapshot: host-20231114T221320Z.snapshot: cannot be written: not a regular file\n");
      }
      fs::remove(Path("host-20231114T221320Z.snapshot"));
   }
   EXPECT_EQ(Read("victim"), "precious");
   EXPECT_THAT(Names(), testing::UnorderedElementsAre("root", "victim"));
}

TEST_F(SnapshotTool, OutputWithoutANameIsAWrongCommandLine)
{
   Write("a.json", "{}");
   EXPECT_EQ(Run("capture --output=").exitStatus, 2);
   for (const char *command : {"import a.json -o ''", "capture -o ''"}) {
      const CommandResult outcome = Run(command);
      EXPECT_EQ(outcome.exitStatus, 2) << command;
      EXPECT_EQ(outcome.output, "hostmem-snapshot: --output: the name is empty\n"
                                "Run with --help for more information.\n");
   }
   EXPECT_THAT(Names(), testing::ElementsAre("a.json"));
}

TEST_F(SnapshotTool, SourceThatCannotBeReadIsAFailure)
{
   fs::create_directory(folder / "folder");
   EXPECT_EQ(Run("import missing.json -o b").output,
             "hostmem-snapshot: missing.json: cannot be read: No such file or directory\n");
   EXPECT_EQ(Run("import folder -o b").output, "hostmem-snapshot: folder: cannot be read\n");
   EXPECT_EQ(Run("import - -o b < folder").output, "hostmem-snapshot: standard input: cannot be read\n");
   EXPECT_EQ(Run("import - -o b < /dev/null").output,
             "hostmem-snapshot: standard input: line 1: expected an object, found the end\n");
   Write("twice.json",
         R"({"nodes": {"sched/groups/groupName": {"records": [{"keys": [5]}, {"keys": [5]}]}}})");
   const CommandResult outcome = Run("import twice.json -o b");
   EXPECT_EQ(outcome.exitStatus, 1);
   EXPECT_EQ(outcome.output,
             "hostmem-snapshot: twice.json: sched/groups/groupName: duplicate instance [5]\n");
   EXPECT_THAT(Names(), testing::UnorderedElementsAre("folder", "twice.json"));
   for (const char *command : {"info", "verify", "export", "diff folder"}) {
      EXPECT_EQ(Run(std::string(command) + " folder").output,
                "hostmem-snapshot: folder: not a snapshot: not a regular file\n")
         << command;
   }
}

TEST_F(SnapshotTool, DiskThatIsFullIsAFailure)
{
   WriteSmallSnapshot("a");
   Run("export a > a.json");
   const CommandResult outcome = Run("import a.json -o b > /dev/null; exit $?");
   EXPECT_EQ(outcome.exitStatus, 0);
   // A limit of one kilobyte stands for the disk.
   const CommandResult limited =
      RunCommand("cd " + folder.string() + " && ulimit -f 1 && " SNAPSHOT_TOOL " import a.json -o c");
   EXPECT_EQ(limited.exitStatus, 1);
   EXPECT_THAT(limited.output,
               testing::StartsWith("hostmem-snapshot: c: cannot be written: File too large\n"));
   EXPECT_THAT(Names(), testing::UnorderedElementsAre("a", "a.json", "b"));
}

TEST_F(SnapshotTool, OutputThatCannotBeWrittenIsAFailure)
{
   WriteSmallSnapshot("a");
   for (const char *command : {"export a > /dev/full", "info a > /dev/full", "verify a > /dev/full"}) {
      EXPECT_EQ(Run(command).exitStatus, 1) << command;
   }
   Write("b.json", R"({"host": "other"})");
   ASSERT_EQ(Run("import b.json -o b").exitStatus, 0);
   EXPECT_EQ(Run("diff a b > /dev/full").exitStatus, 2);
   EXPECT_EQ(Run("--help > /dev/full").exitStatus, 2);
}

TEST_F(SnapshotTool, VerifyTellsSoundFromDamaged)
{
   WriteSmallSnapshot("a");
   CommandResult outcome = Run("verify a");
   EXPECT_EQ(outcome.exitStatus, 0);
   EXPECT_EQ(outcome.output, "a: sound, 7 nodes, " + std::to_string(Read("a").size()) + " bytes\n");
   std::string bytes = Read("a");
   bytes[bytes.find("seven")] = 'S';
   Write("b", bytes);
   outcome = Run("verify b");
   EXPECT_EQ(outcome.exitStatus, 1);
   EXPECT_EQ(outcome.output, "hostmem-snapshot: b: damaged: sched/groups/groupName: checksum mismatch\n");
   EXPECT_EQ(Run("export b").output, outcome.output);
   EXPECT_EQ(Run("verify missing").output,
             "hostmem-snapshot: missing: cannot be read: No such file or directory\n");
}

TEST_F(SnapshotTool, InfoShowsHeaderAndNodes)
{
   WriteSmallSnapshot("a");
   const CommandResult outcome = Run("info a");
   EXPECT_EQ(outcome.exitStatus, 0);
   for (const char *line :
        {"host                   elm\n", "captured               2023-11-14T22:13:20Z\n",
         "kernel build           build 17\n", "format version         2\n",
         "   records   failures      lists   listFail        bytes  node\n",
         "         4          1          0          0          316  sched/groups/groupName\n",
         "         0          0          2          1           56  sched/groups/members/groups\n",
         "\n          KB  the kernel's detail\n    16000000  MemTotal\n",
         "    16000000  MemTotal\n      123456  Active(anon)\n           0  Bounce\n"}) {
      EXPECT_THAT(outcome.output, testing::HasSubstr(line));
   }
}

TEST_F(SnapshotTool, InfoTellsWhatThisBuildDoesNotKnowAndShowsNoControlBytes)
{
   const std::vector<uint8_t> bytes = Forge([](nevra::snapshot::SnapshotT *root) {
      root->host = "el\x1b[2Jm\x7f";
      root->kernel_build = "build\t17";
      root->definition_signature = "0123456789abcdef0123456789abcdef";
      NodeOf(root, "sched/groups/groupName")->path = "sched/new";
      NodeOf(root, "sched/groups/groupFlags")->definition++;
   });
   Write("a", {bytes.begin(), bytes.end()});
   const CommandResult outcome = Run("info a");
   EXPECT_EQ(outcome.exitStatus, 0);
   for (const char *line : {"host                   el?[2Jm?\n", "kernel build           build?17\n",
                            "definition signature   0123456789abcdef0123456789abcdef (another build's)\n",
                            "  sched/new  (unknown to this build)\n",
                            "  sched/groups/groupFlags  (defined otherwise by this build)\n",
                            "  sched/groups/members/groups\n"}) {
      EXPECT_THAT(outcome.output, testing::HasSubstr(line));
   }
}

// Newline apart, no byte that steers a terminal, and no other direction of writing.
void ExpectShown(const std::string &output)
{
   EXPECT_EQ(output.find_first_of("\x1b\x7f\x07\t\r"), std::string::npos) << output;
   for (const char *steering : {"\u0085", "\u009b", "\u202e", "\u2066"}) {
      EXPECT_EQ(output.find(steering), std::string::npos) << output;
   }
}

TEST_F(SnapshotTool, ImportShowsNoControlCharactersOfWhatItRefuses)
{
   for (const char *name : {"\\u001b[2J", "\\u009b2J", "\u009b2J", "\x7f", "\\n", "\u202e"}) {
      for (const std::string &json :
           {std::string("{\"") + name + "\": 1}", std::string("{\"nodes\": {\"") + name + "\": {}}}",
            std::string("{\"nodes\": {\"sched/groups/groupName\": {\"") + name + "\": []}}}",
            std::string("{\"nodes\": {\"sched/groups/groupName\": {\"records\": [{\"") + name + "\": 1}]}}}",
            std::string("{\"nodes\": {\"system/heaps/stats\": {\"records\": [{\"keys\": [\"") + name +
               "\"]}, {\"keys\": [\"" + name + "\"]}]}}}"}) {
         Write("bad.json", json);
         const CommandResult outcome = Run("import bad.json -o b");
         EXPECT_EQ(outcome.exitStatus, 1) << json;
         EXPECT_THAT(outcome.output, testing::StartsWith("hostmem-snapshot: bad.json: ")) << json;
         EXPECT_THAT(outcome.output, testing::EndsWith("\n"));
         EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 1) << outcome.output;
         ExpectShown(outcome.output);
      }
   }
}

TEST_F(SnapshotTool, NamesInASnapshotNeverSteerTheTerminal)
{
   const auto write = [this](const char *name, int flags) {
      const std::vector<uint8_t> bytes = Forge([&](nevra::snapshot::SnapshotT *root) {
         root->host = "el\u009b2Jm\u202e\x7f" + std::to_string(flags);
         NodeOf(root, "sched/groups/groupFlags")->definition += flags;
      });
      Write(name, {bytes.begin(), bytes.end()});
   };
   write("a", 1);
   write("b", 2);
   const CommandResult info = Run("info a");
   EXPECT_THAT(info.output, testing::HasSubstr("host                   el??2Jm????1\n"));
   ExpectShown(info.output);
   const CommandResult diff = Run("diff a b");
   EXPECT_THAT(diff.output, testing::HasSubstr("\"el\\u009B2Jm\\u202E\\u007f1\" -> "));
   ExpectShown(diff.output);
   ExpectShown(Run("export a").output);
   EXPECT_EQ(Run("verify $(printf 'mis\\033sing')").output,
             "hostmem-snapshot: mis?sing: cannot be read: No such file or directory\n");
   EXPECT_EQ(RunCommand(HOSTMEM " -c \"$(printf 'mis\\033\\nsing')\" -r comp-stats").output,
             "mis??sing: cannot be read: No such file or directory\n"
             "Couldn't open cache file mis??sing, error code: 195887107\n");
}

TEST_F(SnapshotTool, ExportEscapesWhatSteersATerminalAndImportTakesItBack)
{
   Write("a.json", "{\"host\": \"caf\u00e9 \u009b2J \u202e \x7f\", \"kernelBuild\": \"\u00e9\u20ac\"}");
   ASSERT_EQ(Run("import a.json -o a").output, "");
   const CommandResult json = Run("export a");
   EXPECT_THAT(json.output, testing::HasSubstr(R"("host": "caf\u00E9 \u009B2J \u202E \u007f",)"));
   EXPECT_THAT(json.output, testing::HasSubstr("\"kernelBuild\": \"\u00e9\u20ac\","));
   Write("b.json", json.output);
   ASSERT_EQ(Run("import b.json -o b").output, "");
   EXPECT_EQ(Read("a"), Read("b"));
}

TEST_F(SnapshotTool, DiffTellsByItsExitStatus)
{
   WriteSmallSnapshot("a");
   ASSERT_EQ(Run("export a | sed s/seven/eight/ > b.json; " SNAPSHOT_TOOL " import b.json -o b").exitStatus,
             0);
   CommandResult outcome = Run("diff a a");
   EXPECT_EQ(outcome.exitStatus, 0);
   EXPECT_EQ(outcome.output, "");
   outcome = Run("diff a b");
   EXPECT_EQ(outcome.exitStatus, 1);
   EXPECT_EQ(outcome.output, "sched/groups/groupName [7] name: \"seven\" -> \"eight\"\n");
   EXPECT_EQ(Run("diff a missing").exitStatus, 2);
   EXPECT_EQ(Run("diff a b.json").output, "hostmem-snapshot: b.json: not a snapshot\n");
}

TEST_F(SnapshotTool, DiffByShowsWhoGrew)
{
   const std::string sample = SAMPLES "/small-host.snapshot";
   ASSERT_EQ(
      Run("export " + sample + " | sed 's/1736704/1941504/g' > b.json; " SNAPSHOT_TOOL " import b.json -o b")
         .exitStatus,
      0);
   CommandResult outcome = Run("diff " + sample + " b --by vm");
   EXPECT_EQ(outcome.output,
             "host aspen, 2026-01-15T12:00:00Z to 2026-01-15T12:00:00Z\n"
             "\n"
             "vm                                   before          now       grew MB   number\n"
             "rowan                                1643.0       1843.0        +200.0        1\n");
   EXPECT_EQ(outcome.exitStatus, 1);
   EXPECT_EQ(Run("diff " + sample + " b --by heap").exitStatus, 0);
   EXPECT_EQ(Run("diff " + sample + " missing --by vm").exitStatus, 2);
   EXPECT_EQ(Run("diff " + sample + " b --top 3").exitStatus, 2);
}

TEST_F(SnapshotTool, WrongCommandLineIsTwoAndHelpIsZero)
{
   for (const char *arguments : {"", "info", "frobnicate", "import a.json", "info a b", "--unknown"}) {
      EXPECT_EQ(Run(arguments).exitStatus, 2) << arguments;
   }
   EXPECT_EQ(Run("$(printf 'frob\\033')").output, "hostmem-snapshot: unknown subcommand frob?\n"
                                                  "Run with --help for more information.\n");
   EXPECT_EQ(Run("").output, "hostmem-snapshot: A subcommand is required\n"
                             "Run with --help for more information.\n");
   EXPECT_EQ(Run("info a $(printf 'b\\033')").output,
             "hostmem-snapshot: The following argument was not expected: b?\n"
             "Run with --help for more information.\n");
   EXPECT_EQ(Run("--version").output, "hostmem-snapshot " HOSTMEM_VERSION "\n");
   EXPECT_EQ(Run("--version").exitStatus, 0);
   const CommandResult outcome = Run("--help");
   EXPECT_EQ(outcome.exitStatus, 0);
   EXPECT_THAT(outcome.output,
               testing::HasSubstr("Exit status: 0 when done, 1 when it failed, 2 for a wrong"));
}

TEST_F(SnapshotTool, CaptureOfAnEmptyTreeCanBeRepeated)
{
   fs::create_directories(folder / "root/proc/sys/kernel");
   Write("root/proc/sys/kernel/hostname", "elm/7\n");
   for (const char *name : {"a", "b"}) {
      EXPECT_EQ(RunCommand("cd " + folder.string() +
                           " && SOURCE_DATE_EPOCH=1700000000 " SNAPSHOT_TOOL " capture --root root -o " +
                           name)
                   .output,
                kNothingIsThere);
   }
   EXPECT_NE(Read("a"), "");
   EXPECT_EQ(Read("a"), Read("b"));
   EXPECT_THAT(Run("info a").output, testing::HasSubstr("host                   elm/7\n"));
   EXPECT_THAT(Run("info a").output,
               testing::HasSubstr("captured by            hostmem-snapshot " HOSTMEM_VERSION
                                  "\nnot read               /proc: not "
                                  "mounted; processes, VMs and the host's memory are not shown\n"));
   const CommandResult outcome = RunCommand(
      "cd " + folder.string() + " && SOURCE_DATE_EPOCH=1700000000 " SNAPSHOT_TOOL " capture --root root");
   EXPECT_EQ(outcome.output, kNothingIsThere + "elm_7-20231114T221320Z.snapshot\n");
   EXPECT_EQ(Read("elm_7-20231114T221320Z.snapshot"), Read("a"));
}

TEST_F(SnapshotTool, CaptureWithoutAFixedTimeIsOfNow)
{
   fs::create_directories(folder / "root/proc/sys/kernel");
   const auto yearOf = [this](const std::string &epoch) {
      EXPECT_EQ(RunCommand("cd " + folder.string() + " && " + epoch +
                           " " SNAPSHOT_TOOL " capture --root root --force -o a")
                   .output,
                kNothingIsThere);
      const std::string info = Run("info a").output;
      const size_t at = info.find("captured               ");
      return at != std::string::npos ? info.substr(at + 23, 4) : info;
   };
   const std::string thisYear = RunCommand("date -u +%Y").output.substr(0, 4);
   EXPECT_GE(yearOf("env -u SOURCE_DATE_EPOCH"), thisYear);
   EXPECT_EQ(yearOf("SOURCE_DATE_EPOCH=0"), "1970");
   for (const char *none : {"''", "-1", "soon", "12x", "253402300800", "99999999999999999999"}) {
      EXPECT_GE(yearOf(std::string("SOURCE_DATE_EPOCH=") + none), thisYear) << none;
   }
}

TEST_F(SnapshotTool, CaptureOfAHostWithoutANameIsNamedHost)
{
   fs::create_directories(folder / "root/proc");
   const CommandResult outcome = RunCommand(
      "cd " + folder.string() + " && SOURCE_DATE_EPOCH=1700000000 " SNAPSHOT_TOOL " capture --root root");
   EXPECT_EQ(outcome.output, kNothingIsThere + "host-20231114T221320Z.snapshot\n");
   fs::create_directories(folder / "root/proc/sys/kernel");
   Write("root/proc/sys/kernel/hostname", "a-Z_0.9 [`{@/\n");
   EXPECT_EQ(RunCommand("cd " + folder.string() +
                        " && SOURCE_DATE_EPOCH=1700000000 " SNAPSHOT_TOOL " capture --root root")
                .output,
             kNothingIsThere + "a-Z_0_9______-20231114T221320Z.snapshot\n");
}

TEST_F(SnapshotTool, CaptureThatCannotBeKeptOrNamedIsAFailure)
{
   fs::create_directories(folder / "root/proc");
   Write("file", "");
   EXPECT_EQ(Run("capture --root file -o a").output, "hostmem-snapshot: file: not a folder\n");
   CommandResult outcome = Run("capture --root root -o missing/a");
   EXPECT_EQ(outcome.exitStatus, 1);
   EXPECT_EQ(outcome.output,
             kNothingIsThere + "hostmem-snapshot: missing/a: cannot be written: No such file or directory\n");
   outcome = Run("capture --root root > /dev/full");
   EXPECT_EQ(outcome.exitStatus, 1);
   EXPECT_EQ(outcome.output,
             kNothingIsThere +
                "hostmem-snapshot: standard output: cannot be written: No space left on device\n");
}

TEST_F(SnapshotTool, CaptureTakesNoHostNameFromOutsideOfTheTree)
{
   fs::create_directories(folder / "root/proc/sys/kernel");
   Write("secret", "secret\n");
   for (const char *target : {"/dev/zero", "../../../../secret", "missing"}) {
      fs::remove(folder / "root/proc/sys/kernel/hostname");
      fs::create_symlink(target, folder / "root/proc/sys/kernel/hostname");
      EXPECT_EQ(Run("capture --root root --force -o a").exitStatus, 0) << target;
      EXPECT_THAT(Run("info a").output, testing::Not(testing::HasSubstr("secret"))) << target;
   }
   fs::remove(folder / "root/proc/sys/kernel/hostname");
   ASSERT_EQ(mkfifo((folder / "root/proc/sys/kernel/hostname").c_str(), 0600), 0);
   EXPECT_EQ(Run("capture --root root --force -o a").exitStatus, 0)
      << "and nobody waits for one who writes to the pipe";
}

// The answers that it cannot get then are the host's all the same.
TEST_F(SnapshotTool, CaptureWithTooFewDescriptorsIsWholeOrNone)
{
   fs::create_directories(folder / "root/proc/7");
   Write("root/proc/7/stat", "7 (birch) S 1 7 7 0 -1 4194304 0 0 0 0 0 0 0 0 20 0 1 0 5 4096 10 0\n");
   Write("root/proc/7/status", "Name:\tbirch\nPid:\t7\nVmRSS:\t40 kB\n");
   const std::string capture = "SOURCE_DATE_EPOCH=1 " SNAPSHOT_TOOL " capture --root root -o ";
   const std::string inFolder = "cd " + folder.string() + " && ";
   ASSERT_EQ(RunCommand(inFolder + capture + "whole").exitStatus, 0);
   for (int limit = 5; limit <= 16; limit++) {
      const CommandResult outcome =
         RunCommand(inFolder + "ulimit -n " + std::to_string(limit) + " && " + capture + "a");
      if (outcome.exitStatus == 0) {
         EXPECT_EQ(Read("a"), Read("whole")) << limit;
      } else {
         EXPECT_EQ(outcome.exitStatus, 1) << limit;
         EXPECT_THAT(outcome.output, testing::ContainsRegex("[Tt]oo many open files")) << limit;
         EXPECT_FALSE(fs::exists(folder / "a")) << limit;
      }
      fs::remove(folder / "a");
   }
}

TEST_F(SnapshotTool, CaptureOfAMissingTreeIsAFailure)
{
   const CommandResult outcome = Run("capture --root missing -o a");
   EXPECT_EQ(outcome.exitStatus, 1);
   EXPECT_EQ(outcome.output, "hostmem-snapshot: missing: No such file or directory\n");
   EXPECT_THAT(Names(), testing::IsEmpty());
}

// ---- names

TEST_F(SnapshotTool, ExportWithoutNamesKeepsThemAtHome)
{
   ASSERT_EQ(Run("export " SAMPLES "/small-host.snapshot --anonymize --names names.json > a.json").output,
             "");
   EXPECT_THAT(Read("a.json"), testing::Not(testing::ContainsRegex("birch|rowan|aspen")));
   EXPECT_THAT(Read("names.json"), testing::ContainsRegex("birch"));
   EXPECT_EQ(fs::status(Path("names.json")).permissions(), fs::perms(0600));
   // A report of it has the figures of the host.
   ASSERT_EQ(Run("import a.json -o a").output, "");
   const std::string figures = " -r group-stats -q -s gid:nChild:min:max:memSize:consumed:flags";
   EXPECT_EQ(RunCommand(HOSTMEM " -c " + Path("a") + figures).output,
             RunCommand(HOSTMEM " -c " SAMPLES "/small-host.snapshot" + figures).output);
   Write("other", "{}");
   const CommandResult outcome = Run("export a --anonymize --names other");
   EXPECT_EQ(outcome.exitStatus, 1);
   EXPECT_EQ(outcome.output, "hostmem-snapshot: other: already exists; --force replaces it\n");
   EXPECT_EQ(Run("export a --anonymize --names other --force > b.json").output, "");
   EXPECT_EQ(Run("export a --names other.json").exitStatus, 2);
}

TEST_F(SnapshotTool, PseudonymsAreThoseOfTheNamesFile)
{
   const auto write = [&](const char *name, const std::string &groups) {
      Write(name, R"({"nodes": {"sched/groups/groupName": {"records": [)" + groups + "]}}}");
   };
   write("a.json", R"({"keys": [5], "name": "rowan"})");
   write("b.json", R"({"keys": [1], "name": "ash"}, {"keys": [5], "name": "rowan"})");
   ASSERT_EQ(Run("import a.json -o a").output + Run("import b.json -o b").output, "");
   const auto lineOf5 = [&](const std::string &arguments) {
      return RunCommand("cd " + folder.string() + " && " SNAPSHOT_TOOL " export " + arguments +
                        " --anonymize | grep -o '{\"keys\":\\[5\\].*}'")
         .output;
   };
   const std::string line = lineOf5("a --names names");
   EXPECT_THAT(line, testing::HasSubstr("\"n"));
   EXPECT_EQ(lineOf5("b --names names"), line);
   EXPECT_NE(lineOf5("b"), line);
   const std::string names = Read("names");
   EXPECT_THAT(names, testing::AllOf(testing::HasSubstr("rowan"), testing::HasSubstr("ash")));
   const size_t key = names.find("\"key\": \"") + 8;
   EXPECT_THAT(Run("export b --anonymize --names names").output,
               testing::Not(testing::HasSubstr(names.substr(key, 64))));
}

TEST_F(SnapshotTool, TheSnapshotTakesNotThePlaceOfItsNames)
{
   fs::create_directories(folder / "root/proc");
   for (const char *paths : {"-o x --names x", "-o x --names ./x --force", "-o root/../x --names x -f"}) {
      const CommandResult outcome = Run(std::string("capture --root root --anonymize ") + paths);
      EXPECT_EQ(outcome.exitStatus, 2) << paths;
      EXPECT_THAT(outcome.output, testing::HasSubstr(" is the snapshot\n"));
   }
   EXPECT_THAT(Names(), testing::ElementsAre("root"));
}

TEST_F(SnapshotTool, CaptureWithoutNamesHidesTheHostToo)
{
   fs::create_directories(folder / "root/proc/sys/kernel");
   Write("root/proc/sys/kernel/hostname", "secret\n");
   const CommandResult outcome = RunCommand("cd " + folder.string() +
                                            " && SOURCE_DATE_EPOCH=1700000000 " SNAPSHOT_TOOL
                                            " capture --root root --anonymize --names names 2> /dev/null");
   const std::string file = outcome.output.substr(0, outcome.output.find('\n'));
   EXPECT_THAT(file, testing::MatchesRegex("n[a-z2-7]{6}-20231114T221320Z.snapshot"));
   EXPECT_EQ(Read(file.c_str()).find("secret"), std::string::npos);
   EXPECT_THAT(Run("info " + file).output, testing::HasSubstr("names                  anonymized\n"));
   EXPECT_THAT(Read("names"), testing::HasSubstr('"' + file.substr(0, 7) + "\": \"secret\""));
   EXPECT_EQ(fs::status(Path("names")).permissions(), fs::perms(0600));
}

// ---- report

TEST_F(SnapshotTool, ReportIsThatOfHostmemAndSaysWhichMomentItShows)
{
   const std::string sample = SAMPLES "/small-host.snapshot";
   const std::string options = " -r group-stats -q -s gid:name:memSize";
   const CommandResult direct = RunCommand(HOSTMEM " -c " + sample + options);
   const CommandResult report = Run("report " + sample + options + " 2> err");
   EXPECT_EQ(report.exitStatus, 0);
   EXPECT_EQ(report.output, direct.output);
   EXPECT_THAT(report.output, testing::HasSubstr("\n211,vmm.birch,4194304\n"));
   EXPECT_EQ(Read("err"), "hostmem-snapshot: " + sample + ": host aspen, captured 2026-01-15T12:00:00Z\n");
}

TEST_F(SnapshotTool, ReportGivesHostmemItsOptionsAndItsStatus)
{
   const std::string sample = SAMPLES "/small-host.snapshot";
   EXPECT_THAT(Run("report " + sample + " --force -r comp-stats").output, testing::HasSubstr("8126464"));
   const CommandResult wrong = Run("report " + sample + " -r none-stats 2>&1");
   EXPECT_EQ(wrong.exitStatus, 1);
   EXPECT_THAT(wrong.output, testing::HasSubstr("Invalid report none-stats\nUsage: hostmem "));
   const CommandResult help = Run("report " + sample + " -h 2>&1");
   EXPECT_THAT(help.output, testing::HasSubstr("What follows FILE is for hostmem"));
   EXPECT_EQ(Run("report missing -r comp-stats").output,
             "hostmem-snapshot: missing: cannot be read: No such file or directory\n");
   EXPECT_EQ(Run("report").exitStatus, 2);
}

// The tool alone in a folder finds hostmem in PATH, or nowhere.
TEST_F(SnapshotTool, ReportFindsHostmemInThePathToo)
{
   fs::copy_file(SNAPSHOT_TOOL, Path("alone"));
   const std::string report =
      "cd " + folder.string() + " && PATH=%s ./alone report " SAMPLES "/small-host.snapshot -r comp-stats";
   const auto run = [&](const std::string &path) {
      return RunCommand(std::string(report).replace(report.find("%s"), 2, path));
   };
   EXPECT_THAT(run(fs::path(HOSTMEM).parent_path()).output, testing::HasSubstr("8126464"));
   const CommandResult none = run("/nowhere");
   EXPECT_EQ(none.exitStatus, 1);
   EXPECT_THAT(none.output,
               testing::EndsWith("\nhostmem-snapshot: hostmem: cannot be run: No such file or directory\n"));
}

// ---- hostmem -c

TEST_F(SnapshotTool, ReportsReadTheSample)
{
   const CommandResult outcome =
      RunCommand(HOSTMEM " -c " SAMPLES "/small-host.snapshot -r group-stats -q -s gid:name:memSize");
   EXPECT_EQ(outcome.exitStatus, 0);
   EXPECT_THAT(outcome.output, testing::HasSubstr("\n211,vmm.birch,4194304\n"));
}

TEST_F(SnapshotTool, ReportOnWhatIsNoSnapshotSaysWhy)
{
   Write("a", "no snapshot");
   const CommandResult outcome = RunCommand(HOSTMEM " -c " + Path("a") + " -r comp-stats");
   EXPECT_EQ(outcome.exitStatus, 1);
   EXPECT_EQ(outcome.output, Path("a") + ": not a snapshot\nCouldn't open cache file " + Path("a") +
                                ", error code: 195887112\n");
}

TEST_F(SnapshotTool, ReportOnAForeignKernelsSnapshotNeedsForce)
{
   ASSERT_EQ(RunCommand("cd " + folder.string() +
                        " && " SNAPSHOT_TOOL " export " SAMPLES
                        "/small-host.snapshot | sed '/definitionSignature/s/\"[0-9a-f]*\",/"
                        "\"0123456789abcdef0123456789abcdef\",/' > a.json && " SNAPSHOT_TOOL
                        " import a.json -o a")
                .output,
             "");
   CommandResult outcome = RunCommand(HOSTMEM " -c " + Path("a") + " -r comp-stats");
   EXPECT_EQ(outcome.exitStatus, 1);
   EXPECT_THAT(outcome.output,
               testing::StartsWith("0xbad0018: md5 signature mismatch with running tarvos built on "
                                   "small-host 1. (vs " +
                                   std::string(nevra::DefinitionBuildText()) + " for app sysinfo)\n"));
   outcome = RunCommand(HOSTMEM " --force -c " + Path("a") + " -r comp-stats");
   EXPECT_EQ(outcome.exitStatus, 0);
   EXPECT_THAT(outcome.output, testing::HasSubstr("   8388608       1024         8126464"));
}

} // namespace
