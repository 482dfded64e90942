#include "tests/recorder/recording_kit.h"

#include <algorithm>
#include <fstream>
#include <random>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

std::vector<uint8_t> MadeUpSnapshot(int64_t wallTime, size_t size)
{
   std::vector<uint8_t> snapshot(size);
   for (size_t i = 0; i < size; i++) {
      snapshot[i] = static_cast<uint8_t>(i * i >> 3 ^ i);
   }
   std::minstd_rand random(static_cast<uint32_t>(wallTime / kSecondNs) + 1);
   for (int i = 0; i < 10; i++) {
      snapshot[random() % size] = static_cast<uint8_t>(random());
   }
   return snapshot;
}

TemporaryFolder::TemporaryFolder()
{
   // In memory, where there is such a place: thousands of small files are written.
   std::string pattern =
      (fs::exists("/dev/shm") ? "/dev/shm" : "/tmp") + std::string("/recording_test.XXXXXX");
   parent = mkdtemp(pattern.data());
}

TemporaryFolder::~TemporaryFolder()
{
   std::error_code ignored;
   fs::remove_all(parent, ignored);
}

std::vector<std::string> TemporaryFolder::Segments() const
{
   std::vector<std::string> names;
   std::error_code error;
   for (const fs::directory_entry &entry : fs::directory_iterator(Path(), error)) {
      if (entry.path().extension() == ".segment") {
         names.push_back(entry.path().filename());
      }
   }
   std::ranges::sort(names);
   return names;
}

uint64_t TemporaryFolder::Bytes() const
{
   uint64_t bytes = 0;
   for (const std::string &name : Segments()) {
      bytes += fs::file_size(fs::path(Path()) / name);
   }
   return bytes;
}

std::vector<uint8_t> ReadFile(const std::string &path)
{
   std::ifstream file(path, std::ios::binary);
   return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(const std::string &path, const std::vector<uint8_t> &bytes)
{
   std::ofstream file(path, std::ios::binary);
   file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

std::vector<uint64_t> ReadAll(recorder::Recording *recording, size_t size)
{
   std::vector<uint64_t> sequences;
   for (size_t i = 0; i < recording->Frames().size(); i++) {
      std::vector<uint8_t> snapshot;
      std::string problem;
      if (recording->Read(i, &snapshot, &problem)) {
         const recorder::FrameHeader &frame = recording->Frames()[i].header;
         EXPECT_TRUE(snapshot == MadeUpSnapshot(frame.wallTime, size)) << "frame " << frame.sequence;
         sequences.push_back(frame.sequence);
      } else {
         EXPECT_NE(problem, "");
      }
   }
   return sequences;
}

std::vector<uint8_t> MakeSegment(unsigned frames, uint32_t keyEvery, bool isSealed, size_t size)
{
   const TemporaryFolder folder;
   UnsyncedStorage storage(folder.Path());
   recorder::RecordingLimits limits;
   limits.keyEvery = keyEvery;
   recorder::RecordingWriter writer(&storage, limits, {}, [](const std::string &) {});
   writer.Open({kThreeOClock, 0});
   for (unsigned i = 1; i <= frames; i++) {
      const int64_t passed = i * kSecondNs;
      writer.Append(MadeUpSnapshot(kThreeOClock + passed, size), recorder::kReasonInterval,
                    {kThreeOClock + passed, passed});
   }
   if (isSealed) {
      writer.Seal();
   }
   return ReadFile(folder.Path() + '/' + folder.Segments().at(0));
}
