#include "snapshot-tool/anonymize.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "nevra/definitions.h"
#include "snapshot-tool/capture_notes.h"
#include "snapshot-tool/json_export.h"

namespace {

using nevra::FieldKind;
using nevra::KeyDomain;
using nevra::NodeId;
using nevra::NodeTree;
using nevra::RecordField;
using nevra::RecordLayout;
using nevra::SnapshotTree;

// The texts of these records are names that somebody chose. Those of others are the kernel's.
bool HoldsNames(const NevraNodeDef &node)
{
   return node.id == NodeId::sched_groups_groupName || node.id == NodeId::sched_groups_groupTag ||
          node.id == NodeId::vm_vmmGroupInfo;
}

bool IsNameKey(KeyDomain domain)
{
   return domain == KeyDomain::PMemVolume || domain == KeyDomain::PMemRegion ||
          domain == KeyDomain::LPagePool;
}

void AnonymizeText(uint8_t *field, size_t size, Pseudonyms *pseudonyms)
{
   const char *const text = reinterpret_cast<const char *>(field);
   const std::string pseudonym = pseudonyms->Of({text, strnlen(text, size)});
   std::memset(field, 0, size);
   // NOLINTNEXTLINE(bugprone-not-null-terminated-result): the field is zeroed
   std::memcpy(field, pseudonym.data(), std::min(pseudonym.size(), size - 1));
}

void AnonymizeRecord(const RecordLayout &layout, bool holdsNames, uint8_t *record, Pseudonyms *pseudonyms)
{
   for (const RecordField &field : layout.fields) {
      uint8_t *at = record + field.offset;
      for (uint32_t i = 0; i < field.count; i++, at += field.size) {
         if (field.kind == FieldKind::Structure) {
            AnonymizeRecord(*field.structure, holdsNames, at, pseudonyms);
         } else if (field.kind == FieldKind::Text && holdsNames) {
            AnonymizeText(at, field.size, pseudonyms);
         } else if (field.kind == FieldKind::Text) {
            // What lies after the end of a text is as unknown as bytes that no report reads.
            const size_t length = strnlen(reinterpret_cast<const char *>(at), field.size);
            std::memset(at + length, 0, field.size - length);
         } else if (field.kind == FieldKind::Bytes) {
            std::memset(at, 0, field.size);
         }
      }
   }
}

void AnonymizeWord(SnapshotTree *tree, uint64_t *word, Pseudonyms *pseudonyms)
{
   *word = InternText(tree, pseudonyms->Of(tree->texts[*word]));
}

void AnonymizeKeys(SnapshotTree *tree, std::vector<uint64_t> *keys, std::span<const KeyDomain> domains,
                   Pseudonyms *pseudonyms)
{
   for (size_t i = 0; i < keys->size(); i++) {
      if (IsNameKey(domains[i % domains.size()])) {
         AnonymizeWord(tree, &(*keys)[i], pseudonyms);
      }
   }
}

void AnonymizeNode(SnapshotTree *tree, const NevraNodeDef &node, Pseudonyms *pseudonyms)
{
   NodeTree &content = tree->nodes[static_cast<size_t>(node.id)];
   AnonymizeKeys(tree, &content.keys, node.recordKeys, pseudonyms);
   AnonymizeKeys(tree, &content.failedKeys, node.recordKeys, pseudonyms);
   AnonymizeKeys(tree, &content.listKeys, node.listKeys, pseudonyms);
   AnonymizeKeys(tree, &content.listFailedKeys, node.listKeys, pseudonyms);
   if (IsNameKey(node.listed)) {
      for (uint64_t &value : content.listValues) {
         AnonymizeWord(tree, &value, pseudonyms);
      }
   }
   for (size_t at = 0; at < content.records.size(); at += node.record->size) {
      AnonymizeRecord(*node.record, HoldsNames(node), content.records.data() + at, pseudonyms);
   }
}

std::string NotesWithoutMessages(std::string_view notes)
{
   std::string kept;
   while (!notes.empty()) {
      const std::string_view line = notes.substr(0, notes.find('\n'));
      if (!line.starts_with(kNotReadNote)) {
         kept.append(kept.empty() ? "" : "\n").append(line);
      }
      notes.remove_prefix(std::min(line.size() + 1, notes.size()));
   }
   return kept;
}

} // namespace

std::string Pseudonyms::Of(std::string_view name)
{
   if (name.empty()) {
      return "";
   }
   const auto known = pseudonyms.find(name);
   if (known != pseudonyms.end()) {
      return known->second;
   }
   return pseudonyms.emplace(name, 'n' + std::to_string(pseudonyms.size() + 1)).first->second;
}

std::string Pseudonyms::AsJson() const
{
   std::map<std::pair<size_t, std::string>, std::string> names; // n9 before n10
   for (const auto &[name, pseudonym] : pseudonyms) {
      names[{pseudonym.size(), pseudonym}] = name;
   }
   std::string json = "{";
   for (const auto &[pseudonym, name] : names) {
      json += (json.size() > 1 ? ",\n  " : "\n  ") + TextAsJson(pseudonym.second) + ": " + TextAsJson(name);
   }
   return json + "\n}\n";
}

void Anonymize(SnapshotTree *tree, Pseudonyms *pseudonyms)
{
   tree->notes = NotesWithoutMessages(tree->notes);
   tree->notes += tree->notes.empty() ? std::string(kAnonymizedNote) : '\n' + std::string(kAnonymizedNote);
   for (const NevraNodeDef &node : nevra::Definitions()) {
      AnonymizeNode(tree, node, pseudonyms);
   }
}

SnapshotTree TreeOf(const nevra::SnapshotFile &file)
{
   SnapshotTree tree;
   tree.signature = file.signature;
   tree.kernelBuild = file.kernelBuild;
   tree.host = file.host;
   tree.captured = file.captured;
   tree.notes = file.notes;
   // They are sorted and each is there once, so that their numbers stay.
   for (size_t i = 0; i < file.textOffsets.size(); i++) {
      InternText(&tree, TextAt(file, i));
   }
   const auto copy = [](auto *to, const auto &from) { to->assign(from.begin(), from.end()); };
   const auto copyKeys = [](std::vector<uint64_t> *to, const nevra::KeyTable &from) {
      to->assign(from.words, from.words + from.count * from.width);
   };
   for (const nevra::SnapshotNode &node : file.nodes) {
      NodeTree &content = tree.nodes[static_cast<size_t>(node.fit.definition->id)];
      copyKeys(&content.keys, node.keys);
      copy(&content.records, node.records);
      copyKeys(&content.failedKeys, node.failedKeys);
      copy(&content.failedStatuses, node.failedStatuses);
      copyKeys(&content.listKeys, node.listKeys);
      copy(&content.listStarts, node.listStarts);
      if (!content.listStarts.empty()) {
         content.listStarts.pop_back(); // the end of the last, which sorting adds
      }
      copy(&content.listValues, node.listValues);
      copyKeys(&content.listFailedKeys, node.listFailedKeys);
      copy(&content.listFailedStatuses, node.listFailedStatuses);
   }
   return tree;
}
