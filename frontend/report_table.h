// The reports by name.
#ifndef FRONTEND_REPORT_TABLE_H
#define FRONTEND_REPORT_TABLE_H

#include <cstddef>

#include "nevra/nevra.h"

// Report types in dispatch order, which is not that of the usage text.
inline constexpr size_t kReportCount = 19;
extern const char *const reportNames[kReportCount];

inline constexpr size_t kDcpmmStatsIndex = 18; // works on the live host alone

// The index of a report type, in any case; kReportCount when there is none of that name.
size_t FindReport(const char *name);

// Runs a report over the rest of the argument vector. Returns the status of the step that ended it.
NevraStatus RunReport(size_t index, int argc, char **argv);

#endif
