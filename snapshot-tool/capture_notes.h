// The names of notes that the tool itself looks for again.
#ifndef SNAPSHOT_TOOL_CAPTURE_NOTES_H
#define SNAPSHOT_TOOL_CAPTURE_NOTES_H

#include <string_view>

// In front of a message of the platform about what it cannot read.
inline constexpr std::string_view kNotReadNote = "not read: ";

inline constexpr char kAnonymizedNote[] = "names: anonymized";

#endif
