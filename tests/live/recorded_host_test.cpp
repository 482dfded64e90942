// Processes that are short of memory, or run out of it, found again in a recording of this machine.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "recorder/recording.h"
#include "tests/nevra/linux/own_cgroup.h"
#include "tests/shell/run_command.h"

namespace {

namespace fs = std::filesystem;

constexpr size_t kLimit = 16 << 20;
constexpr size_t kFileBytes = 3 * kLimit;

bool LimitMemory(const std::string &cgroup, bool isV1)
{
   std::ofstream file(cgroup + (isV1 ? "/memory.limit_in_bytes" : "/memory.max"));
   file << kLimit << std::flush;
   if (!isV1) {
      std::ofstream(cgroup + "/memory.swap.max") << 0;
   }
   return file.good();
}

// Whether a process in the cgroup was killed when it used more than the limit.
bool RunOutOfMemory(const std::string &cgroup)
{
   const pid_t pid = fork();
   if (pid == 0) {
      std::ofstream(cgroup + "/cgroup.procs") << getpid() << std::flush;
      void *memory = mmap(nullptr, 4 * kLimit, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
      if (memory != MAP_FAILED) {
         for (size_t at = 0; at < 4 * kLimit; at += 4096) {
            static_cast<volatile char *>(memory)[at] = 1;
         }
      }
      _exit(0);
   }
   int status = 0;
   waitpid(pid, &status, 0);
   return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

// A recorder of this machine, and what it has recorded.
class RecordedHost : public testing::Test {
 protected:
   RecordedHost()
   {
      char pattern[] = "/tmp/recorded_host_test.XXXXXX";
      folder = mkdtemp(pattern);
      recorder = fork();
      if (recorder == 0) {
         execl(RECORD_PROGRAM, RECORD_PROGRAM, "run", "--dir", folder.c_str(), "--every", "1h", nullptr);
         _exit(127);
      }
      EXPECT_TRUE(WaitFor(recorder::kReasonStart)) << problem;
   }
   ~RecordedHost() override
   {
      kill(recorder, SIGTERM);
      int status = -1;
      waitpid(recorder, &status, 0);
      EXPECT_EQ(status, 0);
      fs::remove_all(folder);
   }

   // Until there is a frame with the reason, for half a minute at most; reads it.
   bool WaitFor(uint32_t reason)
   {
      for (int tries = 0; tries < 600; tries++) {
         recorder::Recording recording;
         if (recording.Open(folder, &problem)) {
            for (size_t i = 0; i < recording.Frames().size(); i++) {
               std::vector<uint8_t> snapshot;
               if ((recording.Frames()[i].header.reasons & reason) != 0) {
                  return recording.Read(i, &snapshot, &problem);
               }
            }
         }
         std::this_thread::sleep_for(std::chrono::milliseconds(50));
      }
      return false;
   }

   // What a report shows of the last frame.
   std::string Reported(const std::string &report) const
   {
      return RunCommand(RECORD_PROGRAM " report now --dir " + folder + " -r " + report).output;
   }

   std::string folder;
   std::string problem;
   pid_t recorder = 0;
};

TEST_F(RecordedHost, AProcessThatWasKilledInItsCgroupIsFoundByTheReason)
{
   bool isV1 = false;
   const OwnCgroup cgroup(MemoryHierarchy(&isV1));
   if (!cgroup.made || !LimitMemory(cgroup.path, isV1)) {
      GTEST_SKIP() << "no cgroup with a memory limit can be made here";
   }
   std::ifstream vmstat("/proc/vmstat");
   const std::string text{std::istreambuf_iterator<char>(vmstat), {}};
   if (text.find("\noom_kill ") == std::string::npos) {
      GTEST_SKIP() << "this kernel does not count the processes that it kills";
   }
   EXPECT_TRUE(RunOutOfMemory(cgroup.path));
   EXPECT_TRUE(WaitFor(recorder::kReasonOom)) << problem;
}

// The platform library keeps what it has read; each frame is taken by one that has read nothing yet.
TEST_F(RecordedHost, EachFrameShowsTheHostAsItIsThen)
{
   const pid_t child = fork();
   if (child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      prctl(PR_SET_NAME, "just-started");
      for (;;) {
         pause();
      }
   }
   kill(recorder, SIGUSR1);
   EXPECT_TRUE(WaitFor(recorder::kReasonRequest)) << problem;
   kill(child, SIGKILL);
   waitpid(child, nullptr, 0);
   EXPECT_THAT(Reported("uw-stats -q -s name"), testing::HasSubstr("just-started"));
}

TEST(RecordedHostOfAnotherUser, WhatCannotBeReadIsSaidOnce)
{
   if (geteuid() != 0 || access("/proc/slabinfo", F_OK) != 0) {
      GTEST_SKIP() << "takes root, and a kernel with a slabinfo";
   }
   char pattern[] = "/tmp/recorded_host_test.XXXXXX";
   const std::string folder = mkdtemp(pattern);
   constexpr uid_t kNobody = 65534;
   ASSERT_EQ(chown(folder.c_str(), kNobody, kNobody), 0);
   const std::string messages = folder + "/messages";
   const pid_t recorder = fork();
   if (recorder == 0) {
      if (std::freopen(messages.c_str(), "w", stderr) != nullptr && setgid(kNobody) == 0 &&
          setuid(kNobody) == 0) {
         execl(RECORD_PROGRAM, RECORD_PROGRAM, "run", "--dir", (folder + "/recording").c_str(), "--every",
               "1s", nullptr);
      }
      _exit(127);
   }
   recorder::Recording recording;
   std::string problem;
   int status = 0;
   bool hasEnded = false;
   for (int tries = 0; tries < 600 && recording.Frames().size() < 3 && !hasEnded; tries++) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      recording.Open(folder + "/recording", &problem);
      hasEnded = waitpid(recorder, &status, WNOHANG) == recorder;
   }
   if (!hasEnded) {
      kill(recorder, SIGTERM);
      waitpid(recorder, &status, 0);
   }
   if (WIFEXITED(status) && WEXITSTATUS(status) == 127) {
      fs::remove_all(folder);
      GTEST_SKIP() << "the folder of the build is not open to others";
   }
   std::ifstream file(messages);
   const std::string text{std::istreambuf_iterator<char>(file), {}};
   const std::string line = "hostmem-record: /proc/slabinfo: Permission denied; heaps are not shown\n";
   EXPECT_GE(recording.Frames().size(), 3u) << problem;
   EXPECT_NE(text.find(line), std::string::npos) << text;
   EXPECT_EQ(text.find(line), text.rfind(line)) << text;
   fs::remove_all(folder);
}

// us for which some task has waited for memory since the host was booted; -1 where the kernel does not tell.
int64_t PressureTotal()
{
   std::ifstream file("/proc/pressure/memory");
   const std::string text{std::istreambuf_iterator<char>(file), {}};
   const size_t at = text.find("total=");
   return at == std::string::npos ? -1 : std::strtoll(text.c_str() + at + 6, nullptr, 10);
}

// Reads pages of a file that is larger than the cgroup's limit, here and there, for six seconds.
pid_t StartThrashing(const std::string &cgroup, const std::string &path, unsigned seed)
{
   const pid_t pid = fork();
   if (pid != 0) {
      return pid;
   }
   std::ofstream(cgroup + "/cgroup.procs") << getpid() << std::flush;
   const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
   // What is in memory was paid for by whoever wrote the file.
   posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
   void *memory = mmap(nullptr, kFileBytes, PROT_READ, MAP_SHARED, file, 0);
   if (memory != MAP_FAILED) {
      madvise(memory, kFileBytes, MADV_RANDOM);
      std::minstd_rand random(seed);
      const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(6);
      while (std::chrono::steady_clock::now() < end) {
         [[maybe_unused]] const char page =
            static_cast<volatile const char *>(memory)[random() % (kFileBytes / 4096) * 4096];
      }
   }
   _exit(0);
}

TEST_F(RecordedHost, ProcessesThatWaitForMemoryAreFoundByTheReason)
{
   bool isV1 = false;
   const OwnCgroup cgroup(MemoryHierarchy(&isV1));
   if (!cgroup.made || !LimitMemory(cgroup.path, isV1)) {
      GTEST_SKIP() << "no cgroup with a memory limit can be made here";
   }
   const int64_t before = PressureTotal();
   if (before < 0) {
      GTEST_SKIP() << "this kernel does not measure pressure";
   }
   const std::string path = folder + "/file";
   std::ofstream(path) << std::string(kFileBytes, 'x') << std::flush;
   sync();
   std::vector<pid_t> pids;
   for (unsigned i = 1; i <= 10; i++) {
      pids.push_back(StartThrashing(cgroup.path, path, i));
   }
   for (const pid_t pid : pids) {
      waitpid(pid, nullptr, 0);
   }
   // In one of the four windows of two seconds that lie in this time, that is more than the trigger needs.
   if (PressureTotal() - before < 800'000) {
      GTEST_SKIP() << "the disk is too fast: reading it again and again makes nobody wait";
   }
   EXPECT_TRUE(WaitFor(recorder::kReasonPressure)) << problem;
}

} // namespace
