// hostmem-record as it is run, on a recorded tree.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "nevra/linux/linux_source.h"
#include "nevra/snapshot/snapshot_source.h"
#include "nevra/snapshot/snapshot_verify.h"
#include "tests/nevra/linux/recorded_tree.h"
#include "tests/recorder/recording_kit.h"
#include "tests/shell/run_command.h"

namespace {

using namespace recorder;
using testing::ElementsAre;
using testing::HasSubstr;

class RecordProgram : public testing::Test {
 protected:
   RecordProgram()
   {
      tree.HostMemory();
      tree.MountV2();
      tree.V2("machine.slice", "memory.events", "low 0\nhigh 0\nmax 3\noom 1\noom_kill 1\n");
      tree.File("proc/vmstat", "nr_free_pages 1\noom_kill 7\n");
   }

   ~RecordProgram() override
   {
      if (pid > 0) {
         kill(pid, SIGKILL);
         waitpid(pid, nullptr, 0);
      }
   }

   void Start(const std::vector<std::string> &options = {"--every", "1h"})
   {
      pid = fork();
      if (pid == 0) {
         std::vector<std::string> arguments = {RECORD_PROGRAM, "run",    "--dir",
                                               folder.Path(),  "--root", tree.Root()};
         arguments.insert(arguments.end(), options.begin(), options.end());
         std::vector<char *> pointers;
         for (std::string &argument : arguments) {
            pointers.push_back(argument.data());
         }
         pointers.push_back(nullptr);
         if (std::freopen((folder.Path() + ".messages").c_str(), "a", stderr) != nullptr) {
            execv(RECORD_PROGRAM, pointers.data());
         }
         _exit(127);
      }
   }

   // The exit status; -1 after another signal.
   int End(int signal)
   {
      kill(pid, signal);
      int status = 0;
      waitpid(pid, &status, 0);
      pid = 0;
      return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
   }

   // Opens the recording until it is as wanted, for half a minute at most.
   bool WaitFor(const std::function<bool()> &isAsWanted)
   {
      const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
      while (std::chrono::steady_clock::now() < end) {
         std::string problem;
         if (recording.Open(folder.Path(), &problem) && isAsWanted()) {
            return true;
         }
         std::this_thread::sleep_for(std::chrono::milliseconds(20));
      }
      return false;
   }
   bool WaitForFrames(size_t count)
   {
      return WaitFor([this, count] { return recording.Frames().size() >= count; });
   }
   bool WaitForReason(uint32_t reason)
   {
      return WaitFor([this, reason] {
         return !recording.Frames().empty() && (recording.Frames().back().header.reasons & reason) != 0;
      });
   }
   std::string Messages() const
   {
      const std::vector<uint8_t> bytes = ReadFile(folder.Path() + ".messages");
      return {bytes.begin(), bytes.end()};
   }

   RecordedTree tree;
   TemporaryFolder folder;
   Recording recording;
   pid_t pid = 0;
};

TEST_F(RecordProgram, AFrameIsASnapshotOfTheHost)
{
   Start();
   ASSERT_TRUE(WaitForFrames(1)) << Messages();
   std::vector<uint8_t> bytes;
   std::string problem;
   ASSERT_TRUE(recording.Read(0, &bytes, &problem)) << problem;
   nevra::SnapshotFile snapshot;
   ASSERT_EQ(nevra::OpenSnapshotBytes(bytes, &snapshot, &problem), NEVRA_OK) << problem;
   EXPECT_TRUE(nevra::VerifySnapshot(snapshot, &problem)) << problem;
   EXPECT_EQ(snapshot.captured, recording.Frames()[0].header.wallTime / kSecondNs);
   EXPECT_EQ(recording.Frames()[0].header.reasons & ~uint32_t{kReasonInterval}, kReasonStart);
   EXPECT_EQ(snapshot.kernelDetail.size(), 14u);
   EXPECT_EQ(snapshot.kernelDetail, nevra::ReadKernelDetail(tree.Root()));
}

TEST_F(RecordProgram, EachFrameNotesWhatCouldNotBeReadAndOneMessageSaysIt)
{
   tree.Folder("proc/slabinfo");
   const std::string problem = "/proc/slabinfo: not a regular file; heaps are not shown";
   Start({"--every", "1s"});
   ASSERT_TRUE(WaitForFrames(2)) << Messages();
   for (const size_t frame : {0, 1}) {
      std::vector<uint8_t> bytes;
      std::string failure;
      ASSERT_TRUE(recording.Read(frame, &bytes, &failure)) << failure;
      nevra::SnapshotFile snapshot;
      ASSERT_EQ(nevra::OpenSnapshotBytes(bytes, &snapshot, &failure), NEVRA_OK) << failure;
      EXPECT_EQ(snapshot.notes, "captured by: hostmem-record " HOSTMEM_VERSION "\nnot read: " + problem);
   }
   EXPECT_EQ(Messages(), "hostmem-record: " + problem + "\n");
}

TEST_F(RecordProgram, SigtermSealsTheSegmentAndEndsWellUnlikeSigkill)
{
   Start();
   ASSERT_TRUE(WaitForFrames(1)) << Messages();
   EXPECT_EQ(End(SIGKILL), -1);
   Start();
   ASSERT_TRUE(
      WaitFor([this] { return recording.Segments().size() == 2 && recording.Frames().size() >= 2; }));
   EXPECT_EQ(End(SIGTERM), 0);
   ASSERT_TRUE(WaitForFrames(2));
   EXPECT_FALSE(recording.Segments()[0].isSealed);
   EXPECT_TRUE(recording.Segments()[1].isSealed);
}

TEST_F(RecordProgram, KilledAgainAndAgainItLosesNothing)
{
   size_t before = 0;
   for (int run = 0; run < 5; run++) {
      Start({"--every", "1s"});
      ASSERT_TRUE(WaitForFrames(before + 2)) << Messages();
      EXPECT_EQ(End(SIGKILL), -1);
      ASSERT_TRUE(WaitForFrames(before + 2));
      before = recording.Frames().size();
      for (size_t i = 0; i < before; i++) {
         std::vector<uint8_t> snapshot;
         std::string problem;
         EXPECT_TRUE(recording.Read(i, &snapshot, &problem)) << problem;
         EXPECT_EQ(recording.Frames()[i].header.sequence, i + 1);
      }
   }
}

TEST_F(RecordProgram, Sigusr1AsksForAFrame)
{
   Start();
   ASSERT_TRUE(WaitForFrames(1)) << Messages();
   kill(pid, SIGUSR1);
   EXPECT_TRUE(WaitForReason(kReasonRequest)) << Messages();
   EXPECT_EQ(End(SIGTERM), 0);
}

TEST_F(RecordProgram, AProcessThatIsKilledForWantOfMemoryGivesAFrame)
{
   Start();
   ASSERT_TRUE(WaitForFrames(1)) << Messages();
   tree.File("proc/vmstat", "nr_free_pages 1\noom_kill 8\n");
   EXPECT_TRUE(WaitForReason(kReasonOom)) << Messages();
   EXPECT_EQ(End(SIGTERM), 0);
}

TEST_F(RecordProgram, ACgroupThatRunsOutOfItsMemoryGivesAFrame)
{
   Start();
   ASSERT_TRUE(WaitForFrames(1)) << Messages();
   tree.V2("machine.slice", "memory.events", "low 0\nhigh 0\nmax 3\noom 2\noom_kill 1\n");
   EXPECT_TRUE(WaitForReason(kReasonOom)) << Messages();
   EXPECT_EQ(End(SIGTERM), 0);
}

TEST_F(RecordProgram, ACgroupThatIsNewIsNoNews)
{
   Start();
   ASSERT_TRUE(WaitForFrames(1)) << Messages();
   tree.V2("user.slice", "memory.events", "oom 5\n");
   std::this_thread::sleep_for(std::chrono::milliseconds(2500));
   kill(pid, SIGUSR1);
   ASSERT_TRUE(WaitForReason(kReasonRequest)) << Messages();
   for (const Frame &frame : recording.Frames()) {
      EXPECT_EQ(frame.header.reasons & kReasonOom, 0u);
   }
   EXPECT_EQ(End(SIGTERM), 0);
}

TEST_F(RecordProgram, WithoutDescriptorsItGoesOnAndMissesNothing)
{
#ifdef __SANITIZE_ADDRESS__
   GTEST_SKIP() << "the leak sanitizer needs descriptors when the program ends";
#else
   Start();
   ASSERT_TRUE(WaitForFrames(1)) << Messages();
   rlimit usual = {};
   ASSERT_EQ(prlimit(pid, RLIMIT_NOFILE, nullptr, &usual), 0);
   const rlimit lowered = {3, usual.rlim_max};
   ASSERT_EQ(prlimit(pid, RLIMIT_NOFILE, &lowered, nullptr), 0);
   tree.V2("machine.slice", "memory.events", "low 0\nhigh 0\nmax 3\noom 2\noom_kill 1\n");
   const std::string problem = "hostmem-record: the counts of processes killed cannot be read: ";
   ASSERT_TRUE(WaitFor([&] { return Messages().find(problem) != std::string::npos; }));
   std::this_thread::sleep_for(std::chrono::milliseconds(1500));
   EXPECT_EQ(Messages().find(problem), Messages().rfind(problem)) << Messages();
   ASSERT_EQ(prlimit(pid, RLIMIT_NOFILE, &usual, nullptr), 0);
   EXPECT_TRUE(WaitForReason(kReasonOom)) << Messages();
   ASSERT_EQ(prlimit(pid, RLIMIT_NOFILE, &lowered, nullptr), 0);
   EXPECT_EQ(End(SIGTERM), 0);
   ASSERT_TRUE(WaitForFrames(2));
   EXPECT_TRUE(recording.Segments()[0].isSealed);
#endif
}

TEST_F(RecordProgram, ASecondRecorderIsRefused)
{
   Start();
   ASSERT_TRUE(WaitForFrames(1)) << Messages();
   const pid_t first = pid;
   Start();
   int status = 0;
   waitpid(pid, &status, 0);
   pid = first;
   EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1);
   EXPECT_THAT(Messages(),
               HasSubstr("hostmem-record: " + folder.Path() + ": another recorder writes to it\n"));
   EXPECT_EQ(End(SIGTERM), 0);
}

TEST_F(RecordProgram, TheServiceManagerHearsThatItIsReadyAndAlive)
{
   const std::string path = folder.Path() + ".socket";
   sockaddr_un address = {};
   address.sun_family = AF_UNIX;
   path.copy(address.sun_path, sizeof address.sun_path - 1);
   const int channel = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   ASSERT_EQ(bind(channel, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
   setenv("NOTIFY_SOCKET", path.c_str(), 1);
   Start();
   unsetenv("NOTIFY_SOCKET");
   const auto receive = [channel] {
      char text[256];
      const ssize_t length = recv(channel, text, sizeof text, 0);
      return std::string(text, length > 0 ? static_cast<size_t>(length) : 0);
   };
   EXPECT_EQ(receive(), "READY=1\nWATCHDOG=1");
   EXPECT_EQ(receive(), "WATCHDOG=1");
   kill(pid, SIGTERM);
   std::string last;
   while ((last = receive()) == "WATCHDOG=1") {
   }
   EXPECT_EQ(last, "STOPPING=1");
   EXPECT_EQ(End(SIGTERM), 0);
   close(channel);
}

TEST_F(RecordProgram, ItStaysWithinItsFootprint)
{
#ifdef __SANITIZE_ADDRESS__
   GTEST_SKIP() << "the address sanitizer needs more than the program";
#endif
   for (uint32_t process = 1; process <= 300; process++) {
      tree.Process(1000 + process, {.name = "made-up"});
   }
   Start({"--every", "1s"});
   ASSERT_TRUE(WaitForFrames(5)) << Messages();
   uint64_t kb = 0;
   FILE *status = std::fopen(("/proc/" + std::to_string(pid) + "/status").c_str(), "r");
   char line[256];
   while (std::fgets(line, sizeof line, status) != nullptr) {
      std::sscanf(line, "VmHWM: %lu kB", &kb);
   }
   std::fclose(status);
   EXPECT_GT(kb, 0u);
   EXPECT_LT(kb, 64u << 10);
   EXPECT_EQ(End(SIGTERM), 0);
}

CommandResult Record(const std::string &arguments)
{
   return RunCommand("LD_LIBRARY_PATH=" LIBRARY_FOLDER " " RECORD_PROGRAM " " + arguments);
}

TEST(RecordCommandLine, WhatCannotBeIsRefused)
{
   const std::string hint = "\nRun with --help for more information.\n";
   const auto expect = [&](const std::string &arguments, const std::string &problem) {
      const CommandResult outcome = Record(arguments);
      EXPECT_EQ(outcome.exitStatus, 2) << arguments;
      EXPECT_EQ(outcome.output, "hostmem-record: " + problem + hint);
   };
   expect("start", "unknown subcommand start");
   expect("run --every 1w", "--every: no duration from 1s to 1d: 1w");
   expect("run --every 2d", "--every: no duration from 1s to 1d: 2d");
   expect("run --keep soon", "--keep: no duration: soon");
   expect("run --max-bytes much", "--max-bytes: no size: much");
   expect("run --min-free 101%", "--min-free: no size or percentage: 101%");
}

TEST(RecordCommandLine, VersionIsPrinted)
{
   const CommandResult outcome = Record("--version");
   EXPECT_EQ(outcome.exitStatus, 0);
   EXPECT_EQ(outcome.output, "hostmem-record " HOSTMEM_VERSION "\n");
}

TEST(RecordCommandLine, AFolderThatCannotBeMadeEndsIt)
{
   const CommandResult outcome = Record("run --dir /proc/none");
   EXPECT_EQ(outcome.exitStatus, 1);
   EXPECT_THAT(outcome.output, HasSubstr("hostmem-record: /proc/none: cannot be written to: "));
}

} // namespace
