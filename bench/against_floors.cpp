// Whole runs of the tool against floors, measured in turn: what the same work needs at least.
//
// usage: against_floors BIN WORK
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/comparison.h"
#include "bench/process.h"
#include "bench/sleeping_processes.h"

namespace {

constexpr unsigned kGroups = 100000;
constexpr unsigned kProcesses = 1000;

Contender EmptyProgram(const Places &places)
{
   return {{places.bin + "/empty"}, "/dev/null"};
}

// The report from a snapshot against the formatting of its output alone, on top of a program's start-up.
void MeasureGroupStats(const Places &places, const char *order, bool csv)
{
   std::vector<std::string> report = {"group-stats"};
   if (csv) {
      report.emplace_back("-q");
   }
   const Contender hostmem = {HostmemOnSnapshot(places, kGroups, order, report), places.work + "/output"};
   RunOnce(hostmem.command, hostmem.outputPath);
   const std::string table = places.work + "/table";
   CopyTable(hostmem.outputPath, table, csv);

   const std::vector<Figures> figures =
      RunInTurn({hostmem, FormattingFloor(places, table), EmptyProgram(places)}, {.least = 15, .seconds = 4});
   const Figures floor = {figures[1].seconds + figures[2].seconds,
                          figures[1].cpuSeconds + figures[2].cpuSeconds};
   const std::string rows = std::to_string(CountLines(table) - 1);
   PrintComparison(
      {"`group-stats" + std::string(csv ? " -q" : "") + "`, snapshot, IDs " + order, rows, figures[0]},
      {"formatting alone", rows, floor});
}

void MeasureStartUp(const Places &places, unsigned groups)
{
   const Contender hostmem = {HostmemOnSnapshot(places, groups, "shuffled", {"comp-stats"}),
                              places.work + "/output"};
   const std::vector<Figures> figures = RunInTurn({hostmem, EmptyProgram(places)}, {});
   PrintComparison({"`comp-stats`, snapshot of " + std::to_string(groups) + " groups", "1", figures[0]},
                   {"empty program", "", figures[1]});
}

// A live report against a program that opens, reads and closes the files that the report was seen to read.
void MeasureLive(const Places &places, const std::string &report, size_t processes)
{
   const std::string list = places.work + "/files-of-" + report;
   const std::string trace = places.work + "/trace";
   RunOnce({"/bin/sh", "-c",
            "strace -qq -y -e trace=open,openat,openat2 -e status=successful -o '" + trace + "' '" +
               places.bin + "/hostmem' -r " + report +
               " -q >/dev/null && sed -n 's/.* = [0-9]*<\\(.*\\)>$/\\1/p' '" + trace +
               "' | grep -E '^/(proc|sys)' | while read -r path; do "
               "if [ -d \"$path\" ]; then echo \"$path/\"; else echo \"$path\"; fi; done > '" +
               list + "'"},
           "/dev/null");
   const Contender hostmem = {{places.bin + "/hostmem", "-r", report, "-q"}, places.work + "/output"};
   const std::vector<Figures> figures =
      RunInTurn({hostmem, {{places.bin + "/read_files_floor", list}, "/dev/null"}}, {});
   PrintComparison(
      {std::string("`").append(report) + " -q`, live, with " + std::to_string(processes) + " more processes",
       std::to_string(CountLines(hostmem.outputPath) - 1), figures[0]},
      {"opening, reading and closing the same " + std::to_string(CountLines(list)) + " files", "",
       figures[1]});
}

void MeasureMemory(const Places &places)
{
   const std::vector<std::string> command =
      HostmemOnSnapshot(places, kGroups, "shuffled", {"group-stats", "-q"});
   size_t anonymous = 0;
   for (int i = 0; i < 5; i++) {
      anonymous = std::max(anonymous, RunProcess(command, places.work + "/output", true).peakAnonymousKB);
   }
   std::printf(
      "\n`group-stats -q` of %u groups: %zu KB of memory in addition to the snapshot's mapped pages.\n",
      kGroups, anonymous);
}

// Opening alone, without a report: it reads the directory of the file, whatever the size of the rest.
void MeasureOpening(const Places &places)
{
   constexpr unsigned kFew = 1600;
   constexpr unsigned kMany = 400000;
   std::vector<Contender> contenders;
   std::vector<double> megabytes;
   for (const unsigned groups : {kFew, kMany}) {
      const std::string snapshot = SnapshotPath(places, groups, "shuffled");
      contenders.push_back({{places.bin + "/hostmem", "-c", snapshot}, places.work + "/output"});
      megabytes.push_back(static_cast<double>(std::filesystem::file_size(snapshot)) / 1e6);
   }
   const std::vector<Figures> figures = RunInTurn(contenders, {});
   std::printf("Opening a snapshot of %.0f MB: %.2f ms; of %.0f MB: %.2f ms.\n", megabytes[0],
               figures[0].seconds * 1e3, megabytes[1], figures[1].seconds * 1e3);
   std::filesystem::remove(SnapshotPath(places, kMany, "shuffled"));
}

} // namespace

int main(int argc, char **argv)
{
   const Places places = PlacesFromArguments(argc, argv);
   PrintTableHead();
   for (const char *order : {"ordered", "shuffled"}) {
      MeasureGroupStats(places, order, true);
      MeasureGroupStats(places, order, false);
   }
   MeasureStartUp(places, 10);
   MeasureStartUp(places, kGroups);
   {
      const SleepingProcesses processes(kProcesses);
      MeasureLive(places, "group-stats", processes.Count());
      MeasureLive(places, "uw-stats", processes.Count());
   }
   MeasureMemory(places);
   MeasureOpening(places);
   return 0;
}
