// Makes the bytes of a snapshot, and files of them.
#ifndef NEVRA_SNAPSHOT_SNAPSHOT_WRITER_H
#define NEVRA_SNAPSHOT_SNAPSHOT_WRITER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "nevra/snapshot/snapshot_format.h"
#include "nevra/snapshot/snapshot_trailer.h"
#include "nevra/snapshot/snapshot_tree.h"

namespace nevra {

// The bytes of a snapshot: the body, then the trailer.
struct SnapshotImage {
   std::shared_ptr<const uint8_t> body;
   size_t bodySize = 0;
   std::array<uint8_t, kTrailerSize> trailer = {};
};

// Makes the image of a tree, which is used up on the way, so that a large one is never in memory twice.
// False, with the tree as it was, when the image would exceed `limit`; false when an instance was added
// twice, or the tree holds what no reader accepts: a group that is listed twice, a text that is too long.
// `*problem` says which.
bool MakeSnapshotImage(SnapshotTree *tree, SnapshotImage *image, std::string *problem,
                       uint64_t limit = kMaxSnapshotBytes);

// The image in one piece.
std::vector<uint8_t> BytesOfImage(const SnapshotImage &image);

} // namespace nevra

#endif
