// The answers of a node tree in memory, on their way into a snapshot.
//
// Answers are added in any order; texts are interned as they come. SortSnapshotTree brings everything into
// the order of the file, so that the same answers give the same bytes whatever order they came in.
#ifndef NEVRA_SNAPSHOT_SNAPSHOT_TREE_H
#define NEVRA_SNAPSHOT_SNAPSHOT_TREE_H

#include <cstdint>
#include <deque>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "nevra/definitions.h"
#include "nevra/kernel_detail.h"
#include "nevra/snapshot/snapshot_vectors.h"

namespace nevra {

// One node's answers, laid out as in the file. Words of text keys and values are indexes of the tree's texts.
// Before sorting, the list starts lack the end of the last list.
struct NodeTree {
#define NEVRA_VECTOR_MEMBER(member, field, FIELD, Element) std::vector<Element> member;
   NEVRA_SNAPSHOT_VECTORS(NEVRA_VECTOR_MEMBER)
#undef NEVRA_VECTOR_MEMBER
};

struct SnapshotTree {
   SnapshotTree() = default;
   SnapshotTree(SnapshotTree &&) = default;
   SnapshotTree &operator=(SnapshotTree &&) = default;
   // The keys of the indexes lie in the texts, which a copy would leave behind.
   SnapshotTree(const SnapshotTree &) = delete;
   SnapshotTree &operator=(const SnapshotTree &) = delete;
   ~SnapshotTree() = default;

   std::string signature; // 32 lower-case hexadecimal digits
   std::string kernelBuild;
   std::string host;
   int64_t captured = 0; // seconds since 1970, UTC
   std::string notes;    // how it was captured: lines without a newline at the end of the last
   KernelFigures kernelDetail;

   NodeTree nodes[kNodeCount]; // by NodeId
   std::deque<std::string> texts;
   uint64_t textBytes = 0; // of all of them
   // Of the texts, in place. Whoever chose them cannot make a look-up long, as he could with a hash table.
   std::map<std::string_view, uint64_t> textIndexes;
};

// The index of a text without NULs, added when it is new.
uint64_t InternText(SnapshotTree *tree, std::string_view text);

// Append one answer. `keys` has a word per key of the node's records or listing; a record is the definition's
// size; a status is not 0.
void AddRecord(SnapshotTree *tree, const NevraNodeDef &node, std::span<const uint64_t> keys,
               const void *record);
void AddFailure(SnapshotTree *tree, const NevraNodeDef &node, std::span<const uint64_t> keys,
                NevraStatus status);
void AddList(SnapshotTree *tree, const NevraNodeDef &node, std::span<const uint64_t> keys,
             std::span<const uint64_t> values);
void AddListFailure(SnapshotTree *tree, const NevraNodeDef &node, std::span<const uint64_t> keys,
                    NevraStatus status);

// The size of the file that the tree makes, in bytes; a little more than it will be.
uint64_t EstimateSnapshotBytes(const SnapshotTree &tree);

// Sorts texts and instances. False when an instance was added twice, with a text that names it.
bool SortSnapshotTree(SnapshotTree *tree, std::string *problem);

} // namespace nevra

#endif
