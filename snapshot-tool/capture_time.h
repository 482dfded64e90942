// The time of capture as a text: ISO 8601, UTC, for example "2026-01-31T23:59:59Z".
#ifndef SNAPSHOT_TOOL_CAPTURE_TIME_H
#define SNAPSHOT_TOOL_CAPTURE_TIME_H

#include <cstdint>
#include <string>
#include <string_view>

// `seconds` since 1970, within the years 1970 to 9999.
std::string FormatCaptureTime(int64_t seconds);

// False for a text that is no such time.
bool ParseCaptureTime(std::string_view text, int64_t *seconds);

#endif
