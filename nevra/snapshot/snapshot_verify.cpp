#include "nevra/snapshot/snapshot_verify.h"

#include <algorithm>
#include <cstring>

#include "nevra/snapshot/snapshot_checksum.h"
#include "nevra/snapshot/snapshot_format.h"
#include "snapshot_generated.h"

namespace nevra {

namespace {

bool Fails(std::string *problem, std::string text)
{
   *problem = "damaged: " + std::move(text);
   return false;
}

bool FileChecksumHolds(const SnapshotFile &file)
{
   snapshot::Trailer trailer;
   const size_t size = file.size - sizeof trailer;
   std::memcpy(static_cast<void *>(&trailer), file.bytes.get() + size, sizeof trailer);
   return ChecksumOfBytes(file.bytes.get(), size) == trailer.file_checksum();
}

bool VerifyTexts(const SnapshotFile &file, std::string *problem)
{
   if (!TextsHold(file)) {
      return Fails(problem, "the texts' checksum does not hold");
   }
   const char *previous = nullptr;
   for (size_t i = 0; i < file.textOffsets.size(); i++) {
      const char *text = TextAt(file, i);
      if (text == nullptr) {
         return Fails(problem, "text " + std::to_string(i) + " lies outside the texts");
      }
      if (previous != nullptr && std::strcmp(previous, text) >= 0) {
         return Fails(problem, "text " + std::to_string(i) + " is out of order");
      }
      previous = text;
   }
   return true;
}

bool AreSorted(const KeyTable &keys)
{
   for (size_t i = 1; i < keys.count; i++) {
      if (CompareKeys(keys[i - 1], keys[i], keys.width) >= 0) {
         return false;
      }
   }
   return true;
}

// No key is in both tables; both are sorted.
bool AreApart(const KeyTable &left, const KeyTable &right)
{
   for (size_t i = 0, j = 0; i < left.count && j < right.count;) {
      const int order = CompareKeys(left[i], right[j], left.width);
      if (order == 0) {
         return false;
      }
      (order < 0 ? i : j)++;
   }
   return true;
}

bool TextKeysExist(const SnapshotFile &file, const KeyTable &keys, SnapshotKeyShape shape)
{
   for (size_t i = 0; i < keys.count; i++) {
      for (size_t k = 0; k < keys.width; k++) {
         if (shape.IsText(k) && TextAt(file, keys[i][k]) == nullptr) {
            return false;
         }
      }
   }
   return true;
}

bool VerifyKeys(const SnapshotFile &file, const KeyTable &good, const KeyTable &failed,
                SnapshotKeyShape shape)
{
   return AreSorted(good) && AreSorted(failed) && AreApart(good, failed) &&
          TextKeysExist(file, good, shape) && TextKeysExist(file, failed, shape);
}

bool VerifyLists(const SnapshotFile &file, const SnapshotNode &node)
{
   size_t listed = 0;
   for (size_t i = 0; i < node.listKeys.count; i++) {
      std::span<const uint64_t> values;
      if (node.listStarts[i] != listed || !ListAt(node, i, &values)) {
         return false;
      }
      listed += values.size();
   }
   return listed == node.listValues.size() &&
          (!node.listsTexts || std::all_of(node.listValues.begin(), node.listValues.end(),
                                           [&](uint64_t value) { return TextAt(file, value) != nullptr; }));
}

bool HaveFailed(std::span<const uint32_t> statuses)
{
   return std::find(statuses.begin(), statuses.end(), NEVRA_OK) == statuses.end();
}

bool VerifyNode(const SnapshotFile &file, const SnapshotNode &node, std::string *problem)
{
   const std::string path = node.path;
   if (!NodeHolds(node)) {
      return Fails(problem, "the checksum of " + path + " does not hold");
   }
   if (!VerifyKeys(file, node.keys, node.failedKeys, node.recordShape) ||
       !VerifyKeys(file, node.listKeys, node.listFailedKeys, node.listShape)) {
      return Fails(problem, "the keys of " + path + " are out of order or point outside the texts");
   }
   if (!VerifyLists(file, node)) {
      return Fails(problem, "the lists of " + path + " point outside their values or the texts");
   }
   if (!HaveFailed(node.failedStatuses) || !HaveFailed(node.listFailedStatuses)) {
      return Fails(problem, "a failure of " + path + " has the status of success");
   }
   return true;
}

} // namespace

bool VerifySnapshot(const SnapshotFile &file, std::string *problem,
                    const std::function<void(uint64_t, uint64_t)> &progress)
{
   if (!VerifyTexts(file, problem)) {
      return false;
   }
   uint64_t done = 0;
   for (const SnapshotNode &node : file.nodes) {
      if (!VerifyNode(file, node, problem)) {
         return false;
      }
      if (progress) {
         progress(++done, file.nodes.size() + 1);
      }
   }
   return FileChecksumHolds(file) || Fails(problem, "the file's checksum does not hold");
}

} // namespace nevra
