#include "nevra/snapshot/snapshot_source.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "nevra/shown_text.h"
#include "nevra/snapshot/snapshot_check.h"
#include "nevra/snapshot/snapshot_file.h"
#include "nevra/snapshot/snapshot_format.h"

namespace nevra {

namespace {

enum class Trust : uint8_t { Unknown, Holds, Broken };

// Where a record has a text.
struct TextField {
   uint32_t offset;
   uint32_t size;
};

void AddTextFields(const RecordLayout &layout, uint32_t start, std::vector<TextField> *fields)
{
   for (const RecordField &field : layout.fields) {
      for (uint32_t i = 0; i < field.count; i++) {
         const uint32_t offset = start + field.offset + i * field.size;
         if (field.kind == FieldKind::Structure) {
            AddTextFields(*field.structure, offset, fields);
         } else if (field.kind == FieldKind::Text) {
            fields->push_back({offset, field.size});
         }
      }
   }
}

// Makes the texts of a record fit to be shown, and ends them: who made the snapshot chose them.
void ShowTexts(const std::vector<TextField> &fields, void *record)
{
   for (const TextField &field : fields) {
      char *text = static_cast<char *>(record) + field.offset;
      const size_t length = strnlen(text, field.size);
      if (length == field.size || !IsShownText({text, length})) {
         StoreShownText(text, field.size, std::string(text, length));
      }
   }
}

// What the snapshot has for one node of the definitions.
struct NodeAnswers {
   SnapshotNode *node = nullptr;      // null: nothing
   std::vector<TextField> textFields; // of its records
   Trust trust = Trust::Unknown;
};

class SnapshotSource : public Source {
 public:
   SnapshotSource(SnapshotFile opened, const char *path) : file(std::move(opened)), name(path)
   {
      StoreShownText(kernelBuild, sizeof kernelBuild, file.kernelBuild);
      for (SnapshotNode &node : file.nodes) {
         if (node.fit.definition != nullptr) {
            nodes[static_cast<size_t>(node.fit.definition->id)].node = &node;
         }
      }
   }

   NevraStatus Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record) override;
   NevraStatus List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                    Nevra_ParamList &instances) override;
   NevraStatus Set(const NevraNodeDef &, const Nevra_ParamList &, const Nevra_ParamList &) override
   {
      return NEVRA_NOT_SUPPORTED;
   }
   KernelFigures KernelDetail() override { return file.kernelDetail; }
   const char *Signature() const override { return file.signature; }
   const char *KernelBuildText() const override { return kernelBuild; }

 private:
   NevraStatus Enter(const NevraNodeDef &node, bool DefinitionFit::*what, NodeAnswers **answers);
   void Check(const NevraNodeDef &node, NodeAnswers *found);
   NevraStatus EnterTexts();
   void ShareKeys(KeyTable *table);
   NevraStatus Refuse(const std::string &problem) const;
   NevraStatus TakeKeys(const Nevra_ParamList &keys, SnapshotKeyShape shape, uint64_t *words);
   size_t Find(const KeyTable &table, const uint64_t *words);
   void FetchAhead(const KeyTable &table) const;
   NevraStatus FindFailure(const KeyTable &table, std::span<const uint32_t> statuses,
                           const uint64_t *words) const;
   NevraStatus AppendTexts(std::span<const uint64_t> values, Nevra_ParamList &instances);

   SnapshotFile file;
   std::string name;
   char kernelBuild[64];
   NodeAnswers nodes[kNodeCount];
   std::vector<const SnapshotNode *> nodesInUse;
   std::vector<KeyTable> keysInUse; // all different
   Trust textTrust = Trust::Unknown;
   // A report reads many nodes of one instance and then the next instance's, and their tables are much alike:
   // where a key was found last is where to look for the next one, in every table.
   size_t lastPosition = 0;
   size_t lastText = 0;
};

NevraStatus SnapshotSource::Refuse(const std::string &problem) const
{
   Warning("%s: %s\n", name.c_str(), problem.c_str());
   return NEVRA_READ_ERROR;
}

// Many nodes have the same instances. Where their keys are the same they are looked up in one copy, which the
// processor's caches then keep.
void SnapshotSource::ShareKeys(KeyTable *table)
{
   for (const KeyTable &other : keysInUse) {
      if (SameKeys(*table, other)) {
         *table = other;
         return;
      }
   }
   keysInUse.push_back(*table);
}

// Checks a node and gets it ready to be read.
void SnapshotSource::Check(const NevraNodeDef &node, NodeAnswers *found)
{
   std::string problem;
   if (!CheckNode(file, *found->node, &problem)) {
      found->trust = Trust::Broken;
      Refuse(problem);
      return;
   }
   found->trust = Trust::Holds;
   if (node.record != nullptr) {
      AddTextFields(*node.record, 0, &found->textFields);
   }
   ShareKeys(&found->node->keys);
   ShareKeys(&found->node->listKeys);
   nodesInUse.push_back(found->node);
}

// Before the first read of a node, it is checked. `what` is to be read, the records or the lists.
NevraStatus SnapshotSource::Enter(const NevraNodeDef &node, bool DefinitionFit::*what, NodeAnswers **answers)
{
   NodeAnswers &found = nodes[static_cast<size_t>(node.id)];
   *answers = &found;
   if (found.node == nullptr) {
      return NEVRA_NOT_FOUND;
   }
   if (!(found.node->fit.*what)) {
      return NEVRA_BAD_PARAMETER;
   }
   if (found.trust == Trust::Unknown) {
      Check(node, &found);
   }
   return found.trust == Trust::Holds ? NEVRA_OK : NEVRA_READ_ERROR;
}

NevraStatus SnapshotSource::EnterTexts()
{
   if (textTrust == Trust::Unknown) {
      std::string problem;
      if (!CheckTexts(file, &problem)) {
         textTrust = Trust::Broken;
         return Refuse(problem);
      }
      textTrust = Trust::Holds;
   }
   return textTrust == Trust::Holds ? NEVRA_OK : NEVRA_READ_ERROR;
}

// Turns keys into the words of a table; "Not found" for a text that the snapshot does not have.
NevraStatus SnapshotSource::TakeKeys(const Nevra_ParamList &keys, SnapshotKeyShape shape, uint64_t *words)
{
   if (shape.texts != 0) {
      const NevraStatus status = EnterTexts();
      if (status != NEVRA_OK) {
         return status;
      }
   }
   for (uint32_t i = 0; i < shape.count; i++) {
      if (!shape.IsText(i)) {
         words[i] = static_cast<uint64_t>(keys[i].integer);
         continue;
      }
      const size_t index = FindText(file, keys[i].text, lastText);
      if (index == kNoPosition) {
         return NEVRA_NOT_FOUND;
      }
      lastText = index;
      words[i] = index;
   }
   return NEVRA_OK;
}

size_t SnapshotSource::Find(const KeyTable &table, const uint64_t *words)
{
   const size_t position = FindKey(table, words, lastPosition);
   if (position == kNoPosition || position == lastPosition) {
      return position;
   }
   // One after the other, the processor sees for itself what comes next.
   const bool isNext = position == lastPosition + 1;
   lastPosition = position;
   if (!isNext) {
      FetchAhead(table);
   }
   return position;
}

// A report reads all of one instance before the next. Touching its records together has the processor get
// them from memory at once, instead of one after the other as they are read; by loads, since it drops a
// prefetch whose page it does not know yet.
void SnapshotSource::FetchAhead(const KeyTable &table) const
{
   constexpr size_t kCacheLine = 64;
   for (const SnapshotNode *node : nodesInUse) {
      if (node->keys.words != table.words || node->keys.count != table.count) {
         continue;
      }
      const volatile uint8_t *record = node->records.data() + lastPosition * node->recordSize;
      for (size_t offset = 0; offset < node->recordSize; offset += kCacheLine) {
         (void)record[offset];
      }
   }
}

// The status that the snapshot has for an instance without content.
NevraStatus SnapshotSource::FindFailure(const KeyTable &table, std::span<const uint32_t> statuses,
                                        const uint64_t *words) const
{
   const size_t position = FindKey(table, words, lastPosition);
   if (position == kNoPosition) {
      return NEVRA_NOT_FOUND;
   }
   return statuses[position] != NEVRA_OK ? statuses[position] : NEVRA_READ_ERROR;
}

NevraStatus SnapshotSource::Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record)
{
   NodeAnswers *answers;
   NevraStatus status = Enter(node, &DefinitionFit::records, &answers);
   if (status != NEVRA_OK) {
      return status;
   }
   const SnapshotNode &found = *answers->node;
   uint64_t words[kMaxKeys];
   status = TakeKeys(keys, found.recordShape, words);
   if (status != NEVRA_OK) {
      return status;
   }
   const size_t position = Find(found.keys, words);
   if (position == kNoPosition) {
      return FindFailure(found.failedKeys, found.failedStatuses, words);
   }
   std::memcpy(record, found.records.data() + position * found.recordSize, found.recordSize);
   ShowTexts(answers->textFields, record);
   return NEVRA_OK;
}

NevraStatus SnapshotSource::List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                                 Nevra_ParamList &instances)
{
   NodeAnswers *answers;
   NevraStatus status = Enter(node, &DefinitionFit::lists, &answers);
   if (status != NEVRA_OK) {
      return status;
   }
   const SnapshotNode &found = *answers->node;
   uint64_t words[kMaxKeys];
   status = TakeKeys(keys, found.listShape, words);
   if (status != NEVRA_OK) {
      return status;
   }
   const size_t position = Find(found.listKeys, words);
   if (position == kNoPosition) {
      return FindFailure(found.listFailedKeys, found.listFailedStatuses, words);
   }
   std::span<const uint64_t> values;
   if (!ListAt(found, position, &values)) {
      return NEVRA_READ_ERROR; // the file was written to since it was checked
   }
   const uint32_t room = instances.capacity - instances.Used();
   const size_t count = std::min<size_t>(values.size(), room);
   if (!instances.Reserve(instances.Used() + static_cast<uint32_t>(count), 0)) {
      return NEVRA_OUT_OF_MEMORY;
   }
   if (found.listsTexts) {
      return AppendTexts(values.first(count), instances);
   }
   for (const uint64_t value : values.first(count)) {
      instances.AddInt(static_cast<int64_t>(value));
   }
   return NEVRA_OK;
}

NevraStatus SnapshotSource::AppendTexts(std::span<const uint64_t> values, Nevra_ParamList &instances)
{
   const NevraStatus status = EnterTexts();
   if (status != NEVRA_OK) {
      return status;
   }
   for (const uint64_t value : values) {
      const char *text = TextAt(file, value);
      if (text == nullptr) {
         return NEVRA_READ_ERROR; // the file was written to since it was checked
      }
      // Copied: the caller may rely on it staying as it is.
      instances.AddText({text, strnlen(text, kMaxSnapshotText)});
   }
   return NEVRA_OK;
}

NevraStatus MakeSource(NevraStatus status, SnapshotFile &file, const char *name, const std::string &problem,
                       std::unique_ptr<Source> *source)
{
   if (status != NEVRA_OK) {
      Warning("%s: %s\n", name, problem.c_str());
      return status;
   }
   *source = MakeSnapshotSource(std::move(file), name);
   return NEVRA_OK;
}

} // namespace

std::unique_ptr<Source> MakeSnapshotSource(SnapshotFile file, const char *name)
{
   return std::make_unique<SnapshotSource>(std::move(file), name);
}

NevraStatus OpenSnapshotSource(const char *path, std::unique_ptr<Source> *source)
{
   SnapshotFile file;
   std::string problem;
   const NevraStatus status = OpenSnapshotFile(path, &file, &problem);
   return MakeSource(status, file, path, problem, source);
}

NevraStatus OpenSnapshotSourceFromMemory(std::span<const uint8_t> bytes, const char *name,
                                         std::unique_ptr<Source> *source)
{
   SnapshotFile file;
   std::string problem;
   const NevraStatus status = OpenSnapshotBytes(bytes, &file, &problem);
   return MakeSource(status, file, name, problem, source);
}

} // namespace nevra
