#include "tests/recorder/reading/made_recording.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <stdlib.h>

#include <gtest/gtest.h>

#include "nevra/snapshot/snapshot_writer.h"
#include "snapshot-tool/capture_time.h"
#include "snapshot-tool/json_import.h"

namespace {

constexpr int64_t kSecond = 1'000'000'000;

void ReplaceAll(std::string *text, const std::string &from, const std::string &to)
{
   size_t at = 0;
   bool found = false;
   while ((at = text->find(from, at)) != std::string::npos) {
      text->replace(at, from.size(), to);
      at += to.size();
      found = true;
   }
   EXPECT_TRUE(found) << "the sample has no " << from;
}

} // namespace

std::vector<uint8_t> MakeSnapshot(int64_t seconds, const Edits &edits, const SampleHost &host)
{
   std::ostringstream sample;
   sample << std::ifstream(host.path).rdbuf();
   std::string json = sample.str();
   ReplaceAll(&json, host.captured, FormatCaptureTime(seconds));
   for (const auto &[from, to] : edits) {
      ReplaceAll(&json, from, to);
   }
   FILE *input = fmemopen(json.data(), json.size(), "r");
   nevra::SnapshotTree tree;
   nevra::SnapshotImage image;
   std::string problem;
   Progress progress("importing");
   EXPECT_TRUE(ImportSnapshot(input, json.size(), &progress, &tree, &problem) &&
               MakeSnapshotImage(&tree, &image, &problem))
      << problem;
   std::fclose(input);
   return BytesOfImage(image);
}

MadeRecording::MadeRecording(const SampleHost &theHost) : host(theHost), booted(kBoot)
{
   std::string name = (std::filesystem::temp_directory_path() / "recording-XXXXXX").string();
   folder = mkdtemp(name.data());
}

MadeRecording::~MadeRecording()
{
   Kill();
   std::filesystem::remove_all(folder);
}

void MadeRecording::Add(int64_t seconds, const Edits &edits, uint32_t reasons)
{
   const recorder::FrameTime time = {seconds * kSecond, (seconds - booted) * kSecond};
   if (writer == nullptr) {
      recorder::RecordingLimits limits;
      limits.minFreeShare = 0;
      storage = std::make_unique<recorder::FolderStorage>(folder);
      writer = std::make_unique<recorder::RecordingWriter>(
         storage.get(), limits, bootId, [](const std::string &line) { ADD_FAILURE() << line; });
      ASSERT_EQ(writer->Open(time), 0);
   }
   EXPECT_TRUE(writer->Append(MakeSnapshot(seconds, edits, host), reasons, time));
}

void MadeRecording::Stop()
{
   EXPECT_TRUE(writer->Seal());
   Kill();
}

void MadeRecording::Kill()
{
   writer = nullptr;
   storage = nullptr;
}

void MadeRecording::Boot(int64_t seconds)
{
   Stop();
   bootId[0]++;
   booted = seconds;
}

std::vector<std::string> MadeRecording::Segments() const
{
   std::vector<std::string> paths;
   for (const auto &entry : std::filesystem::directory_iterator(folder)) {
      if (entry.path().extension() == ".segment") {
         paths.push_back(entry.path().string());
      }
   }
   std::ranges::sort(paths);
   return paths;
}
