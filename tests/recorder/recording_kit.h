// What the tests of recordings share: snapshots that change a little from one to the next, and a folder.
#ifndef TESTS_RECORDER_RECORDING_KIT_H
#define TESTS_RECORDER_RECORDING_KIT_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "recorder/folder_storage.h"
#include "recorder/recording.h"
#include "recorder/recording_writer.h"

inline constexpr int64_t kSecondNs = 1'000'000'000;
inline constexpr int64_t kMinuteNs = 60 * kSecondNs;
inline constexpr int64_t kHourNs = 3600 * kSecondNs;
inline constexpr int64_t kDayNs = 24 * kHourNs;

// 2026-01-31 03:00:00 UTC.
inline constexpr int64_t kThreeOClock = int64_t{1769828400} * kSecondNs;

// Stands for the snapshot that was taken at a time: a store does not look inside. Most of it stays as it was
// from one second to the next, and some of it changes at random.
std::vector<uint8_t> MadeUpSnapshot(int64_t wallTime, size_t size = 200);

// Without the waiting for the disk, which tests of thousands of frames do not need.
class UnsyncedStorage : public recorder::FolderStorage {
 public:
   using FolderStorage::FolderStorage;
   int SyncSegment() override { return 0; }
   int SyncFolder() override { return 0; }
};

class TemporaryFolder {
 public:
   TemporaryFolder();
   ~TemporaryFolder();
   TemporaryFolder(const TemporaryFolder &) = delete;
   TemporaryFolder &operator=(const TemporaryFolder &) = delete;

   // Of a folder in it, which is not there yet.
   std::string Path() const { return parent / "recording"; }
   std::vector<std::string> Segments() const;
   uint64_t Bytes() const; // of all segments

 private:
   std::filesystem::path parent;
};

std::vector<uint8_t> ReadFile(const std::string &path);
void WriteFile(const std::string &path, const std::vector<uint8_t> &bytes);

// The frames of a recording that can be read, by their sequences; adds a failure for one that is not as it
// was stored.
std::vector<uint64_t> ReadAll(recorder::Recording *recording, size_t size = 200);

// A segment with `frames` frames, each `keyEvery`th a key frame, sealed or not. Their snapshots are the
// made-up ones of their sequences, 1 and up.
std::vector<uint8_t> MakeSegment(unsigned frames, uint32_t keyEvery, bool isSealed, size_t size = 200);

#endif
