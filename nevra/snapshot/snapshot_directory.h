// The check of a snapshot's directory, before anything in it is used.
#ifndef NEVRA_SNAPSHOT_SNAPSHOT_DIRECTORY_H
#define NEVRA_SNAPSHOT_SNAPSHOT_DIRECTORY_H

#include "snapshot_generated.h"

namespace nevra {

// True when every table, text and fixed field that `root` leads to lies inside the verifier's buffer, and
// every bulk vector starts inside it. Of the bulk vectors it reads nothing, where the generated check reads
// each one's length: in a large file that is a page fault each. Their bounds are the caller's to check.
bool VerifyDirectory(flatbuffers::Verifier &verifier, const snapshot::Snapshot &root);

} // namespace nevra

#endif
