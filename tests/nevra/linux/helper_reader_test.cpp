// Files that do not come back, and processes that hang.
#include "nevra/linux/helper_reader.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "nevra/linux/kernel_file.h"
#include "tests/nevra/linux/live_source.h"
#include "tests/nevra/linux/recorded_tree.h"

namespace {

using nevra::NodeId;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr int kPatience = 10'000;

// What the helper reads of the file; "error N" when that fails.
std::string ReadByHelper(nevra::HelperReader &helper, int folder, const char *path,
                         int milliseconds = kPatience)
{
   if (!helper.Begin(folder, path, milliseconds)) {
      return "no helper";
   }
   std::string text;
   char part[1000];
   for (;;) {
      const ssize_t got = helper.Next(part, sizeof part);
      if (got <= 0) {
         return got == 0 ? text : "error " + std::to_string(errno);
      }
      text.append(part, static_cast<size_t>(got));
   }
}

std::vector<pid_t> Children()
{
   std::ifstream file("/proc/thread-self/children");
   std::vector<pid_t> children;
   pid_t child;
   while (file >> child) {
      children.push_back(child);
   }
   return children;
}

nevra::FileDescriptor OpenRoot(const RecordedTree &tree)
{
   return nevra::KernelFileReader().OpenFolder(AT_FDCWD, tree.Root().c_str());
}

TEST(HelperReader, ReadsOneFileAfterTheOther)
{
   RecordedTree tree;
   const std::string text(200'000, 'x');
   tree.File("long", text);
   tree.File("empty", "");
   tree.File("short", "short");
   const nevra::FileDescriptor root = OpenRoot(tree);
   nevra::HelperReader helper;
   EXPECT_EQ(ReadByHelper(helper, root.Get(), "long"), text);
   EXPECT_EQ(ReadByHelper(helper, root.Get(), "empty"), "");
   EXPECT_EQ(ReadByHelper(helper, root.Get(), "missing"), "error " + std::to_string(ENOENT));
   EXPECT_EQ(ReadByHelper(helper, root.Get(), "short"), "short");
   EXPECT_EQ(Children().size(), 1u) << "by one helper";
}

TEST(HelperReader, EndsWithWhoItReadsFor)
{
   RecordedTree tree;
   tree.File("file", "text");
   const nevra::FileDescriptor root = OpenRoot(tree);
   {
      nevra::HelperReader helper;
      EXPECT_EQ(ReadByHelper(helper, root.Get(), "file"), "text");
   }
   EXPECT_EQ(Children().size(), 0u);
}

TEST(HelperReader, TheRestOfAFileCanBeLeft)
{
   RecordedTree tree;
   // NOLINTNEXTLINE(bugprone-string-constructor): more than a part
   tree.File("long", std::string(10'000'000, 'x'));
   tree.File("short", "short");
   const nevra::FileDescriptor root = OpenRoot(tree);
   nevra::HelperReader helper;
   char part[10];
   ASSERT_TRUE(helper.Begin(root.Get(), "long", kPatience));
   EXPECT_EQ(helper.Next(part, sizeof part), 10);
   helper.Stop();
   EXPECT_EQ(ReadByHelper(helper, root.Get(), "short"), "short");
}

TEST(HelperReader, AFileThatWasLeftIsNotTakenForTheNext)
{
   RecordedTree tree;
   // NOLINTNEXTLINE(bugprone-string-constructor): more than a part
   tree.File("long", std::string(10'000'000, 'x'));
   tree.File("short", "short");
   const nevra::FileDescriptor root = OpenRoot(tree);
   nevra::HelperReader helper;
   char part[10];
   ASSERT_TRUE(helper.Begin(root.Get(), "long", kPatience));
   EXPECT_EQ(helper.Next(part, sizeof part), 10);
   EXPECT_EQ(ReadByHelper(helper, root.Get(), "short"), "short");
}

TEST(HelperReader, AFileHasToComeInTimeAsAWhole)
{
   RecordedTree tree;
   // NOLINTNEXTLINE(bugprone-string-constructor): more than a part
   tree.File("long", std::string(10'000'000, 'x'));
   const nevra::FileDescriptor root = OpenRoot(tree);
   nevra::HelperReader helper;
   char part[1000];
   ASSERT_TRUE(helper.Begin(root.Get(), "long", 1000));
   ASSERT_EQ(helper.Next(part, sizeof part), 1000);
   const std::vector<pid_t> children = Children();
   ASSERT_EQ(children.size(), 1u);
   kill(children[0], SIGSTOP);
   // What the helper had sent before it stopped still comes, and the wait does not begin anew for each part.
   const auto start = std::chrono::steady_clock::now();
   ssize_t got;
   do {
      got = helper.Next(part, sizeof part);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
   } while (got > 0);
   EXPECT_EQ(got, -1);
   EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(HelperReader, LeavesNoZombies)
{
   RecordedTree tree;
   tree.File("file", "text");
   const nevra::FileDescriptor root = OpenRoot(tree);
   {
      nevra::HelperReader helper;
      for (int i = 0; i < 3; i++) {
         EXPECT_EQ(ReadByHelper(helper, root.Get(), "file"), "text");
         kill(Children().back(), SIGSTOP);
         EXPECT_EQ(ReadByHelper(helper, root.Get(), "file", 20), "error " + std::to_string(ETIMEDOUT));
      }
   }
   // The last one was killed just before and may not have ended yet; it is gone when the next one comes.
   for (int tries = 0; tries < 500 && !Children().empty(); tries++) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      nevra::HelperReader next;
   }
   EXPECT_EQ(Children().size(), 0u);
}

TEST(HelperReader, AHelperThatHangsIsLeftBehind)
{
   RecordedTree tree;
   tree.File("file", "text");
   const nevra::FileDescriptor root = OpenRoot(tree);
   nevra::HelperReader helper;
   EXPECT_EQ(ReadByHelper(helper, root.Get(), "file"), "text");
   const std::vector<pid_t> first = Children();
   ASSERT_EQ(first.size(), 1u);
   kill(first[0], SIGSTOP);
   EXPECT_EQ(ReadByHelper(helper, root.Get(), "file", 50), "error " + std::to_string(ETIMEDOUT));
   EXPECT_EQ(ReadByHelper(helper, root.Get(), "file"), "text") << "by another";
}

TEST(HelperReader, KeepsNothingOfItsParentOpen)
{
   RecordedTree tree;
   tree.File("file", "text");
   const nevra::FileDescriptor root = OpenRoot(tree);
   int pipe[2];
   ASSERT_EQ(pipe2(pipe, 0), 0);
   nevra::HelperReader helper;
   EXPECT_EQ(ReadByHelper(helper, root.Get(), "file"), "text");
   close(pipe[1]);
   char byte;
   EXPECT_EQ(read(pipe[0], &byte, 1), 0) << "who reads what a report writes sees its end";
   close(pipe[0]);
}

// Reads files of this process, which the reader takes for one that may hang.
class OwnProcess {
 public:
   explicit OwnProcess(std::chrono::milliseconds longestWaiting = std::chrono::seconds(60))
       : files(nevra::Reach::Host, longestWaiting)
   {
   }

   bool Read(int milliseconds)
   {
      return files.ReadAllWithin(milliseconds, proc.Get(), "self/cmdline", nevra::Missing::CommandLines)
         .has_value();
   }

   // The next read hangs.
   void StopHelper()
   {
      ASSERT_TRUE(Read(nevra::KernelFileReader::kPatient));
      kill(Children().back(), SIGSTOP);
   }

   nevra::KernelFileReader files;
   nevra::FileDescriptor proc = files.OpenFolder(AT_FDCWD, "/proc");
};

TEST(HangingProcess, TheNextIsReadAfterAnErrorOfWhoTakes)
{
   OwnProcess process;
   const auto refuse = [](std::string_view, bool) -> size_t { throw std::runtime_error("refused"); };
   EXPECT_THROW(process.files.ReadInPartsWithin(kPatience, process.proc.Get(), "self/smaps", refuse,
                                                nevra::Missing::GuestMappings),
                std::runtime_error);
   const auto text =
      process.files.ReadAllWithin(kPatience, process.proc.Get(), "self/comm", nevra::Missing::CommandLines);
   ASSERT_TRUE(text.has_value());
   EXPECT_THAT(*text, Not(HasSubstr("Size:")));
}

TEST(HangingProcess, IsWaitedForOnlySoLongInAll)
{
   OwnProcess process(std::chrono::milliseconds(100));
   process.StopHelper();
   EXPECT_FALSE(process.Read(60));
   process.StopHelper();
   EXPECT_FALSE(process.Read(60'000)) << "only 40 ms are left";
   EXPECT_FALSE(process.Read(kPatience)) << "not tried";
   EXPECT_TRUE(process.Read(nevra::KernelFileReader::kPatient)) << "asked for regardless";
   EXPECT_THAT(process.files.NotRead().Lines(),
               Contains("/proc/PID: too long a wait for processes that hang; further processes that may hang "
                        "are not waited for"));
}

// From now on the calling thread starts no process. False when the kernel does not allow this to be told.
bool RefuseNewProcesses()
{
   sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EAGAIN),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
   };
   const sock_fprog filter = {static_cast<unsigned short>(std::size(program)), program};
   return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
          prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

TEST(HangingProcess, IsNotReadWithoutAHelper)
{
   OwnProcess process;
   bool isRefused = false;
   bool isRead = false;
   std::thread([&] {
      isRefused = RefuseNewProcesses();
      isRead = process.Read(kPatience);
   }).join();
   if (!isRefused) {
      GTEST_SKIP() << "processes can be started";
   }
   EXPECT_FALSE(isRead);
   EXPECT_THAT(process.files.NotRead().Lines(), Contains(HasSubstr("/proc/PID/cmdline: no helper process")));
}

// A process by the name of an emulator.
class Emulator {
 public:
   Emulator()
   {
      int ready[2];
      EXPECT_EQ(pipe2(ready, O_CLOEXEC), 0);
      pid = fork();
      if (pid == 0) {
         prctl(PR_SET_PDEATHSIG, SIGKILL);
         prctl(PR_SET_NAME, "qemu-system-x86");
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
   ~Emulator()
   {
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
   }
   Emulator(const Emulator &) = delete;
   Emulator &operator=(const Emulator &) = delete;

   int64_t Group() const { return 0x40000000 + pid; }

 private:
   pid_t pid = -1;
};

TEST(HangingProcess, EndsNoReport)
{
   const Emulator first;
   const Emulator second;
   const std::vector<pid_t> before = Children();
   LiveSource source("/");
   source.Read<GroupNameRecord>(NodeId::sched_groups_groupName, {first.Group()});
   EXPECT_THAT((*source).Unreadable(), Not(Contains(HasSubstr("hangs"))));
   for (const pid_t child : Children()) {
      if (std::find(before.begin(), before.end(), child) == before.end()) {
         kill(child, SIGSTOP); // as one that waits for a lock
      }
   }
   const auto name = source.Read<GroupNameRecord>(NodeId::sched_groups_groupName, {second.Group()});
   EXPECT_STREQ(name.name, "qemu-system-x86");
   EXPECT_THAT((*source).Unreadable(),
               Contains("/proc/PID/cmdline: a process hangs; some VMs are shown without their "
                        "name and memory size"));
}

} // namespace
