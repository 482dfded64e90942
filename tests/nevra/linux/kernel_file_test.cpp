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
   EXPECT_EQ(text, files.ReadAll(root.Get(), "long"));
   EXPECT_EQ(text, files.ReadRecord(root.Get(), "long")) << "a full read is not the end";
}

TEST(KernelFile, WhatLiesBeyondTheLimitIsCutOff)
{
   RecordedTree tree;
   tree.File("ten", "0123456789");
   tree.File("long", std::string(2 * KernelFileReader::kFirstRead, 'x'));
   const FileDescriptor root = OpenRoot(tree);
   KernelFileReader files;
   EXPECT_EQ("0123", files.ReadAll(root.Get(), "ten", 4));
   EXPECT_EQ("0123456789", files.ReadAll(root.Get(), "ten", 10));
   EXPECT_EQ(std::string(KernelFileReader::kFirstRead + 1, 'x'),
             files.ReadAll(root.Get(), "long", KernelFileReader::kFirstRead + 1));
}

TEST(KernelFile, WhatIsNoFileIsNotRead)
{
   RecordedTree tree;
   tree.Folder("folder");
   ASSERT_EQ(0, mkfifo((tree.Root() + "/pipe").c_str(), 0600));
   tree.File("empty", "");
   const FileDescriptor root = OpenRoot(tree);
   KernelFileReader files;
   EXPECT_EQ(std::nullopt, files.ReadAll(root.Get(), "folder"));
   EXPECT_EQ(std::nullopt, files.ReadAll(root.Get(), "missing"));
   EXPECT_EQ(std::nullopt, files.ReadAll(-1, "empty"));
   EXPECT_EQ("", files.ReadAll(root.Get(), "empty"));
   EXPECT_EQ("", files.ReadRecord(root.Get(), "pipe")) << "and nobody waits for one who writes to it";
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
   EXPECT_STREQ("sys/fs/cgroup", BelowRoot("//sys/fs/cgroup"));
   EXPECT_STREQ(".", BelowRoot("/"));
}

} // namespace
