// The subcommands of hostmem-record. Each returns an exit status and has complained when it is not kExitDone.
#ifndef RECORDER_COMMANDS_H
#define RECORDER_COMMANDS_H

#include <cstdint>
#include <string>

#include "recorder/recording_writer.h"

namespace recorder {

inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitTrouble = 2; // a wrong command line

inline constexpr char kDefaultFolder[] = "/var/lib/hostmem";

// Writes "hostmem-record: problem" to standard error.
void Complain(const std::string &problem);

struct RunOptions {
   std::string folder = kDefaultFolder;
   std::string root; // a recorded tree; empty: this host, by its platform library
   int64_t interval = int64_t{60} * 1'000'000'000; // ns
   RecordingLimits limits;
};

// Records until SIGTERM, SIGINT or SIGHUP.
int RunCommand(const RunOptions &options);

} // namespace recorder

#endif
