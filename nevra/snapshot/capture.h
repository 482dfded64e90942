// Capture: asks a source everything that a report may ask it.
#ifndef NEVRA_SNAPSHOT_CAPTURE_H
#define NEVRA_SNAPSHOT_CAPTURE_H

#include <cstdint>
#include <functional>
#include <string>

#include "nevra/snapshot/snapshot_tree.h"
#include "nevra/source.h"

namespace nevra {

// Adds the answers to every node that is not settable, for every instance that the tree of groups and the
// listings lead to; failures are answers too, but for want of descriptors or memory, which ends it. Calls
// progress(answers so far) after each. The tree gets the source's signature and build text, and the kernel's
// detail if that is of the host that answers; host and time are the caller's. False for want of descriptors
// or memory, and when the answers exceed `limit` bytes.
bool CaptureTree(Source &source, SnapshotTree *tree, const std::function<void(uint64_t)> &progress,
                 std::string *problem, uint64_t limit);

} // namespace nevra

#endif
