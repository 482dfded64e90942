#include "snapshot-tool/json_import.h"

#include <algorithm>
#include <bitset>
#include <charconv>
#include <cstring>
#include <functional>
#include <string_view>

#include "nevra/snapshot/snapshot_format.h"
#include "snapshot-tool/capture_time.h"
#include "snapshot-tool/json_reader.h"
#include "snapshot-tool/json_text.h"

namespace {

using nevra::FieldKind;
using nevra::KeyDomain;
using nevra::RecordField;
using nevra::RecordLayout;
using nevra::SnapshotTree;

// The members of an object that were read.
struct Members {
   uint64_t seen = 0;    // by their number
   size_t nextField = 0; // where to look for a field first: they mostly come in their order
};

constexpr size_t kKeysMember = 63;   // after the fields of any record
constexpr size_t kAnswerMember = 62; // "status" or "instances"

enum class EntryKind : uint8_t { Records, Failures, Lists, ListFailures };
constexpr const char *kEntryNames[] = {"records", "failures", "lists", "listFailures"};

[[noreturn]] void Fail(const std::string &problem)
{
   throw JsonError{problem};
}

std::string Quoted(std::string_view name)
{
   return '"' + std::string(name) + '"';
}

void AddPlace(JsonError *error, const std::string &name)
{
   const bool isIndexed = error->place.empty() || error->place.starts_with('[');
   error->place = name + (isIndexed ? "" : ", ") + error->place;
}

// Runs read(), whose failures get the place: "sched/groups/groupName, records[3], name".
template <typename Read> void Within(const char *name, Read read)
{
   try {
      read();
   } catch (JsonError &error) {
      AddPlace(&error, name);
      throw;
   }
}

// Reads an array; read(index) reads each element.
template <typename Read> void ReadArray(JsonReader &in, const char *name, Read read)
{
   Within(name, [&] {
      in.Array([&](size_t index) {
         try {
            read(index);
         } catch (JsonError &error) {
            AddPlace(&error, '[' + std::to_string(index) + ']');
            throw;
         }
      });
   });
}

void See(Members *members, size_t number, std::string_view name)
{
   const uint64_t bit = uint64_t{1} << number;
   if ((members->seen & bit) != 0) {
      Fail("duplicate member " + Quoted(name));
   }
   members->seen |= bit;
}

bool HasSeen(const Members &members, size_t number)
{
   return (members.seen >> number & 1) != 0;
}

bool FitsField(const RecordField &field, JsonNumber number)
{
   const unsigned bits = 8 * field.size;
   if (field.kind == FieldKind::Unsigned) {
      return !number.isNegative && (bits == 64 || number.bits >> bits == 0);
   }
   const int64_t value = static_cast<int64_t>(number.bits);
   return number.isNegative ? value >> (bits - 1) == -1 : number.bits >> (bits - 1) == 0;
}

std::string_view WithoutNul(std::string_view text)
{
   if (text.find('\0') != std::string_view::npos) {
      Fail("contains NUL");
   }
   return text;
}

bool ParseStatus(std::string_view text, uint64_t *status)
{
   if (!text.starts_with("0x")) {
      return false;
   }
   const char *end = text.data() + text.size();
   const auto result = std::from_chars(text.data() + 2, end, *status, 16);
   return result.ec == std::errc() && result.ptr == end;
}

// One function per production; docs/snapshot.md has them.
class Importer {
 public:
   Importer(FILE *input, SnapshotTree *target, std::function<void(const JsonReader &, uint64_t)> report)
       : in(input), tree(target), onEntry(std::move(report))
   {
   }

   void ReadDocument();
   uint64_t Line() const { return in.Line(); }

 private:
   void ReadHeader(std::string_view name);
   void ReadNotes();
   void ReadKernelDetail();
   void ReadNodes();
   void ReadNode(const NevraNodeDef &node);
   void ReadEntry(const NevraNodeDef &node, EntryKind kind);
   void AddEntry(const NevraNodeDef &node, EntryKind kind);
   void ReadKeys(std::span<const KeyDomain> domains);
   void ReadInstances(KeyDomain listed);
   uint64_t ReadWord(KeyDomain domain);
   void ReadStatus();
   void ReadFieldOf(const RecordLayout &layout, size_t base, Members *members, std::string_view name);
   void ReadElement(const RecordField &field, size_t offset);
   void ReadNumberField(const RecordField &field, size_t offset);
   void ReadTextField(const RecordField &field, size_t offset);
   std::string_view ReadText();
   std::string_view ReadHex();

   JsonReader in;
   SnapshotTree *tree;
   std::function<void(const JsonReader &, uint64_t)> onEntry; // after each entry, with their number
   uint64_t entries = 0;
   std::string bytes; // of hexadecimal digits

   // The entry that is being read.
   std::vector<uint64_t> keys;
   std::vector<uint64_t> instances;
   std::vector<uint8_t> record;
   NevraStatus status = NEVRA_OK;
};

void Importer::ReadDocument()
{
   static constexpr const char *kNames[] = {"definitionSignature", "kernelBuild", "host", "captured", "notes",
                                            "kernelDetail",        "nodes"};
   Members members;
   in.Object([&](std::string_view name) {
      const auto *const known = std::find(std::begin(kNames), std::end(kNames), name);
      if (known == std::end(kNames)) {
         Fail("unknown member " + Quoted(name));
      }
      See(&members, static_cast<size_t>(known - kNames), name);
      if (name == "nodes") {
         ReadNodes();
      } else if (name == "notes") {
         ReadNotes();
      } else if (name == "kernelDetail") {
         Within(*known, [&] { ReadKernelDetail(); });
      } else {
         Within(*known, [&] { ReadHeader(*known); });
      }
   });
   in.End();
}

void Importer::ReadHeader(std::string_view name)
{
   if (name == "kernelBuild" || name == "host") {
      (name == "host" ? tree->host : tree->kernelBuild) = WithoutNul(ReadText());
   } else if (name == "definitionSignature") {
      tree->signature = in.String();
      if (!nevra::IsDefinitionSignature(tree->signature.c_str(), tree->signature.size())) {
         Fail("not 32 hexadecimal digits in lower case");
      }
   } else if (!ParseCaptureTime(in.String(), &tree->captured)) {
      Fail("not a time like \"2026-01-31T23:59:59Z\"");
   }
}

// Lines.
void Importer::ReadNotes()
{
   ReadArray(in, "notes", [&](size_t index) {
      tree->notes.append(index > 0 ? "\n" : "").append(WithoutNul(ReadText()));
      if (tree->notes.size() > nevra::kMaxSnapshotNotes) {
         Fail("longer than " + std::to_string(nevra::kMaxSnapshotNotes) + " bytes");
      }
   });
}

// Names and KB.
void Importer::ReadKernelDetail()
{
   in.Object([&](std::string_view name) {
      nevra::KernelFigures &figures = tree->kernelDetail;
      if (!nevra::IsKernelFigureName(name)) {
         Fail("invalid name " + Quoted(name));
      }
      if (FindKernelFigure(figures, name) != nullptr) {
         Fail("duplicate member " + Quoted(name));
      }
      if (figures.size() == nevra::kMaxKernelFigures) {
         Fail("more than " + std::to_string(nevra::kMaxKernelFigures) + " members");
      }
      figures.push_back({std::string(name), 0});
      const JsonNumber number = in.Number();
      if (number.isNegative || number.bits > nevra::kMaxKernelFigureKB) {
         Fail(figures.back().name + ": out of range 0 to " + std::to_string(nevra::kMaxKernelFigureKB));
      }
      figures.back().kb = number.bits;
   });
}

void Importer::ReadNodes()
{
   std::bitset<nevra::kNodeCount> seen;
   in.Object([&](std::string_view name) {
      const NevraNodeDef *node = nevra::FindDefinition(name);
      if (node == nullptr) {
         Fail("unknown node " + Quoted(name));
      }
      if (seen.test(static_cast<size_t>(node->id))) {
         Fail("duplicate node " + Quoted(name));
      }
      seen.set(static_cast<size_t>(node->id));
      Within(node->path, [&] { ReadNode(*node); });
   });
}

void Importer::ReadNode(const NevraNodeDef &node)
{
   Members members;
   in.Object([&](std::string_view name) {
      const auto *const known = std::find(std::begin(kEntryNames), std::end(kEntryNames), name);
      if (known == std::end(kEntryNames)) {
         Fail("unknown member " + Quoted(name));
      }
      const EntryKind kind = static_cast<EntryKind>(known - kEntryNames);
      const bool ofRecords = kind == EntryKind::Records || kind == EntryKind::Failures;
      if (ofRecords ? node.record == nullptr : node.listed == KeyDomain::None) {
         Fail(std::string("the node has no ") + (ofRecords ? "records" : "listing"));
      }
      See(&members, static_cast<size_t>(kind), name);
      ReadArray(in, *known, [&](size_t) { ReadEntry(node, kind); });
   });
}

void Importer::ReadEntry(const NevraNodeDef &node, EntryKind kind)
{
   const bool ofRecords = kind == EntryKind::Records || kind == EntryKind::Failures;
   const std::span<const KeyDomain> domains = ofRecords ? node.recordKeys : node.listKeys;
   const char *answer = kind == EntryKind::Lists ? "instances" : "status"; // of other than records
   keys.clear();
   instances.clear();
   record.assign(kind == EntryKind::Records ? node.record->size : 0, 0);
   Members members;
   in.Object([&](std::string_view name) {
      if (name == "keys") {
         See(&members, kKeysMember, name);
         ReadKeys(domains);
      } else if (kind == EntryKind::Records) {
         ReadFieldOf(*node.record, 0, &members, name);
      } else if (name == answer) {
         See(&members, kAnswerMember, name);
         kind == EntryKind::Lists ? ReadInstances(node.listed) : ReadStatus();
      } else {
         Fail("unknown member " + Quoted(name));
      }
   });
   if (keys.size() != domains.size()) {
      Fail("the number of keys is " + std::to_string(keys.size()) + ", expected " +
           std::to_string(domains.size()));
   }
   if (kind != EntryKind::Records && !HasSeen(members, kAnswerMember)) {
      Fail("missing member " + Quoted(answer));
   }
   AddEntry(node, kind);
}

void Importer::AddEntry(const NevraNodeDef &node, EntryKind kind)
{
   switch (kind) {
   case EntryKind::Records:
      AddRecord(tree, node, keys, record.data());
      break;
   case EntryKind::Failures:
      AddFailure(tree, node, keys, status);
      break;
   case EntryKind::Lists:
      AddList(tree, node, keys, instances);
      break;
   case EntryKind::ListFailures:
      AddListFailure(tree, node, keys, status);
      break;
   }
   constexpr uint64_t kEntriesBetweenChecks = 4096;
   if (++entries % kEntriesBetweenChecks == 0 &&
       nevra::EstimateSnapshotBytes(*tree) > nevra::kMaxSnapshotBytes) {
      Fail("too large for a snapshot");
   }
   onEntry(in, entries);
}

void Importer::ReadKeys(std::span<const KeyDomain> domains)
{
   ReadArray(in, "keys", [&](size_t index) {
      if (index == domains.size()) {
         Fail("more keys than the node has");
      }
      keys.push_back(ReadWord(domains[index]));
   });
}

void Importer::ReadInstances(KeyDomain listed)
{
   ReadArray(in, "instances", [&](size_t) { instances.push_back(ReadWord(listed)); });
}

// A key, or an instance of a listing.
uint64_t Importer::ReadWord(KeyDomain domain)
{
   if (nevra::IsTextKey(domain)) {
      return InternText(tree, WithoutNul(ReadText()));
   }
   const JsonNumber number = in.Number();
   if (!number.isNegative && number.bits > INT64_MAX) {
      Fail("out of range of a signed integer of 64 bits");
   }
   return number.bits;
}

// A number, or a text like "0xbad0003".
void Importer::ReadStatus()
{
   Within("status", [&] {
      JsonNumber number = {};
      if (!in.NextIs('"')) {
         number = in.Number();
      } else if (!ParseStatus(in.String(), &number.bits)) {
         Fail("neither a number nor a text like \"0xbad0003\"");
      }
      if (number.isNegative || number.bits == NEVRA_OK || number.bits > UINT32_MAX) {
         Fail("out of range 1 to 0xffffffff");
      }
      status = static_cast<NevraStatus>(number.bits);
   });
}

// Reads the field of that name into the record, where the layout begins at `base`.
void Importer::ReadFieldOf(const RecordLayout &layout, size_t base, Members *members, std::string_view name)
{
   const std::span<const RecordField> fields = layout.fields;
   size_t number = members->nextField;
   for (size_t tried = 0; tried < fields.size() && fields[number % fields.size()].name != name; tried++) {
      number++;
   }
   number %= fields.size();
   const RecordField &field = fields[number];
   if (field.name != name) {
      Fail("unknown field " + Quoted(name) + " of " + layout.name);
   }
   See(members, number, name);
   members->nextField = number + 1;
   const size_t offset = base + field.offset;
   if (field.count == 1) {
      Within(field.name, [&] { ReadElement(field, offset); });
      return;
   }
   ReadArray(in, field.name, [&](size_t index) {
      if (index == field.count) {
         Fail("more elements than the field has");
      }
      ReadElement(field, offset + index * field.size);
   });
}

void Importer::ReadElement(const RecordField &field, size_t offset)
{
   Members members;
   switch (field.kind) {
   case FieldKind::Unsigned:
   case FieldKind::Signed:
      ReadNumberField(field, offset);
      break;
   case FieldKind::Text:
   case FieldKind::Bytes:
      ReadTextField(field, offset);
      break;
   case FieldKind::Structure:
      in.Object([&](std::string_view name) { ReadFieldOf(*field.structure, offset, &members, name); });
      break;
   }
}

void Importer::ReadNumberField(const RecordField &field, size_t offset)
{
   const JsonNumber number = in.Number();
   if (!FitsField(field, number)) {
      Fail(std::string("out of range of ") +
           (field.kind == FieldKind::Unsigned ? "an unsigned" : "a signed") + " integer of " +
           std::to_string(8 * field.size) + " bits");
   }
   std::memcpy(record.data() + offset, &number.bits, field.size);
}

void Importer::ReadTextField(const RecordField &field, size_t offset)
{
   const bool isString = field.kind == FieldKind::Text && in.NextIs('"');
   const std::string_view text = field.kind == FieldKind::Text ? ReadText() : ReadHex();
   const size_t most = isString ? field.size - 1 : field.size; // a string leaves room for its NUL
   if (text.size() > most) {
      Fail("longer than " + std::to_string(most) + " bytes");
   }
   std::memcpy(record.data() + offset, (isString ? WithoutNul(text) : text).data(), text.size());
}

// A string, or the bytes of {"hex": "..."}.
std::string_view Importer::ReadText()
{
   if (!in.NextIs('{')) {
      return in.String();
   }
   Members members;
   in.Object([&](std::string_view name) {
      if (name != "hex") {
         Fail("unknown member " + Quoted(name));
      }
      See(&members, 0, name);
      ReadHex();
   });
   if (!HasSeen(members, 0)) {
      Fail("missing member \"hex\"");
   }
   return bytes;
}

std::string_view Importer::ReadHex()
{
   if (!BytesOfHex(in.String(), &bytes)) {
      Fail("not pairs of hexadecimal digits");
   }
   return bytes;
}

} // namespace

bool ImportSnapshot(FILE *input, uint64_t size, Progress *progress, SnapshotTree *tree, std::string *problem)
{
   tree->signature = nevra::DefinitionSignature();
   tree->kernelBuild = nevra::DefinitionBuildText();
   problem->clear();
   Importer importer(input, tree, [&](const JsonReader &in, uint64_t entries) {
      progress->Update(size > 0 ? in.Tell() : entries, size);
   });
   try {
      importer.ReadDocument();
   } catch (const JsonError &error) {
      *problem = std::ferror(input) ? "cannot be read"
                                    : "line " + std::to_string(importer.Line()) + ": " + error.place +
                                         (error.place.empty() ? "" : ": ") + error.problem;
   }
   // cppcheck-suppress knownConditionTrueFalse // the handler sets it
   return problem->empty();
}
