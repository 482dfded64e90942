// Files that something happened to: cut short, a bit flipped, or never a snapshot at all.
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "nevra/snapshot/file_map.h"
#include "nevra/snapshot/snapshot_file.h"
#include "nevra/snapshot/snapshot_source.h"
#include "nevra/snapshot/snapshot_verify.h"
#include "tests/nevra/snapshot/small_tree.h"

namespace {

struct Outcome {
   NevraStatus status;
   std::string warning;
};

Outcome Open(const char *path)
{
   testing::internal::CaptureStderr();
   std::unique_ptr<nevra::Source> source;
   const NevraStatus status = nevra::OpenSnapshotSource(path, &source);
   EXPECT_EQ(source != nullptr, status == NEVRA_OK);
   return {status, testing::internal::GetCapturedStderr()};
}

Outcome OpenMemory(std::span<const uint8_t> bytes, std::unique_ptr<nevra::Source> *source)
{
   testing::internal::CaptureStderr();
   const NevraStatus status = OpenSnapshotSourceFromMemory(bytes, "small", source);
   return {status, testing::internal::GetCapturedStderr()};
}

TEST(SnapshotDamage, TruncationAtEveryByteIsFoundAtOpening)
{
   const std::vector<uint8_t> whole = SmallSnapshot();
   ASSERT_GT(whole.size(), 1000u);
   for (size_t size = 0; size < whole.size(); size++) {
      std::unique_ptr<nevra::Source> source;
      const Outcome outcome = OpenMemory(std::span(whole).first(size), &source);
      ASSERT_EQ(outcome.status, NEVRA_METADATA_READ_ERROR) << size;
      ASSERT_EQ(outcome.warning, size < 8 ? "small: not a snapshot\n" : "small: truncated: no trailer\n")
         << size;
   }
}

TEST(SnapshotDamage, BytesAfterTheEndAreFoundAtOpening)
{
   std::vector<uint8_t> bytes = SmallSnapshot();
   bytes.push_back(0);
   std::unique_ptr<nevra::Source> source;
   EXPECT_EQ(OpenMemory(bytes, &source).status, NEVRA_METADATA_READ_ERROR);
}

// An answer of a damaged snapshot: the right one, or an error.
void ExpectRightOrRefused(const std::vector<std::string> &answers, const std::vector<std::string> &right,
                          bool *refused)
{
   ASSERT_EQ(answers.size(), right.size());
   for (size_t i = 0; i < answers.size(); i++) {
      if (answers[i] != right[i]) {
         *refused = true;
         ASSERT_THAT(answers[i], testing::StartsWith(Status(NEVRA_READ_ERROR)));
      }
   }
}

TEST(SnapshotDamage, FlippedBitIsAnErrorAndNeverAFigure)
{
   const std::vector<uint8_t> whole = SmallSnapshot();
   const std::vector<std::string> right = AskEverything(*OpenBytes(whole));
   std::vector<uint8_t> bytes = whole;
   for (size_t bit = 0; bit < whole.size() * 8; bit++) {
      bytes[bit / 8] = static_cast<uint8_t>(whole[bit / 8] ^ 1 << bit % 8);
      testing::internal::CaptureStderr();
      std::unique_ptr<nevra::Source> source;
      const NevraStatus status = nevra::OpenSnapshotSourceFromMemory(bytes, "small", &source);
      bool refused = status != NEVRA_OK;
      if (status == NEVRA_OK) {
         ExpectRightOrRefused(AskEverything(*source), right, &refused);
      } else {
         EXPECT_EQ(status, NEVRA_METADATA_READ_ERROR) << bit;
      }
      const std::string warnings = testing::internal::GetCapturedStderr();
      ASSERT_EQ(warnings.empty(), !refused) << bit << warnings;
      if (refused) {
         ASSERT_THAT(warnings, testing::StartsWith("small: ")) << bit;
      }
      // cppcheck-suppress unreadVariable // the next bit is flipped in it
      bytes[bit / 8] = whole[bit / 8];
   }
}

TEST(SnapshotDamage, FullVerificationFindsEveryFlippedBit)
{
   const std::vector<uint8_t> whole = SmallSnapshot();
   std::vector<uint8_t> bytes = whole;
   for (size_t bit = 0; bit < whole.size() * 8; bit++) {
      bytes[bit / 8] = static_cast<uint8_t>(whole[bit / 8] ^ 1 << bit % 8);
      nevra::SnapshotFile file;
      std::string problem;
      const bool sound =
         OpenSnapshotBytes(bytes, &file, &problem) == NEVRA_OK && VerifySnapshot(file, &problem);
      ASSERT_FALSE(sound) << bit;
      ASSERT_NE(problem, "") << bit;
      bytes[bit / 8] = whole[bit / 8];
   }
}

TEST(SnapshotDamage, DamagedNodeIsWarnedAboutOnceAndStaysRefused)
{
   std::vector<uint8_t> bytes = SmallSnapshot();
   const std::string name = "seven";
   const auto found = std::search(bytes.begin(), bytes.end(), name.begin(), name.end());
   ASSERT_NE(found, bytes.end());
   *found = 'S';
   const auto source = OpenBytes(bytes);
   ASSERT_NE(source, nullptr);
   testing::internal::CaptureStderr();
   const std::string refused = Status(NEVRA_READ_ERROR);
   EXPECT_EQ(AskRecord(*source, nevra::NodeId::sched_groups_groupName, {0}), refused);
   EXPECT_EQ(AskRecord(*source, nevra::NodeId::sched_groups_groupName, {7}), refused);
   EXPECT_EQ(AskList(*source, nevra::NodeId::sched_groups_members_groups, {0}), "0: 7 3");
   EXPECT_EQ(testing::internal::GetCapturedStderr(),
             "small: damaged: sched/groups/groupName: checksum mismatch\n");
}

class SnapshotFiles : public testing::Test {
 protected:
   SnapshotFiles()
   {
      char pattern[] = "/tmp/snapshot_test.XXXXXX";
      folder = mkdtemp(pattern);
      path = folder / "file";
   }
   ~SnapshotFiles() override { std::filesystem::remove_all(folder); }

   void Write(const std::string &text) { std::ofstream(path) << text; }

   std::filesystem::path folder;
   std::filesystem::path path;
};

TEST_F(SnapshotFiles, WholeFileOpens)
{
   const std::vector<uint8_t> bytes = SmallSnapshot();
   Write({bytes.begin(), bytes.end()});
   const Outcome outcome = Open(path.c_str());
   EXPECT_EQ(outcome.status, NEVRA_OK);
   EXPECT_EQ(outcome.warning, "");
}

TEST_F(SnapshotFiles, MissingFile)
{
   const Outcome outcome = Open(path.c_str());
   EXPECT_EQ(outcome.status, NEVRA_NOT_FOUND);
   EXPECT_EQ(outcome.warning, path.string() + ": cannot be read: No such file or directory\n");
}

TEST_F(SnapshotFiles, EmptyFile)
{
   Write("");
   const Outcome outcome = Open(path.c_str());
   EXPECT_EQ(outcome.status, NEVRA_METADATA_READ_ERROR);
   EXPECT_EQ(outcome.warning, path.string() + ": not a snapshot: empty\n");
}

TEST_F(SnapshotFiles, ForeignFile)
{
   Write("#!/bin/sh\necho this is no snapshot, however long it may go on\n");
   const Outcome outcome = Open(path.c_str());
   EXPECT_EQ(outcome.status, NEVRA_METADATA_READ_ERROR);
   EXPECT_EQ(outcome.warning, path.string() + ": not a snapshot\n");
}

TEST_F(SnapshotFiles, Folder)
{
   const Outcome outcome = Open(folder.c_str());
   EXPECT_EQ(outcome.status, NEVRA_METADATA_READ_ERROR);
   EXPECT_EQ(outcome.warning, folder.string() + ": not a snapshot: not a regular file\n");
}

TEST_F(SnapshotFiles, WhatStandsInTheWay)
{
   Write("no folder");
   Outcome outcome = Open((path / "file").c_str());
   EXPECT_EQ(outcome.status, NEVRA_NOT_FOUND);
   EXPECT_EQ(outcome.warning, path.string() + "/file: cannot be read: Not a directory\n");
   const std::string longName = folder / std::string(300, 'x');
   outcome = Open(longName.c_str());
   EXPECT_EQ(outcome.status, NEVRA_IO_ERROR);
   EXPECT_EQ(outcome.warning, longName + ": cannot be read: File name too long\n");
}

TEST_F(SnapshotFiles, LargerThanASnapshotCanBe)
{
   const std::vector<uint8_t> bytes = SmallSnapshot();
   Write({bytes.begin(), bytes.end()});
   std::filesystem::resize_file(path, uint64_t{3} << 30); // a hole, not three gigabytes
   Outcome outcome = Open(path.c_str());
   EXPECT_EQ(outcome.status, NEVRA_METADATA_READ_ERROR);
   EXPECT_EQ(outcome.warning, path.string() + ": damaged: larger than a snapshot can be\n");
   // More than there are addresses for.
   std::error_code error;
   std::filesystem::resize_file(path, uint64_t{1} << 43, error);
   if (error) {
      GTEST_SKIP() << "no file here is as large: " << error.message();
   }
   rlimit former;
   ASSERT_EQ(getrlimit(RLIMIT_AS, &former), 0);
   const rlimit little = {uint64_t{1} << 42, former.rlim_max};
#ifndef __SANITIZE_ADDRESS__ // which has taken more for itself
   ASSERT_EQ(setrlimit(RLIMIT_AS, &little), 0);
   outcome = Open(path.c_str());
   ASSERT_EQ(setrlimit(RLIMIT_AS, &former), 0);
   EXPECT_EQ(outcome.status, NEVRA_OUT_OF_MEMORY);
   EXPECT_EQ(outcome.warning, path.string() + ": cannot be read: Cannot allocate memory\n");
#else
   (void)little;
#endif
}

// The directory and the trailer of a snapshot, and between them a hole.
void WriteSparse(const std::filesystem::path &path, uint64_t size)
{
   const std::vector<uint8_t> whole = SmallSnapshot();
   std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char *>(whole.data()), static_cast<std::streamsize>(whole.size()));
   std::filesystem::resize_file(path, size);
   std::vector<uint8_t> trailer(whole.end() - nevra::kTrailerSize, whole.end());
   std::memcpy(trailer.data() + 8, &size, sizeof size);
   std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
   file.seekp(static_cast<std::streamoff>(size - trailer.size()));
   file.write(reinterpret_cast<const char *>(trailer.data()), static_cast<std::streamsize>(trailer.size()));
}

TEST_F(SnapshotFiles, HolesAreNotRead)
{
   WriteSparse(path, uint64_t{1900} << 20);
   struct stat facts;
   ASSERT_EQ(stat(path.c_str(), &facts), 0);
   ASSERT_LT(facts.st_blocks, 1000) << "no file here has holes";
   const Outcome outcome = Open(path.c_str());
   EXPECT_EQ(outcome.status, NEVRA_METADATA_READ_ERROR);
   EXPECT_EQ(outcome.warning, path.string() + ": damaged: sparse file: most of it is not stored\n");
   WriteSparse(path, 1 << 20); // as small as files are, a hole in one costs nothing
   EXPECT_EQ(Open(path.c_str()).status, NEVRA_OK);
}

// ---- files that change while they are read

class ChangedSnapshotFiles : public SnapshotFiles {
 protected:
   ChangedSnapshotFiles()
   {
      const std::vector<uint8_t> bytes = SmallSnapshot();
      Write({bytes.begin(), bytes.end()});
   }
};

TEST_F(ChangedSnapshotFiles, CutShortEndsTheProcessWithAMessage)
{
   EXPECT_EXIT(
      {
         std::unique_ptr<nevra::Source> source;
         nevra::OpenSnapshotSource(path.c_str(), &source);
         std::filesystem::resize_file(path, 0);
         AskEverything(*source);
         _exit(0);
      },
      testing::ExitedWithCode(1), "^" + path.string() + ": changed while it was read\n$");
}

TEST_F(ChangedSnapshotFiles, CutShortEndsTheProcessWithTheStatusThatWasSet)
{
   EXPECT_EXIT(
      {
         nevra::SetExitStatusOfCutFile(2);
         std::unique_ptr<nevra::Source> source;
         nevra::OpenSnapshotSource(path.c_str(), &source);
         std::filesystem::resize_file(path, 0);
         AskEverything(*source);
         _exit(0);
      },
      testing::ExitedWithCode(2), ": changed while it was read\n$");
}

TEST_F(ChangedSnapshotFiles, WhatWasCheckedStaysAsItWas)
{
   std::unique_ptr<nevra::Source> source;
   ASSERT_EQ(nevra::OpenSnapshotSource(path.c_str(), &source), NEVRA_OK);
   const std::vector<std::string> before = AskEverything(*source);
   for (const char byte : {'\0', '\x01', '\x7f', '\xff'}) {
      // In place: the map shows it.
      std::fstream(path, std::ios::in | std::ios::out | std::ios::binary)
         << std::string(SmallSnapshot().size(), byte);
      const std::vector<std::string> after = AskEverything(*source);
      EXPECT_NE(after, before);
      EXPECT_EQ(after.size(), before.size()); // it came here, whatever it was told
   }
}

TEST_F(ChangedSnapshotFiles, OtherBusErrorsGoToTheHandlerThatWasThere)
{
   EXPECT_EXIT(
      {
         std::signal(SIGBUS, [](int) { _exit(7); });
         std::unique_ptr<nevra::Source> source;
         nevra::OpenSnapshotSource(path.c_str(), &source);
         std::raise(SIGBUS);
         _exit(0);
      },
      testing::ExitedWithCode(7), "^$");
}

// A handler that passes on what is not for it stays where it is when the file is closed.
struct sigaction actionBelow;

void PassBusErrorOn(int signal, siginfo_t *info, void *context)
{
   if ((actionBelow.sa_flags & SA_SIGINFO) != 0) {
      actionBelow.sa_sigaction(signal, info, context);
   } else {
      actionBelow.sa_handler(signal);
   }
}

// The source of a file that is opened, closed and opened again, with that handler set in between.
std::unique_ptr<nevra::Source> OpenAroundAnotherHandler(const std::string &path)
{
   std::unique_ptr<nevra::Source> source;
   nevra::OpenSnapshotSource(path.c_str(), &source);
   struct sigaction between = {};
   between.sa_sigaction = PassBusErrorOn;
   between.sa_flags = SA_SIGINFO;
   sigaction(SIGBUS, &between, &actionBelow);
   source.reset();
   nevra::OpenSnapshotSource(path.c_str(), &source);
   return source;
}

TEST_F(ChangedSnapshotFiles, HandlerBetweenTwoOpenedFilesIsNotCalledForEver)
{
   EXPECT_EXIT(
      {
         std::signal(SIGBUS, [](int) { _exit(7); });
         const std::unique_ptr<nevra::Source> source = OpenAroundAnotherHandler(path);
         std::raise(SIGBUS);
         _exit(0);
      },
      testing::ExitedWithCode(7), "^$");
}

TEST_F(ChangedSnapshotFiles, FileThatIsCutBelowAnotherHandlerEndsTheProcessWithAMessage)
{
   EXPECT_EXIT(
      {
         const std::unique_ptr<nevra::Source> source = OpenAroundAnotherHandler(path);
         std::filesystem::resize_file(path, 0);
         AskEverything(*source);
         _exit(0);
      },
      testing::ExitedWithCode(1), ": changed while it was read\n$");
}

TEST_F(ChangedSnapshotFiles, HandlerIsRemovedWithTheLastFile)
{
   struct sigaction before;
   struct sigaction during;
   struct sigaction after;
   sigaction(SIGBUS, nullptr, &before);
   nevra::SnapshotFile first;
   nevra::SnapshotFile second;
   std::string problem;
   ASSERT_EQ(OpenSnapshotFile(path.c_str(), &first, &problem), NEVRA_OK);
   ASSERT_EQ(OpenSnapshotFile(path.c_str(), &second, &problem), NEVRA_OK);
   first = {}; // cppcheck-suppress unreadVariable // closes the first
   sigaction(SIGBUS, nullptr, &during);
   EXPECT_NE(during.sa_sigaction, before.sa_sigaction);
   second = {}; // cppcheck-suppress unreadVariable // closes the second
   sigaction(SIGBUS, nullptr, &after);
   EXPECT_EQ(after.sa_sigaction, before.sa_sigaction);
}

TEST_F(SnapshotFiles, FifoDoesNotHang)
{
   ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
   const Outcome outcome = Open(path.c_str());
   EXPECT_EQ(outcome.status, NEVRA_METADATA_READ_ERROR);
   EXPECT_EQ(outcome.warning, path.string() + ": not a snapshot: not a regular file\n");
}

TEST_F(SnapshotFiles, UnreadableFile)
{
   Write("secret");
   ASSERT_EQ(chmod(folder.c_str(), 0755), 0);
   ASSERT_EQ(chmod(path.c_str(), 0), 0);
   const bool isRoot = geteuid() == 0; // who reads everything
   constexpr uid_t kNobody = 65534;
   ASSERT_EQ(isRoot ? seteuid(kNobody) : 0, 0);
   const Outcome outcome = Open(path.c_str());
   ASSERT_EQ(isRoot ? seteuid(0) : 0, 0);
   EXPECT_EQ(outcome.status, NEVRA_NO_PERMISSION);
   EXPECT_EQ(outcome.warning, path.string() + ": cannot be read: Permission denied\n");
}

} // namespace
