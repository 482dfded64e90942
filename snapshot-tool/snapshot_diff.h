// Where two snapshots differ.
#ifndef SNAPSHOT_TOOL_SNAPSHOT_DIFF_H
#define SNAPSHOT_TOOL_SNAPSHOT_DIFF_H

#include <cstdint>
#include <cstdio>

#include "nevra/snapshot/snapshot_file.h"
#include "snapshot-tool/progress.h"

// Writes one line to `output` for every difference between two verified snapshots, by node, key and field,
// with both values, and returns their number. The time of capture is none.
uint64_t DiffSnapshots(const nevra::SnapshotFile &left, const nevra::SnapshotFile &right, FILE *output,
                       Progress *progress);

#endif
