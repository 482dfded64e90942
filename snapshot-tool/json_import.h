// Reads a snapshot's readable form.
#ifndef SNAPSHOT_TOOL_JSON_IMPORT_H
#define SNAPSHOT_TOOL_JSON_IMPORT_H

#include <cstdio>
#include <string>

#include "nevra/snapshot/snapshot_tree.h"
#include "snapshot-tool/progress.h"

// Reads all of `input`, which is `size` bytes long (0: unknown). False with `*problem`, which names the line
// and the place in the tree.
bool ImportSnapshot(FILE *input, uint64_t size, Progress *progress, nevra::SnapshotTree *tree,
                    std::string *problem);

#endif
