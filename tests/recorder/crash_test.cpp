// Recorders that end at any byte of what they write, alone or together with their host.
#include <algorithm>
#include <cerrno>
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "recorder/recording.h"
#include "recorder/recording_writer.h"
#include "tests/recorder/recording_kit.h"

namespace {

using namespace recorder;

// A folder in memory that stops at a byte. Knows of every file what was written and what of it was synced.
class StoppingStorage : public Storage {
 public:
   explicit StoppingStorage(uint64_t bytesUntilStop) : left(bytesUntilStop) {}

   struct File {
      std::vector<uint8_t> bytes;
      size_t synced = 0;
      bool hasSyncedName = false;
   };

   int TakeFolder() override { return 0; }
   void ReleaseFolder() override {}
   bool HasFolder() override { return true; }
   const std::string &Path() const override { return path; }
   int List(std::vector<StoredSegment> *segments) override
   {
      segments->clear();
      for (const auto &[name, file] : files) {
         segments->push_back({name, file.bytes.size(), 0});
      }
      return 0;
   }
   int Remove(const std::string &name) override
   {
      if (hasStopped) {
         return EIO;
      }
      files.erase(name);
      return 0;
   }
   int Space(uint64_t *freeBytes, uint64_t *allBytes) override
   {
      *freeBytes = *allBytes = uint64_t{1} << 40;
      return 0;
   }
   int SyncFolder() override
   {
      for (auto &[name, file] : files) {
         file.hasSyncedName = file.hasSyncedName || !hasStopped;
      }
      return hasStopped ? EIO : 0;
   }
   int CreateSegment(const std::string &name) override
   {
      if (hasStopped) {
         return EIO;
      }
      current = name;
      files[name] = {};
      return 0;
   }
   int Append(std::span<const uint8_t> bytes) override
   {
      if (hasStopped) {
         return EIO;
      }
      const std::span<const uint8_t> part = bytes.first(std::min<uint64_t>(left, bytes.size()));
      files[current].bytes.insert(files[current].bytes.end(), part.begin(), part.end());
      left -= part.size();
      hasStopped = part.size() < bytes.size();
      return hasStopped ? EIO : 0;
   }
   int SyncSegment() override
   {
      if (hasStopped) {
         return EIO;
      }
      files[current].synced = files[current].bytes.size();
      return 0;
   }
   void CloseSegment() override {}
   bool HasSegment() override { return true; }

   std::map<std::string, File> files;
   bool hasStopped = false;

 private:
   std::string path = "/nowhere";
   std::string current;
   uint64_t left;
};

// What is left of what was not synced.
enum class Loss {
   Nothing,     // the recorder was killed
   Unsynced,    // the host went down
   UnsyncedZero // the host went down, and the file system had the lengths and not the content
};

// A run across two full hours. The sequences that were acknowledged.
std::vector<uint64_t> RecordUntilStop(StoppingStorage *storage)
{
   RecordingLimits limits;
   limits.keyEvery = 3;
   RecordingWriter writer(storage, limits, {}, [](const std::string &) {});
   EXPECT_EQ(writer.Open({kThreeOClock, 0}), 0);
   std::vector<uint64_t> acknowledged;
   for (int64_t i = 0; i < 10 && !storage->hasStopped; i++) {
      const int64_t passed = i * 15 * kMinuteNs;
      const uint64_t sequence = writer.NextSequence();
      if (writer.Append(MadeUpSnapshot(kThreeOClock + passed), kReasonInterval,
                        {kThreeOClock + passed, passed})) {
         acknowledged.push_back(sequence);
      }
   }
   if (!storage->hasStopped) {
      writer.Seal();
   }
   return acknowledged;
}

void WriteFiles(const StoppingStorage &storage, Loss loss, const std::string &folder)
{
   std::filesystem::remove_all(folder);
   std::filesystem::create_directory(folder);
   for (const auto &[name, file] : storage.files) {
      if (loss != Loss::Nothing && !file.hasSyncedName) {
         continue;
      }
      std::vector<uint8_t> bytes = file.bytes;
      if (loss == Loss::Unsynced) {
         bytes.resize(file.synced);
      } else if (loss == Loss::UnsyncedZero) {
         std::fill(bytes.begin() + static_cast<ptrdiff_t>(file.synced), bytes.end(), uint8_t{0});
      }
      WriteFile(folder + '/' + name, bytes);
   }
}

void StopAtEveryByte(Loss loss)
{
   StoppingStorage whole(~uint64_t{0});
   ASSERT_EQ(RecordUntilStop(&whole).size(), 10u);
   uint64_t allBytes = 0;
   for (const auto &[name, file] : whole.files) {
      allBytes += file.bytes.size();
   }
   ASSERT_GE(allBytes, 1000u);
   const TemporaryFolder folder;
   for (uint64_t bytes = 0; bytes <= allBytes; bytes++) {
      StoppingStorage storage(bytes);
      const std::vector<uint64_t> acknowledged = RecordUntilStop(&storage);
      WriteFiles(storage, loss, folder.Path());

      // Readers find at least what was acknowledged, and nothing wrong.
      Recording recording;
      std::string problem;
      ASSERT_TRUE(recording.Open(folder.Path(), &problem)) << problem;
      const std::vector<uint64_t> found = ReadAll(&recording);
      ASSERT_TRUE(std::ranges::includes(found, acknowledged)) << "stopped after " << bytes << " bytes";
      ASSERT_LE(found.size(), acknowledged.size() + 1);

      // The next run goes on in a new segment, under a new sequence.
      UnsyncedStorage next(folder.Path());
      RecordingWriter writer(&next, {}, {}, [](const std::string &) {});
      ASSERT_EQ(writer.Open({kThreeOClock + kDayNs, 0}), 0);
      const uint64_t sequence = writer.NextSequence();
      ASSERT_GT(sequence, found.empty() ? 0 : found.back());
      ASSERT_TRUE(
         writer.Append(MadeUpSnapshot(kThreeOClock + kDayNs), kReasonStart, {kThreeOClock + kDayNs, 0}));
      ASSERT_TRUE(recording.Open(folder.Path(), &problem)) << problem;
      std::vector<uint64_t> expected = found;
      expected.push_back(sequence);
      ASSERT_EQ(ReadAll(&recording), expected) << "stopped after " << bytes << " bytes";
   }
}

TEST(RecorderCrash, AKilledRecorderLosesNothingThatItHadWritten)
{
   StopAtEveryByte(Loss::Nothing);
}

TEST(RecorderCrash, AHostThatGoesDownLosesNothingThatWasSynced)
{
   StopAtEveryByte(Loss::Unsynced);
}

TEST(RecorderCrash, ZerosInPlaceOfWhatWasNotSyncedAreNoFrames)
{
   StopAtEveryByte(Loss::UnsyncedZero);
}

} // namespace
