#include "snapshot-tool/json_import.h"

#include <algorithm>
#include <bitset>
#include <charconv>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include "nevra/snapshot/snapshot_format.h"
#include "snapshot-tool/capture_time.h"
#include "snapshot-tool/json_memory.h"
#include "snapshot-tool/json_text.h"

namespace {

using nevra::FieldKind;
using nevra::KeyDomain;
using nevra::RecordField;
using nevra::RecordLayout;
using nevra::SnapshotTree;

// What the JSON reader takes its characters from: a file, counting its lines.
class LineCountingInput {
 public:
   using Ch = char;

   explicit LineCountingInput(FILE *stream) : file(stream), buffer(std::make_unique<char[]>(kBufferSize))
   {
      Fill();
   }

   Ch Peek() const { return next < end ? buffer[next] : '\0'; }
   Ch Take()
   {
      if (next == end) {
         return '\0';
      }
      const char taken = buffer[next++];
      line += taken == '\n';
      if (next == end) {
         Fill();
      }
      return taken;
   }
   size_t Tell() const { return before + next; }
   uint64_t Line() const { return line; }
   bool IsAtEnd() const { return next == end; }

   // The reader's interface for parsing in place, which a file has no use for.
   static Ch *PutBegin() { return nullptr; }
   static void Put(Ch) {}
   static void Flush() {}
   static size_t PutEnd(Ch *) { return 0; }

 private:
   static constexpr size_t kBufferSize = 1 << 16;

   void Fill()
   {
      before += end;
      next = 0;
      end = std::fread(buffer.get(), 1, kBufferSize, file);
   }

   FILE *file;
   std::unique_ptr<char[]> buffer;
   size_t next = 0;
   size_t end = 0;
   size_t before = 0; // bytes ahead of the buffer
   uint64_t line = 1;
};

enum class Place : uint8_t {
   Document,
   Root,
   Nodes,
   Node,
   Entries,
   Entry,
   Keys,
   Instances,
   Elements,
   Structure,
   Hex
};

enum class EntryKind : uint8_t { Records, Failures, Lists, ListFailures };
constexpr const char *kEntryNames[] = {"records", "failures", "lists", "listFailures"};

// The members of the root, and of an entry besides a record's fields.
constexpr const char *kRootNames[] = {"definitionSignature", "kernelBuild", "host", "captured", "nodes"};
enum class RootMember : uint8_t { Signature, KernelBuild, Host, Captured, Nodes };
enum class EntryMember : uint8_t { Keys, Status, Instances, Field };

// An open object or array.
struct Frame {
   Place place;
   uint64_t seen = 0;                    // members, by their number
   const RecordLayout *layout = nullptr; // Entry, Structure: the fields it may have
   const RecordField *field = nullptr;   // the member that comes next, or whose elements these are
   size_t base = 0;                      // Structure, Elements: offset in the record
   size_t index = 0;                     // Elements, Entries: of the next one
   size_t nextField = 0;                 // where to look first
};

template <size_t N> std::optional<size_t> IndexOf(const char *const (&names)[N], std::string_view name)
{
   const auto found = std::find(names, names + N, name);
   return found != names + N ? std::optional<size_t>(found - names) : std::nullopt;
}

// A whole number, as the JSON has it.
struct Number {
   bool isNegative;
   uint64_t bits; // two's complement when negative
};

class Importer {
 public:
   Importer(SnapshotTree *target, std::string *reason, std::function<void(uint64_t)> report)
       : tree(target), problem(reason), onEntry(std::move(report))
   {
      frames.push_back({.place = Place::Document});
   }

   // ---- called by the JSON reader

   bool Null() { return Fail("null has no meaning here"); }
   bool Bool(bool) { return Fail("true and false have no meaning here"); }
   bool Int(int value) { return Int64(value); }
   bool Uint(unsigned value) { return TakeNumber({false, value}); }
   bool Int64(int64_t value) { return TakeNumber({value < 0, static_cast<uint64_t>(value)}); }
   bool Uint64(uint64_t value) { return TakeNumber({false, value}); }
   bool Double(double) { return Fail("not a whole number of 64 bits"); }
   bool RawNumber(const char *, rapidjson::SizeType, bool) { return Fail("not a number"); }
   bool String(const char *text, rapidjson::SizeType length, bool) { return TakeString({text, length}); }
   bool Key(const char *text, rapidjson::SizeType length, bool) { return TakeName({text, length}); }
   bool StartObject();
   bool EndObject(rapidjson::SizeType);
   bool StartArray();
   bool EndArray(rapidjson::SizeType);

 private:
   Frame &Top() { return frames.back(); }
   bool Push(Frame frame)
   {
      frames.push_back(frame);
      return true;
   }
   bool Fail(const std::string &text);
   std::string Where() const;
   bool See(size_t number, std::string_view name);

   bool TakeName(std::string_view name);
   bool TakeFieldName(std::string_view name, size_t firstNumber);
   bool TakeEntryMemberName(std::string_view name);
   bool TakeNumber(Number number);
   bool TakeString(std::string_view text);
   bool TakeText(std::string_view bytes, bool fromHex);
   bool TakeRootText(std::string_view text);
   bool TakeFieldText(std::string_view text, bool fromHex);
   bool TakeFieldNumber(Number number);
   bool TakeStatus(Number number);
   bool TakeWord(std::vector<uint64_t> *words, KeyDomain domain, const uint64_t *number,
                 const std::string_view *text);
   bool TakeKey(const uint64_t *number, const std::string_view *text);
   bool ExpectsText();
   size_t TargetOffset();
   bool StartValueObject();
   bool StartEntry();
   bool EndEntry();
   bool FinishEntry();
   std::span<const KeyDomain> KeyDomains() const;

   SnapshotTree *tree;
   std::string *problem;
   std::function<void(uint64_t)> onEntry; // after each entry, with their number
   std::vector<Frame> frames;

   RootMember rootMember = {};
   const NevraNodeDef *node = nullptr;
   std::bitset<nevra::kNodeCount> seenNodes;
   EntryKind kind = {};
   EntryMember member = {};
   std::vector<uint64_t> keys;
   std::vector<uint64_t> instances;
   std::vector<uint8_t> record;
   NevraStatus status = NEVRA_OK;
   uint64_t entries = 0;
};

// The place in the tree, for messages: "sched/groups/groupName, records[3], name: ".
std::string Importer::Where() const
{
   std::string where;
   for (const Frame &frame : frames) {
      if (frame.place == Place::Node) {
         where += std::string(node->path) + ", ";
      } else if (frame.place == Place::Entries) {
         where +=
            std::string(kEntryNames[static_cast<size_t>(kind)]) + '[' + std::to_string(frame.index) + "], ";
      } else if (frame.place == Place::Elements) {
         where += std::string(frame.field->name) + '[' + std::to_string(frame.index) + "], ";
      } else if (frame.place == Place::Keys || frame.place == Place::Instances) {
         where += frame.place == Place::Keys ? "keys, " : "instances, ";
      } else if (frame.field != nullptr && &frame == &frames.back()) {
         where += std::string(frame.field->name) + ", ";
      }
   }
   if (!where.empty()) {
      where.replace(where.size() - 2, 1, ":");
   }
   return where;
}

bool Importer::Fail(const std::string &text)
{
   *problem = Where() + text;
   return false;
}

// Notes a member of the innermost object; false when it was there already.
bool Importer::See(size_t number, std::string_view name)
{
   const uint64_t bit = uint64_t{1} << number;
   if ((Top().seen & bit) != 0) {
      return Fail(std::string(name) + " is given twice");
   }
   Top().seen |= bit;
   return true;
}

std::span<const KeyDomain> Importer::KeyDomains() const
{
   return kind == EntryKind::Records || kind == EntryKind::Failures ? node->recordKeys : node->listKeys;
}

// ---- member names

bool Importer::TakeName(std::string_view name)
{
   switch (Top().place) {
   case Place::Root: {
      const auto index = IndexOf(kRootNames, name);
      if (!index) {
         return Fail("there is no member " + std::string(name));
      }
      rootMember = static_cast<RootMember>(*index);
      return See(*index, name);
   }
   case Place::Nodes: {
      const NevraNodeDef *found = nevra::FindDefinition(name);
      if (found == nullptr) {
         return Fail("there is no node " + std::string(name));
      }
      node = found;
      if (seenNodes.test(static_cast<size_t>(node->id))) {
         return Fail(std::string(name) + " is given twice");
      }
      seenNodes.set(static_cast<size_t>(node->id));
      return true;
   }
   case Place::Node: {
      const auto index = IndexOf(kEntryNames, name);
      if (!index) {
         return Fail("there is no member " + std::string(name));
      }
      kind = static_cast<EntryKind>(*index);
      const bool ofRecords = kind == EntryKind::Records || kind == EntryKind::Failures;
      if (ofRecords ? node->record == nullptr : node->listed == KeyDomain::None) {
         return Fail(std::string("the node has no ") + (ofRecords ? "records" : "listing"));
      }
      return See(*index, name);
   }
   case Place::Entry:
      return TakeEntryMemberName(name);
   case Place::Structure:
      return TakeFieldName(name, 0);
   case Place::Hex:
      return name == "hex" ? See(0, name) : Fail("there is no member " + std::string(name));
   default:
      return Fail("no member is expected here");
   }
}

bool Importer::TakeEntryMemberName(std::string_view name)
{
   Top().field = nullptr;
   if (name == "keys") {
      member = EntryMember::Keys;
      return See(0, name);
   }
   if (name == "status" && (kind == EntryKind::Failures || kind == EntryKind::ListFailures)) {
      member = EntryMember::Status;
      return See(1, name);
   }
   if (name == "instances" && kind == EntryKind::Lists) {
      member = EntryMember::Instances;
      return See(1, name);
   }
   if (kind == EntryKind::Records) {
      member = EntryMember::Field;
      return TakeFieldName(name, 1);
   }
   return Fail("there is no member " + std::string(name));
}

// Fields mostly come in their order.
bool Importer::TakeFieldName(std::string_view name, size_t firstNumber)
{
   Frame &frame = Top();
   frame.field = nullptr;
   const std::span<const RecordField> fields = frame.layout->fields;
   for (size_t i = 0; i < fields.size(); i++) {
      const size_t number = (frame.nextField + i) % fields.size();
      if (name == fields[number].name) {
         frame.nextField = number + 1;
         if (!See(firstNumber + number, name)) {
            return false;
         }
         frame.field = &fields[number];
         return true;
      }
   }
   return Fail(std::string(frame.layout->name) + " has no field " + std::string(name));
}

// ---- objects and arrays

bool Importer::StartObject()
{
   switch (Top().place) {
   case Place::Document:
      return Push({.place = Place::Root});
   case Place::Root:
      if (rootMember == RootMember::Nodes) {
         return Push({.place = Place::Nodes});
      }
      return StartValueObject();
   case Place::Nodes:
      return Push({.place = Place::Node});
   case Place::Entries:
      return StartEntry();
   default:
      return StartValueObject();
   }
}

// An object for one value: a structure's fields, or a text as {"hex": "..."}.
bool Importer::StartValueObject()
{
   const Frame &top = Top();
   const bool isElement = top.place == Place::Elements;
   const bool isMember =
      top.place == Place::Structure || (top.place == Place::Entry && member == EntryMember::Field);
   if ((isElement || isMember) && top.field->kind == FieldKind::Structure &&
       (isElement || top.field->count == 1)) {
      if (isElement && top.index >= top.field->count) {
         return Fail("there are only " + std::to_string(top.field->count));
      }
      return Push({.place = Place::Structure, .layout = top.field->structure, .base = TargetOffset()});
   }
   if (ExpectsText()) {
      return Push({.place = Place::Hex});
   }
   return Fail("an object has no meaning here");
}

bool Importer::EndObject(rapidjson::SizeType)
{
   const Frame ended = Top();
   if (ended.place == Place::Hex && ended.seen == 0) {
      return Fail("hex is missing");
   }
   if (ended.place == Place::Entry) {
      return EndEntry();
   }
   frames.pop_back();
   if (ended.place == Place::Structure && Top().place == Place::Elements) {
      Top().index++;
   }
   return true;
}

bool Importer::StartArray()
{
   const Frame &top = Top();
   if (top.place == Place::Node) {
      return Push({.place = Place::Entries});
   }
   if (top.place == Place::Entry && member == EntryMember::Keys) {
      return Push({.place = Place::Keys});
   }
   if (top.place == Place::Entry && member == EntryMember::Instances) {
      return Push({.place = Place::Instances});
   }
   const bool isField =
      top.place == Place::Structure || (top.place == Place::Entry && member == EntryMember::Field);
   if (isField && top.field->count > 1) {
      return Push({.place = Place::Elements, .field = top.field, .base = top.base + top.field->offset});
   }
   return Fail("an array has no meaning here");
}

bool Importer::EndArray(rapidjson::SizeType)
{
   frames.pop_back();
   return true;
}

// ---- entries

bool Importer::StartEntry()
{
   keys.clear();
   instances.clear();
   status = NEVRA_OK;
   const RecordLayout *layout = kind == EntryKind::Records ? node->record : nullptr;
   record.assign(layout != nullptr ? layout->size : 0, 0);
   return Push({.place = Place::Entry, .layout = layout});
}

bool Importer::EndEntry()
{
   Top().field = nullptr;
   if (!FinishEntry()) {
      return false;
   }
   frames.pop_back();
   Top().index++;
   constexpr uint64_t kEntriesBetweenChecks = 4096;
   if (++entries % kEntriesBetweenChecks == 0 &&
       nevra::EstimateSnapshotBytes(*tree) > nevra::kMaxSnapshotBytes) {
      return Fail("too large for a snapshot");
   }
   onEntry(entries);
   return true;
}

bool Importer::FinishEntry()
{
   const size_t wanted = KeyDomains().size();
   if (keys.size() != wanted) {
      return Fail("there are " + std::to_string(keys.size()) + " keys instead of " + std::to_string(wanted));
   }
   const bool hasFailed = kind == EntryKind::Failures || kind == EntryKind::ListFailures;
   if (hasFailed && status == NEVRA_OK) {
      return Fail("the status is missing");
   }
   if (kind == EntryKind::Lists && (Top().seen & 2) == 0) {
      return Fail("the instances are missing");
   }
   switch (kind) {
   case EntryKind::Records:
      AddRecord(tree, *node, keys, record.data());
      break;
   case EntryKind::Failures:
      AddFailure(tree, *node, keys, status);
      break;
   case EntryKind::Lists:
      AddList(tree, *node, keys, instances);
      break;
   case EntryKind::ListFailures:
      AddListFailure(tree, *node, keys, status);
      break;
   }
   return true;
}

// ---- values

// Where in the record the next value of the innermost frame goes.
size_t Importer::TargetOffset()
{
   const Frame &top = Top();
   return top.place == Place::Elements ? top.base + top.index * top.field->size
                                       : top.base + top.field->offset;
}

// True when the value that comes next is a text.
bool Importer::ExpectsText()
{
   const Frame &top = Top();
   switch (top.place) {
   case Place::Root:
      return rootMember == RootMember::KernelBuild || rootMember == RootMember::Host;
   case Place::Keys:
      return keys.size() < KeyDomains().size() && nevra::IsTextKey(KeyDomains()[keys.size()]);
   case Place::Instances:
      return nevra::IsTextKey(node->listed);
   case Place::Entry:
      return member == EntryMember::Field && top.field->kind == FieldKind::Text;
   case Place::Structure:
      return top.field->kind == FieldKind::Text;
   default:
      return false;
   }
}

bool Importer::TakeWord(std::vector<uint64_t> *words, KeyDomain domain, const uint64_t *number,
                        const std::string_view *text)
{
   if (nevra::IsTextKey(domain) != (text != nullptr)) {
      return Fail(std::string(nevra::KeyDomainName(domain)) + " is a " +
                  (text != nullptr ? "number" : "text"));
   }
   if (text != nullptr && text->find('\0') != std::string_view::npos) {
      return Fail("a key has no NUL");
   }
   words->push_back(text != nullptr ? InternText(tree, *text) : *number);
   return true;
}

bool Importer::TakeKey(const uint64_t *number, const std::string_view *text)
{
   const std::span<const KeyDomain> domains = KeyDomains();
   if (keys.size() == domains.size()) {
      return Fail("there are more than " + std::to_string(domains.size()) + " keys");
   }
   return TakeWord(&keys, domains[keys.size()], number, text);
}

bool Importer::TakeNumber(Number number)
{
   const Frame &top = Top();
   const bool fitsKey = number.isNegative || number.bits <= INT64_MAX;
   if (top.place == Place::Keys || top.place == Place::Instances) {
      if (!fitsKey) {
         return Fail("out of range: a key is a signed number of 64 bits");
      }
      return top.place == Place::Keys ? TakeKey(&number.bits, nullptr)
                                      : TakeWord(&instances, node->listed, &number.bits, nullptr);
   }
   if (top.place == Place::Elements || top.place == Place::Structure ||
       (top.place == Place::Entry && member == EntryMember::Field)) {
      return TakeFieldNumber(number);
   }
   if (top.place == Place::Entry && member == EntryMember::Status) {
      return TakeStatus(number);
   }
   return Fail("a number has no meaning here");
}

bool Importer::TakeStatus(Number number)
{
   if (number.isNegative || number.bits == NEVRA_OK || number.bits > UINT32_MAX) {
      return Fail("the status of a failure is a number from 1 to 0xffffffff");
   }
   status = static_cast<NevraStatus>(number.bits);
   return true;
}

bool FitsField(const RecordField &field, Number number)
{
   const unsigned bits = 8 * field.size;
   if (field.kind == FieldKind::Unsigned) {
      return !number.isNegative && (bits == 64 || number.bits >> bits == 0);
   }
   const int64_t value = static_cast<int64_t>(number.bits);
   return number.isNegative ? value >> (bits - 1) == -1 : number.bits >> (bits - 1) == 0;
}

bool Importer::TakeFieldNumber(Number number)
{
   Frame &top = Top();
   const RecordField &field = *top.field;
   if (field.kind != FieldKind::Unsigned && field.kind != FieldKind::Signed) {
      return Fail("a number has no meaning here");
   }
   if (top.place != Place::Elements && field.count > 1) {
      return Fail("an array is expected");
   }
   if (top.place == Place::Elements && top.index >= field.count) {
      return Fail("there are only " + std::to_string(field.count));
   }
   if (!FitsField(field, number)) {
      return Fail(std::string("out of range: the field is ") +
                  (field.kind == FieldKind::Unsigned ? "an unsigned" : "a signed") + " number of " +
                  std::to_string(8 * field.size) + " bits");
   }
   std::memcpy(record.data() + TargetOffset(), &number.bits, field.size);
   if (top.place == Place::Elements) {
      top.index++;
   }
   return true;
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

bool Importer::TakeString(std::string_view text)
{
   const Frame &top = Top();
   if (top.place == Place::Hex) {
      std::string bytes;
      if (!BytesOfHex(text, &bytes)) {
         return Fail("not pairs of hexadecimal digits");
      }
      const Frame hex = top;
      frames.pop_back();
      if (!TakeText(bytes, true)) {
         return false;
      }
      return Push(hex);
   }
   if (ExpectsText()) {
      return TakeText(text, false);
   }
   if (top.place == Place::Root) {
      return TakeRootText(text);
   }
   if (top.place == Place::Keys || top.place == Place::Instances) {
      return TakeText(text, false);
   }
   if (top.place == Place::Entry && member == EntryMember::Status) {
      uint64_t value;
      return ParseStatus(text, &value) ? TakeStatus({false, value})
                                       : Fail("a status is a number, or a text like \"0xbad0003\"");
   }
   const bool isField =
      top.place == Place::Structure || (top.place == Place::Entry && member == EntryMember::Field);
   if (isField && top.field->kind == FieldKind::Bytes) {
      std::string bytes;
      if (!BytesOfHex(text, &bytes)) {
         return Fail("not pairs of hexadecimal digits");
      }
      return TakeFieldText(bytes, true);
   }
   return Fail("a text has no meaning here");
}

bool Importer::TakeText(std::string_view bytes, bool fromHex)
{
   switch (Top().place) {
   case Place::Root:
      return TakeRootText(bytes);
   case Place::Keys:
      return TakeKey(nullptr, &bytes);
   case Place::Instances:
      return TakeWord(&instances, node->listed, nullptr, &bytes);
   default:
      return TakeFieldText(bytes, fromHex);
   }
}

bool Importer::TakeRootText(std::string_view text)
{
   if (text.find('\0') != std::string_view::npos) {
      return Fail(std::string(kRootNames[static_cast<size_t>(rootMember)]) + " has no NUL");
   }
   switch (rootMember) {
   case RootMember::Signature:
      tree->signature = text;
      return nevra::IsDefinitionSignature(tree->signature.c_str(), text.size()) ||
             Fail("definitionSignature is 32 hexadecimal digits, in lower case");
   case RootMember::KernelBuild:
      tree->kernelBuild = text;
      return true;
   case RootMember::Host:
      tree->host = text;
      return true;
   case RootMember::Captured:
      return ParseCaptureTime(text, &tree->captured) ||
             Fail("captured is a time like \"2026-01-31T23:59:59Z\"");
   default:
      return Fail("a text has no meaning here");
   }
}

bool Importer::TakeFieldText(std::string_view text, bool fromHex)
{
   const RecordField &field = *Top().field;
   const size_t most = fromHex ? field.size : field.size - 1; // a string leaves room for its NUL
   if (text.size() > most) {
      return Fail("longer than " + std::to_string(most) + " bytes");
   }
   if (!fromHex && text.find('\0') != std::string_view::npos) {
      return Fail("a text has no NUL");
   }
   // cppcheck-suppress invalidLifetime // the text is the caller's until this returns
   std::memcpy(record.data() + TargetOffset(), text.data(), text.size());
   return true;
}

bool Parse(LineCountingInput *input, Importer *importer, std::string *problem)
{
   // Iterative: nesting that goes on and on must not exhaust the stack.
   constexpr unsigned kFlags = rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag;
   rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonMemory> reader;
   if (!reader.Parse<kFlags>(*input, *importer)) {
      if (problem->empty()) {
         *problem = rapidjson::GetParseError_En(reader.GetParseErrorCode());
      }
      return false;
   }
   if (!input->IsAtEnd()) {
      *problem = "there is a NUL";
   }
   return input->IsAtEnd();
}

} // namespace

bool ImportSnapshot(FILE *input, uint64_t size, Progress *progress, SnapshotTree *tree, std::string *problem)
{
   tree->signature = nevra::DefinitionSignature();
   tree->kernelBuild = nevra::DefinitionBuildText();
   problem->clear();
   LineCountingInput lines(input);
   Importer importer(tree, problem,
                     [&](uint64_t entries) { progress->Update(size > 0 ? lines.Tell() : entries, size); });
   if (!Parse(&lines, &importer, problem)) {
      *problem =
         std::ferror(input) ? "cannot be read" : "line " + std::to_string(lines.Line()) + ": " + *problem;
      return false;
   }
   return true;
}
