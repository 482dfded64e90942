#include "snapshot-tool/anonymize.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <vector>

#include <sha2.h>
#include <unistd.h>

#include "nevra/definitions.h"
#include "snapshot-tool/capture_notes.h"
#include "snapshot-tool/json_export.h"
#include "snapshot-tool/json_reader.h"
#include "snapshot-tool/json_text.h"

namespace {

using nevra::FieldKind;
using nevra::KeyDomain;
using nevra::NodeId;
using nevra::NodeTree;
using nevra::RecordField;
using nevra::RecordLayout;
using nevra::SnapshotTree;

constexpr char kKeyMember[] = "key";
constexpr size_t kKeySize = 32;
constexpr size_t kPseudonymSize = 7; // a tag has no room for more
constexpr std::string_view kDigits = "abcdefghijklmnopqrstuvwxyz234567";

// "n" and a digit for each of the first bytes of the digest.
std::string PseudonymOf(const std::string &key, uint32_t attempt, std::string_view name)
{
   SHA2_CTX context;
   uint8_t digest[SHA256_DIGEST_LENGTH];
   SHA256Init(&context);
   SHA256Update(&context, reinterpret_cast<const uint8_t *>(key.data()), key.size());
   SHA256Update(&context, reinterpret_cast<const uint8_t *>(&attempt), sizeof attempt);
   SHA256Update(&context, reinterpret_cast<const uint8_t *>(name.data()), name.size());
   SHA256Final(digest, &context);
   std::string pseudonym = "n";
   for (size_t i = 0; pseudonym.size() < kPseudonymSize; i++) {
      pseudonym += kDigits[digest[i] % kDigits.size()];
   }
   return pseudonym;
}

bool IsPseudonym(std::string_view text)
{
   return text.size() == kPseudonymSize && text[0] == 'n' &&
          text.find_first_not_of(kDigits, 1) == std::string_view::npos;
}

// A text as TextAsJson gives it.
std::string ReadText(JsonReader &reader)
{
   if (reader.NextIs('"')) {
      return std::string(reader.String());
   }
   std::string text;
   reader.Object([&](std::string_view) { BytesOfHex(reader.String(), &text); });
   return text;
}

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

Pseudonyms::Pseudonyms() : key(kKeySize, '\0')
{
   if (getentropy(key.data(), key.size()) != 0) {
      throw std::system_error(errno, std::generic_category(), "no random key");
   }
}

// Two names that come to the same one are told apart by the number of attempts.
std::string Pseudonyms::NewOneFor(std::string_view name) const
{
   for (uint32_t attempt = 0;; attempt++) {
      std::string pseudonym = PseudonymOf(key, attempt, name);
      if (!taken.contains(pseudonym)) {
         return pseudonym;
      }
   }
}

std::string Pseudonyms::Of(std::string_view name)
{
   if (name.empty()) {
      return "";
   }
   const auto known = pseudonyms.find(name);
   if (known != pseudonyms.end()) {
      return known->second;
   }
   const auto &[entry, isNew] = pseudonyms.emplace(name, NewOneFor(name));
   taken.insert(entry->second);
   return entry->second;
}

std::string Pseudonyms::AsJson() const
{
   std::map<std::string_view, std::string_view> names;
   for (const auto &[name, pseudonym] : pseudonyms) {
      names[pseudonym] = name;
   }
   std::string json = "{\n  " + TextAsJson(kKeyMember) + ": " + TextAsJson(HexOfBytes(key));
   for (const auto &[pseudonym, name] : names) {
      json += ",\n  " + TextAsJson(pseudonym) + ": " + TextAsJson(name);
   }
   return json + "\n}\n";
}

bool Pseudonyms::Read(FILE *json)
{
   std::map<std::string, std::string> members;
   try {
      JsonReader reader(json);
      reader.Object([&](std::string_view name) {
         std::string member(name);
         members[std::move(member)] = ReadText(reader);
      });
      reader.End();
   } catch (const JsonError &) {
      return false;
   }
   Pseudonyms given{std::string()};
   for (const auto &[member, text] : members) {
      if (member == kKeyMember) {
         BytesOfHex(text, &given.key);
      } else if (!IsPseudonym(member) || text.empty() || !given.pseudonyms.emplace(text, member).second) {
         return false;
      } else {
         given.taken.insert(member);
      }
   }
   if (given.key.size() != kKeySize) {
      return false;
   }
   *this = std::move(given);
   return true;
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
   tree.kernelDetail = file.kernelDetail;
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
