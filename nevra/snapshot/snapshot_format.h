// What the reader and the writer of snapshots agree on beyond the schema.
#ifndef NEVRA_SNAPSHOT_SNAPSHOT_FORMAT_H
#define NEVRA_SNAPSHOT_SNAPSHOT_FORMAT_H

#include <cstddef>
#include <cstdint>

namespace nevra {

// What is written; version 1 is read, too.
inline constexpr uint32_t kSnapshotFormatVersion = 2;

// FlatBuffers offsets are 31 bits.
inline constexpr uint64_t kMaxSnapshotBytes = (uint64_t{1} << 31) - 1024;

// Opening reads the directory whole, so that its size has a limit of its own.
inline constexpr uint64_t kMaxDirectoryBytes = uint64_t{1} << 20;

// More than any set of definitions has.
inline constexpr uint32_t kMaxSnapshotNodes = 1024;

// Of the host's name, the build text, a key or a listed name: as long as a file's name can be.
inline constexpr size_t kMaxSnapshotText = 255;

// The longest notes, in bytes.
inline constexpr size_t kMaxSnapshotNotes = 1 << 16;

// No host has more memory nodes. A report asks for each up to the number that a record states.
inline constexpr uint32_t kMaxMemNodes = 1024;

// The last second of the year 9999.
inline constexpr int64_t kMaxCaptureTime = 253402300799;

// True for 32 lower-case hexadecimal digits.
bool IsDefinitionSignature(const char *text, size_t length);

} // namespace nevra

#endif
