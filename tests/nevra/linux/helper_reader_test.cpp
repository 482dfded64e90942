// Files that do not come back, and processes that hang.
#include "nevra/linux/helper_reader.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
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
   if (!helper.Begin(folder, path)) {
      return "no helper";
   }
   std::string text;
   char part[1000];
   for (;;) {
      const ssize_t got = helper.Next(part, sizeof part, milliseconds);
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
   tree.File("long", std::string(10'000'000, 'x'));
   tree.File("short", "short");
   const nevra::FileDescriptor root = OpenRoot(tree);
   nevra::HelperReader helper;
   char part[10];
   ASSERT_TRUE(helper.Begin(root.Get(), "long"));
   EXPECT_EQ(helper.Next(part, sizeof part, kPatience), 10);
   helper.Stop();
   EXPECT_EQ(ReadByHelper(helper, root.Get(), "short"), "short");
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
