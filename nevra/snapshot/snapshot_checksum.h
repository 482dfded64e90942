// The checksums of a snapshot: XXH3, 64 bits.
#ifndef NEVRA_SNAPSHOT_SNAPSHOT_CHECKSUM_H
#define NEVRA_SNAPSHOT_SNAPSHOT_CHECKSUM_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace nevra {

uint64_t ChecksumOfBytes(const void *bytes, size_t size);

// Over several vectors: of each its length in bytes, then its bytes.
uint64_t ChecksumOfVectors(std::span<const std::span<const uint8_t>> vectors);

// Of one node's definition in canonical text; 0 for a path that is not defined.
uint64_t ChecksumOfDefinition(std::string_view path);

} // namespace nevra

#endif
