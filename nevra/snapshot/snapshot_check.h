// The checks that opening leaves to the first read: of the texts, and of one node.
//
// A report makes them when it first reads a node, and a full verification makes them for all nodes, so that
// both agree on what is sound. They bound what any reader can be made to do: see "What a file may cost" in
// docs/snapshot.md.
#ifndef NEVRA_SNAPSHOT_SNAPSHOT_CHECK_H
#define NEVRA_SNAPSHOT_SNAPSHOT_CHECK_H

#include <string>

#include "nevra/snapshot/snapshot_file.h"

namespace nevra {

// Checks the checksum and the content. False with the problem, which begins with "damaged: ". Cost: a pass
// over the vectors for the checksum, and less for the rest.
bool CheckTexts(const SnapshotFile &file, std::string *problem);
bool CheckNode(const SnapshotFile &file, const SnapshotNode &node, std::string *problem);

// The content of everything, without checksums, for a writer that has just made them. The problem says what
// the snapshot would hold.
bool CheckContent(const SnapshotFile &file, std::string *problem);

// True when no count in the record is more than a host can have: a report loops over it.
bool CountsHold(const NevraNodeDef &node, const uint8_t *record);

} // namespace nevra

#endif
