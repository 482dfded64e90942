// What a recorder does with its folder, its limits and its clock.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <limits>
#include <numeric>
#include <random>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "recorder/recording_writer.h"
#include "tests/recorder/recording_kit.h"

namespace {

using namespace recorder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// A disk of a given size, on which nothing else lies.
class SmallDisk : public UnsyncedStorage {
 public:
   using UnsyncedStorage::UnsyncedStorage;
   int Append(std::span<const uint8_t> bytes) override
   {
      uint64_t used = 0;
      std::vector<StoredSegment> segments;
      List(&segments);
      for (const StoredSegment &stored : segments) {
         used += stored.bytes;
      }
      if (used + bytes.size() <= size) {
         return UnsyncedStorage::Append(bytes);
      }
      UnsyncedStorage::Append(bytes.first(size > used ? size - used : 0));
      return ENOSPC;
   }
   int Space(uint64_t *freeBytes, uint64_t *allBytes) override
   {
      *freeBytes = freeSpace;
      *allBytes = 1'000'000;
      return 0;
   }
   uint64_t size = std::numeric_limits<uint64_t>::max() / 2;
   uint64_t freeSpace = 1'000'000;
};

class RecordingWriterTest : public testing::Test {
 protected:
   RecordingWriterTest() { Restart(); }

   void Restart()
   {
      writer.reset();
      storage = std::make_unique<SmallDisk>(folder.Path());
      writer = std::make_unique<RecordingWriter>(storage.get(), limits, std::array<uint8_t, 16>{},
                                                 [this](const std::string &line) { said.push_back(line); });
      ASSERT_EQ(writer->Open(now), 0);
   }

   void Pass(int64_t ns)
   {
      now.wall += ns;
      now.boot += ns;
   }

   bool Append(size_t size = 200)
   {
      return writer->Append(MadeUpSnapshot(now.wall, size), kReasonInterval, now);
   }

   // A frame every so often.
   void Record(int frames, int64_t every, size_t size = 200)
   {
      for (int i = 0; i < frames; i++) {
         ASSERT_TRUE(Append(size));
         Pass(every);
      }
   }

   std::vector<uint64_t> Read(size_t size = 200)
   {
      std::string problem;
      EXPECT_TRUE(recording.Open(folder.Path(), &problem)) << problem;
      return ReadAll(&recording, size);
   }

   TemporaryFolder folder;
   RecordingLimits limits;
   FrameTime now = {kThreeOClock, kHourNs};
   std::unique_ptr<SmallDisk> storage;
   std::unique_ptr<RecordingWriter> writer;
   std::vector<std::string> said;
   Recording recording;
};

TEST_F(RecordingWriterTest, TheFolderAndItsFilesAreTheOwnersAlone)
{
   Record(1, kMinuteNs);
   struct stat status = {};
   ASSERT_EQ(stat(folder.Path().c_str(), &status), 0);
   EXPECT_EQ(status.st_mode & 07777, 0700u);
   for (const auto &entry : std::filesystem::directory_iterator(folder.Path())) {
      ASSERT_EQ(stat(entry.path().c_str(), &status), 0);
      EXPECT_EQ(status.st_mode & 07777, 0600u) << entry.path();
   }
}

TEST_F(RecordingWriterTest, EachHourHasASegment)
{
   Record(120, kMinuteNs);
   EXPECT_THAT(folder.Segments(),
               ElementsAre("000000000001-20260131T030000Z.segment", "000000000061-20260131T040000Z.segment"));
   EXPECT_EQ(Read().size(), 120u);
   EXPECT_TRUE(recording.Segments()[0].isSealed);
   EXPECT_FALSE(recording.Segments()[1].isSealed);
   ASSERT_TRUE(writer->Seal());
   EXPECT_EQ(Read().size(), 120u);
   EXPECT_TRUE(recording.Segments()[1].isSealed);
   EXPECT_THAT(said, IsEmpty());
}

TEST_F(RecordingWriterTest, EachFrameSaysWhenAndWhy)
{
   ASSERT_TRUE(writer->Append(MadeUpSnapshot(now.wall), kReasonOom | kReasonInterval, now));
   Read();
   const FrameHeader &frame = recording.Frames().at(0).header;
   EXPECT_EQ(frame.reasons, kReasonOom | kReasonInterval);
   EXPECT_EQ(frame.wallTime, now.wall);
   EXPECT_EQ(frame.bootTime, now.boot);
   EXPECT_EQ(frame.rawBytes, 200u);
}

TEST_F(RecordingWriterTest, AKeyFrameComesAsOftenAsAskedFor)
{
   limits.keyEvery = 5;
   Restart();
   Record(23, kMinuteNs);
   Read();
   for (const Frame &frame : recording.Frames()) {
      EXPECT_EQ(frame.depth, (frame.header.sequence - 1) % 5) << frame.header.sequence;
   }
}

TEST_F(RecordingWriterTest, AKeyFrameComesWhereADeltaDoesNotPay)
{
   Record(1, kMinuteNs);
   std::vector<uint8_t> other(200);
   std::iota(other.begin(), other.end(), uint8_t{0});
   std::shuffle(other.begin(), other.end(), std::minstd_rand(1));
   ASSERT_TRUE(writer->Append(other, kReasonInterval, now));
   std::string problem;
   ASSERT_TRUE(recording.Open(folder.Path(), &problem)) << problem;
   EXPECT_EQ(recording.Frames().at(1).header.parent, 0u);
}

TEST_F(RecordingWriterTest, ADeltaIsSmallerThanItsSnapshotAlone)
{
   Record(2, kMinuteNs, 20000);
   Read(20000);
   EXPECT_EQ(recording.Frames().at(1).header.parent, 1u);
   EXPECT_LT(recording.Frames()[1].header.storedBytes, recording.Frames()[0].header.storedBytes / 5);
}

TEST_F(RecordingWriterTest, ASecondRecorderIsRefused)
{
   FolderStorage second(folder.Path());
   EXPECT_EQ(second.TakeFolder(), EBUSY);
   writer.reset();
   storage.reset();
   EXPECT_EQ(second.TakeFolder(), 0);
}

TEST_F(RecordingWriterTest, ANewRunBeginsANewSegmentAndGoesOnCounting)
{
   Record(3, kMinuteNs);
   Restart();
   Record(2, kMinuteNs);
   EXPECT_EQ(folder.Segments().size(), 2u);
   EXPECT_THAT(Read(), ElementsAre(1, 2, 3, 4, 5));
   EXPECT_EQ(recording.Frames()[3].header.parent, 0u);
}

// Another recorder's log was appended to after a torn record, and then refused.
TEST_F(RecordingWriterTest, NothingIsAppendedAfterATornFrame)
{
   Record(3, kMinuteNs);
   const std::string torn = folder.Path() + '/' + folder.Segments()[0];
   const uint64_t size = std::filesystem::file_size(torn) - 5;
   std::filesystem::resize_file(torn, size);
   Restart();
   Record(2, kMinuteNs);
   EXPECT_EQ(std::filesystem::file_size(torn), size);
   // The torn frame was the third, and its sequence is free again.
   EXPECT_THAT(Read(), ElementsAre(1, 2, 3, 4));
   EXPECT_EQ(recording.Segments()[0].frameCount, 2u);
}

TEST_F(RecordingWriterTest, ADamagedSegmentIsReportedOnceAndLeftAlone)
{
   Record(3, kMinuteNs);
   const std::string damaged = folder.Path() + '/' + folder.Segments()[0];
   std::vector<uint8_t> bytes = ReadFile(damaged);
   bytes[kSegmentHeaderBytes + 20] ^= 1;
   WriteFile(damaged, bytes);
   Restart();
   Record(2, kMinuteNs);
   ASSERT_EQ(said.size(), 1u);
   EXPECT_THAT(said[0], HasSubstr("damaged bytes skipped"));
   EXPECT_EQ(ReadFile(damaged), bytes);
   EXPECT_THAT(Read(), ElementsAre(4, 5));
}

TEST_F(RecordingWriterTest, TheByteLimitHoldsAfterEveryFrame)
{
   limits.maxBytes = 20'000;
   Restart();
   for (int i = 0; i < 600; i++) {
      ASSERT_TRUE(Append());
      ASSERT_LE(folder.Bytes(), limits.maxBytes);
      Pass(kMinuteNs);
   }
   ASSERT_TRUE(writer->Seal());
   EXPECT_LE(folder.Bytes(), limits.maxBytes);
   EXPECT_EQ(Read().back(), 600u);
   EXPECT_GT(folder.Bytes(), limits.maxBytes / 3);
}

TEST_F(RecordingWriterTest, TheByteLimitHoldsWithinAnHour)
{
   limits.maxBytes = 20'000;
   Restart();
   for (int i = 0; i < 1000; i++) {
      ASSERT_TRUE(Append());
      ASSERT_LE(folder.Bytes(), limits.maxBytes);
      Pass(kSecondNs);
   }
   EXPECT_EQ(Read().back(), 1000u);
}

TEST_F(RecordingWriterTest, ASnapshotBeyondTheByteLimitIsNotRecorded)
{
   limits.maxBytes = 300;
   Restart();
   EXPECT_FALSE(Append());
   EXPECT_FALSE(Append());
   EXPECT_THAT(said, ElementsAre(folder.Path() + ": a snapshot does not fit into the limit of 300 bytes"));
   EXPECT_THAT(folder.Segments(), IsEmpty());
}

TEST_F(RecordingWriterTest, WhatIsTooOldIsRemovedSegmentBySegment)
{
   limits.keep = 3 * kHourNs;
   Restart();
   Record(600, kMinuteNs);
   const std::vector<uint64_t> found = Read();
   EXPECT_EQ(found.back(), 600u);
   // The hour that is three hours old in part is whole.
   EXPECT_EQ(found.front(), 361u);
}

TEST_F(RecordingWriterTest, NothingIsRemovedForItsAgeInTheFirstHour)
{
   limits.keep = kDayNs;
   Restart();
   Record(60, kMinuteNs);
   Pass(21 * kDayNs); // the host was off
   Restart();
   Record(59, kMinuteNs);
   EXPECT_EQ(Read().size(), 119u);
   Record(2, kMinuteNs);
   EXPECT_EQ(Read().front(), 61u);
}

TEST_F(RecordingWriterTest, AClockThatIsSetForwardByMistakeRemovesNothing)
{
   limits.keep = kDayNs;
   Restart();
   Record(300, kMinuteNs);
   now.wall += 400 * kDayNs;
   Record(20, kMinuteNs);
   now.wall -= 400 * kDayNs;
   Record(300, kMinuteNs);
   EXPECT_EQ(Read().size(), 620u);
   EXPECT_EQ(Read().front(), 1u);
}

TEST_F(RecordingWriterTest, AClockThatGoesBackAndForthMakesFewSegments)
{
   for (int i = 0; i < 100; i++) {
      ASSERT_TRUE(Append());
      Pass(kSecondNs);
      now.wall += (i % 2 == 0 ? 3 : -3) * kHourNs;
   }
   EXPECT_EQ(Read().size(), 100u);
   EXPECT_LE(folder.Segments().size(), 2u);
}

TEST_F(RecordingWriterTest, AClockThatStandsStillFillsNoSegmentForEver)
{
   for (int i = 0; i < 180; i++) {
      ASSERT_TRUE(Append());
      now.boot += kMinuteNs;
   }
   EXPECT_EQ(Read().size(), 180u);
   EXPECT_EQ(folder.Segments().size(), 3u);
}

TEST_F(RecordingWriterTest, TimesBefore1970AndAfter9999AreRecorded)
{
   for (const int64_t wall : {-5 * kDayNs, std::numeric_limits<int64_t>::max() - kDayNs}) {
      now.wall = wall;
      ASSERT_TRUE(Append());
   }
   EXPECT_THAT(Read(), ElementsAre(1, 2));
   EXPECT_EQ(recording.Frames()[0].header.wallTime, -5 * kDayNs);
}

TEST_F(RecordingWriterTest, AFullDiskMakesRoomByTheOldestSegments)
{
   storage->size = 15'000;
   Record(300, kMinuteNs);
   const std::vector<uint64_t> found = Read();
   EXPECT_GT(found.front(), 1u);
   EXPECT_LE(folder.Bytes(), 15'000u);
   EXPECT_THAT(said, IsEmpty());
}

TEST_F(RecordingWriterTest, ADiskThatStaysFullLeavesNoFilesAndOneMessage)
{
   storage->size = 100;
   for (int i = 0; i < 50; i++) {
      EXPECT_FALSE(Append());
      Pass(kMinuteNs);
   }
   EXPECT_THAT(folder.Segments(), IsEmpty());
   EXPECT_THAT(said, ElementsAre(folder.Path() + ": a frame cannot be written: No space left on device"));
   storage->size = 100'000;
   Record(2, kMinuteNs);
   EXPECT_EQ(Read().size(), 2u);
   ASSERT_EQ(said.size(), 2u);
   EXPECT_EQ(said[1], folder.Path() + ": recording goes on");
}

TEST_F(RecordingWriterTest, FreeSpaceIsKeptByRemovingNoMoreThanItTakes)
{
   Record(300, kMinuteNs);
   ASSERT_EQ(folder.Segments().size(), 5u);
   storage->freeSpace = 49'000; // of the 50'000 to leave
   Record(1, kMinuteNs);
   const size_t left = folder.Segments().size();
   EXPECT_GE(left, 4u);
   EXPECT_LE(left, 5u);
}

TEST_F(RecordingWriterTest, WhereOthersFillTheDiskTheCurrentSegmentGoesOn)
{
   Record(300, kMinuteNs);
   storage->freeSpace = 0;
   Record(20, kMinuteNs);
   EXPECT_EQ(folder.Segments().size(), 1u);
   EXPECT_EQ(Read().back(), 320u);
}

TEST_F(RecordingWriterTest, AFolderThatDisappearsIsMadeAgain)
{
   Record(3, kMinuteNs);
   std::filesystem::remove_all(folder.Path());
   Record(2, kMinuteNs);
   EXPECT_THAT(Read(), ElementsAre(4, 5));
   EXPECT_THAT(said, ElementsAre(folder.Path() + ": has disappeared"));
   FolderStorage second(folder.Path());
   EXPECT_EQ(second.TakeFolder(), EBUSY);
}

TEST_F(RecordingWriterTest, AFolderThatIsReplacedIsWrittenTo)
{
   Record(3, kMinuteNs);
   std::filesystem::rename(folder.Path(), folder.Path() + ".old");
   std::filesystem::create_directory(folder.Path());
   Record(2, kMinuteNs);
   EXPECT_THAT(Read(), ElementsAre(4, 5));
}

TEST_F(RecordingWriterTest, ASegmentThatIsRemovedIsFollowedByANewOne)
{
   Record(3, kMinuteNs);
   std::filesystem::remove(folder.Path() + '/' + folder.Segments()[0]);
   Record(2, kMinuteNs);
   EXPECT_THAT(Read(), ElementsAre(4, 5));
}

TEST_F(RecordingWriterTest, ASegmentThatIsPutIntoTheFolderIsCountedOnFrom)
{
   Record(3, kMinuteNs);
   const TemporaryFolder other;
   {
      SmallDisk otherStorage(other.Path());
      RecordingWriter otherWriter(&otherStorage, limits, std::array<uint8_t, 16>{},
                                  [](const std::string &) {});
      ASSERT_EQ(otherWriter.Open(now), 0);
      for (int i = 0; i < 10; i++) {
         ASSERT_TRUE(otherWriter.Append(MadeUpSnapshot(now.wall), kReasonInterval, now));
         Pass(kMinuteNs);
      }
      otherWriter.Seal();
   }
   std::filesystem::copy(other.Path() + '/' + other.Segments()[0], folder.Path());
   Pass(kHourNs);
   Record(2, kMinuteNs);
   std::string problem;
   ASSERT_TRUE(recording.Open(folder.Path(), &problem)) << problem;
   const size_t frames = recording.Frames().size();
   ASSERT_GE(frames, 2u);
   EXPECT_EQ(recording.Frames()[frames - 2].header.sequence, 11u);
   EXPECT_EQ(recording.Frames()[frames - 1].header.sequence, 12u);
   for (size_t i = frames - 2; i < frames; i++) {
      std::vector<uint8_t> snapshot;
      ASSERT_TRUE(recording.Read(i, &snapshot, &problem)) << problem;
      EXPECT_EQ(snapshot, MadeUpSnapshot(recording.Frames()[i].header.wallTime));
   }
}

TEST_F(RecordingWriterTest, ReadersWorkWhileItWrites)
{
   constexpr uint64_t kFrames = 400;
   std::atomic<uint64_t> written = 0;
   std::atomic<bool> hasReader = false;
   std::thread recorder([&] {
      for (uint64_t i = 1; i <= kFrames; i++) {
         while (i > kFrames / 2 && !hasReader) {
            std::this_thread::yield();
         }
         Append();
         written = i;
         Pass(20 * kSecondNs);
      }
   });
   size_t growths = 0;
   uint64_t last = 0;
   while (last < kFrames) {
      const uint64_t before = written;
      Recording reading;
      std::string problem;
      if (!reading.Open(folder.Path(), &problem)) {
         ADD_FAILURE() << problem;
         break;
      }
      const std::vector<uint64_t> found = ReadAll(&reading);
      EXPECT_GE(found.size(), before);
      EXPECT_EQ(found.size(), reading.Frames().size());
      for (const Segment &segment : reading.Segments()) {
         EXPECT_EQ(segment.problem, "");
      }
      growths += found.size() > last ? 1 : 0;
      last = std::max<uint64_t>(last, found.size());
      hasReader = last > 0;
   }
   hasReader = true;
   recorder.join();
   EXPECT_EQ(last, kFrames);
   EXPECT_GE(growths, 2u);
}

TEST_F(RecordingWriterTest, TwoWeeksKeepWhatTheyAreToldTo)
{
   limits.keep = 7 * kDayNs;
   limits.maxBytes = 64 << 20;
   Restart();
   constexpr int kMinutes = 14 * 24 * 60;
   for (int i = 0; i < kMinutes; i++) {
      ASSERT_TRUE(Append());
      Pass(kMinuteNs);
      if (i % 1440 == 0 && i > 0) {
         Restart(); // every day
      }
   }
   const std::vector<uint64_t> found = Read();
   EXPECT_EQ(found.back(), uint64_t{kMinutes});
   // A week, and the rest of the hour with which it begins.
   EXPECT_GE(found.size(), 7 * 1440u);
   EXPECT_LE(found.size(), 7 * 1440u + 121);
   EXPECT_EQ(found.size(), found.back() - found.front() + 1);
   EXPECT_THAT(said, IsEmpty());
}

} // namespace
