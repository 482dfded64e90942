// A recording: the segments of a folder, or one segment on its own, as one row of frames.
//
// Reading needs no lock and disturbs no recorder. Each use sees the frames that were there when it was
// opened; a segment that the recorder has removed since fails to read.
#ifndef RECORDER_RECORDING_H
#define RECORDER_RECORDING_H

#include <cstdint>
#include <string>
#include <vector>

#include "recorder/segment_reader.h"

namespace recorder {

// One frame of a recording.
struct Frame {
   FrameHeader header;
   uint32_t segment = 0;  // position in Segments()
   uint32_t position = 0; // in the segment's frames
   uint32_t depth = 0;    // frames that have to be read before this one
};

// One segment of a recording.
struct Segment {
   std::string path;
   std::string name; // without the folder
   SegmentHeader header;
   uint64_t fileBytes = 0;
   bool isSealed = false;
   uint64_t unfinishedBytes = 0; // see SegmentReader::UnfinishedBytes
   std::string problem;          // why it cannot be read or what of it was skipped; empty if nothing
   size_t firstFrame = 0;        // position in Frames()
   size_t frameCount = 0;
};

class Recording {
 public:
   // Opens a folder of segments, or one segment. False when there is no such folder or it cannot be read:
   // `*problem` says why, without the path. A segment that is damaged or cannot be read hides no other; see
   // Segment::problem. A folder without segments opens, and has no frames.
   bool Open(const std::string &path, std::string *problem, const ReadLimits &limits = {});

   const std::vector<Segment> &Segments() const { return segments; }

   // All frames, in the order of recording. That is the order of their sequences and, as long as nobody set
   // the clock back, of their wall times.
   const std::vector<Frame> &Frames() const { return frames; }

   // The snapshot of Frames()[frame], for OpenSnapshotSourceFromMemory or OpenSnapshotBytes. False when it is
   // damaged or its segment is gone: `*problem` says which segment, and why. Reading one frame after the
   // other is cheapest.
   bool Read(size_t frame, std::vector<uint8_t> *snapshot, std::string *problem);

 private:
   void AddSegment(const std::string &path, const std::string &name);

   ReadLimits readLimits;
   std::vector<Segment> segments;
   std::vector<Frame> frames;
   // The segment that was read last stays open.
   size_t openSegment = SIZE_MAX;
   SegmentReader reader;
};

} // namespace recorder

#endif
