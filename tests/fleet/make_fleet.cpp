// usage: make_fleet SAMPLE.snapshot FOLDER STEP
// Makes the fleet: for each host FOLDER/HOST/recording, a frame a minute, and FOLDER/HOST/live-00.snapshot,
// live-01.snapshot ..., those of every STEP minutes of the last forty. FOLDER/story.json says what there is
// to be found: {"start", "minutes", "hosts": [{"name", "states": [...], "vms": [{"name", "consumed": [...],
// "swappedIn": [...], "swappedOut": [...]}]}]}, a figure a minute, amounts in KB.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "nevra/snapshot/capture.h"
#include "nevra/snapshot/snapshot_source.h"
#include "nevra/snapshot/snapshot_writer.h"
#include "recorder/folder_storage.h"
#include "recorder/recording_writer.h"
#include "tests/fleet/changing_host.h"

namespace {

constexpr int64_t kSecond = 1'000'000'000;
constexpr unsigned kLiveMinutes = 40;

int64_t StartOfNight()
{
   using namespace std::chrono;
   return duration_cast<seconds>(sys_days{2026y / March / 17}.time_since_epoch() + 1h).count();
}

[[noreturn]] void Fail(const std::string &problem)
{
   std::fprintf(stderr, "make_fleet: %s\n", problem.c_str());
   std::exit(1);
}

std::vector<uint8_t> SnapshotOf(ChangingHost *host, const HostStory &story, unsigned minute)
{
   host->SetMinute(minute);
   nevra::SnapshotTree tree;
   nevra::SnapshotImage image;
   std::string problem;
   const auto silent = [](uint64_t) {};
   if (!nevra::CaptureTree(*host, &tree, silent, &problem, nevra::kMaxSnapshotBytes)) {
      Fail(problem);
   }
   tree.host = story.Name();
   tree.captured = StartOfNight() + int64_t{minute} * 60;
   if (!nevra::MakeSnapshotImage(&tree, &image, &problem)) {
      Fail(problem);
   }
   return nevra::BytesOfImage(image);
}

void WriteFile(const std::filesystem::path &path, const std::vector<uint8_t> &bytes)
{
   FILE *file = std::fopen(path.c_str(), "wb");
   if (file == nullptr || std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size() ||
       std::fclose(file) != 0) {
      Fail(path.string() + ": " + std::strerror(errno));
   }
}

void MakeHost(ChangingHost *host, const HostStory &story, const std::filesystem::path &folder, unsigned step)
{
   const std::filesystem::path live = folder / "live" / story.Name();
   std::filesystem::create_directories(live);
   recorder::FolderStorage storage((folder / "recordings" / story.Name()).string());
   recorder::RecordingLimits limits;
   limits.minFreeShare = 0;
   recorder::RecordingWriter writer(&storage, limits, {1}, Fail);
   const int64_t start = StartOfNight();
   if (const int error = writer.Open({start * kSecond, kSecond}); error != 0) {
      Fail(story.Name() + ": " + std::strerror(error));
   }
   for (unsigned minute = 0; minute < kMinutes; minute++) {
      const std::vector<uint8_t> snapshot = SnapshotOf(host, story, minute);
      const int64_t elapsed = int64_t{minute} * 60;
      writer.Append(snapshot, recorder::kReasonInterval,
                    {(start + elapsed) * kSecond, (elapsed + 1) * kSecond});
      const unsigned left = kMinutes - 1 - minute;
      if (left < kLiveMinutes && left % step == 0) {
         char name[32];
         std::snprintf(name, sizeof name, "%02u.snapshot", (kLiveMinutes - 1 - left) / step);
         WriteFile(live / name, snapshot);
      }
   }
   writer.Seal();
}

template <typename Figure> void TellFigures(FILE *file, const char *name, const Figure &figure)
{
   std::fprintf(file, ",\"%s\":[", name);
   for (unsigned minute = 0; minute < kMinutes; minute++) {
      std::fprintf(file, minute == 0 ? "%llu" : ",%llu", static_cast<unsigned long long>(figure(minute)));
   }
   std::fputs("]", file);
}

void TellHost(FILE *file, const HostStory &story)
{
   std::fprintf(file, "{\"name\":\"%s\"", story.Name().c_str());
   std::fputs(",\"states\":[", file);
   for (unsigned minute = 0; minute < kMinutes; minute++) {
      std::fprintf(file, minute == 0 ? "\"%s\"" : ",\"%s\"",
                   memStateNames[static_cast<size_t>(story.State(minute))]);
   }
   std::fputs("],\"vms\":[", file);
   for (size_t vm = 0; vm < story.VmCount(); vm++) {
      std::fprintf(file, "%s{\"name\":\"%s\"", vm == 0 ? "" : ",\n", story.VmName(vm).c_str());
      TellFigures(file, "consumed", [&](unsigned minute) { return story.Vm(vm, minute).consumed; });
      TellFigures(file, "swappedIn", [&](unsigned minute) { return story.Vm(vm, minute).swappedIn; });
      TellFigures(file, "swappedOut", [&](unsigned minute) { return story.Vm(vm, minute).swappedOut; });
      std::fputs("}", file);
   }
   std::fputs("]}", file);
}

} // namespace

int main(int argc, char **argv)
{
   const unsigned step = argc == 4 ? static_cast<unsigned>(std::strtoul(argv[3], nullptr, 10)) : 0;
   if (step == 0 || step > kLiveMinutes) {
      std::fputs("usage: make_fleet SAMPLE.snapshot FOLDER STEP\n", stderr);
      return 2;
   }
   std::unique_ptr<nevra::Source> sample;
   if (nevra::OpenSnapshotSource(argv[1], &sample) != NEVRA_OK) {
      return 1;
   }
   const SampleVms vms = FindVms(*sample);
   const std::filesystem::path folder = argv[2];
   std::filesystem::create_directories(folder / "recordings");
   FILE *file = std::fopen((folder / "story.json").c_str(), "w");
   if (file == nullptr) {
      Fail((folder / "story.json").string() + ": " + std::strerror(errno));
   }
   std::fprintf(file, "{\"start\":%lld,\"minutes\":%u,\"hosts\":[", static_cast<long long>(StartOfNight()),
                kMinutes);
   for (const HostOfFleet &host : kFleet) {
      const HostStory story(host, vms.vms);
      ChangingHost source(sample.get(), &vms, &story);
      MakeHost(&source, story, folder, step);
      std::fputs(&host == kFleet ? "\n" : ",\n", file);
      TellHost(file, story);
   }
   std::fputs("\n]}\n", file);
   return std::fclose(file) == 0 ? 0 : 1;
}
