// The subcommands of hostmem-snapshot. Each writes its messages itself and returns the exit status.
#ifndef SNAPSHOT_TOOL_COMMANDS_H
#define SNAPSHOT_TOOL_COMMANDS_H

#include <string>
#include <vector>

#include "nevra/snapshot/replace_file.h"

inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;  // diff: the snapshots differ
inline constexpr int kExitTrouble = 2; // a wrong command line; diff: any failure

// Where a snapshot is written.
struct Output {
   std::string path;
   nevra::IfExists ifExists = nevra::IfExists::Keep;
};

// Whether names become pseudonyms, and where their key and the table that leads back from them go; nowhere
// without a path.
struct Anonymity {
   bool isWanted = false;
   Output names;
};

// Takes a snapshot of this host, as hostmem would report on it, or of the recorded tree in the folder `root`.
// An output without a path is named after the host and the time.
int CaptureCommand(const std::string &root, const Output &output, const Anonymity &anonymity);

// Prints a report of a snapshot: hostmem with these arguments. Says on standard error which host and which
// moment it shows.
int ReportCommand(const std::string &path, const std::vector<std::string> &arguments);

// Shows what a snapshot is of, and what it has per node.
int InfoCommand(const std::string &path);

// Checks all of a snapshot.
int VerifyCommand(const std::string &path);

// Writes a snapshot's readable form to standard output.
int ExportCommand(const std::string &path, const Anonymity &anonymity = {});

// Makes a snapshot of its readable form; "-" is standard input.
int ImportCommand(const std::string &path, const Output &output);

// Shows where two snapshots differ.
int DiffCommand(const std::string &left, const std::string &right);

#endif
