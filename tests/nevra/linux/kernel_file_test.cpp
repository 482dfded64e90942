// Files and folders as the kernel may hand them over: long ones, none, other things in their place.
#include "nevra/linux/kernel_file.h"

#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/nevra/linux/recorded_tree.h"

namespace {

using namespace nevra;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

FileDescriptor OpenRoot(const RecordedTree &tree)
{
   return OpenFolder(AT_FDCWD, tree.Root().c_str());
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
   EXPECT_EQ(files.ReadAll(root.Get(), "ten", 4), "0123");
   EXPECT_EQ(files.ReadAll(root.Get(), "ten", 10), "0123456789");
   EXPECT_EQ(files.ReadAll(root.Get(), "long", KernelFileReader::kFirstRead + 1),
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
   EXPECT_THAT(ListNames(root.Get(), "in", EntryKind::Any, 10),
               UnorderedElementsAre("folder", "file", "link"));
   EXPECT_THAT(ListNames(root.Get(), "in", EntryKind::Folders, 10), UnorderedElementsAre("folder"));
   EXPECT_THAT(ListNames(root.Get(), "in", EntryKind::Links, 10), UnorderedElementsAre("link"));
   EXPECT_THAT(ListNames(root.Get(), "in", EntryKind::Any, 2), SizeIs(2));
   EXPECT_THAT(ListNames(root.Get(), "in/file", EntryKind::Any, 10), IsEmpty());
}

TEST(KernelFile, PathsOfTheHostAreTakenBelowTheRoot)
{
   EXPECT_STREQ(BelowRoot("//sys/fs/cgroup"), "sys/fs/cgroup");
   EXPECT_STREQ(BelowRoot("/"), ".");
}

} // namespace
