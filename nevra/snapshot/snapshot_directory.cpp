#include "nevra/snapshot/snapshot_directory.h"

#include <algorithm>
#include <span>

namespace nevra {

using flatbuffers::Table;
using flatbuffers::Verifier;
using snapshot::KeyShape;
using snapshot::Node;
using snapshot::Snapshot;

namespace {

using Fields = std::span<const flatbuffers::voffset_t>;

template <typename Scalar> bool HoldsScalars(const Verifier &verifier, const Table &table, Fields fields)
{
   return std::all_of(fields.begin(), fields.end(), [&](flatbuffers::voffset_t field) {
      return table.VerifyField<Scalar>(verifier, field, sizeof(Scalar));
   });
}

bool HoldsShape(const Verifier &verifier, const Table &table, flatbuffers::voffset_t field)
{
   return table.VerifyFieldRequired<KeyShape>(verifier, field, alignof(KeyShape));
}

bool HoldsText(const Verifier &verifier, const Table &table, flatbuffers::voffset_t field)
{
   return table.VerifyOffsetRequired(verifier, field) &&
          verifier.VerifyString(table.GetPointer<const flatbuffers::String *>(field));
}

bool StartsInside(const Verifier &verifier, const Table &table, Fields vectors)
{
   return std::all_of(vectors.begin(), vectors.end(),
                      [&](flatbuffers::voffset_t vector) { return table.VerifyOffset(verifier, vector); });
}

bool VerifyNode(Verifier &verifier, const Table &table)
{
   constexpr flatbuffers::voffset_t kWords[] = {Node::VT_DEFINITION, Node::VT_CHECKSUM};
   constexpr flatbuffers::voffset_t kCounts[] = {Node::VT_RECORD_SIZE,  Node::VT_RECORD_COUNT,
                                                 Node::VT_FAILED_COUNT, Node::VT_LIST_COUNT,
                                                 Node::VT_VALUE_COUNT,  Node::VT_LIST_FAILED_COUNT};
   constexpr flatbuffers::voffset_t kFlags[] = {Node::VT_LISTS_TEXTS};
   constexpr flatbuffers::voffset_t kVectors[] = {Node::VT_KEYS,
                                                  Node::VT_RECORDS,
                                                  Node::VT_FAILED_KEYS,
                                                  Node::VT_FAILED_STATUSES,
                                                  Node::VT_LIST_KEYS,
                                                  Node::VT_LIST_STARTS,
                                                  Node::VT_LIST_VALUES,
                                                  Node::VT_LIST_FAILED_KEYS,
                                                  Node::VT_LIST_FAILED_STATUSES};
   return table.VerifyTableStart(verifier) && HoldsText(verifier, table, Node::VT_PATH) &&
          HoldsScalars<uint64_t>(verifier, table, kWords) &&
          HoldsScalars<uint32_t>(verifier, table, kCounts) &&
          HoldsScalars<uint8_t>(verifier, table, kFlags) &&
          HoldsShape(verifier, table, Node::VT_RECORD_SHAPE) &&
          HoldsShape(verifier, table, Node::VT_LIST_SHAPE) && StartsInside(verifier, table, kVectors) &&
          verifier.EndTable();
}

bool VerifyRoot(Verifier &verifier, const Table &table)
{
   constexpr flatbuffers::voffset_t kCounts[] = {Snapshot::VT_FORMAT_VERSION, Snapshot::VT_TEXT_COUNT,
                                                 Snapshot::VT_TEXT_SIZE};
   constexpr flatbuffers::voffset_t kWords[] = {Snapshot::VT_CAPTURED, Snapshot::VT_TEXT_CHECKSUM};
   constexpr flatbuffers::voffset_t kVectors[] = {Snapshot::VT_TEXT_OFFSETS, Snapshot::VT_TEXT_BYTES};
   return table.VerifyTableStart(verifier) && HoldsText(verifier, table, Snapshot::VT_DEFINITION_SIGNATURE) &&
          HoldsText(verifier, table, Snapshot::VT_KERNEL_BUILD) &&
          HoldsText(verifier, table, Snapshot::VT_HOST) && HoldsScalars<uint32_t>(verifier, table, kCounts) &&
          HoldsScalars<uint64_t>(verifier, table, kWords) && StartsInside(verifier, table, kVectors) &&
          table.VerifyOffsetRequired(verifier, Snapshot::VT_NODES) && verifier.EndTable();
}

// The tables privately are flatbuffers::Table.
template <typename Generated> const Table &AsTable(const Generated &generated)
{
   return reinterpret_cast<const Table &>(generated);
}

} // namespace

bool VerifyDirectory(Verifier &verifier, const Snapshot &root)
{
   if (!VerifyRoot(verifier, AsTable(root)) || !verifier.VerifyVector(root.nodes())) {
      return false;
   }
   return std::all_of(root.nodes()->begin(), root.nodes()->end(),
                      [&](const Node *node) { return VerifyNode(verifier, AsTable(*node)); });
}

} // namespace nevra
