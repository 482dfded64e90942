// The bytes of a segment: what the reader and the writer of recordings agree on. docs/recording.md describes
// it for those who write another reader.
//
//    segment header | frame header, stored snapshot | frame header, stored snapshot | ... | index, when
//    sealed
//
// All numbers are little-endian. Every header ends with a checksum of itself, and says how long it is: fields
// may be added in front of the checksum, which older readers skip.
#ifndef RECORDER_SEGMENT_FORMAT_H
#define RECORDER_SEGMENT_FORMAT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace recorder {

inline constexpr std::string_view kSegmentMagic = "HMRECSEG";
inline constexpr std::string_view kFrameMagic = "HMRECFRM";
inline constexpr std::string_view kIndexMagic = "HMRECIDX";
inline constexpr std::string_view kEndMagic = "HMRECEND";

// Raised when readers of the version before would misread a segment. Every version up to this one is read.
inline constexpr uint32_t kSegmentVersion = 1;

inline constexpr size_t kSegmentHeaderBytes = 64;
inline constexpr size_t kFrameHeaderBytes = 88;
inline constexpr size_t kMaxHeaderBytes = 1024;
inline constexpr size_t kIndexHeaderBytes = 24;
inline constexpr size_t kIndexEntryBytes = 80;
inline constexpr size_t kTrailerBytes = 24;

// The longest snapshot that is stored or read.
inline constexpr uint64_t kMaxRawBytes = uint64_t{256} << 20;

// The most frames between a frame and the key frame that it depends on, in the end.
inline constexpr uint32_t kMaxDepth = 64;

// Why a frame was taken; several may hold for one frame. Readers show what they do not know as "other".
enum Reason : uint32_t {
   kReasonInterval = 1, // a full interval
   kReasonStart = 2,    // the first frame of a run
   kReasonPressure = 4, // the kernel reported that tasks waited for memory
   kReasonOom = 8,      // the kernel killed a process for want of memory, or a cgroup ran out of its own
   kReasonRequest = 16, // SIGUSR1
};

// "interval", "oom, pressure", ...
std::string ReasonText(uint32_t reasons);

struct SegmentHeader {
   uint32_t version = kSegmentVersion;
   uint64_t firstSequence = 0;
   int64_t wallTime = 0; // ns since 1970, UTC, when the segment was begun
   int64_t bootTime = 0; // ns since the host booted, suspension included
   std::array<uint8_t, 16> bootId = {};
};

struct FrameHeader {
   uint32_t reasons = 0;
   uint64_t sequence = 0; // 1 for the first frame of a recording; never used twice
   int64_t wallTime = 0;  // ns since 1970, UTC; the clock may have been set back
   int64_t bootTime = 0;  // ns since the host booted
   uint64_t parent = 0;   // sequence of the frame that this one is a delta to, in the same segment; 0 if none
   uint64_t rawBytes = 0;
   uint64_t storedBytes = 0;
   uint64_t rawHash = 0;    // XXH3 of the snapshot
   uint64_t storedHash = 0; // XXH3 of the stored bytes
};

// What an index has of each frame.
struct IndexEntry {
   uint64_t offset = 0; // of the frame's header in the segment
   uint32_t headerBytes = 0;
   FrameHeader frame;
};

std::array<uint8_t, kSegmentHeaderBytes> EncodeSegmentHeader(const SegmentHeader &header);
std::array<uint8_t, kFrameHeaderBytes> EncodeFrameHeader(const FrameHeader &header);

// The index and the trailer that seal a segment whose frames end at `offset`.
std::vector<uint8_t> EncodeIndex(std::span<const IndexEntry> entries, uint64_t offset);

enum class Decoded {
   Header,   // decoded
   TooShort, // more bytes are needed than there are
   NoHeader, // other bytes
   Damaged,  // its checksum does not hold
   TooNew,   // of a later version
};

// `*headerBytes` is the length that the header states.
Decoded DecodeSegmentHeader(std::span<const uint8_t> bytes, SegmentHeader *header, size_t *headerBytes);
Decoded DecodeFrameHeader(std::span<const uint8_t> bytes, FrameHeader *header, size_t *headerBytes);

// The trailer at the end of a sealed segment of `fileBytes` bytes: where its index begins. False when there
// is none.
bool DecodeTrailer(std::span<const uint8_t> trailer, uint64_t fileBytes, uint64_t *indexOffset);

// The index, from its magic up to and with the trailer. False when its checksum does not hold or an entry
// lies outside the frames.
bool DecodeIndex(std::span<const uint8_t> bytes, uint64_t indexOffset, std::vector<IndexEntry> *entries);

// A segment's name: its first sequence and the time of its first frame, for example
// "000000001441-20260131T230000Z.segment". The names sort in the order of recording.
std::string SegmentName(uint64_t firstSequence, int64_t wallTime);

// False for a name that no segment has.
bool ParseSegmentName(std::string_view name, uint64_t *firstSequence);

} // namespace recorder

#endif
