#include "nevra/snapshot/snapshot_writer.h"

#include <cstring>
#include <span>

#include "nevra/snapshot/snapshot_check.h"
#include "nevra/snapshot/snapshot_checksum.h"
#include "nevra/snapshot/snapshot_directory.h"
#include "nevra/snapshot/snapshot_file.h"
#include "nevra/snapshot/walk_order.h"
#include "snapshot_generated.h"

namespace nevra {

namespace {

using flatbuffers::FlatBufferBuilder;
using flatbuffers::Offset;

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
// NOLINTNEXTLINE(bugprone-macro-parentheses): a type and a name, declared
#define NEVRA_VECTOR_OFFSET(member, field, FIELD, Element) Offset<flatbuffers::Vector<Element>> member;
   NEVRA_SNAPSHOT_VECTORS(NEVRA_VECTOR_OFFSET)
#undef NEVRA_VECTOR_OFFSET
};

bool IsEmpty(const NodeTree &node)
{
   return node.records.empty() && node.failedStatuses.empty() && node.listStarts.empty() &&
          node.listFailedStatuses.empty();
}

MovedNode MoveNode(FlatBufferBuilder *builder, const NevraNodeDef &definition, NodeTree *node)
{
   const size_t recordSize = definition.record != nullptr ? definition.record->size : 1;
   MovedNode moved;
   moved.checksum = ChecksumOfVectors(BytesOfVectors(*node));
   moved.recordCount = static_cast<uint32_t>(node->records.size() / recordSize);
   moved.failedCount = static_cast<uint32_t>(node->failedStatuses.size());
   moved.listCount = static_cast<uint32_t>(node->listStarts.empty() ? 0 : node->listStarts.size() - 1);
   moved.valueCount = static_cast<uint32_t>(node->listValues.size());
   moved.listFailedCount = static_cast<uint32_t>(node->listFailedStatuses.size());
#define NEVRA_MOVE_VECTOR(member, field, FIELD, Element) moved.member = MoveVector(builder, &node->member);
   NEVRA_SNAPSHOT_VECTORS(NEVRA_MOVE_VECTOR)
#undef NEVRA_MOVE_VECTOR
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
   snapshot::NodeBuilder node(*builder);
   // The larger fields first, as they need no bytes between them to be aligned.
   node.add_definition(ChecksumOfDefinition(definition.path));
   node.add_checksum(moved.checksum);
#define NEVRA_ADD_VECTOR(member, field, FIELD, Element) node.add_##field(moved.member);
   NEVRA_SNAPSHOT_VECTORS(NEVRA_ADD_VECTOR)
#undef NEVRA_ADD_VECTOR
   node.add_record_size(definition.record != nullptr ? definition.record->size : 0);
   node.add_record_count(moved.recordCount);
   node.add_failed_count(moved.failedCount);
   node.add_list_count(moved.listCount);
   node.add_value_count(moved.valueCount);
   node.add_list_failed_count(moved.listFailedCount);
   node.add_path(path);
   node.add_record_shape(&recordShape);
   node.add_list_shape(&listShape);
   node.add_lists_texts(IsTextKey(definition.listed));
   return node.Finish();
}

// An empty one makes a file as it was before there was any.
Offset<flatbuffers::Vector<Offset<snapshot::KernelFigure>>> AddKernelDetail(FlatBufferBuilder *builder,
                                                                            const KernelFigures &detail)
{
   if (detail.empty()) {
      return 0;
   }
   std::vector<Offset<snapshot::KernelFigure>> figures;
   for (const KernelFigure &figure : detail) {
      figures.push_back(
         snapshot::CreateKernelFigure(*builder, builder->CreateString(figure.name), figure.kb));
   }
   return builder->CreateVector(figures);
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
   const std::array vectors = {VectorBytes(offsets), VectorBytes(bytes)};
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
   // Of notes that are empty, a file from before there were any.
   const auto notes =
      !tree->notes.empty() ? builder->CreateString(tree->notes) : Offset<flatbuffers::String>();
   const auto kernelDetail = AddKernelDetail(builder, tree->kernelDetail);
   const auto root = snapshot::CreateSnapshot(
      *builder, kSnapshotFormatVersion, signature, kernelBuild, host, tree->captured, nodeVector, texts.count,
      texts.size, texts.offsets, texts.bytes, texts.checksum, notes, kernelDetail);
   snapshot::FinishSnapshotBuffer(*builder, root);
   return builder->GetSize() - bulkSize;
}

// Whoever reads the image makes these checks. What would not pass is not written.
bool IsReadable(const SnapshotImage &image, std::string *problem)
{
   SnapshotFile file;
   file.bytes = image.body;
   file.size = image.bodySize + image.trailer.size();
   file.directory = image.body;
   NevraStatus status;
   return DecodeTrailer(image.trailer, &file.trailer) && TakeDirectory(&file, problem, &status) &&
          CheckContent(file, problem);
}

} // namespace

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
   StoreInWalkOrder(tree);
   FlatBufferBuilder builder(static_cast<size_t>(estimate));
   const size_t directorySize = BuildBody(&builder, tree);
   const auto body = std::make_shared<flatbuffers::DetachedBuffer>(builder.Release());
   image->body = {body, body->data()};
   image->bodySize = body->size();
   image->trailer = EncodeTrailer({body->data(), body->size()}, directorySize);
   return IsReadable(*image, problem);
}

std::vector<uint8_t> BytesOfImage(const SnapshotImage &image)
{
   std::vector<uint8_t> bytes(image.body.get(), image.body.get() + image.bodySize);
   bytes.insert(bytes.end(), image.trailer.begin(), image.trailer.end());
   return bytes;
}

} // namespace nevra
