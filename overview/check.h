// An overview for a monitoring system: one line and an exit status.
#ifndef OVERVIEW_CHECK_H
#define OVERVIEW_CHECK_H

#include <string>

#include "overview/screen.h"

namespace overview {

// As plugins of monitoring systems end.
inline constexpr int kCheckOk = 0;
inline constexpr int kCheckWarning = 1;
inline constexpr int kCheckCritical = 2;
inline constexpr int kCheckUnknown = 3;

// The status of the most severe finding; notes are none. Without any, unknown if a report failed: what it
// would have shown was not judged.
int CheckStatus(const Overview &overview);

// "HOSTMEM WARNING - app-05 has ... (+3) | free=...", without a newline. What follows the bar is for graphs.
std::string CheckLine(const Overview &overview, Charset charset);

} // namespace overview

#endif
