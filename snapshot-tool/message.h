// Messages of hostmem-snapshot.
#ifndef SNAPSHOT_TOOL_MESSAGE_H
#define SNAPSHOT_TOOL_MESSAGE_H

#include <string>

#include "nevra/snapshot/snapshot_file.h"

// Writes "hostmem-snapshot: FILE: problem" to standard error.
void Complain(const std::string &path, const std::string &problem);

// Opens a snapshot, and with `verified` checks all of it; complains on failure.
bool OpenForCommand(const std::string &path, bool verified, nevra::SnapshotFile *file);

// Flushes standard output; complains when not all of it could be written.
bool FinishOutput();

#endif
