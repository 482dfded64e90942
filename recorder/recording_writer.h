// Appends snapshots to a recording and removes what is too old or too much.
//
// Every frame is on the disk when Append returns. Whatever fails, the next frame is tried anew: after a
// failed write in a new segment, after the folder disappeared in a new folder.
#ifndef RECORDER_RECORDING_WRITER_H
#define RECORDER_RECORDING_WRITER_H

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "recorder/frame_codec.h"
#include "recorder/segment_format.h"
#include "recorder/storage.h"

namespace recorder {

struct RecordingLimits {
   int64_t keep = int64_t{14} * 86400 * 1'000'000'000; // ns
   uint64_t maxBytes = uint64_t{1} << 30;              // all segments together, at any moment
   uint64_t minFreeBytes = 0;                          // of the file system; the larger of this
   double minFreeShare = 0.05;                         // and this share of it
   uint32_t keyEvery = 60;                             // frames; at most kMaxDepth + 1
};

struct FrameTime {
   int64_t wall = 0; // ns since 1970, UTC
   int64_t boot = 0; // ns since the host booted, suspension included
};

class RecordingWriter {
 public:
   using Say = std::function<void(const std::string &)>;

   // Messages go to `say`, one line each: a failure once, as long as it stays the same.
   RecordingWriter(Storage *storage, const RecordingLimits &limits, const std::array<uint8_t, 16> &bootId,
                   Say say);

   // Takes the folder and goes on after the last frame in it. EBUSY when another recorder has it, or another
   // errno.
   int Open(FrameTime now);

   // Stores a snapshot, in a new segment when a new hour has begun. False when it is not on the disk; the
   // reason has been given.
   bool Append(std::vector<uint8_t> snapshot, uint32_t reasons, FrameTime now);

   // Closes the segment with its index. The next frame begins another.
   bool Seal();

   uint64_t NextSequence() const { return nextSequence; }

 private:
   struct KeptSegment {
      std::string name;
      uint64_t bytes = 0;
      int64_t newest = 0; // wall time of its last frame
   };

   int TakeFolder(FrameTime now);
   bool CheckFolder(FrameTime now);
   void CountSegments();
   KeptSegment Examine(const StoredSegment &segment);
   bool EncodeFrame(const std::vector<uint8_t> &snapshot, bool mayBeDelta, FrameHeader *frame);
   int PrepareFrame(const std::vector<uint8_t> &snapshot, FrameHeader *frame, FrameTime now);
   int WriteFrame(const std::vector<uint8_t> &snapshot, FrameHeader frame, FrameTime now);
   int BeginSegment(FrameTime now);
   void Abandon();
   void WatchClock(FrameTime now);
   bool MakeRoom(uint64_t bytes, FrameTime now);
   bool RemoveOldest();
   uint64_t MinFree(uint64_t allBytes) const;
   void Complain(const std::string &problem);
   void Mention(const std::string &problem);

   Storage *storage;
   RecordingLimits limits;
   std::array<uint8_t, 16> bootId;
   Say say;
   std::string complaint; // why the last frame is not recorded; empty if it is
   std::string mention;   // the last message on something else

   bool hasFolder = false;
   uint64_t nextSequence = 1;
   std::vector<KeptSegment> kept; // segments that are complete, oldest first
   uint64_t keptBytes = 0;

   bool hasSegment = false;
   std::string segmentName;
   FrameTime segmentStart;
   int64_t segmentNewest = 0;
   uint64_t segmentBytes = 0;
   std::vector<IndexEntry> index;

   FrameEncoder encoder;
   std::vector<uint8_t> stored;
   std::vector<uint8_t> parent; // the snapshot of the last frame in the segment
   uint64_t parentSequence = 0;
   uint32_t depth = 0;
   uint64_t keyBytes = 0; // stored length of the last key frame

   FrameTime lastTime;
   bool hasLastTime = false;
   int64_t agesFrom = 0; // boot time from which on segments are removed for their age
};

} // namespace recorder

#endif
