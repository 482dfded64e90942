// How the time of the group report grows with the number of groups, beside the formatting of its output alone
// and a database's shell that prints the same. Prints a table, and writes the figures for the plot.
//
// usage: growth BIN WORK
#include <array>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "bench/comparison.h"
#include "bench/group_database.h"
#include "bench/process.h"

namespace {

constexpr unsigned kGroups[] = {10, 100, 1000, 10000, 100000};
constexpr size_t kCurves = 5;

// Milliseconds: the report as CSV, as a table, the formatting of the CSV, the shell's CSV and table; below 0
// where it could not be measured.
using Milliseconds = std::array<double, kCurves>;

Milliseconds Measure(const Places &places, unsigned groups)
{
   const std::string sqlite = FindProgram("sqlite3");
   const Contender csv = {HostmemOnSnapshot(places, groups, "ordered", {"group-stats", "-q"}),
                          places.work + "/csv"};
   const Contender table = {HostmemOnSnapshot(places, groups, "ordered", {"group-stats"}),
                            places.work + "/table"};
   RunOnce(csv.command, csv.outputPath);
   const std::string rows = places.work + "/rows";
   CopyTable(csv.outputPath, rows, true);
   std::vector<Contender> contenders = {
      csv, table, FormattingFloor(places, rows), {{places.bin + "/empty"}, "/dev/null"}};
   if (!sqlite.empty()) {
      const std::string database = places.work + "/growth.sqlite";
      MakeGroupDatabase(sqlite, places, csv.outputPath, database);
      contenders.push_back({PrintAsCsv(sqlite, database), places.work + "/sqlite-csv"});
      contenders.push_back({PrintAsTable(sqlite, database), places.work + "/sqlite-table"});
   }
   const std::vector<Figures> figures = RunInTurn(contenders, {.least = 5, .most = 500, .seconds = 6});
   const auto milliseconds = [&](size_t contender) {
      return contender < figures.size() ? figures[contender].seconds * 1e3 : -1;
   };
   return {milliseconds(0), milliseconds(1), milliseconds(2) + milliseconds(3), milliseconds(4),
           milliseconds(5)};
}

} // namespace

int main(int argc, char **argv)
{
   const Places places = PlacesFromArguments(argc, argv);
   std::ofstream plot(places.work + "/growth.dat");
   std::printf("| groups | `group-stats -q` | `group-stats` | formatting alone (CSV) | `sqlite3 -csv` | "
               "`sqlite3`, `printf` |\n|--:|--:|--:|--:|--:|--:|\n");
   for (const unsigned groups : kGroups) {
      std::printf("| %u |", groups);
      plot << groups;
      for (const double milliseconds : Measure(places, groups)) {
         std::printf(milliseconds < 0 ? " not installed |" : " %.2f ms |", milliseconds);
         plot << ' ' << (milliseconds < 0 ? "NaN" : std::to_string(milliseconds));
      }
      std::printf("\n");
      std::fflush(stdout);
      plot << '\n';
   }
   return 0;
}
