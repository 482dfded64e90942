#include "snapshot-tool/snapshot_diff.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>
#include <string>

#include "nevra/shown_text.h"
#include "snapshot-tool/json_export.h"
#include "snapshot-tool/json_text.h"

namespace {

using nevra::KeyTable;
using nevra::RecordField;
using nevra::RecordLayout;
using nevra::SnapshotFile;
using nevra::SnapshotKeyShape;
using nevra::SnapshotNode;

struct Diff {
   const SnapshotFile &left;
   const SnapshotFile &right;
   FILE *output;
   Progress *progress;
   uint64_t compared;
   uint64_t differences;
};

// The answers of one node, records or listings, in the order of their keys: those that succeeded and those
// that failed, side by side.
struct Answers {
   const SnapshotFile *file;
   const SnapshotNode *node;
   SnapshotKeyShape shape;
   KeyTable good;
   KeyTable failed;
   std::span<const uint32_t> statuses;
   size_t nextGood = 0;
   size_t nextFailed = 0;

   size_t GoodPosition() const { return good.Ascending(nextGood); }
   bool IsAtEnd() const { return nextGood == good.count && nextFailed == failed.count; }
   bool NextHasFailed() const
   {
      return nextGood == good.count ||
             (nextFailed < failed.count &&
              nevra::CompareKeys(failed[nextFailed], good[GoodPosition()], shape.count) < 0);
   }
   const uint64_t *Keys() const { return NextHasFailed() ? failed[nextFailed] : good[GoodPosition()]; }
   uint32_t Status() const { return NextHasFailed() ? statuses[nextFailed] : NEVRA_OK; }
   void Advance() { NextHasFailed() ? nextFailed++ : nextGood++; }
};

Answers RecordsOf(const SnapshotFile &file, const SnapshotNode &node)
{
   return {&file, &node, node.recordShape, node.keys, node.failedKeys, node.failedStatuses};
}

Answers ListsOf(const SnapshotFile &file, const SnapshotNode &node)
{
   return {&file, &node, node.listShape, node.listKeys, node.listFailedKeys, node.listFailedStatuses};
}

// The order of two keys of two files, whose texts have different numbers.
int CompareAcross(const Answers &left, const Answers &right)
{
   const uint64_t *leftKeys = left.Keys();
   const uint64_t *rightKeys = right.Keys();
   for (size_t i = 0; i < left.shape.count; i++) {
      const int order = left.shape.IsText(i)
                           ? std::strcmp(TextAt(*left.file, leftKeys[i]), TextAt(*right.file, rightKeys[i]))
                           : nevra::CompareKeys(leftKeys + i, rightKeys + i, 1);
      if (order != 0) {
         return order;
      }
   }
   return 0;
}

std::string NameOf(const Answers &answers)
{
   std::string name = nevra::ShownText(answers.node->path);
   if (answers.shape.count > 0) {
      name += ' ' + WordsAsJson(*answers.file, {answers.Keys(), answers.shape.count}, answers.shape);
   }
   return name;
}

std::string StatusText(uint32_t status)
{
   char text[32];
   std::snprintf(text, sizeof text, "status 0x%" PRIx32, status);
   return text;
}

void Report(Diff &diff, const std::string &what, const std::string &left, const std::string &right)
{
   std::fprintf(diff.output, "%s: %s -> %s\n", what.c_str(), left.c_str(), right.c_str());
   diff.differences++;
}

void ReportSingle(Diff &diff, const std::string &what, bool isLeft)
{
   std::fprintf(diff.output, "%s: only in %s\n", what.c_str(), isLeft ? "A" : "B");
   diff.differences++;
}

void CompareFields(Diff &diff, const std::string &name, const RecordLayout &layout, const uint8_t *left,
                   const uint8_t *right)
{
   for (const RecordField &field : layout.fields) {
      for (uint32_t i = 0; i < field.count; i++) {
         const size_t offset = field.offset + field.size * size_t{i};
         if (std::memcmp(left + offset, right + offset, field.size) == 0) {
            continue;
         }
         const std::string element =
            name + field.name + (field.count > 1 ? '[' + std::to_string(i) + ']' : std::string());
         if (field.kind == nevra::FieldKind::Structure) {
            CompareFields(diff, element + '.', *field.structure, left + offset, right + offset);
         } else {
            Report(diff, element, FieldAsJson(field, left + offset), FieldAsJson(field, right + offset));
         }
      }
   }
}

void CompareRecords(Diff &diff, const Answers &left, const Answers &right)
{
   const size_t size = left.node->recordSize;
   const uint8_t *leftRecord = left.node->records.data() + left.GoodPosition() * size;
   const uint8_t *rightRecord = right.node->records.data() + right.GoodPosition() * size;
   if (std::memcmp(leftRecord, rightRecord, size) == 0) {
      return;
   }
   if (left.node->fit.records) {
      CompareFields(diff, NameOf(left) + ' ', *left.node->fit.definition->record, leftRecord, rightRecord);
   } else {
      Report(diff, NameOf(left), HexOfBytes({reinterpret_cast<const char *>(leftRecord), size}),
             HexOfBytes({reinterpret_cast<const char *>(rightRecord), size}));
   }
}

void CompareLists(Diff &diff, const Answers &left, const Answers &right)
{
   std::span<const uint64_t> leftValues;
   std::span<const uint64_t> rightValues;
   ListAt(*left.node, left.GoodPosition(), &leftValues);
   ListAt(*right.node, right.GoodPosition(), &rightValues);
   const std::string leftText = ListAsJson(*left.file, leftValues, left.node->listsTexts);
   const std::string rightText = ListAsJson(*right.file, rightValues, right.node->listsTexts);
   if (leftText != rightText) {
      Report(diff, NameOf(left) + " instances", leftText, rightText);
   }
}

using CompareContents = void (*)(Diff &, const Answers &, const Answers &);

void CompareAnswer(Diff &diff, const Answers &left, const Answers &right, const char *kind,
                   CompareContents compareContents)
{
   if (left.NextHasFailed() || right.NextHasFailed()) {
      if (left.Status() != right.Status()) {
         Report(diff, NameOf(left) + kind, StatusText(left.Status()), StatusText(right.Status()));
      }
   } else {
      compareContents(diff, left, right);
   }
}

void CompareAnswers(Diff &diff, Answers left, Answers right, const char *kind,
                    CompareContents compareContents)
{
   while (!left.IsAtEnd() || !right.IsAtEnd()) {
      const int order = left.IsAtEnd() ? 1 : right.IsAtEnd() ? -1 : CompareAcross(left, right);
      if (order == 0) {
         CompareAnswer(diff, left, right, kind, compareContents);
      } else {
         ReportSingle(diff, NameOf(order < 0 ? left : right) + kind, order < 0);
      }
      if (order <= 0) {
         left.Advance();
      }
      if (order >= 0) {
         right.Advance();
      }
      diff.progress->Update(++diff.compared, 0);
   }
}

void CompareNodes(Diff &diff, const SnapshotNode &left, const SnapshotNode &right)
{
   if (left.definition != right.definition || left.recordSize != right.recordSize ||
       left.recordShape != right.recordShape || left.listShape != right.listShape ||
       left.listsTexts != right.listsTexts) {
      std::fprintf(diff.output, "%s: defined otherwise\n", nevra::ShownText(left.path).c_str());
      diff.differences++;
      return;
   }
   CompareAnswers(diff, RecordsOf(diff.left, left), RecordsOf(diff.right, right), "", CompareRecords);
   CompareAnswers(diff, ListsOf(diff.left, left), ListsOf(diff.right, right), " instances", CompareLists);
}

const SnapshotNode *FindNode(const SnapshotFile &file, const char *path)
{
   const auto found = std::find_if(file.nodes.begin(), file.nodes.end(), [&](const SnapshotNode &node) {
      return std::strcmp(node.path, path) == 0;
   });
   return found != file.nodes.end() ? &*found : nullptr;
}

void CompareHeaders(Diff &diff)
{
   const struct {
      const char *name;
      const char *left;
      const char *right;
   } facts[] = {{"definitionSignature", diff.left.signature, diff.right.signature},
                {"kernelBuild", diff.left.kernelBuild, diff.right.kernelBuild},
                {"host", diff.left.host, diff.right.host}};
   for (const auto &fact : facts) {
      if (std::strcmp(fact.left, fact.right) != 0) {
         Report(diff, fact.name, TextAsJson(fact.left), TextAsJson(fact.right));
      }
   }
}

// Of a snapshot that has none, it is one difference.
void CompareKernelDetail(Diff &diff)
{
   const nevra::KernelFigures &left = diff.left.kernelDetail;
   const nevra::KernelFigures &right = diff.right.kernelDetail;
   if (left.empty() != right.empty()) {
      ReportSingle(diff, "kernelDetail", right.empty());
      return;
   }
   for (const nevra::KernelFigure &figure : left) {
      const nevra::KernelFigure *other = FindKernelFigure(right, figure.name);
      if (other == nullptr) {
         ReportSingle(diff, "kernelDetail " + figure.name, true);
      } else if (other->kb != figure.kb) {
         Report(diff, "kernelDetail " + figure.name, std::to_string(figure.kb), std::to_string(other->kb));
      }
   }
   for (const nevra::KernelFigure &figure : right) {
      if (FindKernelFigure(left, figure.name) == nullptr) {
         ReportSingle(diff, "kernelDetail " + figure.name, false);
      }
   }
}

} // namespace

uint64_t DiffSnapshots(const SnapshotFile &left, const SnapshotFile &right, FILE *output, Progress *progress)
{
   Diff diff = {left, right, output, progress, 0, 0};
   CompareHeaders(diff);
   CompareKernelDetail(diff);
   for (const SnapshotNode &node : left.nodes) {
      const SnapshotNode *other = FindNode(right, node.path);
      if (other != nullptr) {
         CompareNodes(diff, node, *other);
      } else {
         ReportSingle(diff, nevra::ShownText(node.path), true);
      }
   }
   for (const SnapshotNode &node : right.nodes) {
      if (FindNode(left, node.path) == nullptr) {
         ReportSingle(diff, nevra::ShownText(node.path), false);
      }
   }
   return diff.differences;
}
