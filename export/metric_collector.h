// Collects metrics from reports that run in this process.
#ifndef EXPORT_METRIC_COLLECTOR_H
#define EXPORT_METRIC_COLLECTOR_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "export/metric_rows.h"

// What is to be had.
struct MetricChoices {
   std::vector<std::string> reports; // empty: all; else only what comes from these
   size_t maxSeries = 10000;
   uint32_t groupDepth = 2;
   size_t topVms = 200;
   bool hasProcesses = false;
   size_t topProcesses = 50;
   bool hasWalked = false; // figures that need walks through page tables
};

// The cap is no smaller, and leaves room for what an export says of itself, next to two series for each
// report.
inline constexpr size_t kFewestSeries = 200;
inline constexpr size_t kSeriesOfExport = 20;
// The deepest groups that a report walks to.
inline constexpr uint32_t kDeepestGroups = 11;

// How a report went.
struct ReportRun {
   const char *report;
   bool success;
   double seconds;
};

// Takes the rows of a kind as soon as all reports that they come from have run.
using TakeMetricRows = std::function<void(const MetricRows &rows)>;
// Is told of each report that has run, after the first rows that come from it.
using TakeReportRun = std::function<void(const ReportRun &run)>;

// The names of the reports that are run for the choices.
std::vector<const char *> ReportsOf(const MetricChoices &choices);

// Runs the reports on the source that answers the process. Each row's labels begin with `labels`, which is
// empty or a list of pairs. Returns how many series the cap left out; what a kind loses by it is in its
// "other", like what is not among the largest.
//
// False is no result: a report that fails is told to `takeRun`, and what it put out before is taken.
size_t CollectMetrics(const MetricChoices &choices, const std::string &labels, const TakeMetricRows &takeRows,
                      const TakeReportRun &takeRun);

#endif
