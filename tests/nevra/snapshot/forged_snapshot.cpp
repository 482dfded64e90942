#include "tests/nevra/snapshot/forged_snapshot.h"

#include <array>
#include <memory>

#include <gtest/gtest.h>

#include "nevra/snapshot/snapshot_checksum.h"
#include "nevra/snapshot/snapshot_trailer.h"
#include "nevra/snapshot/snapshot_vectors.h"
#include "tests/nevra/snapshot/small_tree.h"

using nevra::snapshot::NodeT;
using nevra::snapshot::SnapshotT;

namespace {

using flatbuffers::FlatBufferBuilder;
using flatbuffers::Offset;

struct Vectors {
// NOLINTNEXTLINE(bugprone-macro-parentheses): a type and a name, declared
#define VECTOR_OFFSET(member, field, FIELD, Element) Offset<flatbuffers::Vector<Element>> field;
   NEVRA_SNAPSHOT_VECTORS(VECTOR_OFFSET)
};

template <typename Element>
Offset<flatbuffers::Vector<Element>> AddVector(FlatBufferBuilder *builder, const std::vector<Element> &vector)
{
   return vector.empty() ? 0 : builder->CreateVector(vector.data(), vector.size());
}

Vectors AddVectors(FlatBufferBuilder *builder, NodeT *node, uint32_t version)
{
#define VECTOR_BYTES(member, field, FIELD, Element) nevra::VectorBytes(node->field),
   const nevra::NodeVectorBytes bytes = {NEVRA_SNAPSHOT_VECTORS(VECTOR_BYTES)};
   node->checksum = nevra::ChecksumOfVectors(
      std::span(bytes).first(version == 1 ? nevra::kVersion1VectorCount : bytes.size()));
   Vectors vectors;
#define ADD_VECTOR(member, field, FIELD, Element) vectors.field = AddVector(builder, node->field);
   NEVRA_SNAPSHOT_VECTORS(ADD_VECTOR)
   return vectors;
}

Offset<nevra::snapshot::Node> AddNode(FlatBufferBuilder *builder, const NodeT &node, const Vectors &vectors)
{
   const auto path = builder->CreateString(node.path);
   return nevra::snapshot::CreateNode(
      *builder, path, node.definition, node.checksum, node.record_shape.get(), node.record_size,
      node.record_count, node.failed_count, node.list_shape.get(), node.lists_texts, node.list_count,
      node.value_count, node.list_failed_count, vectors.keys, vectors.records, vectors.failed_keys,
      vectors.failed_statuses, vectors.list_keys, vectors.list_starts, vectors.list_values,
      vectors.list_failed_keys, vectors.list_failed_statuses, vectors.key_order, vectors.list_order);
}

} // namespace

std::vector<uint8_t> Forge(const std::function<void(SnapshotT *)> &change)
{
   const std::vector<uint8_t> whole = SmallSnapshot();
   std::unique_ptr<SnapshotT> root(nevra::snapshot::GetSnapshot(whole.data())->UnPack());
   change(root.get());
   FlatBufferBuilder builder;
   std::vector<Vectors> vectors;
   for (const auto &node : root->nodes) {
      vectors.push_back(AddVectors(&builder, node.get(), root->format_version));
   }
   const std::array texts = {nevra::VectorBytes(root->text_offsets), nevra::VectorBytes(root->text_bytes)};
   root->text_checksum = nevra::ChecksumOfVectors(texts);
   const auto offsets = AddVector(&builder, root->text_offsets);
   const auto bytes = AddVector(&builder, root->text_bytes);
   const size_t vectorSize = builder.GetSize();

   std::vector<Offset<nevra::snapshot::Node>> nodes;
   for (size_t i = 0; i < root->nodes.size(); i++) {
      nodes.push_back(AddNode(&builder, *root->nodes[i], vectors[i]));
   }
   const auto nodeVector = builder.CreateVector(nodes);
   const auto signature = builder.CreateString(root->definition_signature);
   const auto build = builder.CreateString(root->kernel_build);
   const auto host = builder.CreateString(root->host);
   const auto notes = root->notes.empty() ? Offset<flatbuffers::String>() : builder.CreateString(root->notes);
   std::vector<Offset<nevra::snapshot::KernelFigure>> figures;
   for (const auto &figure : root->kernel_detail) {
      figures.push_back(CreateKernelFigure(builder, figure.get()));
   }
   const auto kernelDetail = builder.CreateVector(figures);
   FinishSnapshotBuffer(
      builder, nevra::snapshot::CreateSnapshot(builder, root->format_version, signature, build, host,
                                               root->captured, nodeVector, root->text_count, root->text_size,
                                               offsets, bytes, root->text_checksum, notes, kernelDetail));
   std::vector<uint8_t> file(builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize());
   const auto trailer = nevra::EncodeTrailer(file, file.size() - vectorSize);
   file.insert(file.end(), trailer.begin(), trailer.end());
   return file;
}

NodeT *NodeOf(SnapshotT *root, const char *path)
{
   for (const auto &node : root->nodes) {
      if (node->path == path) {
         return node.get();
      }
   }
   ADD_FAILURE() << path;
   return nullptr;
}

void PutLists(NodeT *node, const Lists &lists)
{
   node->list_keys.clear();
   node->list_starts = {0};
   node->list_values.clear();
   for (const auto &[key, values] : lists) {
      node->list_keys.push_back(key);
      node->list_values.insert(node->list_values.end(), values.begin(), values.end());
      node->list_starts.push_back(static_cast<uint32_t>(node->list_values.size()));
   }
   node->list_count = static_cast<uint32_t>(lists.size());
   node->value_count = static_cast<uint32_t>(node->list_values.size());
   node->list_failed_count = 0;
   node->list_failed_keys.clear();
   node->list_failed_statuses.clear();
}
