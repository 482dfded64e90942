// usage: make_recording FOLDER FRAMES SNAPSHOT...
// Records the snapshots in turn, a frame a minute, the last one now: a recording to read against the clock.
#include <charconv>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>
#include <vector>

#include "recorder/folder_storage.h"
#include "recorder/recording_writer.h"

namespace {

constexpr int64_t kSecond = 1'000'000'000;

std::vector<uint8_t> ReadFile(const char *path)
{
   std::ifstream file(path, std::ios::binary);
   return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

int main(int argc, char **argv)
{
   if (argc < 4) {
      std::fputs("usage: make_recording FOLDER FRAMES SNAPSHOT...\n", stderr);
      return 2;
   }
   int frames = 0;
   const std::string_view count = argv[2];
   if (std::from_chars(count.data(), count.data() + count.size(), frames).ec != std::errc()) {
      std::fprintf(stderr, "%s: not a number of frames\n", argv[2]);
      return 2;
   }
   std::vector<std::vector<uint8_t>> snapshots;
   for (int i = 3; i < argc; i++) {
      snapshots.push_back(ReadFile(argv[i]));
   }
   recorder::FolderStorage storage(argv[1]);
   recorder::RecordingLimits limits;
   limits.minFreeShare = 0;
   const auto say = [](const std::string &line) { std::fprintf(stderr, "%s\n", line.c_str()); };
   recorder::RecordingWriter writer(&storage, limits, {1}, say);
   const int64_t now = std::time(nullptr);
   recorder::FrameTime time = {(now - int64_t{frames} * 60) * kSecond, kSecond};
   if (const int error = writer.Open(time); error != 0) {
      std::fprintf(stderr, "%s: error %d\n", argv[1], error);
      return 1;
   }
   for (int i = 0; i < frames; i++) {
      time.wall += 60 * kSecond;
      time.boot += 60 * kSecond;
      if (!writer.Append(snapshots[static_cast<size_t>(i) % snapshots.size()], recorder::kReasonInterval,
                         time)) {
         return 1;
      }
   }
   return writer.Seal() ? 0 : 1;
}
