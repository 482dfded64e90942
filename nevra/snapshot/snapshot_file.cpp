#include "nevra/snapshot/snapshot_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "nevra/snapshot/file_map.h"
#include "nevra/snapshot/snapshot_checksum.h"
#include "nevra/snapshot/snapshot_directory.h"
#include "nevra/snapshot/snapshot_format.h"
#include "snapshot_generated.h"

namespace nevra {

namespace {

NevraStatus Refuse(std::string *problem, const char *text)
{
   *problem = text;
   return NEVRA_METADATA_READ_ERROR;
}

bool HasIdentifier(const SnapshotFile &file)
{
   constexpr size_t kSmallest = sizeof(flatbuffers::uoffset_t) + flatbuffers::kFileIdentifierLength;
   return file.size >= kSmallest && snapshot::SnapshotBufferHasIdentifier(file.bytes.get());
}

// Finds out from the file's two ends whether it is a whole snapshot.
NevraStatus CheckEnds(SnapshotFile *file, std::string *problem)
{
   if (!HasIdentifier(*file)) {
      return Refuse(problem, "not a snapshot");
   }
   if (file->size > kMaxSnapshotBytes) {
      return Refuse(problem, "damaged: larger than a snapshot can be");
   }
   if (file->size < kTrailerSize) {
      return Refuse(problem, "truncated: no trailer");
   }
   const uint8_t *end = file->bytes.get() + file->size;
   const bool hasMark =
      DecodeTrailer(std::span<const uint8_t, kTrailerSize>(end - kTrailerSize, kTrailerSize), &file->trailer);
   const bool sizeHolds = file->trailer.fileSize == file->size;
   if (!hasMark && !sizeHolds) {
      return Refuse(problem, "truncated: no trailer");
   }
   if (!hasMark || !sizeHolds || file->trailer.directorySize > file->size - kTrailerSize) {
      return Refuse(problem, "damaged: inconsistent trailer");
   }
   if (file->trailer.directorySize > kMaxDirectoryBytes) {
      return Refuse(problem, "damaged: directory too large");
   }
   return NEVRA_OK;
}

NevraStatus SystemProblem(std::string *problem, int error)
{
   *problem = std::string("cannot be read: ") + std::strerror(error);
   switch (error) {
   case ENOENT:
   case ENOTDIR:
      return NEVRA_NOT_FOUND;
   case EACCES:
   case EPERM:
      return NEVRA_NO_PERMISSION;
   case ENOMEM:
      return NEVRA_OUT_OF_MEMORY;
   default:
      return NEVRA_IO_ERROR;
   }
}

// Null when memory is short.
std::shared_ptr<const uint8_t> CopyBytes(const uint8_t *bytes, size_t size)
{
   // Of exactly this size, so that a read past the end shows under a sanitizer.
   uint8_t *copy = static_cast<uint8_t *>(std::malloc(std::max<size_t>(size, 1)));
   if (copy == nullptr) {
      return nullptr;
   }
   std::copy_n(bytes, size, copy);
   return {copy, [copy](const uint8_t *) { std::free(copy); }};
}

NevraStatus TakeBytes(SnapshotFile *file, std::string *problem)
{
   NevraStatus status = CheckEnds(file, problem);
   if (status != NEVRA_OK) {
      return status;
   }
   const size_t size = static_cast<size_t>(file->trailer.directorySize);
   file->directory = CopyBytes(file->bytes.get(), size);
   if (file->directory == nullptr) {
      return SystemProblem(problem, ENOMEM);
   }
   if (ChecksumOfBytes(file->directory.get(), size) != file->trailer.directoryChecksum) {
      return Refuse(problem, "damaged: directory checksum mismatch");
   }
   TakeDirectory(file, problem, &status);
   return status;
}

// A hole takes no room in the file, but time and memory when it is read. What a run may cost goes by what is
// stored; no snapshot that was copied, even by a program that makes holes of zeros, is as sparse as this.
bool IsTooSparse(int descriptor, const struct stat &facts)
{
   constexpr uint64_t kAlwaysRead = 16 << 20;
   constexpr uint64_t kMostPerStored = 16;
   constexpr uint64_t kBlock = 512; // the unit of st_blocks, whatever the file system's
   const uint64_t size = static_cast<uint64_t>(facts.st_size);
   if (size <= kAlwaysRead || size / kMostPerStored <= static_cast<uint64_t>(facts.st_blocks) * kBlock) {
      return false;
   }
   // Few blocks may also come of compression.
   const off_t hole = lseek(descriptor, 0, SEEK_HOLE);
   return hole >= 0 && hole < facts.st_size;
}

NevraStatus TakeFile(int descriptor, const char *path, SnapshotFile *file, std::string *problem)
{
   struct stat facts;
   if (fstat(descriptor, &facts) != 0) {
      return SystemProblem(problem, errno);
   }
   if (!S_ISREG(facts.st_mode)) {
      return Refuse(problem, "not a snapshot: not a regular file");
   }
   if (facts.st_size == 0) {
      return Refuse(problem, "not a snapshot: empty");
   }
   file->size = static_cast<size_t>(facts.st_size);
   file->bytes = MapFile(descriptor, file->size, path);
   if (file->bytes == nullptr) {
      return SystemProblem(problem, errno);
   }
   const NevraStatus status = TakeBytes(file, problem);
   return status == NEVRA_OK && IsTooSparse(descriptor, facts)
             ? Refuse(problem, "damaged: sparse file: most of it is not stored")
             : status;
}

} // namespace

NevraStatus OpenSnapshotFile(const char *path, SnapshotFile *file, std::string *problem)
{
   *file = {};
   // Without blocking, or a FIFO would hang here.
   const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
   if (descriptor < 0) {
      return SystemProblem(problem, errno);
   }
   const NevraStatus status = TakeFile(descriptor, path, file, problem);
   close(descriptor);
   return status;
}

NevraStatus OpenSnapshotBytes(std::span<const uint8_t> bytes, SnapshotFile *file, std::string *problem)
{
   *file = {};
   file->size = bytes.size();
   file->bytes = CopyBytes(bytes.data(), bytes.size());
   return file->bytes != nullptr ? TakeBytes(file, problem) : SystemProblem(problem, ENOMEM);
}

const char *TextAt(const SnapshotFile &file, uint64_t index)
{
   if (index >= file.textOffsets.size()) {
      return nullptr;
   }
   // Read once: the file may be written to meanwhile. With a NUL as the last byte of all, every offset inside
   // starts a terminated text.
   const uint32_t offset = file.textOffsets[index];
   return offset < file.textBytes.size() && file.textBytes.back() == '\0'
             ? reinterpret_cast<const char *>(file.textBytes.data() + offset)
             : nullptr;
}

namespace {

bool IsTextAt(const SnapshotFile &file, size_t index, const char *text)
{
   const char *found = TextAt(file, index);
   return found != nullptr && std::strcmp(found, text) == 0;
}

} // namespace

size_t FindText(const SnapshotFile &file, const char *text, size_t hint)
{
   if (IsTextAt(file, hint, text)) {
      return hint;
   }
   if (hint < file.textOffsets.size() && IsTextAt(file, hint + 1, text)) {
      return hint + 1;
   }
   size_t first = 0;
   size_t count = file.textOffsets.size();
   while (count > 0) {
      const size_t half = count / 2;
      const char *middle = TextAt(file, first + half);
      if (middle == nullptr) {
         return kNoPosition;
      }
      if (std::strcmp(middle, text) < 0) {
         first += half + 1;
         count -= half + 1;
      } else {
         count = half;
      }
   }
   return IsTextAt(file, first, text) ? first : kNoPosition;
}

bool ListAt(const SnapshotNode &node, size_t position, std::span<const uint64_t> *values)
{
   const uint32_t start = node.listStarts[position];
   const uint32_t end = node.listStarts[position + 1];
   if (start > end || end > node.listValues.size()) {
      return false;
   }
   *values = node.listValues.subspan(start, end - start);
   return true;
}

} // namespace nevra
