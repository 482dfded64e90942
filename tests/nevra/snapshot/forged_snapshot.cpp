#include "tests/nevra/snapshot/forged_snapshot.h"

#include <memory>
#include <span>

#include <gtest/gtest.h>

#include "nevra/snapshot/snapshot_checksum.h"
#include "nevra/snapshot/snapshot_writer.h"
#include "tests/nevra/snapshot/small_tree.h"

using nevra::snapshot::NodeT;
using nevra::snapshot::SnapshotT;

namespace {

template <typename Element> std::span<const uint8_t> BytesOf(const std::vector<Element> &vector)
{
   return {reinterpret_cast<const uint8_t *>(vector.data()), vector.size() * sizeof(Element)};
}

void SealNode(NodeT *node)
{
   const std::span<const uint8_t> vectors[] = {BytesOf(node->keys),
                                               BytesOf(node->records),
                                               BytesOf(node->failed_keys),
                                               BytesOf(node->failed_statuses),
                                               BytesOf(node->list_keys),
                                               BytesOf(node->list_starts),
                                               BytesOf(node->list_values),
                                               BytesOf(node->list_failed_keys),
                                               BytesOf(node->list_failed_statuses)};
   node->checksum = nevra::ChecksumOfVectors(vectors);
}

} // namespace

std::vector<uint8_t> Forge(const std::function<void(SnapshotT *)> &change)
{
   const std::vector<uint8_t> whole = SmallSnapshot();
   std::unique_ptr<SnapshotT> root(nevra::snapshot::GetSnapshot(whole.data())->UnPack());
   change(root.get());
   for (const auto &node : root->nodes) {
      SealNode(node.get());
   }
   const std::span<const uint8_t> texts[] = {BytesOf(root->text_offsets), BytesOf(root->text_bytes)};
   root->text_checksum = nevra::ChecksumOfVectors(texts);
   flatbuffers::FlatBufferBuilder builder;
   FinishSnapshotBuffer(builder, CreateSnapshot(builder, root.get()));
   std::vector<uint8_t> bytes(builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize());
   const auto trailer = nevra::MakeSnapshotTrailer(bytes.data(), bytes.size(), bytes.size());
   bytes.insert(bytes.end(), trailer.begin(), trailer.end());
   return bytes;
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
