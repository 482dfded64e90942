// What the reader and the writer of snapshots agree on beyond the schema.
#ifndef NEVRA_SNAPSHOT_SNAPSHOT_FORMAT_H
#define NEVRA_SNAPSHOT_SNAPSHOT_FORMAT_H

#include <cstddef>
#include <cstdint>

namespace nevra {

inline constexpr uint32_t kSnapshotFormatVersion = 1;

inline constexpr uint64_t kTrailerMagic = 0x0a444e455353564e; // "NVSSEND\n"

// FlatBuffers offsets are 31 bits.
inline constexpr uint64_t kMaxSnapshotBytes = (uint64_t{1} << 31) - 1024;

// More than any set of definitions has.
inline constexpr uint32_t kMaxSnapshotNodes = 1024;

// The last second of the year 9999.
inline constexpr int64_t kMaxCaptureTime = 253402300799;

// True for 32 lower-case hexadecimal digits.
bool IsDefinitionSignature(const char *text, size_t length);

} // namespace nevra

#endif
