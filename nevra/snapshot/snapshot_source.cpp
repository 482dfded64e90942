#include "nevra/snapshot/snapshot_source.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "nevra/shown_text.h"
#include "nevra/snapshot/snapshot_checksum.h"
#include "nevra/snapshot/snapshot_file.h"

namespace nevra {

namespace {

enum class Trust : uint8_t { Unknown, Holds, Broken };

// What the snapshot has for one node of the definitions.
struct NodeAnswers {
   SnapshotNode *node = nullptr; // null: nothing
   bool recordsFit = false;      // the records are laid out as defined
   bool listsFit = false;
   bool hasUnshownTexts = false; // in its records; known when they are trusted
   Trust trust = Trust::Unknown;
   uint64_t listings = 0; // answered, of a node whose instances list instances of their own kind
};

// Calls visit(text, size) for the text fields of a record, until one says false.
template <typename Byte, typename Visit>
bool ForEachText(const RecordLayout &layout, Byte *record, const Visit &visit)
{
   for (const RecordField &field : layout.fields) {
      for (uint32_t i = 0; i < field.count; i++) {
         Byte *at = record + field.offset + i * field.size;
         const bool goesOn = field.kind == FieldKind::Structure ? ForEachText(*field.structure, at, visit)
                             : field.kind == FieldKind::Text    ? visit(at, field.size)
                                                                : true;
         if (!goesOn) {
            return false;
         }
      }
   }
   return true;
}

template <typename Byte> std::string_view TextOf(Byte *at, uint32_t size)
{
   const char *text = reinterpret_cast<const char *>(at);
   return {text, strnlen(text, size)};
}

bool HoldsTexts(const RecordLayout &layout)
{
   return std::ranges::any_of(layout.fields, [](const RecordField &field) {
      return field.kind == FieldKind::Text ||
             (field.kind == FieldKind::Structure && HoldsTexts(*field.structure));
   });
}

// Whether a text of a node's records could steer a terminal, or has no end. Who made the snapshot chose them.
bool HasUnshownTexts(const RecordLayout &layout, const SnapshotNode &node)
{
   bool areShown = true;
   const size_t count = HoldsTexts(layout) ? node.keys.count : 0;
   for (size_t i = 0; areShown && i < count; i++) {
      areShown =
         ForEachText(layout, node.records.data() + i * node.recordSize, [](const uint8_t *at, uint32_t size) {
            const std::string_view text = TextOf(at, size);
            return text.size() < size && IsShownText(text);
         });
   }
   return !areShown;
}

// Makes the texts of a record fit to be shown, and ends them.
void ShowTexts(const RecordLayout &layout, void *record)
{
   ForEachText(layout, static_cast<uint8_t *>(record), [](uint8_t *at, uint32_t size) {
      const std::string text(TextOf(at, size));
      StoreShownText(reinterpret_cast<char *>(at), size, text);
      return true;
   });
}

// Whether a walk down a tree that is asked for now might have no end: its lists have been asked for often
// enough for many walks, and name an instance twice. Where each is in one list only, a walk that goes 12
// levels deep meets it 12 times at most. Looked at once.
bool IsEndlessTree(const NevraNodeDef &node, NodeAnswers *answers)
{
   constexpr uint64_t kWalks = 16;
   if (node.listKeys.size() != 1 || node.listKeys[0] != node.listed ||
       ++answers->listings != kWalks * answers->node->listKeys.count) {
      return false;
   }
   std::vector<uint64_t> values(answers->node->listValues.begin(), answers->node->listValues.end());
   std::ranges::sort(values);
   return std::ranges::adjacent_find(values) != values.end();
}

class SnapshotSource : public Source {
 public:
   SnapshotSource(SnapshotFile opened, const char *path) : file(std::move(opened)), name(path)
   {
      StoreShownText(kernelBuild, sizeof kernelBuild, file.kernelBuild);
      const bool sameDefinitions = std::strcmp(file.signature, DefinitionSignature()) == 0;
      for (SnapshotNode &node : file.nodes) {
         AddNode(node, sameDefinitions);
      }
   }

   NevraStatus Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record) override;
   NevraStatus List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                    Nevra_ParamList &instances) override;
   NevraStatus Set(const NevraNodeDef &, const Nevra_ParamList &, const Nevra_ParamList &) override
   {
      return NEVRA_NOT_SUPPORTED;
   }
   const char *Signature() const override { return file.signature; }
   const char *KernelBuildText() const override { return kernelBuild; }

 private:
   void AddNode(SnapshotNode &node, bool sameDefinitions);
   NevraStatus Enter(const NevraNodeDef &node, NodeAnswers **answers);
   NevraStatus EnterTexts();
   void ShareKeys(KeyTable *table);
   NevraStatus Refuse(NodeAnswers &answers, const char *what);
   NevraStatus TakeKeys(const Nevra_ParamList &keys, SnapshotKeyShape shape, uint64_t *words);
   size_t Find(const KeyTable &table, const uint64_t *words);
   void FetchAhead(const KeyTable &table) const;
   NevraStatus FindFailure(const KeyTable &table, std::span<const uint32_t> statuses,
                           const uint64_t *words) const;
   NevraStatus AppendTexts(std::span<const uint64_t> values, NodeAnswers &answers,
                           Nevra_ParamList &instances);

   SnapshotFile file;
   std::string name;
   char kernelBuild[64];
   NodeAnswers nodes[kNodeCount];
   std::vector<const SnapshotNode *> nodesInUse;
   std::vector<KeyTable> keysInUse; // each another
   Trust textTrust = Trust::Unknown;
   // A report reads many nodes of one instance and then the next instance's, and their tables are much alike:
   // where a key was found last is where to look for the next one, in every table.
   size_t lastPosition = 0;
   size_t lastText = 0;
};

void SnapshotSource::AddNode(SnapshotNode &node, bool sameDefinitions)
{
   const NevraNodeDef *definition = FindDefinition(node.path);
   if (definition == nullptr) {
      return;
   }
   // Under another signature a record of the same size may still be laid out otherwise.
   const bool fits = sameDefinitions || node.definition == ChecksumOfDefinition(node.path);
   NodeAnswers &answers = nodes[static_cast<size_t>(definition->id)];
   answers.node = &node;
   answers.recordsFit = fits && definition->record != nullptr &&
                        node.recordSize == definition->record->size &&
                        node.recordShape == KeyShapeOf(definition->recordKeys);
   answers.listsFit = fits && definition->listed != KeyDomain::None &&
                      node.listShape == KeyShapeOf(definition->listKeys) &&
                      node.listsTexts == IsTextKey(definition->listed);
}

NevraStatus SnapshotSource::Refuse(NodeAnswers &answers, const char *what)
{
   answers.trust = Trust::Broken;
   Warning("%s: damaged: %s: %s\n", name.c_str(), answers.node->path, what);
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

// Before the first read of a node, its checksum is checked.
NevraStatus SnapshotSource::Enter(const NevraNodeDef &node, NodeAnswers **answers)
{
   NodeAnswers &found = nodes[static_cast<size_t>(node.id)];
   *answers = &found;
   if (found.node == nullptr) {
      return NEVRA_NOT_FOUND;
   }
   if (found.trust == Trust::Unknown) {
      if (!NodeHolds(*found.node)) {
         return Refuse(found, "its checksum does not hold");
      }
      found.trust = Trust::Holds;
      found.hasUnshownTexts = found.recordsFit && HasUnshownTexts(*node.record, *found.node);
      ShareKeys(&found.node->keys);
      ShareKeys(&found.node->listKeys);
      nodesInUse.push_back(found.node);
   }
   return found.trust == Trust::Holds ? NEVRA_OK : NEVRA_READ_ERROR;
}

NevraStatus SnapshotSource::EnterTexts()
{
   if (textTrust == Trust::Unknown) {
      textTrust = TextsHold(file) ? Trust::Holds : Trust::Broken;
      if (textTrust == Trust::Broken) {
         Warning("%s: damaged: the checksum of the texts does not hold\n", name.c_str());
      }
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
   if (position != kNoPosition && position != lastPosition) {
      lastPosition = position;
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
   NevraStatus status = Enter(node, &answers);
   if (status != NEVRA_OK) {
      return status;
   }
   if (!answers->recordsFit) {
      return NEVRA_BAD_PARAMETER;
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
   if (answers->hasUnshownTexts) {
      ShowTexts(*node.record, record);
   }
   return NEVRA_OK;
}

NevraStatus SnapshotSource::List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                                 Nevra_ParamList &instances)
{
   NodeAnswers *answers;
   NevraStatus status = Enter(node, &answers);
   if (status != NEVRA_OK) {
      return status;
   }
   if (!answers->listsFit) {
      return NEVRA_BAD_PARAMETER;
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
      return Refuse(*answers, "a list lies outside the values");
   }
   // No damage: a list may name an instance twice if the capture saw it move.
   if (IsEndlessTree(node, answers)) {
      answers->trust = Trust::Broken;
      Warning("%s: %s: its tree has no end\n", name.c_str(), node.path);
      return NEVRA_READ_ERROR;
   }
   const uint32_t room = instances.capacity - instances.Used();
   const size_t count = std::min<size_t>(values.size(), room);
   if (!instances.Reserve(instances.Used() + static_cast<uint32_t>(count), 0)) {
      return NEVRA_OUT_OF_MEMORY;
   }
   if (found.listsTexts) {
      return AppendTexts(values.first(count), *answers, instances);
   }
   for (const uint64_t value : values.first(count)) {
      instances.AddInt(static_cast<int64_t>(value));
   }
   return NEVRA_OK;
}

NevraStatus SnapshotSource::AppendTexts(std::span<const uint64_t> values, NodeAnswers &answers,
                                        Nevra_ParamList &instances)
{
   const NevraStatus status = EnterTexts();
   if (status != NEVRA_OK) {
      return status;
   }
   for (const uint64_t value : values) {
      const char *text = TextAt(file, value);
      if (text == nullptr) {
         return Refuse(answers, "a list points outside the texts");
      }
      // It is a key too, and would not be found again under another name.
      if (!IsShownText(text)) {
         return Refuse(answers, "lists a name that is not fit to be shown");
      }
      instances.AddLastingText(text);
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
   *source = std::make_unique<SnapshotSource>(std::move(file), name);
   return NEVRA_OK;
}

} // namespace

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
