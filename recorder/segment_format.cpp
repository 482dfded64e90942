#include "recorder/segment_format.h"

#include <algorithm>
#include <cinttypes>
#include <concepts>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "nevra/snapshot/snapshot_checksum.h"

namespace recorder {

namespace {

constexpr size_t kMagicBytes = 8;
constexpr size_t kChecksumBytes = 8;

// Writes fields one after the other.
class Writer {
 public:
   explicit Writer(uint8_t *start) : begin(start), position(start) {}

   void Bytes(const void *bytes, size_t size)
   {
      std::memcpy(position, bytes, size);
      position += size;
   }
   void Magic(std::string_view magic) { Bytes(magic.data(), magic.size()); }
   void Number(std::integral auto value)
   {
      for (size_t i = 0; i < sizeof value; i++) {
         *position++ = static_cast<uint8_t>(static_cast<uint64_t>(value) >> 8 * i);
      }
   }
   // Of everything written so far.
   void Checksum() { Number(nevra::ChecksumOfBytes(begin, static_cast<size_t>(position - begin))); }

 private:
   uint8_t *begin;
   uint8_t *position;
};

// Reads fields one after the other; the caller has checked that they are there.
class Reader {
 public:
   explicit Reader(const uint8_t *start) : position(start) {}

   template <std::integral T> void Number(T *value)
   {
      uint64_t number = 0;
      for (size_t i = 0; i < sizeof(T); i++) {
         number |= uint64_t{*position++} << 8 * i;
      }
      *value = static_cast<T>(number);
   }
   void Bytes(void *bytes, size_t size)
   {
      std::memcpy(bytes, position, size);
      position += size;
   }

 private:
   const uint8_t *position;
};

bool HasMagic(std::span<const uint8_t> bytes, std::string_view magic)
{
   return bytes.size() >= magic.size() && std::memcmp(bytes.data(), magic.data(), magic.size()) == 0;
}

// A header begins with its magic and its length, and ends with its checksum.
Decoded CheckHeader(std::span<const uint8_t> bytes, std::string_view magic, size_t leastBytes,
                    size_t *headerBytes)
{
   if (bytes.size() < leastBytes) {
      return Decoded::TooShort;
   }
   if (!HasMagic(bytes, magic)) {
      return Decoded::NoHeader;
   }
   uint32_t length = 0;
   Reader(bytes.data() + kMagicBytes).Number(&length);
   if (length < leastBytes || length > kMaxHeaderBytes) {
      return Decoded::Damaged;
   }
   if (bytes.size() < length) {
      return Decoded::TooShort;
   }
   uint64_t checksum = 0;
   Reader(bytes.data() + length - kChecksumBytes).Number(&checksum);
   if (checksum != nevra::ChecksumOfBytes(bytes.data(), length - kChecksumBytes)) {
      return Decoded::Damaged;
   }
   *headerBytes = length;
   return Decoded::Header;
}

// The fields that a frame's header and its entry in the index have in common.
void WriteFrame(Writer *writer, uint32_t headerBytes, const FrameHeader &frame)
{
   writer->Number(headerBytes);
   writer->Number(frame.reasons);
   writer->Number(frame.sequence);
   writer->Number(frame.wallTime);
   writer->Number(frame.bootTime);
   writer->Number(frame.parent);
   writer->Number(frame.rawBytes);
   writer->Number(frame.storedBytes);
   writer->Number(frame.rawHash);
   writer->Number(frame.storedHash);
}

void ReadFrame(Reader *reader, uint32_t *headerBytes, FrameHeader *frame)
{
   reader->Number(headerBytes);
   reader->Number(&frame->reasons);
   reader->Number(&frame->sequence);
   reader->Number(&frame->wallTime);
   reader->Number(&frame->bootTime);
   reader->Number(&frame->parent);
   reader->Number(&frame->rawBytes);
   reader->Number(&frame->storedBytes);
   reader->Number(&frame->rawHash);
   reader->Number(&frame->storedHash);
}

} // namespace

std::string ReasonText(uint32_t reasons)
{
   static constexpr struct {
      uint32_t reason;
      const char *text;
   } kTexts[] = {{kReasonOom, "oom"},
                 {kReasonPressure, "pressure"},
                 {kReasonRequest, "request"},
                 {kReasonStart, "start"},
                 {kReasonInterval, "interval"}};
   std::string text;
   const auto add = [&](const char *word) { text += text.empty() ? word : std::string(", ") + word; };
   for (const auto &known : kTexts) {
      if ((reasons & known.reason) != 0) {
         add(known.text);
         reasons &= ~known.reason;
      }
   }
   if (reasons != 0 || text.empty()) {
      add("other");
   }
   return text;
}

std::array<uint8_t, kSegmentHeaderBytes> EncodeSegmentHeader(const SegmentHeader &header)
{
   std::array<uint8_t, kSegmentHeaderBytes> bytes = {};
   Writer writer(bytes.data());
   writer.Magic(kSegmentMagic);
   writer.Number(static_cast<uint32_t>(kSegmentHeaderBytes));
   writer.Number(header.version);
   writer.Number(header.firstSequence);
   writer.Number(header.wallTime);
   writer.Number(header.bootTime);
   writer.Bytes(header.bootId.data(), header.bootId.size());
   writer.Checksum();
   return bytes;
}

std::array<uint8_t, kFrameHeaderBytes> EncodeFrameHeader(const FrameHeader &header)
{
   std::array<uint8_t, kFrameHeaderBytes> bytes = {};
   Writer writer(bytes.data());
   writer.Magic(kFrameMagic);
   WriteFrame(&writer, kFrameHeaderBytes, header);
   writer.Checksum();
   return bytes;
}

std::vector<uint8_t> EncodeIndex(std::span<const IndexEntry> entries, uint64_t offset)
{
   std::vector<uint8_t> bytes(kIndexHeaderBytes + entries.size() * kIndexEntryBytes + kTrailerBytes);
   Writer writer(bytes.data());
   writer.Magic(kIndexMagic);
   writer.Number(static_cast<uint32_t>(kIndexHeaderBytes));
   writer.Number(static_cast<uint32_t>(kIndexEntryBytes));
   writer.Number(static_cast<uint64_t>(entries.size()));
   for (const IndexEntry &entry : entries) {
      writer.Number(entry.offset);
      WriteFrame(&writer, entry.headerBytes, entry.frame);
   }
   writer.Number(offset);
   writer.Checksum();
   writer.Magic(kEndMagic);
   return bytes;
}

Decoded DecodeSegmentHeader(std::span<const uint8_t> bytes, SegmentHeader *header, size_t *headerBytes)
{
   const Decoded decoded = CheckHeader(bytes, kSegmentMagic, kSegmentHeaderBytes, headerBytes);
   if (decoded != Decoded::Header) {
      return decoded;
   }
   Reader reader(bytes.data() + kMagicBytes + sizeof(uint32_t));
   reader.Number(&header->version);
   reader.Number(&header->firstSequence);
   reader.Number(&header->wallTime);
   reader.Number(&header->bootTime);
   reader.Bytes(header->bootId.data(), header->bootId.size());
   return header->version > kSegmentVersion ? Decoded::TooNew : Decoded::Header;
}

Decoded DecodeFrameHeader(std::span<const uint8_t> bytes, FrameHeader *header, size_t *headerBytes)
{
   const Decoded decoded = CheckHeader(bytes, kFrameMagic, kFrameHeaderBytes, headerBytes);
   if (decoded == Decoded::Header) {
      uint32_t length = 0;
      Reader reader(bytes.data() + kMagicBytes);
      ReadFrame(&reader, &length, header);
   }
   return decoded;
}

bool DecodeTrailer(std::span<const uint8_t> trailer, uint64_t fileBytes, uint64_t *indexOffset)
{
   if (trailer.size() != kTrailerBytes || !HasMagic(trailer.last(kMagicBytes), kEndMagic)) {
      return false;
   }
   Reader(trailer.data()).Number(indexOffset);
   return fileBytes >= kIndexHeaderBytes + kTrailerBytes &&
          *indexOffset <= fileBytes - kIndexHeaderBytes - kTrailerBytes;
}

bool DecodeIndex(std::span<const uint8_t> bytes, uint64_t indexOffset, std::vector<IndexEntry> *entries)
{
   if (bytes.size() < kIndexHeaderBytes + kTrailerBytes || !HasMagic(bytes, kIndexMagic)) {
      return false;
   }
   const size_t checked = bytes.size() - kMagicBytes - kChecksumBytes;
   uint64_t checksum = 0;
   Reader(bytes.data() + checked).Number(&checksum);
   if (checksum != nevra::ChecksumOfBytes(bytes.data(), checked)) {
      return false;
   }
   uint32_t headerBytes = 0;
   uint32_t entryBytes = 0;
   uint64_t count = 0;
   Reader reader(bytes.data() + kMagicBytes);
   reader.Number(&headerBytes);
   reader.Number(&entryBytes);
   reader.Number(&count);
   const size_t content = bytes.size() - kTrailerBytes;
   if (headerBytes < kIndexHeaderBytes || headerBytes > content || entryBytes < kIndexEntryBytes ||
       count != (content - headerBytes) / entryBytes || (content - headerBytes) % entryBytes != 0) {
      return false;
   }
   entries->clear();
   entries->reserve(static_cast<size_t>(count));
   for (size_t i = 0; i < count; i++) {
      IndexEntry entry;
      Reader fields(bytes.data() + headerBytes + i * entryBytes);
      fields.Number(&entry.offset);
      ReadFrame(&fields, &entry.headerBytes, &entry.frame);
      const bool isInside = entry.headerBytes >= kFrameHeaderBytes && entry.headerBytes <= kMaxHeaderBytes &&
                            entry.offset <= indexOffset && entry.headerBytes <= indexOffset - entry.offset &&
                            entry.frame.storedBytes <= indexOffset - entry.offset - entry.headerBytes;
      if (!isInside) {
         return false;
      }
      entries->push_back(entry);
   }
   return true;
}

std::string SegmentName(uint64_t firstSequence, int64_t wallTime)
{
   // Within the years that have four digits.
   constexpr int64_t kLastSecond = 253402300799;
   const time_t seconds = std::clamp<int64_t>(wallTime / 1'000'000'000, 0, kLastSecond);
   tm calendar = {};
   gmtime_r(&seconds, &calendar);
   char time[32];
   std::strftime(time, sizeof time, "%Y%m%dT%H%M%SZ", &calendar);
   char name[64];
   std::snprintf(name, sizeof name, "%012" PRIu64 "-%s.segment", firstSequence, time);
   return name;
}

bool ParseSegmentName(std::string_view name, uint64_t *firstSequence)
{
   static constexpr std::string_view kShape = "000000000000-00000000T000000Z.segment";
   // Sequences of more than 12 digits make longer names.
   if (name.size() < kShape.size() || name.size() > kShape.size() + 7) {
      return false;
   }
   const size_t digits = name.size() - kShape.size() + 12;
   *firstSequence = 0;
   for (size_t i = 0; i < name.size(); i++) {
      const char expected = i < digits ? '0' : kShape[i - digits + 12];
      const bool isDigit = name[i] >= '0' && name[i] <= '9';
      if (expected == '0' ? !isDigit : name[i] != expected) {
         return false;
      }
      if (i < digits) {
         *firstSequence = *firstSequence * 10 + static_cast<uint64_t>(name[i] - '0');
      }
   }
   return true;
}

} // namespace recorder
