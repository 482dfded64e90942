#include "recorder/recording_writer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "nevra/snapshot/snapshot_checksum.h"
#include "recorder/segment_reader.h"

namespace recorder {

namespace {

constexpr int64_t kSecond = 1'000'000'000;
constexpr int64_t kHour = 3600 * kSecond;

// A clock that gains more than this between two frames was set.
constexpr int64_t kClockWasSet = 600 * kSecond;

// A segment ends early where it would be more than this part of the byte limit: what is removed to keep that
// is whole segments.
constexpr uint64_t kLeastSegments = 8;

constexpr uint64_t kLastSequence = uint64_t{1} << 62;

int64_t HourOf(int64_t wall)
{
   return wall / kHour - (wall % kHour < 0 ? 1 : 0);
}

uint64_t IndexBytes(size_t frames)
{
   return kIndexHeaderBytes + frames * kIndexEntryBytes + kTrailerBytes;
}

bool IsFull(int error)
{
   return error == ENOSPC || error == EDQUOT;
}

std::string Text(int error)
{
   return error == EBUSY ? "another recorder writes to it" : std::strerror(error);
}

} // namespace

RecordingWriter::RecordingWriter(Storage *theStorage, const RecordingLimits &theLimits,
                                 const std::array<uint8_t, 16> &theBootId, Say theSay)
    : storage(theStorage), limits(theLimits), bootId(theBootId), say(std::move(theSay))
{
   limits.keyEvery = std::clamp<uint32_t>(limits.keyEvery, 1, kMaxDepth + 1);
}

int RecordingWriter::Open(FrameTime now)
{
   return TakeFolder(now);
}

int RecordingWriter::TakeFolder(FrameTime now)
{
   const int error = storage->TakeFolder();
   if (error != 0) {
      return error;
   }
   hasFolder = true;
   kept.clear();
   CountSegments();
   // Whoever looks after a long pause for what was recorded before it finds it.
   agesFrom = now.boot + kHour;
   return 0;
}

// Brings the list of segments up to date. What is new in it was written by an earlier run, or put there.
void RecordingWriter::CountSegments()
{
   std::vector<StoredSegment> found;
   const int error = storage->List(&found);
   if (error != 0) {
      Mention(storage->Path() + ": cannot be listed: " + Text(error));
      return;
   }
   std::vector<KeptSegment> now;
   keptBytes = 0;
   for (const StoredSegment &segment : found) {
      if (hasSegment && segment.name == segmentName) {
         continue;
      }
      const auto known = std::ranges::find(kept, segment.name, &KeptSegment::name);
      now.push_back(known != kept.end() ? *known : Examine(segment));
      now.back().bytes = segment.bytes;
      keptBytes += segment.bytes;
   }
   kept = std::move(now);
}

RecordingWriter::KeptSegment RecordingWriter::Examine(const StoredSegment &segment)
{
   KeptSegment examined = {segment.name, segment.bytes, segment.changed};
   uint64_t sequence = 0;
   ParseSegmentName(segment.name, &sequence);
   SegmentReader reader;
   std::string problem;
   if (reader.Open(storage->Path() + '/' + segment.name, {}, &problem)) {
      problem = reader.Damage();
      sequence = std::max(sequence, reader.HighestSequence());
      if (!reader.Frames().empty()) {
         examined.newest = reader.Frames().back().header.wallTime;
      }
   }
   if (!problem.empty()) {
      say(storage->Path() + '/' + segment.name + ": " + problem);
   }
   // A segment that somebody made up must not use up the numbers.
   if (sequence < kLastSequence) {
      nextSequence = std::max(nextSequence, sequence + 1);
   }
   return examined;
}

// A folder may be removed, moved away or covered by a mount; what is written to it then is lost.
bool RecordingWriter::CheckFolder(FrameTime now)
{
   if (hasFolder && storage->HasFolder()) {
      if (hasSegment && !storage->HasSegment()) {
         say(storage->Path() + '/' + segmentName + ": was removed; a new segment is begun");
         Abandon();
      }
      return true;
   }
   if (hasFolder) {
      say(storage->Path() + ": has disappeared");
      Abandon();
      storage->ReleaseFolder();
      hasFolder = false;
   }
   const int error = TakeFolder(now);
   if (error != 0) {
      Complain(storage->Path() + ": cannot be written to: " + Text(error));
      return false;
   }
   return true;
}

// Leaves the segment as it is, without an index. Its frames are found again from their headers.
void RecordingWriter::Abandon()
{
   if (hasSegment) {
      storage->CloseSegment();
      kept.push_back({segmentName, segmentBytes, segmentNewest});
      keptBytes += segmentBytes;
      hasSegment = false;
      segmentBytes = 0;
   }
   parent.clear();
   parentSequence = 0;
   index.clear();
}

bool RecordingWriter::Seal()
{
   if (!hasSegment) {
      return true;
   }
   const std::vector<uint8_t> bytes = EncodeIndex(index, segmentBytes);
   int error = storage->Append(bytes);
   if (error == 0) {
      error = storage->SyncSegment();
   }
   if (error == 0) {
      segmentBytes += bytes.size();
   } else {
      Mention(storage->Path() + '/' + segmentName + ": cannot be sealed: " + Text(error));
   }
   Abandon();
   return error == 0;
}

void RecordingWriter::Complain(const std::string &problem)
{
   if (problem != complaint) {
      complaint = problem;
      say(problem);
   }
}

void RecordingWriter::Mention(const std::string &problem)
{
   if (problem != mention) {
      mention = problem;
      say(problem);
   }
}

// A clock that was set forward by mistake must not empty the recording before somebody sets it right.
void RecordingWriter::WatchClock(FrameTime now)
{
   // Not in integers: the times of a clock that is wrong may lie further apart than those can tell.
   const double gained = (static_cast<double>(now.wall) - static_cast<double>(lastTime.wall)) -
                         (static_cast<double>(now.boot) - static_cast<double>(lastTime.boot));
   if (hasLastTime && gained > static_cast<double>(kClockWasSet)) {
      agesFrom = now.boot + kHour;
   }
   lastTime = now;
   hasLastTime = true;
}

bool RecordingWriter::RemoveOldest()
{
   if (kept.empty()) {
      return false;
   }
   const KeptSegment oldest = kept.front();
   const int error = storage->Remove(oldest.name);
   kept.erase(kept.begin());
   if (error != 0 && error != ENOENT) {
      // Its bytes stay counted, and the others have to make room for them.
      Mention(storage->Path() + '/' + oldest.name + ": cannot be removed: " + Text(error));
   } else {
      keptBytes -= oldest.bytes;
   }
   return true;
}

uint64_t RecordingWriter::MinFree(uint64_t allBytes) const
{
   return std::max(limits.minFreeBytes,
                   static_cast<uint64_t>(limits.minFreeShare * static_cast<double>(allBytes)));
}

// Removes segments, the oldest first, until `bytes` more keep the limits. False when that cannot be: `bytes`
// alone are too much. The file system's free space is the exception: where others fill it, the recording
// shrinks to the segment that is being written, and goes on.
bool RecordingWriter::MakeRoom(uint64_t bytes, FrameTime now)
{
   while (now.boot >= agesFrom && !kept.empty() && kept.front().newest < now.wall - limits.keep) {
      RemoveOldest();
   }
   const auto needed = [&] { return keptBytes + segmentBytes + IndexBytes(index.size() + 1) + bytes; };
   while (needed() > limits.maxBytes && RemoveOldest()) {
   }
   uint64_t freeBytes = 0;
   uint64_t allBytes = 0;
   if (storage->Space(&freeBytes, &allBytes) == 0) {
      // Readers may hold what is removed, and file systems are slow to count it: it is taken as free at once,
      // or all would be removed for the sake of one.
      while (freeBytes < MinFree(allBytes) + bytes && !kept.empty()) {
         freeBytes += kept.front().bytes;
         RemoveOldest();
      }
   }
   return needed() <= limits.maxBytes;
}

// Compresses into `stored`, as a delta to the last frame where that is allowed and pays.
bool RecordingWriter::EncodeFrame(const std::vector<uint8_t> &snapshot, bool mayBeDelta, FrameHeader *frame)
{
   std::string problem;
   bool isDelta = mayBeDelta;
   if (!encoder.Encode(snapshot, isDelta ? parent : std::span<const uint8_t>(), &stored, &problem)) {
      Complain("a snapshot is not recorded: " + problem);
      return false;
   }
   if (isDelta && stored.size() > keyBytes / 2) {
      std::vector<uint8_t> key;
      if (encoder.Encode(snapshot, {}, &key, &problem) && key.size() <= stored.size()) {
         stored = std::move(key);
         isDelta = false;
      }
   }
   frame->parent = isDelta ? parentSequence : 0;
   frame->storedBytes = stored.size();
   frame->storedHash = nevra::ChecksumOfBytes(stored.data(), stored.size());
   return true;
}

int RecordingWriter::BeginSegment(FrameTime now)
{
   CountSegments();
   segmentName = SegmentName(nextSequence, now.wall);
   const int error = storage->CreateSegment(segmentName);
   if (error == 0) {
      hasSegment = true;
      segmentStart = now;
      segmentNewest = now.wall;
      segmentBytes = 0;
      index.clear();
   }
   return error;
}

// Room is made for what will be written in fact, so that the limit holds at any moment.
int RecordingWriter::PrepareFrame(const std::vector<uint8_t> &snapshot, FrameHeader *frame, FrameTime now)
{
   for (;;) {
      const bool mayBeDelta = hasSegment && parentSequence != 0 && depth + 1 < limits.keyEvery;
      if (!EncodeFrame(snapshot, mayBeDelta, frame)) {
         return ENOMEM;
      }
      const uint64_t headers = kFrameHeaderBytes + (hasSegment ? 0 : kSegmentHeaderBytes);
      if (MakeRoom(headers + stored.size(), now)) {
         return 0;
      }
      if (!hasSegment) {
         return EFBIG;
      }
      // The segment itself is in the way: close it, so that it can be removed.
      Seal();
   }
}

int RecordingWriter::WriteFrame(const std::vector<uint8_t> &snapshot, FrameHeader frame, FrameTime now)
{
   int error = PrepareFrame(snapshot, &frame, now);
   if (error != 0) {
      return error;
   }
   const bool isFirst = !hasSegment;
   if (isFirst) {
      error = BeginSegment(now);
      if (error != 0) {
         return error;
      }
   }
   // Not before the segment is there: one that was put into the folder meanwhile uses up numbers.
   frame.sequence = nextSequence;
   // A frame is written in one piece, and the first one of a segment together with the segment's header.
   std::vector<uint8_t> bytes;
   if (isFirst) {
      const auto header = EncodeSegmentHeader({kSegmentVersion, nextSequence, now.wall, now.boot, bootId});
      bytes.insert(bytes.end(), header.begin(), header.end());
   }
   const uint64_t offset = segmentBytes + bytes.size();
   const auto header = EncodeFrameHeader(frame);
   bytes.insert(bytes.end(), header.begin(), header.end());
   bytes.insert(bytes.end(), stored.begin(), stored.end());
   error = storage->Append(bytes);
   if (error == 0) {
      error = storage->SyncSegment();
   }
   if (error == 0 && isFirst) {
      error = storage->SyncFolder();
   }
   if (error != 0) {
      const std::string name = segmentName;
      // It may hold a part of the frame.
      segmentBytes += bytes.size();
      Abandon();
      if (isFirst && storage->Remove(name) == 0) {
         // Or a disk that is full for a day would leave a segment a minute behind.
         keptBytes -= kept.back().bytes;
         kept.pop_back();
      }
      return error;
   }
   segmentBytes += bytes.size();
   segmentNewest = std::max(segmentNewest, frame.wallTime);
   index.push_back({offset, static_cast<uint32_t>(kFrameHeaderBytes), frame});
   depth = frame.parent != 0 ? depth + 1 : 0;
   if (frame.parent == 0) {
      keyBytes = frame.storedBytes;
   }
   return 0;
}

bool RecordingWriter::Append(std::vector<uint8_t> snapshot, uint32_t reasons, FrameTime now)
{
   if (snapshot.size() > kMaxRawBytes) {
      Complain("a snapshot is not recorded: it is longer than " + std::to_string(kMaxRawBytes >> 20) + " MB");
      return false;
   }
   if (!CheckFolder(now)) {
      return false;
   }
   WatchClock(now);
   // A clock that was set back leaves the segment open, so that one that goes back and forth does not make a
   // segment a frame.
   if (hasSegment && (HourOf(now.wall) > HourOf(segmentStart.wall) || now.boot - segmentStart.boot >= kHour ||
                      segmentBytes > limits.maxBytes / kLeastSegments)) {
      Seal();
   }
   FrameHeader frame;
   frame.reasons = reasons;
   frame.wallTime = now.wall;
   frame.bootTime = now.boot;
   frame.rawBytes = snapshot.size();
   frame.rawHash = nevra::ChecksumOfBytes(snapshot.data(), snapshot.size());

   for (;;) {
      const int error = WriteFrame(snapshot, frame, now);
      if (error == 0) {
         break;
      }
      if (error == EFBIG) {
         Complain(storage->Path() + ": a snapshot does not fit into the limit of " +
                  std::to_string(limits.maxBytes) + " bytes");
         return false;
      }
      if (error == ENOMEM) {
         return false; // the reason has been given
      }
      // What may have been written of it must not be taken for this one when that is written again.
      nextSequence++;
      if (error != EEXIST && !(IsFull(error) && RemoveOldest())) {
         Complain(storage->Path() + ": a frame cannot be written: " + Text(error));
         return false;
      }
   }
   parent = std::move(snapshot);
   parentSequence = nextSequence;
   nextSequence++;
   if (!complaint.empty()) {
      complaint.clear();
      say(storage->Path() + ": recording goes on");
   }
   return true;
}

} // namespace recorder
