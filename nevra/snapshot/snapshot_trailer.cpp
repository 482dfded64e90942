#include "nevra/snapshot/snapshot_trailer.h"

#include <cstring>

#include "nevra/snapshot/snapshot_checksum.h"
#include "snapshot_generated.h"

namespace nevra {

namespace {

constexpr uint64_t kTrailerMagic = 0x0a444e455353564e; // "NVSSEND\n"

static_assert(sizeof(snapshot::Trailer) == kTrailerSize);

} // namespace

std::array<uint8_t, kTrailerSize> EncodeTrailer(std::span<const uint8_t> body, size_t directorySize)
{
   const snapshot::Trailer stored(kTrailerMagic, body.size() + kTrailerSize, directorySize,
                                  ChecksumOfBytes(body.data(), directorySize),
                                  ChecksumOfBytes(body.data(), body.size()));
   std::array<uint8_t, kTrailerSize> bytes;
   std::memcpy(bytes.data(), &stored, sizeof stored);
   return bytes;
}

bool DecodeTrailer(std::span<const uint8_t, kTrailerSize> bytes, SnapshotTrailer *trailer)
{
   snapshot::Trailer stored;
   std::memcpy(static_cast<void *>(&stored), bytes.data(), sizeof stored);
   *trailer = {stored.file_size(), stored.directory_size(), stored.directory_checksum(),
               stored.file_checksum()};
   return stored.magic() == kTrailerMagic;
}

} // namespace nevra
