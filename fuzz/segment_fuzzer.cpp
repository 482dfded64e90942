// Opens a segment of a recording, whatever it is, and reads its frames.
//
// The first byte says whether checksums are put right before it is opened, so that the fuzzer gets past them.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "fuzz/memory_folder.h"
#include "nevra/snapshot/snapshot_checksum.h"
#include "recorder/recording.h"
#include "recorder/segment_format.h"

namespace {

using namespace recorder;

constexpr size_t kMagicBytes = 8;
constexpr size_t kChecksumBytes = 8;
constexpr size_t kMostRead = 64;

void PutChecksum(std::vector<uint8_t> *bytes, size_t begin, size_t end)
{
   const uint64_t checksum = nevra::ChecksumOfBytes(bytes->data() + begin, end - begin);
   std::memcpy(bytes->data() + end, &checksum, sizeof checksum);
}

// The length that a header at an offset states, if it is there as a whole; 0 otherwise.
size_t HeaderLength(const std::vector<uint8_t> &bytes, size_t offset, size_t least)
{
   if (bytes.size() - offset < least) {
      return 0;
   }
   uint32_t length = 0;
   std::memcpy(&length, bytes.data() + offset + kMagicBytes, sizeof length);
   return length >= least && length <= std::min(bytes.size() - offset, kMaxHeaderBytes) ? length : 0;
}

// Goes from magic to magic, and puts right what is whole.
void MendChecksums(std::vector<uint8_t> *bytes)
{
   const auto isAt = [bytes](size_t offset, std::string_view magic) {
      return bytes->size() - offset >= magic.size() &&
             std::memcmp(bytes->data() + offset, magic.data(), magic.size()) == 0;
   };
   for (size_t offset = 0; offset < bytes->size(); offset++) {
      if (isAt(offset, kSegmentMagic)) {
         const size_t length = HeaderLength(*bytes, offset, kSegmentHeaderBytes);
         if (length != 0) {
            PutChecksum(bytes, offset, offset + length - kChecksumBytes);
         }
      } else if (isAt(offset, kFrameMagic)) {
         const size_t length = HeaderLength(*bytes, offset, kFrameHeaderBytes);
         if (length == 0) {
            continue;
         }
         uint64_t stored = 0;
         std::memcpy(&stored, bytes->data() + offset + 56, sizeof stored);
         if (stored <= bytes->size() - offset - length) {
            const uint64_t hash =
               nevra::ChecksumOfBytes(bytes->data() + offset + length, static_cast<size_t>(stored));
            std::memcpy(bytes->data() + offset + 72, &hash, sizeof hash);
         }
         PutChecksum(bytes, offset, offset + length - kChecksumBytes);
      } else if (isAt(offset, kIndexMagic) && bytes->size() - offset >= kIndexHeaderBytes + kTrailerBytes) {
         PutChecksum(bytes, offset, bytes->size() - kMagicBytes - kChecksumBytes);
         return;
      }
   }
}

void WriteInput(const std::string &path, const std::vector<uint8_t> &bytes)
{
   FILE *file = std::fopen(path.c_str(), "wb");
   Require(file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size(),
           "writes the input");
   std::fclose(file);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
   static const MemoryFolder folder("segment_fuzzer");
   if (size == 0) {
      return 0;
   }
   std::vector<uint8_t> bytes(data + 1, data + size);
   if (data[0] % 2 == 1) {
      MendChecksums(&bytes);
   }
   WriteInput(folder.Path() + "/000000000001-20260131T030000Z.segment", bytes);
   Recording recording;
   std::string problem;
   const ReadLimits limits = {.maxRawBytes = 1 << 16};
   Require(recording.Open(folder.Path(), &problem, limits), "one segment hides no others");
   const std::vector<Frame> &frames = recording.Frames();
   Require(frames.size() <= size / kFrameHeaderBytes + size / kIndexEntryBytes, "no more frames than fit");
   for (size_t i = 0; i < frames.size(); i++) {
      const FrameHeader &frame = frames[i].header;
      Require(i == 0 || frame.sequence > frames[i - 1].header.sequence, "sequences rise");
      Require(frames[i].depth <= kMaxDepth && (frames[i].depth == 0) == (frame.parent == 0),
              "depths are bounded");
      Require(frame.rawBytes <= limits.maxRawBytes, "lengths are bounded");
      std::vector<uint8_t> snapshot;
      problem.clear();
      if (i < kMostRead && recording.Read(i, &snapshot, &problem)) {
         Require(snapshot.size() == frame.rawBytes, "a snapshot has its length");
         Require(nevra::ChecksumOfBytes(snapshot.data(), snapshot.size()) == frame.rawHash,
                 "a snapshot has its checksum");
      } else if (i < kMostRead) {
         Require(!problem.empty(), "a failure has a reason");
      }
   }
   return 0;
}
