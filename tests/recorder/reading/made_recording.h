// A recording of a host of the samples, which changes as a test says.
#ifndef TESTS_RECORDER_READING_MADE_RECORDING_H
#define TESTS_RECORDER_READING_MADE_RECORDING_H

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "recorder/folder_storage.h"
#include "recorder/recording_writer.h"

// Texts of the host's readable form and what takes their place, everywhere.
using Edits = std::vector<std::pair<std::string, std::string>>;

// The readable form of a host, and the time that it states.
struct SampleHost {
   const char *path;
   const char *captured;
};
inline constexpr SampleHost kAspen = {SAMPLE_HOST, "2026-01-15T12:00:00Z"};

// The snapshot of a host as of that second.
std::vector<uint8_t> MakeSnapshot(int64_t seconds, const Edits &edits = {}, const SampleHost &host = kAspen);

// A folder of its own, which goes with this object.
class MadeRecording {
 public:
   explicit MadeRecording(const SampleHost &host = kAspen);
   ~MadeRecording();
   MadeRecording(const MadeRecording &) = delete;
   MadeRecording &operator=(const MadeRecording &) = delete;

   // Records a frame of that second; the host booted at kBoot, or at the last Boot().
   void Add(int64_t seconds, const Edits &edits = {}, uint32_t reasons = recorder::kReasonInterval);

   // The recorder ends, after it sealed its segment.
   void Stop();
   // The recorder is killed: its segment stays as it is.
   void Kill();
   // The host boots at that second; a new recorder begins.
   void Boot(int64_t seconds);

   const std::string &Folder() const { return folder; }
   std::vector<std::string> Segments() const; // their paths

 private:
   SampleHost host;
   std::string folder;
   std::unique_ptr<recorder::FolderStorage> storage;
   std::unique_ptr<recorder::RecordingWriter> writer;
   std::array<uint8_t, 16> bootId = {1};
   int64_t booted;
};

// 2026-01-15T12:00:00Z, and an hour before it.
inline constexpr int64_t kNoon = 1768478400;
inline constexpr int64_t kBoot = kNoon - 3600;

#endif
