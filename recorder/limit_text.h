// Durations and sizes as the command line has them.
#ifndef RECORDER_LIMIT_TEXT_H
#define RECORDER_LIMIT_TEXT_H

#include <cstdint>
#include <string_view>

namespace recorder {

// "90s", "15m", "12h", "14d" in ns, at least one second. False for anything else.
bool ParseDuration(std::string_view text, int64_t *ns);

// "4096", "64K", "512M", "1G", "2T" in bytes. False for anything else.
bool ParseSize(std::string_view text, uint64_t *bytes);

// "5%" up to "100%", as a share of 1. False for anything else.
bool ParseShare(std::string_view text, double *share);

} // namespace recorder

#endif
