// The vectors of one node of a snapshot, stated once. Reader, writer, checks and checksum all go by this
// table.
#ifndef NEVRA_SNAPSHOT_SNAPSHOT_VECTORS_H
#define NEVRA_SNAPSHOT_SNAPSHOT_VECTORS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "nevra/snapshot/key_order.h"

namespace nevra {

// VECTOR(member, field, FIELD, Element): the member of the structures here, the schema's field, and the type
// of an element. In the order of the checksum.
#define NEVRA_SNAPSHOT_VECTORS(VECTOR)                                                                       \
   VECTOR(keys, keys, KEYS, uint64_t)                                                                        \
   VECTOR(records, records, RECORDS, uint8_t)                                                                \
   VECTOR(failedKeys, failed_keys, FAILED_KEYS, uint64_t)                                                    \
   VECTOR(failedStatuses, failed_statuses, FAILED_STATUSES, uint32_t)                                        \
   VECTOR(listKeys, list_keys, LIST_KEYS, uint64_t)                                                          \
   VECTOR(listStarts, list_starts, LIST_STARTS, uint32_t)                                                    \
   VECTOR(listValues, list_values, LIST_VALUES, uint64_t)                                                    \
   VECTOR(listFailedKeys, list_failed_keys, LIST_FAILED_KEYS, uint64_t)                                      \
   VECTOR(listFailedStatuses, list_failed_statuses, LIST_FAILED_STATUSES, uint32_t)                          \
   VECTOR(keyOrder, key_order, KEY_ORDER, uint32_t)                                                          \
   VECTOR(listOrder, list_order, LIST_ORDER, uint32_t)

#define NEVRA_COUNT_VECTOR(member, field, FIELD, Element) +1 // NOLINT(bugprone-macro-parentheses): a summand
inline constexpr size_t kNodeVectorCount = 0 NEVRA_SNAPSHOT_VECTORS(NEVRA_COUNT_VECTOR);
#undef NEVRA_COUNT_VECTOR

// Of format version 1, which had no orders.
inline constexpr size_t kVersion1VectorCount = kNodeVectorCount - 2;

template <typename Element> std::span<const uint8_t> VectorBytes(const std::vector<Element> &vector)
{
   return {reinterpret_cast<const uint8_t *>(vector.data()), vector.size() * sizeof(Element)};
}

template <typename Element> std::span<const uint8_t> VectorBytes(std::span<const Element> vector)
{
   return {reinterpret_cast<const uint8_t *>(vector.data()), vector.size_bytes()};
}

inline std::span<const uint8_t> VectorBytes(const KeyTable &table)
{
   return {reinterpret_cast<const uint8_t *>(table.words), table.count * table.width * sizeof(uint64_t)};
}

using NodeVectorBytes = std::array<std::span<const uint8_t>, kNodeVectorCount>;

// The bytes of all vectors of a SnapshotNode or a NodeTree.
template <typename Node> NodeVectorBytes BytesOfVectors(const Node &node)
{
#define NEVRA_VECTOR_BYTES(member, field, FIELD, Element) VectorBytes(node.member),
   return {NEVRA_SNAPSHOT_VECTORS(NEVRA_VECTOR_BYTES)};
#undef NEVRA_VECTOR_BYTES
}

} // namespace nevra

#endif
