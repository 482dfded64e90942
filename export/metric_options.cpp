#include "export/metric_options.h"

#include <algorithm>
#include <cstdlib>

#include <CLI/CLI.hpp>

#include "export/run_report.h"

void AddMetricOptions(CLI::App *app, MetricChoices *choices)
{
   app->add_option("--max-series", choices->maxSeries, "Most series; the rest is added up")
      ->check(CLI::Range(kFewestSeries, size_t{10'000'000}))
      ->type_name("NUMBER")
      ->capture_default_str();
   app->add_option("--group-depth", choices->groupDepth, "Levels of groups below the root")
      ->check(CLI::Range(1U, kDeepestGroups))
      ->type_name("NUMBER")
      ->capture_default_str();
   app->add_option("--top-vms", choices->topVms, "Largest VMs shown one by one")
      ->check(CLI::Range(size_t{0}, size_t{1'000'000}))
      ->type_name("NUMBER")
      ->capture_default_str();
   app->add_flag("--processes", choices->hasProcesses, "Processes, too, by name");
   app->add_option("--top-processes", choices->topProcesses, "Largest names of processes shown one by one")
      ->check(CLI::Range(size_t{0}, size_t{1'000'000}))
      ->type_name("NUMBER")
      ->capture_default_str();
   app->add_flag("--walk", choices->hasWalked, "Figures that need walks through page tables");
}

std::string ProblemOfReport(std::string *report)
{
   const ReportEntry *entry = FindReport(report->c_str());
   if (entry == nullptr) {
      return "no such report";
   }
   *report = entry->name;
   MetricChoices all;
   all.hasProcesses = true;
   const std::vector<const char *> reports = ReportsOf(all);
   return std::ranges::find(reports, *report) != reports.end() ? "" : "has no metrics";
}

void AllowWalks(bool isAllowed)
{
   if (!isAllowed) {
      setenv("HOSTMEM_WALK", "none", 1);
   }
}
