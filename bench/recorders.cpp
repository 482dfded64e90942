// Recorders side by side: what a sample costs of CPU time and of the disk, with as many processes as stated,
// a tenth of which change. And how long it takes to get to a random moment of a recorded day. usage:
// recorders BIN WORK
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zstd.h>

#include "bench/comparison.h"
#include "bench/sleeping_processes.h"
#include "recorder/folder_storage.h"
#include "recorder/recording.h"
#include "recorder/recording_writer.h"

namespace {

namespace fs = std::filesystem;

constexpr int kInterval = 3; // seconds
constexpr int kSamples = 20;
constexpr double kSamplesADay = 1440;

// Processes that take more or less memory every second.
class ChangingProcesses {
 public:
   explicit ChangingProcesses(unsigned count)
   {
      for (unsigned i = 0; i < count; i++) {
         const pid_t pid = fork();
         if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            Change(i);
         } else if (pid > 0) {
            pids.push_back(pid);
         }
      }
   }
   ~ChangingProcesses()
   {
      for (const pid_t pid : pids) {
         kill(pid, SIGKILL);
         waitpid(pid, nullptr, 0);
      }
   }
   ChangingProcesses(const ChangingProcesses &) = delete;
   ChangingProcesses &operator=(const ChangingProcesses &) = delete;

 private:
   [[noreturn]] static void Change(unsigned seed)
   {
      constexpr size_t kPage = 4096;
      constexpr size_t kPages = 1000;
      std::minstd_rand random(seed + 1);
      for (;;) {
         void *memory =
            mmap(nullptr, kPages * kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
         for (size_t page = 0, pages = random() % kPages; page < pages; page++) {
            static_cast<volatile char *>(memory)[page * kPage] = 1;
         }
         usleep(static_cast<useconds_t>(800'000 + random() % 400'000));
         munmap(memory, kPages * kPage);
      }
   }

   std::vector<pid_t> pids;
};

struct Costs {
   double cpuMs = 0; // a sample
   double bytes = 0; // a sample
};

double CpuMs(const rusage &usage)
{
   const auto ms = [](const timeval &time) {
      return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
   };
   return ms(usage.ru_utime) + ms(usage.ru_stime);
}

uint64_t BytesBelow(const fs::path &path)
{
   if (!fs::is_directory(path)) {
      return fs::exists(path) ? fs::file_size(path) : 0;
   }
   uint64_t bytes = 0;
   for (const fs::directory_entry &entry : fs::directory_iterator(path)) {
      bytes += entry.file_size();
   }
   return bytes;
}

// The most memory of its own that a running process has had resident, in MB.
double PeakResidentMB(pid_t pid)
{
   FILE *status = std::fopen(("/proc/" + std::to_string(pid) + "/status").c_str(), "r");
   char line[256];
   double kb = 0;
   while (status != nullptr && std::fgets(line, sizeof line, status) != nullptr) {
      if (std::strncmp(line, "VmHWM:", 6) == 0) {
         kb = std::strtod(line + 6, nullptr);
      }
   }
   if (status != nullptr) {
      std::fclose(status);
   }
   return kb / 1024;
}

// Runs a recorder until it ends, or until `seconds` are over and SIGTERM ends it; in the latter case says how
// much memory it had.
rusage Run(std::vector<std::string> command, int seconds, double *residentMB = nullptr)
{
   const pid_t pid = fork();
   if (pid == 0) {
      std::vector<char *> arguments(command.size() + 1); // the last one is null
      std::ranges::transform(command, arguments.begin(), [](std::string &word) { return word.data(); });
      const int nowhere = open("/dev/null", O_RDWR);
      dup2(nowhere, STDIN_FILENO);
      dup2(nowhere, STDOUT_FILENO);
      dup2(nowhere, STDERR_FILENO);
      execv(arguments[0], arguments.data());
      _exit(127);
   }
   if (seconds > 0) {
      sleep(static_cast<unsigned>(seconds));
      *residentMB = PeakResidentMB(pid);
      kill(pid, SIGTERM);
   }
   int status = 0;
   rusage usage = {};
   wait4(pid, &status, 0, &usage);
   if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
      std::fprintf(stderr, "bench: %s has failed\n", command[0].c_str());
      std::exit(1);
   }
   return usage;
}

Costs PerSample(const rusage &usage, uint64_t bytes, double samples)
{
   return {CpuMs(usage) / samples, static_cast<double>(bytes) / samples};
}

// The frames of a recording; ends the benchmark when there are none.
std::vector<std::vector<uint8_t>> Snapshots(const std::string &folder)
{
   recorder::Recording recording;
   std::string problem;
   std::vector<std::vector<uint8_t>> snapshots;
   recording.Open(folder, &problem);
   for (size_t i = 0; i < recording.Frames().size(); i++) {
      snapshots.emplace_back();
      if (!recording.Read(i, &snapshots.back(), &problem)) {
         break;
      }
   }
   if (snapshots.size() < kSamples || !problem.empty()) {
      std::fprintf(stderr, "bench: too few frames in %s: %s\n", folder.c_str(), problem.c_str());
      std::exit(1);
   }
   return snapshots;
}

double PlainBytes(const std::vector<std::vector<uint8_t>> &snapshots)
{
   double bytes = 0;
   for (const std::vector<uint8_t> &snapshot : snapshots) {
      std::vector<uint8_t> stored(ZSTD_compressBound(snapshot.size()));
      bytes += static_cast<double>(
         ZSTD_compress(stored.data(), stored.size(), snapshot.data(), snapshot.size(), ZSTD_CLEVEL_DEFAULT));
   }
   return bytes / static_cast<double>(snapshots.size());
}

// A recording of 1440 minutes, the snapshots in turn.
void WriteDay(const std::vector<std::vector<uint8_t>> &snapshots, const std::string &folder)
{
   constexpr int64_t kMinute = int64_t{60} * 1'000'000'000;
   recorder::FolderStorage storage(folder);
   recorder::RecordingWriter writer(&storage, {}, {}, [](const std::string &) {});
   writer.Open({});
   for (int64_t i = 0; i < 1440; i++) {
      writer.Append(snapshots[static_cast<size_t>(i) % snapshots.size()], recorder::kReasonInterval,
                    {i * kMinute, i * kMinute});
   }
   writer.Seal();
}

void MeasureMoments(const std::string &folder)
{
   std::minstd_rand random(1);
   std::vector<double> times;
   for (int i = 0; i < 200; i++) {
      const auto begin = std::chrono::steady_clock::now();
      recorder::Recording recording;
      std::vector<uint8_t> snapshot;
      std::string problem;
      if (!recording.Open(folder, &problem) ||
          !recording.Read(random() % recording.Frames().size(), &snapshot, &problem)) {
         std::fprintf(stderr, "bench: %s\n", problem.c_str());
         std::exit(1);
      }
      times.push_back(
         std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count());
   }
   std::ranges::sort(times);
   std::printf(
      "Opening a day of 1440 frames (%.1f MB) and reading a random one: %.1f ms in the middle, %.1f ms at "
      "most, of 200.\n",
      static_cast<double>(BytesBelow(folder)) / 1e6, times[times.size() / 2], times.back());
}

void PrintRow(const std::string &what, unsigned processes, const Costs &costs, const Costs &ours)
{
   std::printf("| %s | %u | %.1f | %.2f |", what.c_str(), processes, costs.bytes * kSamplesADay / 1e6,
               costs.bytes / ours.bytes);
   if (costs.cpuMs > 0) {
      std::printf(" %.1f | %.2f |\n", costs.cpuMs, costs.cpuMs / ours.cpuMs);
   } else {
      std::printf(" | |\n");
   }
}

std::string Sadc()
{
   for (const char *path : {"/usr/lib/sysstat/sadc", "/usr/lib64/sa/sadc"}) {
      if (access(path, X_OK) == 0) {
         return path;
      }
   }
   return "";
}

// The memory of hostmem-record in MB.
double Compare(const Places &places, unsigned processes)
{
   const SleepingProcesses sleeping(processes - processes / 10);
   const ChangingProcesses changing(processes / 10);
   const std::string work = places.work + "/recorders-" + std::to_string(processes);
   fs::create_directory(work);
   const std::string interval = std::to_string(kInterval);
   const std::string folder = work + "/recording";
   double residentMB = 0;
   rusage usage = Run({places.bin + "/hostmem-record", "run", "--dir", folder, "--every", interval + "s"},
                      kInterval * (kSamples + 1), &residentMB);
   const std::vector<std::vector<uint8_t>> snapshots = Snapshots(folder);
   // A day of a sample a minute has a key frame an hour, more seldom than so short a run.
   const std::string day = work + "/day";
   WriteDay(snapshots, day);
   const Costs ours = {CpuMs(usage) / static_cast<double>(snapshots.size()),
                       static_cast<double>(BytesBelow(day)) / kSamplesADay};
   PrintRow("`hostmem-record`", processes, ours, ours);
   PrintRow("`zstd` of each snapshot alone", processes, {0, PlainBytes(snapshots)}, ours);
   const std::string atop = FindProgram("atop");
   if (!atop.empty()) {
      usage = Run({atop, "-w", work + "/atop", interval, std::to_string(kSamples)}, 0);
      PrintRow("`atop -w`", processes, PerSample(usage, BytesBelow(work + "/atop"), kSamples), ours);
   }
   const std::string sadc = Sadc();
   if (!sadc.empty()) {
      usage = Run({sadc, interval, std::to_string(kSamples), work + "/sadc"}, 0);
      PrintRow("`sadc`, the host's counters only", processes,
               PerSample(usage, BytesBelow(work + "/sadc"), kSamples), ours);
   }
   std::fflush(stdout);
   return residentMB;
}

} // namespace

int main(int argc, char **argv)
{
   const Places places = PlacesFromArguments(argc, argv);
   std::printf("| recorder | processes | MB a day | ratio | CPU a sample, ms | ratio |\n"
               "|---|--:|--:|--:|--:|--:|\n");
   std::fflush(stdout);
   Compare(places, 100);
   const double residentMB = Compare(places, 1000);
   std::printf("\nWith 1000 processes, `hostmem-record` had at most %.1f MB resident.\n", residentMB);
   MeasureMoments(places.work + "/recorders-1000/day");
   return 0;
}
