// The notes of a snapshot that the programs look for again.
#ifndef SNAPSHOT_TOOL_CAPTURE_NOTES_H
#define SNAPSHOT_TOOL_CAPTURE_NOTES_H

#include <string>
#include <string_view>

// In front of a message of the platform about what it cannot read.
inline constexpr std::string_view kNotReadNote = "not read: ";

// Adds such a message to notes that have a line already; where they are long, it is left out.
void NoteUnreadable(std::string_view message, std::string *notes);

inline constexpr char kAnonymizedNote[] = "names: anonymized";

#endif
