// The trailer: the last bytes of a snapshot file, by which a cut or damaged file is known.
#ifndef NEVRA_SNAPSHOT_SNAPSHOT_TRAILER_H
#define NEVRA_SNAPSHOT_SNAPSHOT_TRAILER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace nevra {

inline constexpr size_t kTrailerSize = 40;

struct SnapshotTrailer {
   uint64_t fileSize;          // bytes, with the trailer
   uint64_t directorySize;     // bytes from the start of the file
   uint64_t directoryChecksum; // of those
   uint64_t fileChecksum;      // of every byte before the trailer; only a full verification reads it
};

// The trailer that closes a body whose directory is `directorySize` bytes.
std::array<uint8_t, kTrailerSize> EncodeTrailer(std::span<const uint8_t> body, size_t directorySize);

// False when the bytes do not start with a trailer's mark.
bool DecodeTrailer(std::span<const uint8_t, kTrailerSize> bytes, SnapshotTrailer *trailer);

} // namespace nevra

#endif
