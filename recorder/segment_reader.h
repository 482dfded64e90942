// Reads one segment of a recording, whatever state it is in: sealed, still being written, cut off or damaged.
//
// Opening costs one read of the index or, where there is none, one of each frame's header; snapshots are read
// and checked when they are asked for. Nothing is mapped, so that a segment may be removed or written to
// meanwhile. What a segment claims is never believed further than its size and `ReadLimits`.
#ifndef RECORDER_SEGMENT_READER_H
#define RECORDER_SEGMENT_READER_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "nevra/linux/kernel_file.h"
#include "recorder/frame_codec.h"
#include "recorder/segment_format.h"

namespace recorder {

struct ReadLimits {
   uint64_t maxRawBytes = kMaxRawBytes; // of a snapshot; longer ones are skipped
};

// One frame that can be reached: its own header and those of the frames that it depends on are whole.
struct SegmentFrame {
   FrameHeader header;
   uint64_t offset = 0; // of the header in the segment
   uint32_t headerBytes = 0;
   uint32_t parent = 0; // position of the parent in the segment's frames; unused by a key frame
   uint32_t depth = 0;  // frames between this one and its key frame; 0 for a key frame
};

class SegmentReader {
 public:
   // False when there is no segment to read: `*problem` says why, without the path. A segment with damage
   // opens; Damage() then says what was skipped.
   bool Open(const std::string &path, const ReadLimits &limits, std::string *problem);

   const SegmentHeader &Header() const { return header; }
   const std::vector<SegmentFrame> &Frames() const { return frames; } // in the order of recording
   uint64_t FileBytes() const { return fileBytes; }
   uint64_t HighestSequence() const { return highestSequence; } // of all headers that are whole
   bool IsSealed() const { return isSealed; }

   // Bytes of a last frame that was begun and is not whole: being written at this moment, or cut off by the
   // end of its recorder. That is no damage.
   uint64_t UnfinishedBytes() const { return unfinishedBytes; }

   // What was skipped, in one line without the path; empty when nothing was.
   const std::string &Damage() const { return damage; }

   // The snapshot of a frame, checked against its XXH3. False when it or one that it depends on is damaged:
   // `*problem` says so, without the path. Costs at most depth + 1 frames; reading one frame after the other
   // costs one each. The memory of three snapshots at most.
   bool Read(size_t frame, std::vector<uint8_t> *snapshot, std::string *problem);

 private:
   bool OpenFile(const std::string &path, std::string *problem);
   bool TakeHeader(size_t *headerBytes, std::string *problem);
   void TakeFrames(size_t headerBytes);
   bool ReadBytes(uint64_t offset, uint64_t size, std::vector<uint8_t> *bytes, std::string *problem) const;
   bool TakeIndex(uint64_t indexOffset);
   void ScanFrames(uint64_t offset, uint64_t *skipped);
   bool FindNextFrame(uint64_t *offset) const;
   bool AddFrame(const FrameHeader &frame, uint64_t offset, size_t headerBytes);
   bool ReadOne(const SegmentFrame &frame, std::vector<uint8_t> *snapshot, std::string *problem);

   nevra::FileDescriptor file;
   uint64_t fileBytes = 0;
   ReadLimits limits;
   SegmentHeader header;
   std::vector<SegmentFrame> frames;
   bool isSealed = false;
   uint64_t unfinishedBytes = 0;
   uint64_t framesLost = 0;
   uint64_t highestSequence = 0;
   std::string damage;
   std::unique_ptr<FrameDecoder> decoder;
   // The snapshot that was decoded last: the parent of what is read next, as a rule.
   size_t decodedFrame = SIZE_MAX;
   std::vector<uint8_t> decoded;
};

} // namespace recorder

#endif
