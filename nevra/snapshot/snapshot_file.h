// A snapshot file, mapped: its header and its nodes' vectors, in place.
//
// Opening reads the file's directory and its trailer, never its vectors, so that it costs the same for every
// size. It copies the directory, so that what was checked stays as it was. The vectors lie where the
// directory says, inside the file and apart from each other; their content is to be trusted only after
// CheckNode and CheckTexts (snapshot_check.h).
#ifndef NEVRA_SNAPSHOT_SNAPSHOT_FILE_H
#define NEVRA_SNAPSHOT_SNAPSHOT_FILE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "nevra/definitions.h"
#include "nevra/kernel_detail.h"
#include "nevra/nevra.h"
#include "nevra/snapshot/key_order.h"
#include "nevra/snapshot/snapshot_trailer.h"

namespace nevra {

// The number of an instance's keys, and which of them are texts (bit 0: the first).
struct SnapshotKeyShape {
   uint8_t count = 0;
   uint8_t texts = 0;

   bool operator==(const SnapshotKeyShape &) const = default;
   bool IsText(size_t key) const { return (texts >> key & 1) != 0; }
};

SnapshotKeyShape KeyShapeOf(std::span<const KeyDomain> domains);

// What this build's definitions make of a node.
struct DefinitionFit {
   const NevraNodeDef *definition = nullptr; // null: this build has no node of this path
   bool records = false;                     // are laid out as defined
   bool lists = false;
   bool everything = false; // that the snapshot holds of the node
};

// One node of a snapshot. The vectors point into the file.
struct SnapshotNode {
   const char *path;
   uint64_t definition; // checksum of the node's definition
   uint64_t checksum;   // of the vectors below
   SnapshotKeyShape recordShape;
   SnapshotKeyShape listShape;
   bool listsTexts;
   DefinitionFit fit;

   uint32_t recordSize;
   KeyTable keys;
   std::span<const uint8_t> records; // recordSize bytes per key
   KeyTable failedKeys;
   std::span<const uint32_t> failedStatuses;

   KeyTable listKeys;
   std::span<const uint32_t> listStarts; // one more than there are lists, or none
   std::span<const uint64_t> listValues;
   KeyTable listFailedKeys;
   std::span<const uint32_t> listFailedStatuses;

   std::span<const uint32_t> keyOrder; // of `keys`, or none
   std::span<const uint32_t> listOrder;
   size_t vectorCount; // that the checksum is over
};

// An open snapshot. Owns its bytes: a map of the file, or a copy.
struct SnapshotFile {
   std::shared_ptr<const uint8_t> bytes;
   size_t size = 0;
   std::shared_ptr<const uint8_t> directory; // a copy; what follows points into it
   SnapshotTrailer trailer = {};

   uint32_t version = 0;
   const char *signature = nullptr;
   const char *kernelBuild = nullptr;
   const char *host = nullptr;
   int64_t captured = 0;   // seconds since 1970, UTC
   const char *notes = ""; // how it was captured, in lines
   // What the kernel of the host said about its memory when the snapshot was taken: its MemTotal is
   // managedByMemMap of the records. FindKernelFigure(file.kernelDetail, "PageTables") is null where the
   // kernel did not say; all of it is empty in files of older builds and of hosts that do not run Linux.
   KernelFigures kernelDetail;
   std::vector<SnapshotNode> nodes;

   std::span<const uint32_t> textOffsets;
   std::span<const uint8_t> textBytes;
   uint64_t textChecksum = 0;
};

// Opens and checks the file at `path`. On failure `*problem` says why, without the path, and the status is
// the system's ("Not found", "No permission", "I/O error", "Out of memory"), "Metadata read error" for what
// is no snapshot or a damaged one, or "Version mismatch" for another format version.
//
// A file that is cut short while it is open ends the process when it is read: with the message
// "PATH: changed while it was read" and exit status 1.
NevraStatus OpenSnapshotFile(const char *path, SnapshotFile *file, std::string *problem);

// The same for a copy of bytes in memory.
NevraStatus OpenSnapshotBytes(std::span<const uint8_t> bytes, SnapshotFile *file, std::string *problem);

// The text with an index, or null when there is none. Of checked texts, it is terminated.
const char *TextAt(const SnapshotFile &file, uint64_t index);

// The index of a text, or kNoPosition. `hint` is where it may well be.
size_t FindText(const SnapshotFile &file, const char *text, size_t hint);

// The values of a list. False when its starts lie outside the values.
bool ListAt(const SnapshotNode &node, size_t position, std::span<const uint64_t> *values);

} // namespace nevra

#endif
