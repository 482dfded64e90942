// How far page tables are walked.
#include <csignal>
#include <cstdint>
#include <cstdlib>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "nevra/linux/kernel_text.h"
#include "nevra/linux/process_memory.h"
#include "tests/nevra/linux/live_source.h"

namespace {

using nevra::NodeId;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

// A process with large page tables and little in them: a page for every 2 MB of 1 GB.
class ManyPageTables {
 public:
   ManyPageTables()
   {
      int ready[2];
      EXPECT_EQ(pipe2(ready, O_CLOEXEC), 0);
      pid = fork();
      if (pid == 0) {
         prctl(PR_SET_PDEATHSIG, SIGKILL);
         constexpr size_t kBytes = size_t{1} << 30;
         void *memory =
            mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
         madvise(memory, kBytes, MADV_NOHUGEPAGE);
         for (size_t at = 0; memory != MAP_FAILED && at < kBytes; at += size_t{2} << 20) {
            static_cast<volatile char *>(memory)[at] = 1;
         }
         close(ready[1]);
         for (;;) {
            pause();
         }
      }
      close(ready[1]);
      char byte;
      EXPECT_EQ(read(ready[0], &byte, 1), 0);
      close(ready[0]);
   }
   ~ManyPageTables()
   {
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
   }
   ManyPageTables(const ManyPageTables &) = delete;
   ManyPageTables &operator=(const ManyPageTables &) = delete;

   pid_t Pid() const { return pid; }

 private:
   pid_t pid = -1;
};

TEST(Walk, IsLeftOutWhereItIsLong)
{
   ASSERT_EQ(unsetenv("HOSTMEM_WALK"), 0);
   const ManyPageTables process;
   // A host that is seen below another folder, as from within a container, is as live.
   for (const char *root : {"/", "/proc/self/root"}) {
      LiveSource source(root);
      const auto record = source.Read<UwStatsRecord>(NodeId::sched_memClients_kelmar_uw, {process.Pid()});
      EXPECT_EQ(+record.touched, 0u) << root;
      EXPECT_GE(+record.mapped, 2048u) << "by its status";
      EXPECT_THAT(
         (*source).Unreadable(),
         Contains(HasSubstr("/proc/PID/smaps: not read of processes that it would hold up for long")));
   }
}

TEST(Walk, IsMadeWhenItIsAskedFor)
{
   const ManyPageTables process;
   ASSERT_EQ(setenv("HOSTMEM_WALK", "all", 1), 0);
   LiveSource source("/");
   ASSERT_EQ(unsetenv("HOSTMEM_WALK"), 0);
   const auto record = source.Read<UwStatsRecord>(NodeId::sched_memClients_kelmar_uw, {process.Pid()});
   EXPECT_GE(+record.touched, 2048u);
   EXPECT_THAT((*source).Unreadable(), Not(Contains(HasSubstr("/proc/PID/smaps: not read"))));
}

TEST(Walk, IsNeverMadeWhereNoneIsWanted)
{
   ASSERT_EQ(setenv("HOSTMEM_WALK", "none", 1), 0);
   LiveSource source("/");
   ASSERT_EQ(unsetenv("HOSTMEM_WALK"), 0);
   const auto record = source.Read<UwStatsRecord>(NodeId::sched_memClients_kelmar_uw, {getpid()});
   EXPECT_EQ(+record.touched, 0u) << "however short the walk";
   EXPECT_GT(+record.mapped, 0u) << "by its status";
   EXPECT_THAT((*source).Unreadable(), Not(Contains(HasSubstr("/proc/PID/smaps"))));
}

TEST(Walk, IsShortWhileThereAreFewPageTableEntries)
{
   nevra::ProcessStatus status;
   EXPECT_TRUE(nevra::IsShortWalk(status, 0));
   status.vmPte = 1024; // of 512 MB in pages of 4 KB
   EXPECT_TRUE(nevra::IsShortWalk(status, 0));
   status.vmPte = 8 * 1024; // of 4 GB
   EXPECT_FALSE(nevra::IsShortWalk(status, 0));
   if (nevra::PageKB() == 4) {
      EXPECT_TRUE(nevra::IsShortWalk(status, 4 << 20)) << "in huge pages";
      EXPECT_FALSE(nevra::IsShortWalk(status, 1 << 20)) << "a quarter in huge pages";
   }
   status.vmPte = nevra::kUnlimited;
   EXPECT_FALSE(nevra::IsShortWalk(status, 0));
}

TEST(Walk, AllAreAskedForByTheEnvironment)
{
   ASSERT_EQ(unsetenv("HOSTMEM_WALK"), 0);
   EXPECT_EQ(nevra::WalkAskedFor(), nevra::Walk::WhereShort);
   ASSERT_EQ(setenv("HOSTMEM_WALK", "some", 1), 0);
   EXPECT_EQ(nevra::WalkAskedFor(), nevra::Walk::WhereShort);
   ASSERT_EQ(setenv("HOSTMEM_WALK", "all", 1), 0);
   EXPECT_EQ(nevra::WalkAskedFor(), nevra::Walk::All);
   ASSERT_EQ(setenv("HOSTMEM_WALK", "none", 1), 0);
   EXPECT_EQ(nevra::WalkAskedFor(), nevra::Walk::None);
   ASSERT_EQ(unsetenv("HOSTMEM_WALK"), 0);
}

} // namespace
