#include "recorder/segment_reader.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "nevra/snapshot/snapshot_checksum.h"

namespace recorder {

namespace {

constexpr char kNoSegment[] = "not a segment of a recording";

// Lost frames are looked for in pieces that grow to this size: as a rule, the next one is near.
constexpr size_t kLeastPieceBytes = 2 << 10;
constexpr size_t kMostPieceBytes = 64 << 10;

// Reads up to `size` bytes; the number of those that there were, or -1.
ssize_t ReadAt(int file, uint64_t offset, void *bytes, size_t size)
{
   size_t done = 0;
   while (done < size) {
      const ssize_t count =
         pread(file, static_cast<uint8_t *>(bytes) + done, size - done, static_cast<off_t>(offset + done));
      if (count < 0 && errno == EINTR) {
         continue;
      }
      if (count < 0) {
         return -1;
      }
      if (count == 0) {
         break;
      }
      done += static_cast<size_t>(count);
   }
   return static_cast<ssize_t>(done);
}

// Whether a header of `headerBytes` bytes was begun at the end of a file: what there is of it begins like
// one.
bool IsCutOff(std::span<const uint8_t> end, std::string_view magic, size_t headerBytes)
{
   return end.size() < headerBytes &&
          std::memcmp(end.data(), magic.data(), std::min(end.size(), magic.size())) == 0;
}

// "1 frame", "2 frames".
std::string Count(uint64_t number, const char *what)
{
   return std::to_string(number) + ' ' + what + (number == 1 ? "" : "s");
}

std::string ErrorText()
{
   return std::string("cannot be read: ") + std::strerror(errno);
}

} // namespace

bool SegmentReader::OpenFile(const std::string &path, std::string *problem)
{
   // A FIFO must not make the reader wait.
   file = nevra::FileDescriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
   struct stat status = {};
   if (!file.IsOpen() || fstat(file.Get(), &status) != 0) {
      *problem = ErrorText();
      return false;
   }
   if (!S_ISREG(status.st_mode)) {
      *problem = kNoSegment;
      return false;
   }
   fileBytes = static_cast<uint64_t>(status.st_size);
   return true;
}

// `*headerBytes` is 0 where there is no header to read: the frames say all that it takes to read them.
bool SegmentReader::TakeHeader(size_t *headerBytes, std::string *problem)
{
   uint8_t start[kMaxHeaderBytes];
   const ssize_t size =
      ReadAt(file.Get(), 0, start, static_cast<size_t>(std::min<uint64_t>(sizeof start, fileBytes)));
   if (size < 0) {
      *problem = ErrorText();
      return false;
   }
   *headerBytes = 0;
   const Decoded result = DecodeSegmentHeader({start, static_cast<size_t>(size)}, &header, headerBytes);
   if (result == Decoded::TooNew) {
      *problem = "format version " + std::to_string(header.version) +
                 ", but this build reads versions up to " + std::to_string(kSegmentVersion);
      return false;
   }
   if (result != Decoded::Header) {
      header = SegmentHeader();
      damage = "its header is damaged";
   }
   return true;
}

void SegmentReader::TakeFrames(size_t headerBytes)
{
   uint8_t trailer[kTrailerBytes];
   uint64_t indexOffset = 0;
   uint64_t skipped = 0;
   isSealed =
      fileBytes >= kTrailerBytes &&
      ReadAt(file.Get(), fileBytes - kTrailerBytes, trailer, kTrailerBytes) == ssize_t{kTrailerBytes} &&
      DecodeTrailer(trailer, fileBytes, &indexOffset) && TakeIndex(indexOffset);
   if (!isSealed) {
      frames.clear();
      framesLost = 0;
      ScanFrames(headerBytes, &skipped);
   }
   const auto add = [this](const std::string &text) { damage += damage.empty() ? text : "; " + text; };
   if (skipped > 0) {
      add(Count(skipped, "damaged byte") + " skipped");
   }
   if (framesLost > 0) {
      add(Count(framesLost, "frame") + " lost");
   }
}

bool SegmentReader::Open(const std::string &path, const ReadLimits &readLimits, std::string *problem)
{
   *this = SegmentReader();
   limits = readLimits;
   if (!OpenFile(path, problem)) {
      return false;
   }
   if (fileBytes < kSegmentHeaderBytes) {
      // Cut off before its first frame was written.
      unfinishedBytes = fileBytes;
      return true;
   }
   size_t headerBytes = 0;
   if (!TakeHeader(&headerBytes, problem)) {
      return false;
   }
   TakeFrames(headerBytes);
   if (headerBytes == 0 && frames.empty()) {
      *problem = kNoSegment;
      return false;
   }
   return true;
}

// Adds a frame after the ones before it. False when it cannot be restored.
bool SegmentReader::AddFrame(const FrameHeader &frame, uint64_t offset, size_t headerBytes)
{
   highestSequence = std::max(highestSequence, frame.sequence);
   SegmentFrame added;
   added.header = frame;
   added.offset = offset;
   added.headerBytes = static_cast<uint32_t>(headerBytes);
   bool isWhole = frame.rawBytes <= limits.maxRawBytes && frames.size() < UINT32_MAX &&
                  frame.sequence > (frames.empty() ? 0 : frames.back().header.sequence);
   if (isWhole && frame.parent != 0) {
      const auto parent = std::ranges::lower_bound(
         frames, frame.parent, {}, [](const SegmentFrame &other) { return other.header.sequence; });
      isWhole =
         parent != frames.end() && parent->header.sequence == frame.parent && parent->depth < kMaxDepth;
      if (isWhole) {
         added.parent = static_cast<uint32_t>(parent - frames.begin());
         added.depth = parent->depth + 1;
      }
   }
   if (isWhole) {
      frames.push_back(added);
   } else {
      framesLost++;
   }
   return isWhole;
}

bool SegmentReader::TakeIndex(uint64_t indexOffset)
{
   std::vector<uint8_t> bytes;
   std::string problem;
   std::vector<IndexEntry> entries;
   if (!ReadBytes(indexOffset, fileBytes - indexOffset, &bytes, &problem) ||
       !DecodeIndex(bytes, indexOffset, &entries)) {
      return false;
   }
   frames.reserve(entries.size());
   for (const IndexEntry &entry : entries) {
      AddFrame(entry.frame, entry.offset, entry.headerBytes);
   }
   return true;
}

// Goes from header to header, and over what is damaged to the next one that is whole.
void SegmentReader::ScanFrames(uint64_t offset, uint64_t *skipped)
{
   uint8_t bytes[kMaxHeaderBytes];
   while (offset < fileBytes) {
      const size_t size = static_cast<size_t>(std::min<uint64_t>(sizeof bytes, fileBytes - offset));
      const ssize_t count = ReadAt(file.Get(), offset, bytes, size);
      if (count < 0) {
         *skipped += fileBytes - offset;
         return;
      }
      const std::span<const uint8_t> read(bytes, static_cast<size_t>(count));
      FrameHeader frame;
      size_t headerBytes = 0;
      if (DecodeFrameHeader(read, &frame, &headerBytes) == Decoded::Header) {
         if (frame.storedBytes > fileBytes - offset - headerBytes) {
            unfinishedBytes = fileBytes - offset;
            return;
         }
         AddFrame(frame, offset, headerBytes);
         offset += headerBytes + frame.storedBytes;
         continue;
      }
      if (read.size() >= kIndexMagic.size() &&
          std::memcmp(read.data(), kIndexMagic.data(), kIndexMagic.size()) == 0) {
         // Nothing follows an index. This one is not whole, or there would have been nothing to look for.
         unfinishedBytes = fileBytes - offset;
         return;
      }
      uint64_t next = offset + 1;
      if (!FindNextFrame(&next)) {
         const bool isUnfinished =
            IsCutOff(read, kFrameMagic, kFrameHeaderBytes) || IsCutOff(read, kIndexMagic, kIndexMagic.size());
         (isUnfinished ? unfinishedBytes : *skipped) += fileBytes - offset;
         return;
      }
      *skipped += next - offset;
      offset = next;
   }
}

// The first whole header of a frame at or after `*offset`.
bool SegmentReader::FindNextFrame(uint64_t *offset) const
{
   std::vector<uint8_t> piece;
   size_t pieceBytes = kLeastPieceBytes;
   for (uint64_t start = *offset; start < fileBytes;) {
      piece.resize(pieceBytes + kMaxHeaderBytes);
      const size_t size = static_cast<size_t>(std::min<uint64_t>(piece.size(), fileBytes - start));
      const ssize_t count = ReadAt(file.Get(), start, piece.data(), size);
      if (count <= 0) {
         return false;
      }
      const uint8_t *const end = piece.data() + count;
      for (const uint8_t *at = piece.data(); at < std::min<const uint8_t *>(end, piece.data() + pieceBytes);
           at++) {
         at = static_cast<const uint8_t *>(
            memmem(at, static_cast<size_t>(end - at), kFrameMagic.data(), kFrameMagic.size()));
         if (at == nullptr) {
            break;
         }
         FrameHeader frame;
         size_t headerBytes = 0;
         if (DecodeFrameHeader({at, end}, &frame, &headerBytes) == Decoded::Header) {
            *offset = start + static_cast<uint64_t>(at - piece.data());
            return true;
         }
      }
      start += pieceBytes;
      pieceBytes = std::min(pieceBytes * 2, kMostPieceBytes);
   }
   return false;
}

bool SegmentReader::ReadBytes(uint64_t offset, uint64_t size, std::vector<uint8_t> *bytes,
                              std::string *problem) const
{
   // Within the file, as it was when it was opened: a length that somebody made up reserves no memory.
   if (offset > fileBytes || size > fileBytes - offset) {
      *problem = "truncated: its end is missing";
      return false;
   }
   bytes->resize(static_cast<size_t>(size));
   const ssize_t count = ReadAt(file.Get(), offset, bytes->data(), bytes->size());
   if (count < 0) {
      *problem = ErrorText();
      return false;
   }
   if (static_cast<size_t>(count) != bytes->size()) {
      *problem = "truncated: its end is missing";
      return false;
   }
   return true;
}

bool SegmentReader::ReadOne(const SegmentFrame &frame, std::vector<uint8_t> *snapshot, std::string *problem)
{
   std::vector<uint8_t> bytes;
   if (!ReadBytes(frame.offset, frame.headerBytes + frame.header.storedBytes, &bytes, problem)) {
      return false;
   }
   const std::span<const uint8_t> stored = std::span(bytes).subspan(frame.headerBytes);
   FrameHeader found;
   size_t headerBytes = 0;
   // An index may tell of frames that are there no longer.
   if (DecodeFrameHeader(bytes, &found, &headerBytes) != Decoded::Header ||
       headerBytes != frame.headerBytes || EncodeFrameHeader(found) != EncodeFrameHeader(frame.header)) {
      *problem = "its header is damaged";
      return false;
   }
   if (nevra::ChecksumOfBytes(stored.data(), stored.size()) != frame.header.storedHash) {
      *problem = "its checksum does not hold";
      return false;
   }
   if (decoder == nullptr) {
      decoder = std::make_unique<FrameDecoder>();
   }
   const std::span<const uint8_t> prefix =
      frame.header.parent != 0 ? std::span<const uint8_t>(decoded) : std::span<const uint8_t>();
   if (!decoder->Decode(stored, prefix, frame.header.rawBytes, snapshot, problem)) {
      return false;
   }
   if (nevra::ChecksumOfBytes(snapshot->data(), snapshot->size()) != frame.header.rawHash) {
      *problem = "the checksum of its snapshot does not hold";
      return false;
   }
   return true;
}

bool SegmentReader::Read(size_t frame, std::vector<uint8_t> *snapshot, std::string *problem)
{
   if (frame >= frames.size()) {
      *problem = "no such frame";
      return false;
   }
   // From the frame back to its key frame, or to what was decoded last.
   std::vector<size_t> way;
   for (size_t at = frame; at != decodedFrame; at = frames[at].parent) {
      way.push_back(at);
      if (frames[at].header.parent == 0) {
         break;
      }
   }
   for (; !way.empty(); way.pop_back()) {
      const size_t at = way.back();
      std::vector<uint8_t> next;
      std::string what;
      if (!ReadOne(frames[at], &next, &what)) {
         char text[64];
         std::snprintf(text, sizeof text, "damaged: frame %" PRIu64 ": ", frames[at].header.sequence);
         *problem = text + what;
         return false;
      }
      decoded = std::move(next);
      decodedFrame = at;
   }
   *snapshot = decoded;
   return true;
}

} // namespace recorder
