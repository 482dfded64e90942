#include "nevra/snapshot/snapshot_check.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <string_view>
#include <vector>

#include "nevra/records.h"
#include "nevra/shown_text.h"
#include "nevra/snapshot/group_tree_check.h"
#include "nevra/snapshot/snapshot_checksum.h"
#include "nevra/snapshot/snapshot_format.h"
#include "nevra/snapshot/snapshot_vectors.h"

namespace nevra {

namespace {

bool Fails(std::string *problem, std::string text)
{
   *problem = std::move(text);
   return false;
}

// The result of a check, whose problem is damage to those who did not make the file.
bool OrDamaged(bool holds, std::string *problem)
{
   if (!holds) {
      problem->insert(0, "damaged: ");
   }
   return holds;
}

// The length in front of a vector, in elements: other readers go by it.
template <typename Element> bool HasLength(std::span<const Element> vector)
{
   uint32_t stored;
   if (vector.empty()) {
      return true;
   }
   std::memcpy(&stored, reinterpret_cast<const uint8_t *>(vector.data()) - sizeof stored, sizeof stored);
   return stored == vector.size();
}

bool HasLength(const KeyTable &keys)
{
   return HasLength(std::span(keys.words, keys.count * keys.width));
}

// ---- texts

bool TextsHold(const SnapshotFile &file, std::string *problem)
{
   const std::array vectors = {VectorBytes(file.textOffsets), VectorBytes(file.textBytes)};
   if (ChecksumOfVectors(vectors) != file.textChecksum) {
      return Fails(problem, "texts: checksum mismatch");
   }
   return (HasLength(file.textOffsets) && HasLength(file.textBytes)) ||
          Fails(problem, "texts: vector length mismatch");
}

// Each text starts where the one before it ends, so that together they are as long as their bytes.
bool TextsAreInOrder(const SnapshotFile &file, std::string *problem)
{
   const auto *bytes = reinterpret_cast<const char *>(file.textBytes.data());
   std::string_view previous;
   size_t end = 0;
   for (size_t i = 0; i < file.textOffsets.size(); i++) {
      if (file.textOffsets[i] != end) {
         return Fails(problem, "text " + std::to_string(i) + ": does not follow the one before");
      }
      const size_t room = std::min(file.textBytes.size() - end, kMaxSnapshotText + 1);
      const std::string_view text(bytes + end, strnlen(bytes + end, room));
      if (text.size() == room) {
         return Fails(problem, "text " + std::to_string(i) + ": too long or not terminated");
      }
      if (i > 0 && previous >= text) {
         return Fails(problem, "text " + std::to_string(i) + ": out of order");
      }
      // It is a key, and would not be found again under another name.
      if (!IsShownText(text)) {
         char shown[kMaxSnapshotText + 1];
         StoreShownText(shown, sizeof shown, text);
         return Fails(problem, std::string("text \"") + shown + "\": not printable");
      }
      previous = text;
      end += text.size() + 1;
   }
   return end == file.textBytes.size() || Fails(problem, "texts: bytes after the last text");
}

// ---- keys

bool AreSorted(const KeyTable &keys)
{
   if (keys.width != 1 || keys.order != nullptr) {
      // With all of them in ascending order, none is left out of an order.
      for (size_t i = 1; i < keys.count; i++) {
         if (CompareKeys(keys[keys.Ascending(i - 1)], keys[keys.Ascending(i)], keys.width) >= 0) {
            return false;
         }
      }
      return true;
   }
   // Without a branch a key: most nodes have one key, and all of it lies in one vector.
   bool areSorted = true;
   for (size_t i = 1; i < keys.count; i++) {
      areSorted &= static_cast<int64_t>(keys.words[i - 1]) < static_cast<int64_t>(keys.words[i]);
   }
   return areSorted;
}

bool IsOrderInside(const KeyTable &keys)
{
   return keys.order == nullptr || std::all_of(keys.order, keys.order + keys.count,
                                               [&](uint32_t position) { return position < keys.count; });
}

// No key is in both tables; both ascend.
bool AreApart(const KeyTable &left, const KeyTable &right)
{
   for (size_t i = 0, j = 0; i < left.count && j < right.count;) {
      const int order = CompareKeys(left[left.Ascending(i)], right[right.Ascending(j)], left.width);
      if (order == 0) {
         return false;
      }
      (order < 0 ? i : j)++;
   }
   return true;
}

bool TextKeysExist(const SnapshotFile &file, const KeyTable &keys, SnapshotKeyShape shape)
{
   for (size_t i = 0; shape.texts != 0 && i < keys.count; i++) {
      for (size_t k = 0; k < keys.width; k++) {
         if (shape.IsText(k) && keys[i][k] >= file.textOffsets.size()) {
            return false;
         }
      }
   }
   return true;
}

// What is wrong with the keys of what was answered and of what failed, or null.
const char *ProblemOfKeys(const SnapshotFile &file, const KeyTable &good, const KeyTable &failed,
                          SnapshotKeyShape shape)
{
   if (!IsOrderInside(good) || !AreSorted(good) || !AreSorted(failed)) {
      return "keys out of order";
   }
   if (!AreApart(good, failed)) {
      return "key answered twice";
   }
   if (!TextKeysExist(file, good, shape) || !TextKeysExist(file, failed, shape)) {
      return "key outside the texts";
   }
   return nullptr;
}

// ---- lists

bool StartsAreInOrder(const SnapshotNode &node)
{
   if (node.listStarts.empty()) {
      return node.listValues.empty();
   }
   uint32_t previous = 0;
   bool areInOrder = true;
   for (const uint32_t start : node.listStarts) {
      areInOrder &= previous <= start;
      previous = start;
   }
   return areInOrder && node.listStarts.front() == 0 && previous == node.listValues.size();
}

bool ValuesExist(const SnapshotFile &file, const SnapshotNode &node)
{
   return !node.listsTexts || std::all_of(node.listValues.begin(), node.listValues.end(),
                                          [&](uint64_t value) { return value < file.textOffsets.size(); });
}

bool IsAscending(std::span<const uint64_t> values)
{
   return std::adjacent_find(values.begin(), values.end(), std::greater_equal<>()) == values.end();
}

bool HasRepeated(std::span<const uint64_t> values, std::vector<uint64_t> *scratch)
{
   if (IsAscending(values)) {
      return false;
   }
   scratch->assign(values.begin(), values.end());
   std::sort(scratch->begin(), scratch->end());
   return std::adjacent_find(scratch->begin(), scratch->end()) != scratch->end();
}

// An instance that is listed twice is shown twice, and what is below it, too: were that to go on below, a
// report would be the longer by a power of the file.
bool ListsRepeat(const SnapshotNode &node, bool acrossLists)
{
   std::vector<uint64_t> scratch;
   if (acrossLists) {
      return HasRepeated(node.listValues, &scratch);
   }
   for (size_t i = 0; i < node.listKeys.count; i++) {
      std::span<const uint64_t> values;
      if (!ListAt(node, i, &values) || HasRepeated(values, &scratch)) {
         return true;
      }
   }
   return false;
}

bool CheckLists(const SnapshotFile &file, const SnapshotNode &node, std::string *problem)
{
   const std::string path = node.path;
   if (!StartsAreInOrder(node)) {
      return Fails(problem, path + ": list starts out of order");
   }
   if (!ValuesExist(file, node)) {
      return Fails(problem, path + ": list outside the texts");
   }
   const KeyDomain listed = node.fit.lists ? node.fit.definition->listed : KeyDomain::None;
   if (listed == KeyDomain::Group) {
      std::string what;
      return IsGroupTree(node, &what) || Fails(problem, path + ": " + what);
   }
   return !ListsRepeat(node, listed == KeyDomain::MemClient) ||
          Fails(problem, path + ": lists an instance twice");
}

// ---- nodes

bool HaveFailed(std::span<const uint32_t> statuses)
{
   return std::find(statuses.begin(), statuses.end(), NEVRA_OK) == statuses.end();
}

bool RecordsHold(const SnapshotNode &node)
{
   if (!node.fit.records || node.fit.definition->id != NodeId::memory_memInfo) {
      return true;
   }
   for (size_t i = 0; i < node.keys.count; i++) {
      if (!CountsHold(*node.fit.definition, node.records.data() + i * node.recordSize)) {
         return false;
      }
   }
   return true;
}

bool CheckNodeContent(const SnapshotFile &file, const SnapshotNode &node, std::string *problem)
{
   const std::string path = node.path;
   for (const char *what : {ProblemOfKeys(file, node.keys, node.failedKeys, node.recordShape),
                            ProblemOfKeys(file, node.listKeys, node.listFailedKeys, node.listShape)}) {
      if (what != nullptr) {
         return Fails(problem, path + ": " + what);
      }
   }
   if (!HaveFailed(node.failedStatuses) || !HaveFailed(node.listFailedStatuses)) {
      return Fails(problem, path + ": failure with the status of success");
   }
   if (!RecordsHold(node)) {
      return Fails(problem, path + ": more memory nodes than a host can have");
   }
   return CheckLists(file, node, problem);
}

bool LengthsHold(const SnapshotNode &node)
{
   bool hold = true;
#define NEVRA_LENGTH_HOLDS(member, field, FIELD, Element) hold = hold && HasLength(node.member);
   NEVRA_SNAPSHOT_VECTORS(NEVRA_LENGTH_HOLDS)
#undef NEVRA_LENGTH_HOLDS
   return hold;
}

bool NodeHolds(const SnapshotNode &node, std::string *problem)
{
   const NodeVectorBytes vectors = BytesOfVectors(node);
   if (ChecksumOfVectors(std::span(vectors).first(node.vectorCount)) != node.checksum) {
      return Fails(problem, std::string(node.path) + ": checksum mismatch");
   }
   return LengthsHold(node) || Fails(problem, std::string(node.path) + ": vector length mismatch");
}

} // namespace

bool CountsHold(const NevraNodeDef &node, const uint8_t *record)
{
   if (node.id != NodeId::memory_memInfo) {
      return true;
   }
   MemInfoRecord info;
   std::memcpy(&info, record, sizeof info);
   return info.numMemNodes <= kMaxMemNodes;
}

bool CheckTexts(const SnapshotFile &file, std::string *problem)
{
   return OrDamaged(TextsHold(file, problem) && TextsAreInOrder(file, problem), problem);
}

bool CheckNode(const SnapshotFile &file, const SnapshotNode &node, std::string *problem)
{
   return OrDamaged(NodeHolds(node, problem) && CheckNodeContent(file, node, problem), problem);
}

bool CheckContent(const SnapshotFile &file, std::string *problem)
{
   return TextsAreInOrder(file, problem) &&
          std::all_of(file.nodes.begin(), file.nodes.end(),
                      [&](const SnapshotNode &node) { return CheckNodeContent(file, node, problem); });
}

} // namespace nevra
