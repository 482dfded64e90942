#include "nevra/snapshot/snapshot_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <set>
#include <string_view>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "nevra/snapshot/snapshot_checksum.h"
#include "nevra/snapshot/snapshot_format.h"
#include "snapshot_generated.h"

namespace nevra {

using snapshot::Node;
using snapshot::Snapshot;
using snapshot::Trailer;

bool IsDefinitionSignature(const char *text, size_t length)
{
   return length == 32 && std::strspn(text, "0123456789abcdef") == length;
}

SnapshotKeyShape KeyShapeOf(std::span<const KeyDomain> domains)
{
   SnapshotKeyShape shape;
   for (const KeyDomain domain : domains) {
      shape.texts = static_cast<uint8_t>(shape.texts | (IsTextKey(domain) ? 1 << shape.count : 0));
      shape.count++;
   }
   return shape;
}

namespace {

NevraStatus Damaged(std::string *problem, std::string text)
{
   *problem = "damaged: " + std::move(text);
   return NEVRA_METADATA_READ_ERROR;
}

template <typename Element> std::span<const Element> SpanOf(const flatbuffers::Vector<Element> *vector)
{
   if (vector == nullptr || vector->size() == 0) {
      return {};
   }
   return {reinterpret_cast<const Element *>(vector->Data()), vector->size()};
}

template <typename Element> std::span<const uint8_t> BytesOf(std::span<const Element> vector)
{
   return {reinterpret_cast<const uint8_t *>(vector.data()), vector.size_bytes()};
}

std::span<const uint8_t> BytesOf(const KeyTable &table)
{
   return {reinterpret_cast<const uint8_t *>(table.words), table.count * table.width * sizeof(uint64_t)};
}

template <typename Element> bool IsAligned(std::span<const Element> vector)
{
   return reinterpret_cast<uintptr_t>(vector.data()) % alignof(Element) == 0;
}

// Takes a vector whose length the directory states.
template <typename Element>
bool TakeVector(const flatbuffers::Vector<Element> *vector, uint64_t length, std::span<const Element> *taken)
{
   *taken = SpanOf(vector);
   return taken->size() == length && IsAligned(*taken);
}

bool TakeKeys(const flatbuffers::Vector<uint64_t> *vector, SnapshotKeyShape shape, uint32_t count,
              KeyTable *table)
{
   std::span<const uint64_t> words;
   if (!TakeVector(vector, uint64_t{count} * shape.count, &words)) {
      return false;
   }
   *table = {words.data(), shape.count, count};
   return shape.count > 0 || count <= 1; // without keys there is one instance at most
}

bool TakeShape(const snapshot::KeyShape &stored, SnapshotKeyShape *shape)
{
   *shape = {stored.count(), stored.texts()};
   return shape->count <= kMaxKeys && shape->texts >> shape->count == 0;
}

bool TakeNode(const Node &stored, SnapshotNode *node)
{
   node->path = stored.path()->c_str();
   node->definition = stored.definition();
   node->checksum = stored.checksum();
   node->recordSize = stored.record_size();
   node->listsTexts = stored.lists_texts();
   const uint32_t lists = stored.list_count();
   const uint32_t starts = lists == 0 ? 0 : lists + 1;
   return TakeShape(*stored.record_shape(), &node->recordShape) &&
          TakeShape(*stored.list_shape(), &node->listShape) &&
          TakeKeys(stored.keys(), node->recordShape, stored.record_count(), &node->keys) &&
          TakeVector(stored.records(), uint64_t{stored.record_count()} * node->recordSize, &node->records) &&
          TakeKeys(stored.failed_keys(), node->recordShape, stored.failed_count(), &node->failedKeys) &&
          TakeVector(stored.failed_statuses(), stored.failed_count(), &node->failedStatuses) &&
          TakeKeys(stored.list_keys(), node->listShape, lists, &node->listKeys) &&
          TakeVector(stored.list_starts(), starts, &node->listStarts) &&
          TakeVector(stored.list_values(), stored.value_count(), &node->listValues) &&
          TakeKeys(stored.list_failed_keys(), node->listShape, stored.list_failed_count(),
                   &node->listFailedKeys) &&
          TakeVector(stored.list_failed_statuses(), stored.list_failed_count(), &node->listFailedStatuses);
}

NevraStatus TakeTexts(const Snapshot &root, SnapshotFile *file, std::string *problem)
{
   if (!TakeVector(root.text_offsets(), root.text_count(), &file->textOffsets) ||
       !TakeVector(root.text_bytes(), root.text_size(), &file->textBytes)) {
      return Damaged(problem, "the texts are not as long as the directory says");
   }
   file->textChecksum = root.text_checksum();
   return NEVRA_OK;
}

// Paths are shown in messages, so they must not be able to speak to a terminal.
bool IsPath(const flatbuffers::String &path)
{
   constexpr size_t kLongest = 255;
   return path.size() > 0 && path.size() <= kLongest &&
          std::all_of(path.begin(), path.end(), [](char character) {
             return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
                    (character >= '0' && character <= '9') || character == '/' || character == '_';
          });
}

NevraStatus TakeNodes(const Snapshot &root, SnapshotFile *file, std::string *problem)
{
   std::set<std::string_view> paths;
   for (const Node *stored : *root.nodes()) {
      SnapshotNode node;
      if (!IsPath(*stored->path())) {
         return Damaged(problem, "the path of a node is none");
      }
      if (!TakeNode(*stored, &node)) {
         return Damaged(problem, std::string("the vectors of ") + stored->path()->c_str() +
                                    " are not as long as the directory says");
      }
      if (!paths.insert(node.path).second) {
         return Damaged(problem, std::string(node.path) + " is there twice");
      }
      file->nodes.push_back(node);
   }
   return NEVRA_OK;
}

NevraStatus TakeRoot(const Snapshot &root, SnapshotFile *file, std::string *problem)
{
   const flatbuffers::String &signature = *root.definition_signature();
   if (!IsDefinitionSignature(signature.c_str(), signature.size())) {
      return Damaged(problem, "the definition signature is none");
   }
   if (root.captured() < 0 || root.captured() > kMaxCaptureTime) {
      return Damaged(problem, "the time of capture is none");
   }
   file->signature = signature.c_str();
   file->kernelBuild = root.kernel_build()->c_str();
   file->host = root.host()->c_str();
   file->captured = root.captured();
   const NevraStatus status = TakeTexts(root, file, problem);
   return status == NEVRA_OK ? TakeNodes(root, file, problem) : status;
}

bool HasIdentifier(const SnapshotFile &file)
{
   constexpr size_t kSmallest = sizeof(flatbuffers::uoffset_t) + flatbuffers::kFileIdentifierLength;
   return file.size >= kSmallest && snapshot::SnapshotBufferHasIdentifier(file.bytes.get());
}

Trailer ReadTrailer(const SnapshotFile &file)
{
   Trailer trailer;
   std::memcpy(static_cast<void *>(&trailer), file.bytes.get() + file.size - sizeof trailer, sizeof trailer);
   return trailer;
}

// Finds out from the file's two ends whether it is a whole snapshot.
NevraStatus CheckEnds(const SnapshotFile &file, std::string *problem)
{
   if (!HasIdentifier(file)) {
      *problem = "not a snapshot";
      return NEVRA_METADATA_READ_ERROR;
   }
   if (file.size > kMaxSnapshotBytes) {
      return Damaged(problem, "larger than a snapshot can be");
   }
   if (file.size < sizeof(Trailer)) {
      *problem = "truncated: its end is missing";
      return NEVRA_METADATA_READ_ERROR;
   }
   const Trailer trailer = ReadTrailer(file);
   const bool sizeHolds = trailer.file_size() == file.size;
   if (trailer.magic() != kTrailerMagic && !sizeHolds) {
      *problem = "truncated: its end is missing";
      return NEVRA_METADATA_READ_ERROR;
   }
   if (trailer.magic() != kTrailerMagic || !sizeHolds ||
       trailer.directory_size() > file.size - sizeof trailer) {
      return Damaged(problem, "its end does not fit the rest");
   }
   return NEVRA_OK;
}

// The format version, from a buffer of which nothing is known yet. False when there is none to be found.
bool ReadFormatVersion(flatbuffers::Verifier verifier, const uint8_t *bytes, uint32_t *version)
{
   const flatbuffers::uoffset_t offset = verifier.VerifyOffset(0);
   if (offset == 0) {
      return false;
   }
   const auto *root = reinterpret_cast<const flatbuffers::Table *>(bytes + offset);
   if (!root->VerifyTableStart(verifier) ||
       !root->VerifyField<uint32_t>(verifier, Snapshot::VT_FORMAT_VERSION, sizeof(uint32_t))) {
      return false;
   }
   *version = root->GetField<uint32_t>(Snapshot::VT_FORMAT_VERSION, 0);
   return true;
}

NevraStatus CheckAndTake(SnapshotFile *file, std::string *problem)
{
   const NevraStatus status = CheckEnds(*file, problem);
   if (status != NEVRA_OK) {
      return status;
   }
   const uint8_t *bytes = file->bytes.get();
   const Trailer trailer = ReadTrailer(*file);
   if (ChecksumOfBytes(bytes, trailer.directory_size()) != trailer.directory_checksum()) {
      return Damaged(problem, "the directory's checksum does not hold");
   }
   flatbuffers::Verifier::Options limits;
   limits.max_tables = kMaxSnapshotNodes + 1;
   flatbuffers::Verifier verifier(bytes, file->size - sizeof trailer, limits);
   uint32_t version;
   if (!ReadFormatVersion(verifier, bytes, &version)) {
      return Damaged(problem, "the directory is malformed");
   }
   if (version != kSnapshotFormatVersion) {
      *problem = "format version " + std::to_string(version) + ", but this build reads version " +
                 std::to_string(kSnapshotFormatVersion);
      return NEVRA_VERSION_MISMATCH;
   }
   if (!snapshot::VerifySnapshotBuffer(verifier)) {
      return Damaged(problem, "the directory is malformed");
   }
   return TakeRoot(*snapshot::GetSnapshot(bytes), file, problem);
}

NevraStatus StatusOfErrno(int error)
{
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

NevraStatus SystemProblem(std::string *problem, int error)
{
   *problem = std::string("cannot be read: ") + std::strerror(error);
   return StatusOfErrno(error);
}

NevraStatus MapFile(int descriptor, SnapshotFile *file, std::string *problem)
{
   struct stat facts;
   if (fstat(descriptor, &facts) != 0) {
      return SystemProblem(problem, errno);
   }
   if (!S_ISREG(facts.st_mode) || facts.st_size == 0) {
      *problem = S_ISREG(facts.st_mode) ? "not a snapshot: empty" : "not a snapshot: not a regular file";
      return NEVRA_METADATA_READ_ERROR;
   }
   const size_t size = static_cast<size_t>(facts.st_size);
   void *map = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
   if (map == MAP_FAILED) {
      return SystemProblem(problem, errno);
   }
   file->bytes = {static_cast<const uint8_t *>(map), [map, size](const uint8_t *) { munmap(map, size); }};
   file->size = size;
   return NEVRA_OK;
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
   const NevraStatus status = MapFile(descriptor, file, problem);
   close(descriptor);
   return status == NEVRA_OK ? CheckAndTake(file, problem) : status;
}

NevraStatus OpenSnapshotBytes(std::span<const uint8_t> bytes, SnapshotFile *file, std::string *problem)
{
   *file = {};
   // Of exactly this size, so that a read past the end shows under a sanitizer.
   uint8_t *copy = static_cast<uint8_t *>(std::malloc(std::max<size_t>(bytes.size(), 1)));
   if (copy == nullptr) {
      return SystemProblem(problem, ENOMEM);
   }
   file->bytes = {copy, [copy](const uint8_t *) { std::free(copy); }};
   file->size = bytes.size();
   std::copy(bytes.begin(), bytes.end(), copy);
   return CheckAndTake(file, problem);
}

bool NodeHolds(const SnapshotNode &node)
{
   const std::span<const uint8_t> vectors[] = {
      BytesOf(node.keys),
      node.records,
      BytesOf(node.failedKeys),
      BytesOf(node.failedStatuses),
      BytesOf(node.listKeys),
      BytesOf(node.listStarts),
      BytesOf(node.listValues),
      BytesOf(node.listFailedKeys),
      BytesOf(node.listFailedStatuses),
   };
   return ChecksumOfVectors(vectors) == node.checksum;
}

bool TextsHold(const SnapshotFile &file)
{
   const std::span<const uint8_t> vectors[] = {BytesOf(file.textOffsets), file.textBytes};
   return ChecksumOfVectors(vectors) == file.textChecksum;
}

const char *TextAt(const SnapshotFile &file, uint64_t index)
{
   // With a NUL as the last byte of all, every offset inside starts a terminated text.
   if (index >= file.textOffsets.size() || file.textOffsets[index] >= file.textBytes.size() ||
       file.textBytes.back() != '\0') {
      return nullptr;
   }
   return reinterpret_cast<const char *>(file.textBytes.data() + file.textOffsets[index]);
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
