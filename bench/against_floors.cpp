// Whole-process measurements: the tool as a user runs it, as ratios against floors measured in the same run.
//
// usage: whole_process BIN WORK [--groups N] [--processes N] [--large]
//   BIN   the folder with the programs
//   WORK  a folder for snapshots and outputs, best in memory
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/process.h"

namespace {

struct Settings {
   std::string bin;
   std::string work;
   unsigned groups = 100000;
   unsigned processes = 1000;
   bool large = false; // also the snapshot of a gigabyte
};

constexpr int kRuns = 15;

void PrintHeading()
{
   std::printf("| what | hostmem | floor | ratio | aim |\n|---|---|---|---|---|\n");
}

void PrintRow(const std::string &what, double seconds, double floorSeconds, const char *aim)
{
   std::printf("| %s | %.2f ms | %.2f ms | %.2f | %s |\n", what.c_str(), seconds * 1e3, floorSeconds * 1e3,
               seconds / floorSeconds, aim);
   std::fflush(stdout);
}

std::string MakeSnapshot(const Settings &settings, unsigned groups, const char *order)
{
   const std::string path = settings.work + "/" + std::to_string(groups) + "-" + order + ".snapshot";
   if (!std::filesystem::exists(path)) {
      FastestRun({settings.bin + "/make_snapshot", std::to_string(groups), order, path}, "/dev/null", 1);
   }
   return path;
}

// Copies what the floor formats: the header and the rows, without the banner and the separators.
void CopyTable(const std::string &report, const std::string &table, bool csv)
{
   std::ifstream from(report);
   std::ofstream to(table);
   bool inTable = csv;
   for (std::string line; std::getline(from, line);) {
      const bool isSeparator = !line.empty() && line[0] == '-';
      inTable = inTable || isSeparator;
      if (inTable && !isSeparator) {
         to << line << '\n';
      }
   }
}

// The report from a snapshot against the formatting of its output alone, on top of a program's start-up.
void MeasureGroupStats(const Settings &settings, const char *order, bool csv, double startUp)
{
   std::vector<std::string> command = {settings.bin + "/hostmem", "-c",
                                       MakeSnapshot(settings, settings.groups, order), "-r", "group-stats"};
   if (csv) {
      command.push_back("-q");
   }
   const std::string output = settings.work + "/output";
   const double seconds = FastestRun(command, output, kRuns).seconds;

   const std::string rows = settings.work + "/rows";
   CopyTable(output, rows, csv);
   double floorSeconds = 0;
   for (int i = 0; i < kRuns; i++) {
      const ProcessRun run =
         RunProcess({settings.bin + "/format_floor", rows}, settings.work + "/floor-output");
      const double formatting = std::strtod(run.standardError.c_str(), nullptr) * 1e-9;
      if (run.exitStatus != 0 || formatting <= 0) {
         std::fprintf(stderr, "format_floor: %s\n", run.standardError.c_str());
         std::exit(1);
      }
      floorSeconds = i == 0 || formatting < floorSeconds ? formatting : floorSeconds;
   }
   PrintRow("group-stats" + std::string(csv ? " -q" : "") + ", snapshot of " +
               std::to_string(settings.groups) + " groups, IDs " + order,
            seconds, startUp + floorSeconds, csv ? "2.0" : "");
}

double MeasureStartUp(const Settings &settings)
{
   return FastestRun({settings.bin + "/empty"}, "/dev/null", 10 * kRuns).seconds;
}

void MeasureCompStats(const Settings &settings, double startUp)
{
   const std::string snapshot = MakeSnapshot(settings, settings.groups, "shuffled");
   const double seconds = FastestRun({settings.bin + "/hostmem", "-c", snapshot, "-r", "comp-stats"},
                                     settings.work + "/output", 10 * kRuns)
                             .seconds;
   PrintRow("comp-stats, the same snapshot", seconds, startUp, "1.5");
}

void MeasureMemory(const Settings &settings)
{
   const std::string snapshot = MakeSnapshot(settings, settings.groups, "shuffled");
   size_t anonymous = 0;
   for (int i = 0; i < 5; i++) {
      const ProcessRun run =
         RunProcess({settings.bin + "/hostmem", "-c", snapshot, "-r", "group-stats", "-q"},
                    settings.work + "/output", true);
      anonymous = std::max(anonymous, run.peakAnonymousKB);
   }
   std::printf("\nPeak memory beside the snapshot's mapped pages: %zu KB (aim: 16384 KB)\n", anonymous);
}

void MeasureOpening(const Settings &settings)
{
   const std::string small = MakeSnapshot(settings, 1600, "shuffled");
   const std::string large = MakeSnapshot(settings, 1700000, "shuffled");
   const auto open = [&](const std::string &snapshot) {
      return FastestRun({settings.bin + "/hostmem", "-c", snapshot}, settings.work + "/output", 10 * kRuns)
         .seconds;
   };
   std::printf("\nOpening a snapshot of %.1f MB: %.3f ms; of %.1f MB: %.3f ms\n",
               static_cast<double>(std::filesystem::file_size(small)) / 1e6, open(small) * 1e3,
               static_cast<double>(std::filesystem::file_size(large)) / 1e6, open(large) * 1e3);
}

// Processes that do nothing until the benchmark ends.
class SleepingProcesses {
 public:
   explicit SleepingProcesses(unsigned count)
   {
      for (unsigned i = 0; i < count; i++) {
         const pid_t pid = fork();
         if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            pause();
            _exit(0);
         }
         if (pid > 0) {
            pids.push_back(pid);
         }
      }
   }
   ~SleepingProcesses()
   {
      for (const pid_t pid : pids) {
         kill(pid, SIGKILL);
         waitpid(pid, nullptr, 0);
      }
   }
   SleepingProcesses(const SleepingProcesses &) = delete;
   SleepingProcesses &operator=(const SleepingProcesses &) = delete;
   size_t Count() const { return pids.size(); }

 private:
   std::vector<pid_t> pids;
};

// A live report against a program that opens, reads and closes the files that the report was seen to read.
void MeasureLive(const Settings &settings, const char *report, size_t processes, const char *aim)
{
   const std::string list = settings.work + "/files-of-" + report;
   const std::string trace = settings.work + "/trace";
   FastestRun({"/bin/sh", "-c",
               "strace -qq -y -e trace=open,openat,openat2 -e status=successful -o '" + trace + "' '" +
                  settings.bin + "/hostmem' -r " + report +
                  " -q >/dev/null && sed -n 's/.* = [0-9]*<\\(.*\\)>$/\\1/p' '" + trace +
                  "' | grep -E '^/(proc|sys)' | while read -r path; do "
                  "if [ -d \"$path\" ]; then echo \"$path/\"; else echo \"$path\"; fi; done > '" +
                  list + "'"},
              "/dev/null", 1);
   const double floorSeconds =
      FastestRun({settings.bin + "/read_files_floor", list}, "/dev/null", kRuns).seconds;
   const double seconds =
      FastestRun({settings.bin + "/hostmem", "-r", report, "-q"}, settings.work + "/output", kRuns).seconds;
   PrintRow(std::string(report) + " -q, live, " + std::to_string(processes) + " processes more", seconds,
            floorSeconds, aim);
}

Settings ParseArguments(int argc, char **argv)
{
   Settings settings;
   if (argc < 3) {
      std::fprintf(stderr, "usage: %s BIN WORK [--groups N] [--processes N] [--large]\n", argv[0]);
      std::exit(2);
   }
   settings.bin = argv[1];
   settings.work = argv[2];
   for (int i = 3; i < argc; i++) {
      if (std::strcmp(argv[i], "--large") == 0) {
         settings.large = true;
      } else if (std::strcmp(argv[i], "--groups") == 0 && i + 1 < argc) {
         settings.groups = static_cast<unsigned>(std::strtoul(argv[++i], nullptr, 10));
      } else if (std::strcmp(argv[i], "--processes") == 0 && i + 1 < argc) {
         settings.processes = static_cast<unsigned>(std::strtoul(argv[++i], nullptr, 10));
      }
   }
   return settings;
}

} // namespace

int main(int argc, char **argv)
{
   const Settings settings = ParseArguments(argc, argv);
   std::filesystem::create_directories(settings.work);
   const double startUp = MeasureStartUp(settings);
   PrintHeading();
   for (const char *order : {"ordered", "shuffled"}) {
      MeasureGroupStats(settings, order, true, startUp);
      MeasureGroupStats(settings, order, false, startUp);
   }
   MeasureCompStats(settings, startUp);
   {
      const SleepingProcesses processes(settings.processes);
      MeasureLive(settings, "group-stats", processes.Count(), "1.5");
      MeasureLive(settings, "uw-stats", processes.Count(), "1.3");
   }
   MeasureMemory(settings);
   if (settings.large) {
      MeasureOpening(settings);
   }
   return 0;
}
