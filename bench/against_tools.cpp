// Whole runs of the tool against what else answers the same question on the same host, measured in turn.
//
// usage: against_tools BIN WORK
#include <cstdio>
#include <string>
#include <vector>

#include "bench/comparison.h"
#include "bench/group_database.h"
#include "bench/process.h"
#include "bench/sleeping_processes.h"

namespace {

constexpr unsigned kProcesses = 10000;
constexpr unsigned kGroups = 100000;

// A program that a user would run instead of a report.
struct OtherTool {
   const char *report;
   std::vector<std::string> command;
   size_t headerLines; // of its output
   bool growsWithProcesses;
   bool sleeps; // a second, by design: its wall time says nothing
};

const OtherTool kOtherTools[] = {
   {"group-stats", {"systemd-cgtop", "-b", "-n", "1"}, 0, true, false},
   {"group-stats", {"ps", "-eo", "pid,ppid,rss,cgroup,comm"}, 1, true, false},
   {"uw-stats", {"ps", "-eo", "pid,rss,pss,uss,comm"}, 1, true, false},
   {"uw-stats", {"smem"}, 1, true, false},
   {"comp-stats", {"free"}, 1, false, false},
   {"comp-stats", {"vmstat", "-s"}, 0, false, false},
   {"comp-stats", {"numastat", "-m"}, 8, false, false},
   {"comp-stats", {"atop", "-P", "MEM", "1", "1"}, 2, false, false},
   {"comp-stats", {"sar", "-r", "1", "1"}, 4, false, true},
   {"buddy-stats", {"numastat", "-m"}, 8, false, false},
   {"buddy-stats", {"cat", "/proc/buddyinfo"}, 0, false, false},
   {"heap-stats", {"slabtop", "-o"}, 7, false, false},
   {"heap-stats", {"cat", "/proc/slabinfo"}, 2, false, false},
};

std::string Joined(const std::vector<std::string> &words)
{
   std::string text;
   for (const std::string &word : words) {
      text += (text.empty() ? "" : " ") + word;
   }
   return text;
}

size_t RowsBelow(size_t headerLines, const std::string &path)
{
   const size_t lines = CountLines(path);
   return lines > headerLines ? lines - headerLines : 0;
}

void Measure(const Places &places, const OtherTool &tool, const std::string &host)
{
   const std::string report = std::string("`") + tool.report + " -q`" + host;
   const std::string name = std::string("`").append(Joined(tool.command)) + "`";
   std::vector<std::string> command = tool.command;
   command[0] = FindProgram(command[0]);
   if (command[0].empty()) {
      PrintUnmeasured(report, name, "not installed");
      return;
   }
   const Contender hostmem = {{places.bin + "/hostmem", "-r", tool.report, "-q"}, places.work + "/output"};
   const Contender other = {command, places.work + "/other-output"};
   const int exitStatus = RunProcess(other.command, other.outputPath).exitStatus;
   const size_t otherRows = RowsBelow(tool.headerLines, other.outputPath);
   if (exitStatus != 0 || otherRows == 0) {
      PrintUnmeasured(report, name,
                      exitStatus != 0 ? "ends with status " + std::to_string(exitStatus) : "prints nothing");
      return;
   }
   const std::vector<Figures> figures = RunInTurn({hostmem, other}, {});
   PrintComparison(
      {report, std::to_string(RowsBelow(1, hostmem.outputPath)), figures[0]},
      {name + (tool.sleeps ? ", which sleeps a second" : ""), std::to_string(otherRows), figures[1]},
      !tool.sleeps);
}

// The report of a snapshot against a database of the very rows, both printing the same bytes.
void MeasureDatabase(const Places &places)
{
   const std::string sqlite = FindProgram("sqlite3");
   if (sqlite.empty()) {
      PrintUnmeasured("`group-stats`, snapshot", "`sqlite3`", "not installed");
      return;
   }
   const Contender csv = {HostmemOnSnapshot(places, kGroups, "ordered", {"group-stats", "-q"}),
                          places.work + "/csv"};
   const Contender table = {HostmemOnSnapshot(places, kGroups, "ordered", {"group-stats"}),
                            places.work + "/table"};
   const std::string database = places.work + "/groups.sqlite";
   RunOnce(csv.command, csv.outputPath);
   MakeGroupDatabase(sqlite, places, csv.outputPath, database);
   const Contender sqliteCsv = {PrintAsCsv(sqlite, database), places.work + "/sqlite-csv"};
   const Contender sqliteTable = {PrintAsTable(sqlite, database), places.work + "/sqlite-table"};

   const std::vector<Figures> figures =
      RunInTurn({csv, sqliteCsv, table, sqliteTable}, {.least = 7, .seconds = 8});
   RequireSameBytes(csv.outputPath, sqliteCsv.outputPath);
   CopyTable(table.outputPath, places.work + "/rows", false, false);
   RequireSameBytes(places.work + "/rows", sqliteTable.outputPath);
   const std::string rows = std::to_string(kGroups);
   PrintComparison({"`group-stats -q`, snapshot", rows, figures[0]},
                   {"`sqlite3 -csv`, the same bytes", rows, figures[1]});
   PrintComparison({"`group-stats`, snapshot", rows, figures[2]},
                   {"`sqlite3`, `printf` in the query, the same bytes", rows, figures[3]});
}

} // namespace

int main(int argc, char **argv)
{
   const Places places = PlacesFromArguments(argc, argv);
   PrintTableHead();
   MeasureDatabase(places);
   for (const OtherTool &tool : kOtherTools) {
      Measure(places, tool, "");
   }
   const SleepingProcesses processes(kProcesses);
   for (const OtherTool &tool : kOtherTools) {
      if (tool.growsWithProcesses) {
         Measure(places, tool, ", with " + std::to_string(processes.Count()) + " more processes");
      }
   }
   return 0;
}
