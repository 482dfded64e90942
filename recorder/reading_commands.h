// The subcommands of hostmem-record that read a recording. Each writes its messages itself and returns the
// exit status. They may run while a recorder writes, and need nothing of it.
#ifndef RECORDER_READING_COMMANDS_H
#define RECORDER_READING_COMMANDS_H

#include <cstddef>
#include <string>
#include <vector>

#include "nevra/snapshot/replace_file.h"
#include "report/display_unit.h"

namespace recorder {

// Shows the segments, the gaps between frames and the frames that were taken for a reason other than the
// time; with `allFrames`, every frame.
int ListCommand(const std::string &folder, bool allFrames);

// Shows what is recorded, in sum.
int InfoCommand(const std::string &folder);

// Reads and checks every frame.
int VerifyCommand(const std::string &folder);

// Prints a report of a moment: hostmem with these arguments. Says on standard error which host and moment it
// shows.
int ReportCommand(const std::string &folder, const std::string &time,
                  const std::vector<std::string> &arguments);

// Writes the snapshot of a moment, as it was captured.
int AtCommand(const std::string &folder, const std::string &time, const std::string &output,
              nevra::IfExists ifExists);

struct SeriesRequest {
   std::string report;
   std::vector<std::string> options; // of the report
   std::string from;                 // empty: the first frame
   std::string to;                   // empty: the last
   std::vector<std::string> matches;
   bool rates = false;
   bool jsonLines = false;
};

// Writes the rows of a report over time to standard output.
int SeriesCommand(const std::string &folder, const SeriesRequest &request);

struct GrowRequest {
   std::string from;
   std::string to = "now";
   std::string by = "vm";
   size_t top = 20;
   std::string unit = "mb";
};

// Shows who uses more memory at one moment than at another.
int GrowCommand(const std::string &folder, const GrowRequest &request);

} // namespace recorder

#endif
