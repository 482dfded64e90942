// A process that holds known amounts of memory: its row of uw-stats before and after it takes them.
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/live/live_report.h"

namespace {

constexpr int64_t kMB = 1024; // in KB, as in the report
// The kernel gathers resident pages per processor before it counts them, and the process itself moves a
// little.
constexpr int64_t kSlack = 2 * kMB;

// A process that waits, acts once when told to, and waits again until the test ends it.
class StandingProcess {
 public:
   explicit StandingProcess(const std::function<bool()> &act)
   {
      int ask[2];
      int answer[2];
      if (pipe(ask) != 0 || pipe(answer) != 0) {
         ADD_FAILURE() << "no pipes";
         return;
      }
      pid = fork();
      if (pid == 0) {
         prctl(PR_SET_PDEATHSIG, SIGKILL);
         char word = '?';
         if (read(ask[0], &word, 1) == 1) {
            word = act() ? 'y' : 'n';
            if (write(answer[1], &word, 1) == 1) {
               pause();
            }
         }
         _exit(1);
      }
      close(ask[0]);
      close(answer[1]);
      toChild = ask[1];
      fromChild = answer[0];
   }
   ~StandingProcess()
   {
      if (pid > 0) {
         kill(pid, SIGKILL);
         waitpid(pid, nullptr, 0);
         close(toChild);
         close(fromChild);
      }
   }
   StandingProcess(const StandingProcess &) = delete;
   StandingProcess &operator=(const StandingProcess &) = delete;

   // Whether what it was told to do succeeded.
   bool Act() const
   {
      char word = '!';
      return write(toChild, &word, 1) == 1 && read(fromChild, &word, 1) == 1 && word == 'y';
   }

   pid_t pid = -1;

 private:
   int toChild = -1;
   int fromChild = -1;
};

// Memory that is there: each page has been written.
void *TakeMemory(int64_t kb, int flags)
{
   const size_t size = static_cast<size_t>(kb) * 1024;
   void *const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, flags | MAP_ANONYMOUS, -1, 0);
   if (memory == MAP_FAILED) {
      return nullptr;
   }
   std::memset(memory, 0x5a, size);
   return memory;
}

struct UwFigures {
   int64_t memSize, memBStore, mapped, swappable, pageable, pinned, shm, swapped, consumed;
};

UwFigures ReadUwFigures(pid_t pid)
{
   const LiveReport report = RunLiveReport("uw-stats");
   const std::vector<std::string> *const row = report.Find("schedGrp", ProcessGroup(pid));
   if (row == nullptr) {
      ADD_FAILURE() << "no row for process " << pid;
      return {};
   }
   EXPECT_EQ(report.Text(*row, "type"), "uw");
   EXPECT_EQ(report.Text(*row, "worldGrp"), std::to_string(pid));
   const auto figure = [&](const char *column) { return report.Figure(*row, column); };
   return {figure("memSize"), figure("memBStore"), figure("mapped"),  figure("swappable"), figure("pageable"),
           figure("pinned"),  figure("shm"),       figure("swapped"), figure("consumed")};
}

void ExpectGrowth(int64_t expected, int64_t before, int64_t after, int64_t slack, const char *column)
{
   EXPECT_NEAR(static_cast<double>(after - before), static_cast<double>(expected), static_cast<double>(slack))
      << column << " went from " << before << " to " << after;
}

TEST(KnownAmounts, AnonymousMemoryIsMappedAndPageable)
{
   constexpr int64_t kTaken = 48 * kMB;
   const StandingProcess process([] { return TakeMemory(kTaken, MAP_PRIVATE) != nullptr; });
   const UwFigures before = ReadUwFigures(process.pid);
   ASSERT_TRUE(process.Act());
   const UwFigures after = ReadUwFigures(process.pid);
   EXPECT_GE(after.mapped, kTaken);
   ExpectGrowth(kTaken, before.memSize, after.memSize, kMB, "memSize");
   ExpectGrowth(kTaken, before.mapped + before.swapped, after.mapped + after.swapped, kSlack, "mapped");
   ExpectGrowth(kTaken, before.memBStore + before.swapped, after.memBStore + after.swapped, kSlack,
                "memBStore");
   ExpectGrowth(kTaken, before.pageable + before.swapped, after.pageable + after.swapped, kSlack, "pageable");
   ExpectGrowth(kTaken, before.consumed + before.swapped, after.consumed + after.swapped, kSlack, "consumed");
   EXPECT_GE(after.swappable + after.swapped, kTaken);
   ExpectGrowth(0, before.shm, after.shm, kSlack, "shm");
   EXPECT_EQ(after.pinned, 0);
}

TEST(KnownAmounts, SharedMemoryIsShm)
{
   constexpr int64_t kTaken = 24 * kMB;
   const StandingProcess process([] { return TakeMemory(kTaken, MAP_SHARED) != nullptr; });
   const UwFigures before = ReadUwFigures(process.pid);
   ASSERT_TRUE(process.Act());
   const UwFigures after = ReadUwFigures(process.pid);
   EXPECT_GE(after.mapped, kTaken);
   ExpectGrowth(kTaken, before.shm, after.shm, kSlack, "shm");
   ExpectGrowth(kTaken, before.memSize, after.memSize, kMB, "memSize");
   ExpectGrowth(kTaken, before.mapped, after.mapped, kSlack, "mapped");
   ExpectGrowth(kTaken, before.memBStore, after.memBStore, kSlack, "memBStore");
   ExpectGrowth(0, before.pageable + before.swapped, after.pageable + after.swapped, kSlack, "pageable");
}

TEST(KnownAmounts, LockedMemoryIsPinned)
{
   constexpr int64_t kTaken = 4 * kMB;
   const StandingProcess process([] {
      const void *const memory = TakeMemory(kTaken, MAP_PRIVATE);
      // The kernel's own: the address sanitizer makes nothing of the C library's.
      return memory != nullptr && syscall(SYS_mlock, memory, kTaken * 1024) == 0;
   });
   const UwFigures before = ReadUwFigures(process.pid);
   if (!process.Act()) {
      GTEST_SKIP() << "this user may not lock " << kTaken << " KB";
   }
   const UwFigures after = ReadUwFigures(process.pid);
   EXPECT_EQ(after.pinned - before.pinned, kTaken);
   ExpectGrowth(kTaken, before.memSize, after.memSize, kMB, "memSize");
   ExpectGrowth(kTaken, before.mapped + before.swapped, after.mapped + after.swapped, kSlack, "mapped");
   // What is locked cannot be reclaimed.
   ExpectGrowth(0, before.swappable + before.swapped, after.swappable + after.swapped, kSlack, "swappable");
}

int64_t FreeSwapKB()
{
   std::ifstream file("/proc/meminfo");
   long long kb = 0;
   for (std::string line; std::getline(file, line);) {
      if (std::sscanf(line.c_str(), "SwapFree: %lld", &kb) == 1) {
         return kb;
      }
   }
   return 0;
}

TEST(KnownAmounts, MemorySwappedOutIsSwapped)
{
   constexpr int64_t kTaken = 16 * kMB;
   if (FreeSwapKB() < 2 * kTaken) {
      GTEST_SKIP() << "this machine has no swap to spare";
   }
   const StandingProcess process([] {
      void *const memory = TakeMemory(kTaken, MAP_PRIVATE);
      return memory != nullptr && madvise(memory, kTaken * 1024, MADV_PAGEOUT) == 0;
   });
   const UwFigures before = ReadUwFigures(process.pid);
   if (!process.Act()) {
      GTEST_SKIP() << "this kernel does not swap out on request";
   }
   const UwFigures after = ReadUwFigures(process.pid);
   // The kernel keeps what it cannot write at once: the sum is known, not the parts.
   EXPECT_GT(after.swapped, before.swapped);
   ExpectGrowth(kTaken, before.mapped + before.swapped, after.mapped + after.swapped, kSlack, "mapped");
   ExpectGrowth(kTaken, before.memSize, after.memSize, kMB, "memSize");
}

} // namespace
