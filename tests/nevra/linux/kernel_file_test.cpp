// Files and folders as the kernel may hand them over: long ones, none, other things in their place.
#include "nevra/linux/kernel_file.h"

#include <cerrno>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/nevra/linux/recorded_tree.h"

namespace {

using namespace nevra;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

FileDescriptor OpenRoot(const RecordedTree &tree)
{
   return KernelFileReader().OpenFolder(AT_FDCWD, tree.Root().c_str());
}

TEST(KernelFile, LongFilesAreReadWhole)
{
   RecordedTree tree;
   std::string text;
   for (int line = 0; text.size() < 3 * KernelFileReader::kFirstRead; line++) {
      text += "line " + std::to_string(line) + '\n';
   }
   tree.File("long", text);
   const FileDescriptor root = OpenRoot(tree);
   KernelFileReader files;
   EXPECT_EQ(files.ReadAll(root.Get(), "long"), text);
   EXPECT_EQ(files.ReadRecord(root.Get(), "long"), text) << "a full read is not the end";
}

TEST(KernelFile, WhatLiesBeyondTheLimitIsCutOff)
{
   RecordedTree tree;
   tree.File("ten", "0123456789");
   tree.File("long", std::string(2 * KernelFileReader::kFirstRead, 'x'));
   const FileDescriptor root = OpenRoot(tree);
   KernelFileReader files;
   EXPECT_EQ(files.ReadAll(root.Get(), "ten", Missing::Nothing, 4), "0123");
   EXPECT_EQ(files.ReadAll(root.Get(), "ten", Missing::Nothing, 10), "0123456789");
   EXPECT_EQ(files.ReadAll(root.Get(), "long", Missing::Nothing, KernelFileReader::kFirstRead + 1),
             std::string(KernelFileReader::kFirstRead + 1, 'x'));
}

TEST(KernelFile, WhatIsNoFileIsNotRead)
{
   RecordedTree tree;
   tree.Folder("folder");
   ASSERT_EQ(mkfifo((tree.Root() + "/pipe").c_str(), 0600), 0);
   tree.File("empty", "");
   const FileDescriptor root = OpenRoot(tree);
   KernelFileReader files;
   EXPECT_EQ(files.ReadAll(root.Get(), "folder"), std::nullopt);
   EXPECT_EQ(files.ReadAll(root.Get(), "missing"), std::nullopt);
   EXPECT_EQ(files.ReadAll(-1, "empty"), std::nullopt);
   EXPECT_EQ(files.ReadAll(root.Get(), "empty"), "");
   EXPECT_EQ(files.ReadRecord(root.Get(), "pipe"), "") << "and nobody waits for one who writes to it";
}

TEST(KernelFile, FoldersGiveTheKindOfNameThatIsAskedFor)
{
   RecordedTree tree;
   tree.Folder("in/folder");
   tree.File("in/file", "");
   tree.Link("in/link", "folder");
   const FileDescriptor root = OpenRoot(tree);
   KernelFileReader files;
   EXPECT_THAT(files.ListNames(root.Get(), "in", EntryKind::Any, 10),
               UnorderedElementsAre("folder", "file", "link"));
   EXPECT_THAT(files.ListNames(root.Get(), "in", EntryKind::Folders, 10), UnorderedElementsAre("folder"));
   EXPECT_THAT(files.ListNames(root.Get(), "in", EntryKind::Links, 10), UnorderedElementsAre("link"));
   EXPECT_THAT(files.ListNames(root.Get(), "in", EntryKind::Any, 2), SizeIs(2));
   EXPECT_THAT(files.ListNames(root.Get(), "in/file", EntryKind::Any, 10), IsEmpty());
}

TEST(KernelFile, PathsOfTheHostAreTakenBelowTheRoot)
{
   EXPECT_STREQ(BelowRoot("//sys/fs/cgroup"), "sys/fs/cgroup");
   EXPECT_STREQ(BelowRoot("/"), ".");
}

TEST(KernelFile, LongFilesComeInParts)
{
   RecordedTree tree;
   std::string text;
   for (int line = 0; text.size() < 5 * KernelFileReader::kFirstRead; line++) {
      text += "line " + std::to_string(line) + '\n';
   }
   tree.File("long", text);
   const FileDescriptor root = OpenRoot(tree);
   KernelFileReader files;
   std::string read;
   int parts = 0;
   EXPECT_TRUE(files.ReadInParts(root.Get(), "long", [&](std::string_view part, bool isEnd) {
      parts++;
      const size_t taken = isEnd ? part.size() : part.rfind('\n') + 1;
      read += part.substr(0, taken);
      return taken;
   }));
   EXPECT_EQ(read, text);
   EXPECT_GT(parts, 4);
   EXPECT_FALSE(files.ReadInParts(root.Get(), "missing", [](std::string_view, bool) { return size_t{0}; }));
}

TEST(KernelFile, PartsEndWhenThereIsEnough)
{
   RecordedTree tree;
   tree.File("long", std::string(5 * KernelFileReader::kFirstRead, 'x'));
   const FileDescriptor root = OpenRoot(tree);
   KernelFileReader files;
   size_t longest = 0;
   EXPECT_TRUE(files.ReadInParts(root.Get(), "long", [&](std::string_view part, bool) {
      longest = part.size();
      return part.size() > KernelFileReader::kFirstRead ? KernelFileReader::kEnough : 0;
   }));
   EXPECT_EQ(longest, 2 * KernelFileReader::kFirstRead) << "what is not taken stays, and more is added";
}

// While it lives, this process can open nothing more.
class NoMoreDescriptors {
 public:
   NoMoreDescriptors()
   {
      EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
      const rlimit none = {0, before.rlim_max};
      EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
   }
   ~NoMoreDescriptors() { setrlimit(RLIMIT_NOFILE, &before); }
   NoMoreDescriptors(const NoMoreDescriptors &) = delete;
   NoMoreDescriptors &operator=(const NoMoreDescriptors &) = delete;

 private:
   rlimit before = {};
};

TEST(KernelFile, WithoutDescriptorsNothingIsTakenForAbsent)
{
   RecordedTree tree;
   tree.File("file", "text");
   tree.Folder("folder");
   const FileDescriptor root = OpenRoot(tree);
   for (const Reach reach : {Reach::Host, Reach::Tree}) {
      KernelFileReader files(reach);
      const NoMoreDescriptors none;
      EXPECT_THROW(files.ReadAll(root.Get(), "file"), std::system_error);
      EXPECT_THROW(files.ReadAll(root.Get(), "missing"), std::system_error);
      EXPECT_THROW(files.OpenFolder(root.Get(), "folder"), std::system_error);
      EXPECT_THROW(files.ListNames(root.Get(), "folder", EntryKind::Any, 10), std::system_error);
   }
}

TEST(KernelFile, WhatIsCutOffIsNoted)
{
   RecordedTree tree;
   tree.File("ten", "0123456789");
   const FileDescriptor root = OpenRoot(tree);
   KernelFileReader files;
   files.ReadAll(root.Get(), "missing", Missing::SlabInfo);
   files.ReadAll(root.Get(), "ten", Missing::SlabInfo, 10);
   EXPECT_THAT(files.NotRead().Lines(), IsEmpty());
   files.ReadAll(root.Get(), "ten", Missing::SlabInfo, 9);
   files.ReadAll(root.Get(), "ten", Missing::SlabInfo, 9);
   EXPECT_THAT(files.NotRead().Lines(), ElementsAre("/proc/slabinfo: too long; heaps are not shown"));
}

TEST(KernelFile, WhatIsRefusedIsNotedOnce)
{
   if (geteuid() != 0) {
      GTEST_SKIP() << "becomes another user, which only root can";
   }
   RecordedTree tree;
   tree.File("secret", "text");
   ASSERT_EQ(chmod((tree.Root() + "/secret").c_str(), 0600), 0);
   const FileDescriptor root = OpenRoot(tree);
   KernelFileReader files;
   ASSERT_EQ(seteuid(65534), 0);
   EXPECT_EQ(files.ReadAll(root.Get(), "secret", Missing::SlabInfo), std::nullopt);
   EXPECT_EQ(files.ReadRecord(root.Get(), "secret", Missing::SlabInfo), std::nullopt);
   EXPECT_EQ(files.ReadRecord(root.Get(), "secret"), std::nullopt);
   ASSERT_EQ(seteuid(0), 0);
   EXPECT_THAT(files.NotRead().Lines(),
               ElementsAre("/proc/slabinfo: Permission denied; heaps are not shown"));
}

TEST(KernelFile, NothingLeadsOutOfARecordedTree)
{
   RecordedTree outside;
   outside.File("secret", "secret");
   outside.File("folder/secret", "secret");
   RecordedTree tree;
   const std::string up = "../" + outside.Root().substr(outside.Root().rfind('/') + 1);
   tree.Link("file", outside.Root() + "/secret");
   tree.Link("upward", up + "/secret");
   tree.Link("folder", outside.Root() + "/folder");
   tree.Link("zero", "/dev/zero");
   ASSERT_EQ(mkfifo((tree.Root() + "/pipe").c_str(), 0600), 0);
   const FileDescriptor root = OpenRoot(tree);
   KernelFileReader files(Reach::Tree);
   for (const std::string &path :
        {std::string("file"), std::string("upward"), std::string("folder/secret"), std::string("zero"),
         std::string("pipe"), up + "/secret", outside.Root() + "/secret"}) {
      EXPECT_EQ(files.ReadAll(root.Get(), path.c_str()), std::nullopt) << path;
   }
   EXPECT_FALSE(files.Exists(root.Get(), "file"));
   EXPECT_THAT(files.ListNames(root.Get(), "folder", EntryKind::Any, 10), IsEmpty());
   EXPECT_EQ(files.ReadLink(root.Get(), "file"), outside.Root() + "/secret") << "where it leads may be told";
}

TEST(KernelFile, WhatIsNoRegularFileInARecordedTreeIsNoted)
{
   RecordedTree tree;
   ASSERT_EQ(mkfifo((tree.Root() + "/pipe").c_str(), 0600), 0);
   const FileDescriptor root = OpenRoot(tree);
   KernelFileReader files(Reach::Tree);
   EXPECT_EQ(files.ReadAll(root.Get(), "pipe", Missing::MemInfo), std::nullopt);
   EXPECT_EQ(files.ReadAll(root.Get(), "missing", Missing::ZoneInfo), std::nullopt);
   EXPECT_THAT(files.NotRead().Lines(),
               testing::ElementsAre("/proc/meminfo: not a regular file; the host's memory is not shown"));
}

TEST(KernelFile, LinksWithinARecordedTreeAreFollowed)
{
   RecordedTree tree;
   tree.File("sys/devices/ndbus0/region0/size", "4096");
   tree.Link("sys/bus/nd/devices/region0", "../../../devices/ndbus0/region0");
   tree.Link("absolute", "/sys/devices/ndbus0");
   const FileDescriptor root = OpenRoot(tree);
   KernelFileReader files(Reach::Tree);
   EXPECT_EQ(files.ReadAll(root.Get(), "sys/bus/nd/devices/region0/size"), "4096");
   EXPECT_EQ(files.ReadAll(root.Get(), "absolute/region0/size"), "4096") << "its root is the tree's";
   EXPECT_TRUE(files.Exists(root.Get(), "absolute"));
}

// As on a kernel that does not have openat2.
void RefuseOpenat2(int error)
{
   sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat2, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
   };
   const sock_fprog program = {std::size(filter), filter};
   if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
       prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
      _exit(77);
   }
}

TEST(KernelFile, OldKernelsFollowNoLinkInARecordedTree)
{
   RecordedTree outside;
   outside.File("secret", "secret");
   RecordedTree tree;
   tree.File("folder//file", "text");
   tree.Link("link", "folder/file");
   tree.Link("out", outside.Root() + "/secret");
   tree.Link("linked", "folder");
   const FileDescriptor root = OpenRoot(tree);
   for (const int error : {ENOSYS, EPERM}) {
      const pid_t child = fork();
      if (child == 0) {
         RefuseOpenat2(error);
         KernelFileReader files(Reach::Tree);
         const auto isRead = [&](const char *path) { return files.ReadAll(root.Get(), path).has_value(); };
         const bool isRight = isRead("folder/file") && isRead("./folder//file") && !isRead("link") &&
                              !isRead("out") && !isRead("linked/file") && !isRead("folder/../folder/file") &&
                              !isRead("folder/missing") &&
                              files.ListNames(root.Get(), "folder", EntryKind::Any, 10).size() == 1;
         _exit(isRight ? 0 : 1);
      }
      int status = 0;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      ASSERT_TRUE(WIFEXITED(status));
      if (WEXITSTATUS(status) == 77) {
         GTEST_SKIP() << "system calls cannot be filtered here";
      }
      EXPECT_EQ(WEXITSTATUS(status), 0);
   }
}

} // namespace
