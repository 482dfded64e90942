// The last step of capture and import: the snapshot file.
#ifndef SNAPSHOT_TOOL_WRITE_SNAPSHOT_H
#define SNAPSHOT_TOOL_WRITE_SNAPSHOT_H

#include <string>

#include "nevra/snapshot/replace_file.h"
#include "nevra/snapshot/snapshot_tree.h"

// Uses the tree up. Complains on failure: of `origin`, what the tree came from, or of `output`. Nothing is
// left behind then.
bool WriteSnapshot(nevra::SnapshotTree *tree, const std::string &origin, const std::string &output,
                   nevra::IfExists ifExists);

// Writes a text to a file in the same way.
bool WriteText(const std::string &text, const std::string &output, nevra::IfExists ifExists);

// Complains when no file can be written there: before the work, not after it.
bool CheckOutput(const std::string &output, nevra::IfExists ifExists);

#endif
