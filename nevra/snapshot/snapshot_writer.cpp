#include "nevra/snapshot/snapshot_writer.h"

#include <cstring>
#include <span>

#include "nevra/snapshot/snapshot_checksum.h"
#include "nevra/snapshot/snapshot_file.h"
#include "snapshot_generated.h"

namespace nevra {

namespace {

using flatbuffers::FlatBufferBuilder;
using flatbuffers::Offset;
using snapshot::Trailer;

template <typename Element> std::span<const uint8_t> BytesOf(const std::vector<Element> &vector)
{
   return {reinterpret_cast<const uint8_t *>(vector.data()), vector.size() * sizeof(Element)};
}

// Moves a vector into the file; an empty one is left out.
template <typename Element>
Offset<flatbuffers::Vector<Element>> MoveVector(FlatBufferBuilder *builder, std::vector<Element> *vector)
{
   if (vector->empty()) {
      return 0;
   }
   const auto offset = builder->CreateVector(vector->data(), vector->size());
   std::vector<Element>().swap(*vector);
   return offset;
}

// What the directory says of one node's vectors.
struct MovedNode {
   uint64_t checksum;
   uint32_t recordCount, failedCount, listCount, valueCount, listFailedCount;
   Offset<flatbuffers::Vector<uint64_t>> keys, failedKeys, listKeys, listValues, listFailedKeys;
   Offset<flatbuffers::Vector<uint8_t>> records;
   Offset<flatbuffers::Vector<uint32_t>> failedStatuses, listStarts, listFailedStatuses;
};

bool IsEmpty(const NodeTree &node)
{
   return node.records.empty() && node.failedStatuses.empty() && node.listStarts.empty() &&
          node.listFailedStatuses.empty();
}

MovedNode MoveNode(FlatBufferBuilder *builder, const NevraNodeDef &definition, NodeTree *node)
{
   const std::span<const uint8_t> vectors[] = {
      BytesOf(node->keys),           BytesOf(node->records),        BytesOf(node->failedKeys),
      BytesOf(node->failedStatuses), BytesOf(node->listKeys),       BytesOf(node->listStarts),
      BytesOf(node->listValues),     BytesOf(node->listFailedKeys), BytesOf(node->listFailedStatuses),
   };
   const size_t recordSize = definition.record != nullptr ? definition.record->size : 1;
   MovedNode moved;
   moved.checksum = ChecksumOfVectors(vectors);
   moved.recordCount = static_cast<uint32_t>(node->records.size() / recordSize);
   moved.failedCount = static_cast<uint32_t>(node->failedStatuses.size());
   moved.listCount = static_cast<uint32_t>(node->listStarts.empty() ? 0 : node->listStarts.size() - 1);
   moved.valueCount = static_cast<uint32_t>(node->listValues.size());
   moved.listFailedCount = static_cast<uint32_t>(node->listFailedStatuses.size());
   moved.keys = MoveVector(builder, &node->keys);
   moved.records = MoveVector(builder, &node->records);
   moved.failedKeys = MoveVector(builder, &node->failedKeys);
   moved.failedStatuses = MoveVector(builder, &node->failedStatuses);
   moved.listKeys = MoveVector(builder, &node->listKeys);
   moved.listStarts = MoveVector(builder, &node->listStarts);
   moved.listValues = MoveVector(builder, &node->listValues);
   moved.listFailedKeys = MoveVector(builder, &node->listFailedKeys);
   moved.listFailedStatuses = MoveVector(builder, &node->listFailedStatuses);
   return moved;
}

snapshot::KeyShape StoredShape(std::span<const KeyDomain> domains)
{
   const SnapshotKeyShape shape = KeyShapeOf(domains);
   return {shape.count, shape.texts};
}

Offset<snapshot::Node> AddNode(FlatBufferBuilder *builder, const NevraNodeDef &definition,
                               const MovedNode &moved)
{
   const auto path = builder->CreateString(definition.path);
   const snapshot::KeyShape recordShape = StoredShape(definition.recordKeys);
   const snapshot::KeyShape listShape = StoredShape(definition.listKeys);
   return snapshot::CreateNode(
      *builder, path, ChecksumOfDefinition(definition.path), moved.checksum, &recordShape,
      definition.record != nullptr ? definition.record->size : 0, moved.recordCount, moved.failedCount,
      &listShape, IsTextKey(definition.listed), moved.listCount, moved.valueCount, moved.listFailedCount,
      moved.keys, moved.records, moved.failedKeys, moved.failedStatuses, moved.listKeys, moved.listStarts,
      moved.listValues, moved.listFailedKeys, moved.listFailedStatuses);
}

struct MovedTexts {
   uint64_t checksum;
   uint32_t count, size;
   Offset<flatbuffers::Vector<uint32_t>> offsets;
   Offset<flatbuffers::Vector<uint8_t>> bytes;
};

MovedTexts MoveTexts(FlatBufferBuilder *builder, const SnapshotTree &tree)
{
   std::vector<uint32_t> offsets;
   std::vector<uint8_t> bytes;
   for (const std::string &text : tree.texts) {
      offsets.push_back(static_cast<uint32_t>(bytes.size()));
      bytes.insert(bytes.end(), text.c_str(), text.c_str() + text.size() + 1);
   }
   const std::span<const uint8_t> vectors[] = {BytesOf(offsets), BytesOf(bytes)};
   MovedTexts moved;
   moved.checksum = ChecksumOfVectors(vectors);
   moved.count = static_cast<uint32_t>(offsets.size());
   moved.size = static_cast<uint32_t>(bytes.size());
   moved.offsets = MoveVector(builder, &offsets);
   moved.bytes = MoveVector(builder, &bytes);
   return moved;
}

// A FlatBuffer grows from its end to its start: what is made first lies last. Returns the size of the
// directory.
size_t BuildBody(FlatBufferBuilder *builder, SnapshotTree *tree)
{
   std::vector<const NevraNodeDef *> definitions;
   std::vector<MovedNode> moved;
   for (const NevraNodeDef &definition : Definitions()) {
      NodeTree *node = &tree->nodes[static_cast<size_t>(definition.id)];
      if (!IsEmpty(*node)) {
         definitions.push_back(&definition);
         moved.push_back(MoveNode(builder, definition, node));
      }
   }
   const MovedTexts texts = MoveTexts(builder, *tree);
   const size_t bulkSize = builder->GetSize();

   std::vector<Offset<snapshot::Node>> nodes;
   for (size_t i = 0; i < definitions.size(); i++) {
      nodes.push_back(AddNode(builder, *definitions[i], moved[i]));
   }
   const auto nodeVector = builder->CreateVector(nodes);
   const auto signature = builder->CreateString(tree->signature);
   const auto kernelBuild = builder->CreateString(tree->kernelBuild);
   const auto host = builder->CreateString(tree->host);
   const auto root = snapshot::CreateSnapshot(*builder, kSnapshotFormatVersion, signature, kernelBuild, host,
                                              tree->captured, nodeVector, texts.count, texts.size,
                                              texts.offsets, texts.bytes, texts.checksum);
   snapshot::FinishSnapshotBuffer(*builder, root);
   return builder->GetSize() - bulkSize;
}

} // namespace

std::array<uint8_t, 40> MakeSnapshotTrailer(const uint8_t *body, size_t bodySize, size_t directorySize)
{
   const Trailer trailer(kTrailerMagic, bodySize + sizeof(Trailer), directorySize,
                         ChecksumOfBytes(body, directorySize), ChecksumOfBytes(body, bodySize));
   std::array<uint8_t, 40> bytes;
   static_assert(sizeof trailer == sizeof bytes);
   std::memcpy(bytes.data(), &trailer, sizeof trailer);
   return bytes;
}

bool MakeSnapshotImage(SnapshotTree *tree, SnapshotImage *image, std::string *problem, uint64_t limit)
{
   const uint64_t estimate = EstimateSnapshotBytes(*tree);
   if (estimate > limit) {
      *problem = "too large for a snapshot: " + std::to_string(estimate) + " bytes, where " +
                 std::to_string(limit) + " are the limit";
      return false;
   }
   if (!SortSnapshotTree(tree, problem)) {
      return false;
   }
   FlatBufferBuilder builder(static_cast<size_t>(estimate));
   const size_t directorySize = BuildBody(&builder, tree);
   const auto body = std::make_shared<flatbuffers::DetachedBuffer>(builder.Release());
   image->body = {body, body->data()};
   image->bodySize = body->size();
   image->trailer = MakeSnapshotTrailer(body->data(), body->size(), directorySize);
   return true;
}

std::vector<uint8_t> BytesOfImage(const SnapshotImage &image)
{
   std::vector<uint8_t> bytes(image.body.get(), image.body.get() + image.bodySize);
   bytes.insert(bytes.end(), image.trailer.begin(), image.trailer.end());
   return bytes;
}

} // namespace nevra
