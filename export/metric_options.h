// The options by which the programs that export metrics choose what is to be had.
#ifndef EXPORT_METRIC_OPTIONS_H
#define EXPORT_METRIC_OPTIONS_H

#include <string>

#include "export/metric_collector.h"

namespace CLI {
class App;
}

// Adds them to a command line; `*choices` must outlive its parsing.
void AddMetricOptions(CLI::App *app, MetricChoices *choices);

// Why a report cannot be chosen for metrics; empty when it can. A name in another case is put right.
std::string ProblemOfReport(std::string *report);

// Has the source that is opened next walk page tables for this host, or not.
void AllowWalks(bool isAllowed);

#endif
