// The reader: runs the reports, in a process of its own.
//
// Reports write through static tables and may wait for a kernel file that never comes back. A process of
// their own is stopped without a trace, and gives back all memory.
#ifndef EXPORTER_REPORT_READER_H
#define EXPORTER_REPORT_READER_H

#include <string>

#include "export/metric_collector.h"

namespace exporter {

// What is read.
struct ReadingChoices {
   MetricChoices metrics;
   std::string snapshot; // empty: a live host
   std::string root;     // of the live host's file system; empty: this host, through its platform library
};

// Loads what the reader needs ahead of its start. False, with a problem, for this host without a platform
// library.
bool PrepareToRead(const ReadingChoices &choices, std::string *problem);

// Reads, and tells of it through the pipe.
void ReadReports(const ReadingChoices &choices, int pipe);

} // namespace exporter

#endif
