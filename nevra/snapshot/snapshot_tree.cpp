#include "nevra/snapshot/snapshot_tree.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include "nevra/snapshot/key_order.h"
#include "nevra/snapshot/row_order.h"

namespace nevra {

uint64_t InternText(SnapshotTree *tree, std::string_view text)
{
   const auto next = tree->textIndexes.lower_bound(text);
   if (next != tree->textIndexes.end() && next->first == text) {
      return next->second;
   }
   const uint64_t index = tree->texts.size();
   tree->texts.emplace_back(text);
   tree->textBytes += text.size();
   tree->textIndexes.emplace_hint(next, tree->texts.back(), index);
   return index;
}

namespace {

NodeTree &TreeOf(SnapshotTree *tree, const NevraNodeDef &node)
{
   return tree->nodes[static_cast<size_t>(node.id)];
}

template <typename Element> void Append(std::vector<Element> *vector, std::span<const Element> elements)
{
   vector->insert(vector->end(), elements.begin(), elements.end());
}

} // namespace

void AddRecord(SnapshotTree *tree, const NevraNodeDef &node, std::span<const uint64_t> keys,
               const void *record)
{
   NodeTree &content = TreeOf(tree, node);
   Append(&content.keys, keys);
   Append(&content.records, {static_cast<const uint8_t *>(record), node.record->size});
}

void AddFailure(SnapshotTree *tree, const NevraNodeDef &node, std::span<const uint64_t> keys,
                NevraStatus status)
{
   NodeTree &content = TreeOf(tree, node);
   Append(&content.failedKeys, keys);
   content.failedStatuses.push_back(status);
}

void AddList(SnapshotTree *tree, const NevraNodeDef &node, std::span<const uint64_t> keys,
             std::span<const uint64_t> values)
{
   NodeTree &content = TreeOf(tree, node);
   Append(&content.listKeys, keys);
   content.listStarts.push_back(static_cast<uint32_t>(content.listValues.size()));
   Append(&content.listValues, values);
}

void AddListFailure(SnapshotTree *tree, const NevraNodeDef &node, std::span<const uint64_t> keys,
                    NevraStatus status)
{
   NodeTree &content = TreeOf(tree, node);
   Append(&content.listFailedKeys, keys);
   content.listFailedStatuses.push_back(status);
}

void ReorderLists(NodeTree *node, const RowOrder &order)
{
   if (order.empty()) {
      return;
   }
   std::vector<uint32_t> starts;
   std::vector<uint64_t> values;
   starts.reserve(node->listStarts.size());
   values.reserve(node->listValues.size());
   for (const uint32_t list : order) {
      starts.push_back(static_cast<uint32_t>(values.size()));
      values.insert(values.end(), node->listValues.begin() + node->listStarts[list],
                    node->listValues.begin() + node->listStarts[list + 1]);
   }
   starts.push_back(static_cast<uint32_t>(values.size()));
   node->listStarts = std::move(starts);
   node->listValues = std::move(values);
}

uint64_t EstimateSnapshotBytes(const SnapshotTree &tree)
{
   constexpr uint64_t kPerVector = 16;  // length and alignment
   constexpr uint64_t kPerNode = 512;   // path, table, and a table of offsets
   constexpr uint64_t kPerFigure = 48;  // table, its place in the vector, and the name's length and alignment
   constexpr uint64_t kOfTheRest = 512; // root and trailer
   uint64_t bytes = kOfTheRest + tree.kernelBuild.size() + tree.host.size() + tree.notes.size();
   for (const KernelFigure &figure : tree.kernelDetail) {
      bytes += kPerFigure + figure.name.size();
   }
   for (const NodeTree &node : tree.nodes) {
      bytes += kPerNode + sizeof(uint32_t); // and the end of the last list
      for (const std::span<const uint8_t> vector : BytesOfVectors(node)) {
         bytes += kPerVector + vector.size();
      }
      // The orders, of keys of one word.
      bytes += (node.keys.size() + node.listKeys.size()) * sizeof(uint32_t);
   }
   return bytes + tree.textBytes + tree.texts.size() * (sizeof(uint32_t) + 1);
}

namespace {

// The number of keys in a table of rows; a table without keys has as many rows as there are answers.
size_t RowCount(const std::vector<uint64_t> &keys, size_t width, size_t answers)
{
   return width == 0 ? answers : keys.size() / width;
}

// The order that sorts the rows; empty when they are sorted already.
RowOrder SortingOrder(const KeyTable &keys)
{
   const auto inOrder = [&](size_t left, size_t right) {
      return CompareKeys(keys[left], keys[right], keys.width) < 0;
   };
   size_t sorted = 1;
   while (sorted < keys.count && inOrder(sorted - 1, sorted)) {
      sorted++;
   }
   RowOrder order;
   if (sorted < keys.count) {
      order.resize(keys.count);
      std::iota(order.begin(), order.end(), 0);
      std::stable_sort(order.begin(), order.end(), inOrder);
   }
   return order;
}

std::string NameInstance(const SnapshotTree &tree, std::span<const KeyDomain> domains, const uint64_t *keys)
{
   std::string name = "[";
   for (size_t i = 0; i < domains.size(); i++) {
      name += i > 0 ? ", " : "";
      name += IsTextKey(domains[i]) ? '"' + tree.texts[keys[i]] + '"'
                                    : std::to_string(static_cast<int64_t>(keys[i]));
   }
   return name + ']';
}

// The first key that the two sorted tables hold more than once between them, or null.
const uint64_t *FindRepeated(const KeyTable &left, const KeyTable &right)
{
   size_t i = 0;
   size_t j = 0;
   const uint64_t *previous = nullptr;
   while (i < left.count || j < right.count) {
      const bool fromLeft =
         j == right.count || (i < left.count && CompareKeys(left[i], right[j], left.width) <= 0);
      const uint64_t *next = fromLeft ? left[i++] : right[j++];
      if (i + j > 1 && CompareKeys(previous, next, left.width) == 0) {
         return next;
      }
      previous = next;
   }
   return nullptr;
}

bool RowsAreUnique(const SnapshotTree &tree, const NevraNodeDef &node, std::span<const KeyDomain> domains,
                   const KeyTable &good, const KeyTable &failed, std::string *problem)
{
   static constexpr uint64_t kNoKeys[1] = {};
   if (domains.empty()) {
      if (good.count + failed.count <= 1) {
         return true;
      }
      *problem = std::string(node.path) + ": duplicate instance " + NameInstance(tree, domains, kNoKeys);
      return false;
   }
   const uint64_t *repeated = FindRepeated(good, failed);
   if (repeated != nullptr) {
      *problem = std::string(node.path) + ": duplicate instance " + NameInstance(tree, domains, repeated);
   }
   return repeated == nullptr;
}

bool SortRecords(const SnapshotTree &tree, const NevraNodeDef &node, NodeTree *content, std::string *problem)
{
   const size_t width = node.recordKeys.size();
   const size_t stride = node.record != nullptr ? node.record->size : 1;
   const size_t count = RowCount(content->keys, width, content->records.size() / stride);
   const size_t failures = content->failedStatuses.size();
   RowOrder order = SortingOrder({content->keys.data(), width, count});
   Reorder(&content->keys, width, order);
   Reorder(&content->records, stride, order);
   order = SortingOrder({content->failedKeys.data(), width, failures});
   Reorder(&content->failedKeys, width, order);
   Reorder(&content->failedStatuses, 1, order);
   return RowsAreUnique(tree, node, node.recordKeys, {content->keys.data(), width, count},
                        {content->failedKeys.data(), width, failures}, problem);
}

bool SortLists(const SnapshotTree &tree, const NevraNodeDef &node, NodeTree *content, std::string *problem)
{
   const size_t width = node.listKeys.size();
   const size_t count = content->listStarts.size();
   const size_t failures = content->listFailedStatuses.size();
   RowOrder order = SortingOrder({content->listKeys.data(), width, count});
   Reorder(&content->listKeys, width, order);
   if (count > 0) {
      content->listStarts.push_back(static_cast<uint32_t>(content->listValues.size()));
   }
   ReorderLists(content, order);
   order = SortingOrder({content->listFailedKeys.data(), width, failures});
   Reorder(&content->listFailedKeys, width, order);
   Reorder(&content->listFailedStatuses, 1, order);
   return RowsAreUnique(tree, node, node.listKeys, {content->listKeys.data(), width, count},
                        {content->listFailedKeys.data(), width, failures}, problem);
}

// ---- texts

// Calls visit(&word) for every word of the tree that is the index of a text.
template <typename Visit>
void ForEachTextIn(std::vector<uint64_t> *words, std::span<const KeyDomain> domains, Visit visit)
{
   for (size_t i = 0; i < words->size(); i++) {
      if (IsTextKey(domains[i % domains.size()])) {
         visit(&(*words)[i]);
      }
   }
}

template <typename Visit> void ForEachText(SnapshotTree *tree, Visit visit)
{
   for (const NevraNodeDef &node : Definitions()) {
      NodeTree &content = tree->nodes[static_cast<size_t>(node.id)];
      ForEachTextIn(&content.keys, node.recordKeys, visit);
      ForEachTextIn(&content.failedKeys, node.recordKeys, visit);
      ForEachTextIn(&content.listKeys, node.listKeys, visit);
      ForEachTextIn(&content.listFailedKeys, node.listKeys, visit);
      ForEachTextIn(&content.listValues, {&node.listed, 1}, visit);
   }
}

// Sorts the texts, and drops those that no key or value names.
void SortTexts(SnapshotTree *tree)
{
   std::vector<bool> isUsed(tree->texts.size());
   ForEachText(tree, [&](const uint64_t *word) { isUsed[*word] = true; });
   std::vector<uint64_t> order;
   for (uint64_t i = 0; i < tree->texts.size(); i++) {
      if (isUsed[i]) {
         order.push_back(i);
      }
   }
   std::sort(order.begin(), order.end(),
             [&](uint64_t left, uint64_t right) { return tree->texts[left] < tree->texts[right]; });
   std::vector<uint64_t> numbers(tree->texts.size());
   std::deque<std::string> texts;
   tree->textIndexes.clear();
   tree->textBytes = 0;
   for (uint64_t i = 0; i < order.size(); i++) {
      numbers[order[i]] = i;
      texts.push_back(std::move(tree->texts[order[i]]));
      tree->textBytes += texts.back().size();
      tree->textIndexes.emplace_hint(tree->textIndexes.end(), texts.back(), i);
   }
   tree->texts = std::move(texts);
   ForEachText(tree, [&](uint64_t *word) { *word = numbers[*word]; });
}

} // namespace

bool SortSnapshotTree(SnapshotTree *tree, std::string *problem)
{
   SortTexts(tree);
   for (const NevraNodeDef &node : Definitions()) {
      NodeTree *content = &tree->nodes[static_cast<size_t>(node.id)];
      if (!SortRecords(*tree, node, content, problem) || !SortLists(*tree, node, content, problem)) {
         return false;
      }
   }
   return true;
}

} // namespace nevra
