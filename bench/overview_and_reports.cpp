// The overview of a busy host against the live reports that it is made of, each run on its own.
//
// usage: overview_and_reports BIN WORK
#include <cstddef>
#include <iterator>
#include <string>
#include <vector>

#include "bench/comparison.h"
#include "bench/process.h"
#include "bench/sleeping_processes.h"

namespace {

constexpr unsigned kProcesses = 1000;

// Those that the overview runs. Those about VMs only where there are some: such a report has a header, VMs
// and a total.
std::vector<std::string> ReportsOfOverview(const Places &places)
{
   std::vector<std::string> reports = {"comp-stats",   "group-stats",      "heap-stats", "lpool-stats",
                                       "pshare-stats", "pshareHint-stats", "buddy-stats"};
   const std::string output = places.work + "/output";
   RunOnce({places.bin + "/hostmem", "-r", "vm-stats", "-q"}, output);
   if (CountLines(output) > 2) {
      reports.insert(reports.end(), {"vm-stats", "swap-stats"});
   }
   return reports;
}

void MeasureOverview(const Places &places, size_t processes)
{
   std::vector<Contender> contenders = {{{places.bin + "/hostmem-overview"}, places.work + "/output"}};
   const std::vector<std::string> reports = ReportsOfOverview(places);
   for (const std::string &report : reports) {
      contenders.push_back({{places.bin + "/hostmem", "-r", report, "-q"}, places.work + "/" + report});
   }
   const std::vector<Figures> figures = RunInTurn(contenders, {.least = 15, .seconds = 10});
   Figures sum;
   size_t rows = 0;
   for (size_t i = 1; i < figures.size(); i++) {
      sum.seconds += figures[i].seconds;
      sum.cpuSeconds += figures[i].cpuSeconds;
      rows += CountLines(contenders[i].outputPath) - 1; // without the header
   }
   PrintComparison(
      {"`hostmem-overview`, live, with " + std::to_string(processes) + " more processes",
       std::to_string(CountLines(contenders.front().outputPath)), figures.front()},
      {"its " + std::to_string(reports.size()) + " reports, one after the other", std::to_string(rows), sum});
   PrintComparison({"`hostmem-overview`", "", figures.front()}, {"`group-stats -q` alone", "", figures[2]});
}

} // namespace

int main(int argc, char **argv)
{
   const Places places = PlacesFromArguments(argc, argv);
   PrintTableHead();
   const SleepingProcesses processes(kProcesses);
   MeasureOverview(places, processes.Count());
   return 0;
}
