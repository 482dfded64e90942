// Runs hostmem on a snapshot.
#ifndef SNAPSHOT_TOOL_RUN_HOSTMEM_H
#define SNAPSHOT_TOOL_RUN_HOSTMEM_H

#include <string>
#include <vector>

#include "nevra/snapshot/snapshot_file.h"

// Which host and which moment a snapshot shows: "host elm, captured 2026-01-31T23:59:59Z".
std::string MomentOf(const nevra::SnapshotFile &file);

// Becomes "hostmem -c SNAPSHOT ARGUMENT...": the hostmem beside the running executable, else the one in PATH.
// A snapshot in memory is named by its descriptor, /proc/self/fd/N, which must stay open across exec. Returns
// only when there is none that can be run, with errno.
void BecomeHostmem(const std::string &snapshot, const std::vector<std::string> &arguments);

#endif
