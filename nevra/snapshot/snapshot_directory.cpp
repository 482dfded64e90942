#include "nevra/snapshot/snapshot_directory.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "nevra/snapshot/snapshot_checksum.h"
#include "nevra/snapshot/snapshot_format.h"
#include "nevra/snapshot/snapshot_vectors.h"
#include "snapshot_generated.h"

namespace nevra {

using KernelFigureTable = snapshot::KernelFigure;
using snapshot::Node;
using snapshot::Snapshot;

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

using Offset = flatbuffers::uoffset_t;
using Extent = std::pair<uint64_t, uint64_t>; // start and end in the file

struct Directory {
   SnapshotFile *file;
   flatbuffers::Verifier verifier;
   std::vector<Extent> extents; // of the vectors
   std::string *problem;
};

bool Damaged(const Directory &directory, std::string text)
{
   *directory.problem = "damaged: " + std::move(text);
   return false;
}

// ---- structure
//
// The tables and the texts of the directory, in the copy of it. The vectors lie outside: of each, the
// directory has its offset.

bool IsText(Directory &directory, const flatbuffers::Table &table, flatbuffers::voffset_t field)
{
   return table.VerifyOffsetRequired(directory.verifier, field) &&
          directory.verifier.VerifyString(table.GetPointer<const flatbuffers::String *>(field));
}

template <typename Value>
bool IsValue(const Directory &directory, const flatbuffers::Table &table, flatbuffers::voffset_t field)
{
   return table.VerifyField<Value>(directory.verifier, field, sizeof(Value));
}

const flatbuffers::Table &TableOf(const void *table)
{
   return *static_cast<const flatbuffers::Table *>(table);
}

bool IsNode(Directory &directory, const Node *node)
{
   const flatbuffers::Table &table = TableOf(node);
   flatbuffers::Verifier &verifier = directory.verifier;
   bool isNode = table.VerifyTableStart(verifier) && IsText(directory, table, Node::VT_PATH) &&
                 IsValue<uint64_t>(directory, table, Node::VT_DEFINITION) &&
                 IsValue<uint64_t>(directory, table, Node::VT_CHECKSUM) &&
                 table.VerifyFieldRequired<snapshot::KeyShape>(verifier, Node::VT_RECORD_SHAPE, 1) &&
                 IsValue<uint32_t>(directory, table, Node::VT_RECORD_SIZE) &&
                 IsValue<uint32_t>(directory, table, Node::VT_RECORD_COUNT) &&
                 IsValue<uint32_t>(directory, table, Node::VT_FAILED_COUNT) &&
                 table.VerifyFieldRequired<snapshot::KeyShape>(verifier, Node::VT_LIST_SHAPE, 1) &&
                 IsValue<uint8_t>(directory, table, Node::VT_LISTS_TEXTS) &&
                 IsValue<uint32_t>(directory, table, Node::VT_LIST_COUNT) &&
                 IsValue<uint32_t>(directory, table, Node::VT_VALUE_COUNT) &&
                 IsValue<uint32_t>(directory, table, Node::VT_LIST_FAILED_COUNT);
#define NEVRA_IS_OFFSET(member, field, FIELD, Element)                                                       \
   isNode = isNode && IsValue<Offset>(directory, table, Node::VT_##FIELD);
   NEVRA_SNAPSHOT_VECTORS(NEVRA_IS_OFFSET)
#undef NEVRA_IS_OFFSET
   return isNode && verifier.EndTable();
}

bool AreNodes(Directory &directory, const Snapshot *root)
{
   if (!TableOf(root).VerifyOffsetRequired(directory.verifier, Snapshot::VT_NODES) ||
       !directory.verifier.VerifyVector(root->nodes()) || root->nodes()->size() > kMaxSnapshotNodes) {
      return false;
   }
   return std::all_of(root->nodes()->begin(), root->nodes()->end(),
                      [&](const Node *node) { return IsNode(directory, node); });
}

bool IsKernelFigure(Directory &directory, const KernelFigureTable *figure)
{
   const flatbuffers::Table &table = TableOf(figure);
   return table.VerifyTableStart(directory.verifier) &&
          IsText(directory, table, KernelFigureTable::VT_NAME) &&
          IsValue<uint64_t>(directory, table, KernelFigureTable::VT_KB) && directory.verifier.EndTable();
}

bool IsKernelDetail(Directory &directory, const Snapshot *root)
{
   if (!TableOf(root).VerifyOffset(directory.verifier, Snapshot::VT_KERNEL_DETAIL)) {
      return false;
   }
   const auto *detail = root->kernel_detail();
   return directory.verifier.VerifyVector(detail) &&
          (detail == nullptr ||
           (detail->size() <= kMaxKernelFigures &&
            std::all_of(detail->begin(), detail->end(),
                        [&](const KernelFigureTable *figure) { return IsKernelFigure(directory, figure); })));
}

bool IsSnapshot(Directory &directory, const Snapshot *root)
{
   const flatbuffers::Table &table = TableOf(root);
   return IsText(directory, table, Snapshot::VT_DEFINITION_SIGNATURE) &&
          IsText(directory, table, Snapshot::VT_KERNEL_BUILD) &&
          IsText(directory, table, Snapshot::VT_HOST) &&
          IsValue<int64_t>(directory, table, Snapshot::VT_CAPTURED) &&
          IsValue<uint32_t>(directory, table, Snapshot::VT_TEXT_COUNT) &&
          IsValue<uint32_t>(directory, table, Snapshot::VT_TEXT_SIZE) &&
          IsValue<Offset>(directory, table, Snapshot::VT_TEXT_OFFSETS) &&
          IsValue<Offset>(directory, table, Snapshot::VT_TEXT_BYTES) &&
          IsValue<uint64_t>(directory, table, Snapshot::VT_TEXT_CHECKSUM) &&
          table.VerifyOffset(directory.verifier, Snapshot::VT_NOTES) &&
          directory.verifier.VerifyString(root->notes()) && IsKernelDetail(directory, root) &&
          AreNodes(directory, root);
}

// ---- vectors

// Locates a vector by its offset and its length in elements, both from the directory; the length in front of
// the vector itself is left for the first read, which brings in its page anyway.
template <typename Element>
bool LocateVector(Directory &directory, const flatbuffers::Table &table, flatbuffers::voffset_t field,
                  uint64_t length, std::span<const Element> *vector)
{
   *vector = {};
   const SnapshotFile &file = *directory.file;
   const flatbuffers::voffset_t place = table.GetOptionalFieldOffset(field);
   if (place == 0 || length == 0) {
      return place == 0 && length == 0; // a vector without elements is left out
   }
   const uint8_t *offset = reinterpret_cast<const uint8_t *>(&table) + place;
   const uint64_t start =
      static_cast<uint64_t>(offset - file.directory.get()) + flatbuffers::ReadScalar<Offset>(offset);
   const uint64_t first = start + sizeof(Offset);
   const uint64_t bodySize = file.size - kTrailerSize;
   if (start < file.trailer.directorySize || first > bodySize || start % sizeof(Offset) != 0 ||
       first % sizeof(Element) != 0 || length > (bodySize - first) / sizeof(Element)) {
      return false;
   }
   *vector = {reinterpret_cast<const Element *>(file.bytes.get() + first), static_cast<size_t>(length)};
   directory.extents.emplace_back(start, first + length * sizeof(Element));
   return true;
}

// cppcheck-suppress constParameter // the vector is added to its extents
bool LocateKeys(Directory &directory, const flatbuffers::Table &table, flatbuffers::voffset_t field,
                SnapshotKeyShape shape, uint32_t count, KeyTable *keys)
{
   std::span<const uint64_t> words;
   if (!LocateVector(directory, table, field, uint64_t{count} * shape.count, &words)) {
      return false;
   }
   *keys = {words.data(), shape.count, count, nullptr};
   return shape.count > 0 || count <= 1; // without keys there is one instance at most
}

// The order of keys that do not ascend as they are stored.
bool LocateOrder(Directory &directory, const flatbuffers::Table &table, flatbuffers::voffset_t field,
                 KeyTable *keys, std::span<const uint32_t> *order)
{
   const bool isThere = directory.file->version > 1 && table.GetOptionalFieldOffset(field) != 0;
   if (!LocateVector(directory, table, field, isThere ? keys->count : 0, order)) {
      return false;
   }
   keys->order = isThere ? order->data() : nullptr;
   return true;
}

bool TakeShape(const snapshot::KeyShape &stored, SnapshotKeyShape *shape)
{
   *shape = {stored.count(), stored.texts()};
   return shape->count <= kMaxKeys && shape->texts >> shape->count == 0;
}

bool LocateVectors(Directory &directory, const Node &stored, SnapshotNode *node)
{
   const flatbuffers::Table &table = TableOf(&stored);
   const SnapshotKeyShape shape = node->recordShape;
   const SnapshotKeyShape listShape = node->listShape;
   const uint64_t lists = stored.list_count();
   const uint64_t recordBytes = uint64_t{stored.record_count()} * node->recordSize;
   return LocateKeys(directory, table, Node::VT_KEYS, shape, stored.record_count(), &node->keys) &&
          LocateVector(directory, table, Node::VT_RECORDS, recordBytes, &node->records) &&
          LocateKeys(directory, table, Node::VT_FAILED_KEYS, shape, stored.failed_count(),
                     &node->failedKeys) &&
          LocateVector(directory, table, Node::VT_FAILED_STATUSES, stored.failed_count(),
                       &node->failedStatuses) &&
          LocateKeys(directory, table, Node::VT_LIST_KEYS, listShape, stored.list_count(), &node->listKeys) &&
          LocateVector(directory, table, Node::VT_LIST_STARTS, lists == 0 ? 0 : lists + 1,
                       &node->listStarts) &&
          LocateVector(directory, table, Node::VT_LIST_VALUES, stored.value_count(), &node->listValues) &&
          LocateKeys(directory, table, Node::VT_LIST_FAILED_KEYS, listShape, stored.list_failed_count(),
                     &node->listFailedKeys) &&
          LocateVector(directory, table, Node::VT_LIST_FAILED_STATUSES, stored.list_failed_count(),
                       &node->listFailedStatuses) &&
          LocateOrder(directory, table, Node::VT_KEY_ORDER, &node->keys, &node->keyOrder) &&
          LocateOrder(directory, table, Node::VT_LIST_ORDER, &node->listKeys, &node->listOrder);
}

// Work on each vector is linear in its size. That it is linear in the size of the file, too, takes vectors
// that do not share bytes.
bool AreApart(std::vector<Extent> *extents)
{
   std::sort(extents->begin(), extents->end());
   return std::adjacent_find(extents->begin(), extents->end(), [](const Extent &left, const Extent &right) {
             return left.second > right.first;
          }) == extents->end();
}

// ---- header, texts and nodes

// Under this build's signature all definitions are this build's. Under another, a node's own checksum says
// whether it is defined alike: a record of the same size may be laid out in another way.
DefinitionFit FitOf(const SnapshotNode &node, bool hasOurSignature)
{
   DefinitionFit fit;
   fit.definition = FindDefinition(node.path);
   if (fit.definition == nullptr ||
       !(hasOurSignature || node.definition == ChecksumOfDefinition(node.path))) {
      return fit;
   }
   const NevraNodeDef &definition = *fit.definition;
   // A node whose definition has no records has a size of 0 for them, and likewise no keys.
   const bool recordsAgree =
      node.recordSize == (definition.record != nullptr ? definition.record->size : 0) &&
      node.recordShape == KeyShapeOf(definition.recordKeys);
   const bool listsAgree =
      node.listShape == KeyShapeOf(definition.listKeys) && node.listsTexts == IsTextKey(definition.listed);
   fit.records = recordsAgree && definition.record != nullptr;
   fit.lists = listsAgree && definition.listed != KeyDomain::None;
   fit.everything = recordsAgree && listsAgree &&
                    (fit.records || node.keys.count + node.failedKeys.count == 0) &&
                    (fit.lists || node.listKeys.count + node.listFailedKeys.count == 0);
   return fit;
}

bool TakeNode(Directory &directory, const Node &stored, bool hasOurSignature, SnapshotNode *node)
{
   node->path = stored.path()->c_str();
   node->definition = stored.definition();
   node->checksum = stored.checksum();
   node->recordSize = stored.record_size();
   node->listsTexts = stored.lists_texts();
   node->vectorCount = directory.file->version == 1 ? kVersion1VectorCount : kNodeVectorCount;
   if (!TakeShape(*stored.record_shape(), &node->recordShape) ||
       !TakeShape(*stored.list_shape(), &node->listShape) || !LocateVectors(directory, stored, node)) {
      return false;
   }
   node->fit = FitOf(*node, hasOurSignature);
   return true;
}

// Paths are shown in messages, so they must not be able to control a terminal.
bool IsPath(const flatbuffers::String &path)
{
   constexpr size_t kLongest = 255;
   return path.size() > 0 && path.size() <= kLongest &&
          std::all_of(path.begin(), path.end(), [](char character) {
             return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
                    (character >= '0' && character <= '9') || character == '/' || character == '_';
          });
}

bool TakeNodes(Directory &directory, const Snapshot &root)
{
   SnapshotFile &file = *directory.file;
   const bool hasOurSignature = std::strcmp(file.signature, DefinitionSignature()) == 0;
   std::set<std::string_view> paths;
   file.nodes.reserve(root.nodes()->size());
   for (const Node *stored : *root.nodes()) {
      SnapshotNode node;
      if (!IsPath(*stored->path())) {
         return Damaged(directory, "invalid node path");
      }
      const std::string path = stored->path()->c_str();
      if (!TakeNode(directory, *stored, hasOurSignature, &node)) {
         return Damaged(directory, path + ": vector outside the file or of the wrong length");
      }
      if (!paths.insert(node.path).second) {
         return Damaged(directory, "duplicate node " + path);
      }
      file.nodes.push_back(node);
   }
   return true;
}

bool TakeTexts(Directory &directory, const Snapshot &root)
{
   SnapshotFile &file = *directory.file;
   file.textChecksum = root.text_checksum();
   return LocateVector(directory, TableOf(&root), Snapshot::VT_TEXT_OFFSETS, root.text_count(),
                       &file.textOffsets) &&
          LocateVector(directory, TableOf(&root), Snapshot::VT_TEXT_BYTES, root.text_size(), &file.textBytes);
}

bool TakeHeader(const Directory &directory, const Snapshot &root)
{
   const flatbuffers::String &signature = *root.definition_signature();
   if (!IsDefinitionSignature(signature.c_str(), signature.size())) {
      return Damaged(directory, "invalid definition signature");
   }
   if (root.captured() < 0 || root.captured() > kMaxCaptureTime) {
      return Damaged(directory, "invalid capture time");
   }
   if (root.host()->size() > kMaxSnapshotText || root.kernel_build()->size() > kMaxSnapshotText) {
      return Damaged(directory, "host name or kernel build too long");
   }
   if (root.notes() != nullptr && root.notes()->size() > kMaxSnapshotNotes) {
      return Damaged(directory, "notes too long");
   }
   SnapshotFile &file = *directory.file;
   file.signature = signature.c_str();
   file.kernelBuild = root.kernel_build()->c_str();
   file.host = root.host()->c_str();
   file.captured = root.captured();
   file.notes = root.notes() != nullptr ? root.notes()->c_str() : "";
   return true;
}

// A figure counts once, whoever adds them up.
bool TakeKernelDetail(const Directory &directory, const Snapshot &root)
{
   KernelFigures &figures = directory.file->kernelDetail;
   const size_t count = root.kernel_detail() != nullptr ? root.kernel_detail()->size() : 0;
   for (flatbuffers::uoffset_t i = 0; i < count; i++) {
      const KernelFigureTable &stored = *root.kernel_detail()->Get(i);
      const std::string_view name = stored.name()->string_view();
      if (!IsKernelFigureName(name) || stored.kb() > kMaxKernelFigureKB) {
         return Damaged(directory, "kernel detail " + std::to_string(i) + ": invalid name or amount");
      }
      if (FindKernelFigure(figures, name) != nullptr) {
         return Damaged(directory, "duplicate kernel detail " + std::string(name));
      }
      figures.push_back({std::string(name), stored.kb()});
   }
   return true;
}

// The root table, whose start and format version hold, or null.
const Snapshot *FindRoot(Directory &directory)
{
   flatbuffers::Verifier &verifier = directory.verifier;
   const Offset offset = verifier.VerifyOffset(0);
   if (offset == 0) {
      return nullptr;
   }
   const auto *root = reinterpret_cast<const Snapshot *>(directory.file->directory.get() + offset);
   const flatbuffers::Table &table = TableOf(root);
   return table.VerifyTableStart(verifier) && IsValue<uint32_t>(directory, table, Snapshot::VT_FORMAT_VERSION)
             ? root
             : nullptr;
}

} // namespace

bool TakeDirectory(SnapshotFile *file, std::string *problem, NevraStatus *status)
{
   flatbuffers::Verifier::Options limits;
   limits.max_tables = kMaxSnapshotNodes + kMaxKernelFigures + 1;
   Directory directory = {
      file, flatbuffers::Verifier(file->directory.get(), file->trailer.directorySize, limits), {}, problem};
   *status = NEVRA_METADATA_READ_ERROR;
   const Snapshot *root = FindRoot(directory);
   if (root == nullptr) {
      return Damaged(directory, "malformed directory");
   }
   file->version = root->format_version();
   if (file->version < 1 || file->version > kSnapshotFormatVersion) {
      *problem = "format version " + std::to_string(file->version) + ", but this build reads versions 1 to " +
                 std::to_string(kSnapshotFormatVersion);
      *status = NEVRA_VERSION_MISMATCH;
      return false;
   }
   if (!IsSnapshot(directory, root)) {
      return Damaged(directory, "malformed directory");
   }
   if (!TakeHeader(directory, *root) || !TakeKernelDetail(directory, *root)) {
      return false;
   }
   if (!TakeTexts(directory, *root)) {
      return Damaged(directory, "texts: vector outside the file or of the wrong length");
   }
   if (!TakeNodes(directory, *root)) {
      return false;
   }
   if (!AreApart(&directory.extents)) {
      return Damaged(directory, "vectors overlap");
   }
   *status = NEVRA_OK;
   return true;
}

} // namespace nevra
