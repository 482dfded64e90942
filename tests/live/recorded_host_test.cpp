// A process that runs out of its cgroup's memory, found again in a recording.
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "recorder/recording.h"
#include "tests/nevra/linux/own_cgroup.h"

namespace {

namespace fs = std::filesystem;

constexpr size_t kLimit = 16 << 20;

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

TEST(RecordedOom, AProcessThatWasKilledInItsCgroupIsFoundByTheReason)
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
   char pattern[] = "/tmp/recorded_oom_test.XXXXXX";
   const std::string folder = mkdtemp(pattern);
   const pid_t recorder = fork();
   if (recorder == 0) {
      execl(RECORD_PROGRAM, RECORD_PROGRAM, "run", "--dir", folder.c_str(), "--every", "1h", nullptr);
      _exit(127);
   }
   recorder::Recording recording;
   std::string problem;
   const auto waitFor = [&](uint32_t reason) {
      for (int tries = 0; tries < 600; tries++) {
         if (recording.Open(folder, &problem) && !recording.Frames().empty() &&
             (recording.Frames().back().header.reasons & reason) != 0) {
            return true;
         }
         std::this_thread::sleep_for(std::chrono::milliseconds(50));
      }
      return false;
   };
   EXPECT_TRUE(waitFor(recorder::kReasonStart)) << problem;
   EXPECT_TRUE(RunOutOfMemory(cgroup.path));
   EXPECT_TRUE(waitFor(recorder::kReasonOom)) << problem;
   std::vector<uint8_t> snapshot;
   EXPECT_TRUE(recording.Read(recording.Frames().size() - 1, &snapshot, &problem)) << problem;
   kill(recorder, SIGTERM);
   int status = -1;
   waitpid(recorder, &status, 0);
   EXPECT_EQ(status, 0);
   fs::remove_all(folder);
}

} // namespace
