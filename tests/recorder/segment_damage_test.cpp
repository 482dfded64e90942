// Segments with every bit flipped, cut off everywhere, and made to harm.
#include <algorithm>
#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zstd.h>

#include "nevra/snapshot/snapshot_checksum.h"
#include "recorder/segment_format.h"
#include "recorder/segment_reader.h"
#include "tests/recorder/recording_kit.h"

namespace {

using namespace recorder;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr unsigned kFrames = 8;
constexpr unsigned kKeyEvery = 4;

class SegmentDamage : public testing::Test {
 protected:
   SegmentDamage() { std::filesystem::create_directory(folder.Path()); }

   // The sequences that can be read of these bytes.
   std::vector<uint64_t> Read(const std::vector<uint8_t> &bytes)
   {
      const std::string path = folder.Path() + "/000000000001-20260131T030000Z.segment";
      WriteFile(path, bytes);
      Recording recording;
      EXPECT_TRUE(recording.Open(folder.Path(), &problem));
      segment = recording.Segments().at(0);
      return ReadAll(&recording);
   }

   // Frame by frame, the offset where it begins; then that where the frames end.
   static std::vector<uint64_t> Offsets(const std::vector<uint8_t> &bytes)
   {
      std::vector<uint64_t> offsets = {kSegmentHeaderBytes};
      FrameHeader frame;
      size_t length = 0;
      while (DecodeFrameHeader(std::span(bytes).subspan(offsets.back()), &frame, &length) ==
             Decoded::Header) {
         offsets.push_back(offsets.back() + length + frame.storedBytes);
      }
      return offsets;
   }

   // What must be left when the frame at a position is damaged: all but it and those that depend on it.
   static std::vector<uint64_t> Without(unsigned position)
   {
      std::vector<uint64_t> sequences;
      for (unsigned i = 0; i < kFrames; i++) {
         if (i < position || i / kKeyEvery != position / kKeyEvery) {
            sequences.push_back(i + 1);
         }
      }
      return sequences;
   }

   void FlipEveryBit(std::vector<uint8_t> bytes)
   {
      const std::vector<uint64_t> offsets = Offsets(bytes);
      ASSERT_EQ(offsets.size(), kFrames + 1);
      for (size_t at = 0; at < bytes.size(); at++) {
         const auto position = static_cast<unsigned>(std::ranges::upper_bound(offsets, at) - offsets.begin());
         const bool isInFrame = position >= 1 && position <= kFrames;
         const std::vector<uint64_t> expected = Without(isInFrame ? position - 1 : kFrames + kKeyEvery);
         for (int bit = 0; bit < 8; bit++) {
            bytes[at] ^= static_cast<uint8_t>(1 << bit);
            ASSERT_EQ(Read(bytes), expected) << "byte " << at << ", bit " << bit << ": " << segment.problem;
            bytes[at] ^= static_cast<uint8_t>(1 << bit);
         }
      }
   }

   TemporaryFolder folder;
   std::string problem;
   Segment segment;
};

TEST_F(SegmentDamage, AFlippedBitOfASealedSegmentCostsNoMoreThanItsFrame)
{
   FlipEveryBit(MakeSegment(kFrames, kKeyEvery, true));
}

TEST_F(SegmentDamage, AFlippedBitOfAnOpenSegmentCostsNoMoreThanItsFrame)
{
   FlipEveryBit(MakeSegment(kFrames, kKeyEvery, false));
}

TEST_F(SegmentDamage, ATruncatedSegmentGivesAllThatIsBeforeTheCut)
{
   std::vector<uint8_t> bytes = MakeSegment(kFrames, kKeyEvery, true);
   const std::vector<uint64_t> offsets = Offsets(bytes);
   while (!bytes.empty()) {
      bytes.pop_back();
      const auto whole =
         static_cast<size_t>(std::ranges::upper_bound(offsets, bytes.size()) - offsets.begin());
      std::vector<uint64_t> expected;
      for (size_t i = 1; i < whole; i++) {
         expected.push_back(i);
      }
      ASSERT_EQ(Read(bytes), expected) << bytes.size() << " bytes";
      EXPECT_EQ(segment.problem, "");
      EXPECT_FALSE(segment.isSealed);
   }
}

TEST_F(SegmentDamage, OneMessageSaysWhatWasSkipped)
{
   std::vector<uint8_t> bytes = MakeSegment(kFrames, kKeyEvery, false);
   const std::vector<uint64_t> offsets = Offsets(bytes);
   bytes[offsets[1] + 20] ^= 1;
   bytes[0] ^= 1;
   EXPECT_THAT(Read(bytes), ElementsAre(1, 5, 6, 7, 8));
   EXPECT_EQ(segment.problem, "its header is damaged; " +
                                 std::to_string(kSegmentHeaderBytes + offsets[2] - offsets[1]) +
                                 " damaged bytes skipped; 2 frames lost");
}

TEST_F(SegmentDamage, WhatIsNoSegmentIsRefused)
{
   EXPECT_THAT(Read(std::vector<uint8_t>(4096, 'x')), ElementsAre());
   EXPECT_EQ(segment.problem, "not a segment of a recording");
}

TEST_F(SegmentDamage, ALaterVersionIsRefusedAndHidesNoOther)
{
   WriteFile(folder.Path() + "/000000000009-20260131T040000Z.segment", MakeSegment(2, 4, true));
   std::vector<uint8_t> bytes = MakeSegment(kFrames, kKeyEvery, true);
   const auto header = EncodeSegmentHeader({kSegmentVersion + 1, 1, 0, 0, {}});
   std::ranges::copy(header, bytes.begin());
   EXPECT_THAT(Read(bytes), ElementsAre(1, 2));
   EXPECT_EQ(segment.problem, "format version 2, but this build reads versions up to 1");
}

// Written by the first build that wrote this version, and never again.
TEST_F(SegmentDamage, TheFirstVersionIsRead)
{
   EXPECT_THAT(Read(ReadFile(RECORDER_DATA "/version-1.segment")), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
   EXPECT_EQ(segment.problem, "");
   EXPECT_TRUE(segment.isSealed);
   EXPECT_EQ(segment.header.version, 1u);
}

// Fields that a later build adds in front of the checksum, and reasons that this one does not know.
TEST_F(SegmentDamage, LongerHeadersAndNewReasonsAreRead)
{
   const std::vector<uint8_t> bytes = MakeSegment(1, 1, false);
   std::vector<uint8_t> longer(bytes.begin(), bytes.begin() + kSegmentHeaderBytes);
   std::vector<uint8_t> header(bytes.begin() + kSegmentHeaderBytes,
                               bytes.begin() + kSegmentHeaderBytes + kFrameHeaderBytes);
   header.insert(header.end(), 16, 0xee);
   header[8] = static_cast<uint8_t>(header.size());
   header[12] = 0x80;
   const uint64_t checksum = nevra::ChecksumOfBytes(header.data(), header.size() - 8);
   std::memcpy(header.data() + header.size() - 8, &checksum, 8);
   longer.insert(longer.end(), header.begin(), header.end());
   longer.insert(longer.end(), bytes.begin() + kSegmentHeaderBytes + kFrameHeaderBytes, bytes.end());
   EXPECT_THAT(Read(longer), ElementsAre(1));
   EXPECT_EQ(segment.problem, "");
   EXPECT_EQ(ReasonText(0x80), "other");
   EXPECT_EQ(ReasonText(0x80 | kReasonInterval | kReasonOom), "oom, interval, other");
}

// A segment of frames as somebody may make them, every checksum right.
class HostileSegment : public SegmentDamage {
 protected:
   HostileSegment()
   {
      const auto header = EncodeSegmentHeader({});
      made.assign(header.begin(), header.end());
   }

   void Add(FrameHeader frame, const std::vector<uint8_t> &stored)
   {
      frame.storedHash = nevra::ChecksumOfBytes(stored.data(), stored.size());
      if (frame.storedBytes == 0) {
         frame.storedBytes = stored.size();
      }
      const auto header = EncodeFrameHeader(frame);
      made.insert(made.end(), header.begin(), header.end());
      made.insert(made.end(), stored.begin(), stored.end());
   }

   // Reads the frame at a position; the problem.
   std::string ProblemOf(size_t frame)
   {
      const std::string path = folder.Path() + "/one";
      WriteFile(path, made);
      SegmentReader reader;
      std::vector<uint8_t> snapshot;
      EXPECT_TRUE(reader.Open(path, {}, &problem)) << problem;
      damage = reader.Damage();
      EXPECT_FALSE(reader.Read(frame, &snapshot, &problem));
      return problem;
   }

   static std::vector<uint8_t> Compressed(size_t zeros)
   {
      const std::vector<uint8_t> raw(zeros);
      std::vector<uint8_t> stored(ZSTD_compressBound(zeros));
      stored.resize(ZSTD_compress(stored.data(), stored.size(), raw.data(), raw.size(), 1));
      return stored;
   }

   std::vector<uint8_t> made;
   std::string damage;
};

TEST_F(HostileSegment, MoreThanTheHeaderStatesIsNotDecompressed)
{
   Add({.sequence = 1, .rawBytes = 1000}, Compressed(64 << 20));
   EXPECT_EQ(ProblemOf(0), "damaged: frame 1: other lengths than its header states");
}

TEST_F(HostileSegment, LessThanTheHeaderStatesIsRefused)
{
   Add({.sequence = 1, .rawBytes = 1001}, Compressed(1000));
   EXPECT_EQ(ProblemOf(0), "damaged: frame 1: other lengths than its header states");
}

TEST_F(HostileSegment, ALengthBeyondTheLimitIsSkipped)
{
   Add({.sequence = 1, .rawBytes = kMaxRawBytes + 1}, Compressed(1000));
   EXPECT_EQ(ProblemOf(0), "no such frame");
   EXPECT_EQ(damage, "1 frame lost");
}

TEST_F(HostileSegment, AStoredLengthBeyondTheFileIsNotRead)
{
   Add({.sequence = 1, .rawBytes = 1000, .storedBytes = ~uint64_t{0}}, Compressed(1000));
   EXPECT_EQ(ProblemOf(0), "no such frame");
}

TEST_F(HostileSegment, AFrameIsNeitherItsOwnParentNorThatOfOneBeforeIt)
{
   Add({.sequence = 1, .parent = 1, .rawBytes = 1000}, Compressed(1000));
   Add({.sequence = 2, .parent = 3, .rawBytes = 1000}, Compressed(1000));
   Add({.sequence = 3, .parent = 2, .rawBytes = 1000}, Compressed(1000));
   EXPECT_EQ(ProblemOf(0), "no such frame");
   EXPECT_EQ(damage, "3 frames lost");
}

TEST_F(HostileSegment, AChainOfParentsEndsAtTheLimit)
{
   for (uint64_t i = 1; i <= kMaxDepth + 10; i++) {
      Add({.sequence = i, .parent = i - 1, .rawBytes = 1000}, Compressed(1000));
   }
   EXPECT_EQ(ProblemOf(kMaxDepth + 1), "no such frame");
   EXPECT_EQ(damage, "9 frames lost");
}

TEST_F(HostileSegment, ASequenceThatComesAgainIsSkipped)
{
   Add({.sequence = 2, .rawBytes = 1000}, Compressed(1000));
   Add({.sequence = 2, .rawBytes = 1000}, Compressed(1000));
   EXPECT_EQ(ProblemOf(1), "no such frame");
   EXPECT_EQ(damage, "1 frame lost");
}

TEST_F(HostileSegment, AnIndexThatLiesIsFoundOut)
{
   Add({.sequence = 1, .rawBytes = 1000}, Compressed(1000));
   FrameHeader other = {.sequence = 7, .rawBytes = 1000, .storedBytes = Compressed(1000).size()};
   const std::vector<IndexEntry> entries = {{kSegmentHeaderBytes, kFrameHeaderBytes, other}};
   const std::vector<uint8_t> index = EncodeIndex(entries, made.size());
   made.insert(made.end(), index.begin(), index.end());
   EXPECT_EQ(ProblemOf(0), "damaged: frame 7: its header is damaged");
}

TEST_F(HostileSegment, AnIndexThatPointsOutsideIsMadeAgainFromTheFrames)
{
   Add({.sequence = 1, .rawBytes = 1000}, Compressed(900));
   const FrameHeader other = {.sequence = 7, .rawBytes = 1000, .storedBytes = ~uint64_t{0} - 100};
   const std::vector<IndexEntry> entries = {{kSegmentHeaderBytes, kFrameHeaderBytes, other}};
   const std::vector<uint8_t> index = EncodeIndex(entries, made.size());
   made.insert(made.end(), index.begin(), index.end());
   EXPECT_EQ(ProblemOf(0), "damaged: frame 1: other lengths than its header states");
}

TEST_F(SegmentDamage, FoldersAndFifosAreNoSegments)
{
   const std::string fifo = folder.Path() + "/000000000001-20260131T030000Z.segment";
   ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
   std::filesystem::create_directory(folder.Path() + "/000000000002-20260131T030000Z.segment");
   WriteFile(folder.Path() + "/000000000003-20260131T030000Z.segment", MakeSegment(2, 4, true));
   WriteFile(folder.Path() + "/notes.segment", MakeSegment(2, 4, true));
   Recording recording;
   ASSERT_TRUE(recording.Open(folder.Path(), &problem)) << problem;
   ASSERT_EQ(recording.Segments().size(), 3u);
   EXPECT_EQ(recording.Segments()[0].problem, "not a segment of a recording");
   EXPECT_EQ(recording.Segments()[1].problem, "not a segment of a recording");
   EXPECT_THAT(ReadAll(&recording), ElementsAre(1, 2));
}

} // namespace
