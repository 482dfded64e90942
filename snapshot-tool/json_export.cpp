#include "snapshot-tool/json_export.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <memory>
#include <string_view>

#include <rapidjson/filewritestream.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include "nevra/shown_text.h"
#include "snapshot-tool/capture_time.h"
#include "snapshot-tool/json_memory.h"
#include "snapshot-tool/json_text.h"

namespace {

using nevra::FieldKind;
using nevra::RecordField;
using nevra::RecordLayout;
using nevra::SnapshotFile;
using nevra::SnapshotNode;

using Utf8 = rapidjson::UTF8<>;
using TextBuffer = rapidjson::GenericStringBuffer<Utf8, JsonMemory>;
using EntryWriter = rapidjson::Writer<TextBuffer, Utf8, Utf8, JsonMemory>;
using FileWriter = rapidjson::PrettyWriter<rapidjson::FileWriteStream, Utf8, Utf8, JsonMemory>;

struct Export {
   const SnapshotFile &file;
   FileWriter &out;
   TextBuffer line; // one instance
   Progress *progress;
   uint64_t done;
   uint64_t total;
};

// As a JSON string of ASCII characters, none of which can steer a terminal.
std::string EscapedText(std::string_view text)
{
   TextBuffer buffer;
   rapidjson::Writer<TextBuffer, Utf8, rapidjson::ASCII<>, JsonMemory> out(buffer);
   out.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
   std::string escaped;
   for (const char character : std::string_view(buffer.GetString(), buffer.GetSize())) {
      if (character == '\x7f') { // which the library takes for any other
         escaped += "\\u007f";
      } else {
         escaped += character;
      }
   }
   return escaped;
}

template <typename Writer> void WriteText(Writer &out, std::string_view text)
{
   if (nevra::IsShownText(text)) {
      out.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
      return;
   }
   if (IsUtf8(text)) {
      const std::string escaped = EscapedText(text);
      out.RawValue(escaped.data(), escaped.size(), rapidjson::kStringType);
      return;
   }
   const std::string hex = HexOfBytes(text);
   out.StartObject();
   out.Key("hex");
   out.String(hex.c_str());
   out.EndObject();
}

// Without the zeros at its end.
std::string_view Trimmed(const uint8_t *bytes, size_t size)
{
   while (size > 0 && bytes[size - 1] == 0) {
      size--;
   }
   return {reinterpret_cast<const char *>(bytes), size};
}

// A text that a string cannot bring back, unterminated or with bytes after its end, is written as bytes.
void WriteTextField(EntryWriter &out, std::string_view trimmed, size_t size)
{
   if (trimmed.size() < size && trimmed.find('\0') == std::string_view::npos) {
      WriteText(out, trimmed);
      return;
   }
   const std::string hex = HexOfBytes(trimmed);
   out.StartObject();
   out.Key("hex");
   out.String(hex.c_str());
   out.EndObject();
}

uint64_t ReadUnsigned(const uint8_t *bytes, size_t size)
{
   uint64_t value = 0;
   std::memcpy(&value, bytes, size);
   return value;
}

int64_t ReadSigned(const uint8_t *bytes, size_t size)
{
   const unsigned unused = 64 - 8 * static_cast<unsigned>(size);
   return static_cast<int64_t>(ReadUnsigned(bytes, size) << unused) >> unused;
}

void WriteFields(EntryWriter &out, const RecordLayout &layout, const uint8_t *record);

void WriteElement(EntryWriter &out, const RecordField &field, const uint8_t *element)
{
   switch (field.kind) {
   case FieldKind::Unsigned:
      out.Uint64(ReadUnsigned(element, field.size));
      break;
   case FieldKind::Signed:
      out.Int64(ReadSigned(element, field.size));
      break;
   case FieldKind::Text:
      WriteTextField(out, Trimmed(element, field.size), field.size);
      break;
   case FieldKind::Bytes:
      out.String(HexOfBytes(Trimmed(element, field.size)).c_str());
      break;
   case FieldKind::Structure:
      out.StartObject();
      WriteFields(out, *field.structure, element);
      out.EndObject();
      break;
   }
}

// Fields that are all zeros are left out, and so are elements at the end of an array.
void WriteFields(EntryWriter &out, const RecordLayout &layout, const uint8_t *record)
{
   for (const RecordField &field : layout.fields) {
      const uint8_t *start = record + field.offset;
      const size_t used = Trimmed(start, size_t{field.size} * field.count).size();
      if (used == 0) {
         continue;
      }
      out.Key(field.name);
      if (field.count == 1) {
         WriteElement(out, field, start);
         continue;
      }
      out.StartArray();
      for (size_t offset = 0; offset < used; offset += field.size) {
         WriteElement(out, field, start + offset);
      }
      out.EndArray();
   }
}

void WriteWord(EntryWriter &out, const SnapshotFile &file, uint64_t word, bool isText)
{
   if (isText) {
      WriteText(out, TextAt(file, word));
   } else {
      out.Int64(static_cast<int64_t>(word));
   }
}

void WriteList(EntryWriter &out, const SnapshotFile &file, std::span<const uint64_t> values, bool areTexts)
{
   out.StartArray();
   for (const uint64_t value : values) {
      WriteWord(out, file, value, areTexts);
   }
   out.EndArray();
}

void WriteKeys(EntryWriter &out, const SnapshotFile &file, const uint64_t *keys,
               nevra::SnapshotKeyShape shape)
{
   if (shape.count == 0) {
      return;
   }
   out.Key("keys");
   out.StartArray();
   for (size_t i = 0; i < shape.count; i++) {
      WriteWord(out, file, keys[i], shape.IsText(i));
   }
   out.EndArray();
}

// An array of one line per instance; write(out, position) adds what the instance has besides its keys.
template <typename Write>
void WriteEntries(Export &run, const char *name, const nevra::KeyTable &keys, nevra::SnapshotKeyShape shape,
                  Write write)
{
   if (keys.count == 0) {
      return;
   }
   run.out.Key(name);
   run.out.StartArray();
   for (size_t rank = 0; rank < keys.count; rank++) {
      const size_t i = keys.Ascending(rank);
      run.line.Clear();
      EntryWriter entry(run.line);
      entry.StartObject();
      WriteKeys(entry, run.file, keys[i], shape);
      write(entry, i);
      entry.EndObject();
      run.out.RawValue(run.line.GetString(), run.line.GetSize(), rapidjson::kObjectType);
      run.progress->Update(run.done++, run.total);
   }
   run.out.EndArray();
}

void WriteStatus(EntryWriter &out, NevraStatus status)
{
   char text[16];
   std::snprintf(text, sizeof text, "0x%" PRIx32, status);
   out.Key("status");
   out.String(text);
}

void WriteNode(Export &run, const SnapshotNode &node)
{
   const NevraNodeDef &definition = *node.fit.definition;
   run.out.Key(node.path);
   run.out.StartObject();
   WriteEntries(run, "records", node.keys, node.recordShape, [&](EntryWriter &out, size_t i) {
      WriteFields(out, *definition.record, node.records.data() + i * node.recordSize);
   });
   WriteEntries(run, "failures", node.failedKeys, node.recordShape,
                [&](EntryWriter &out, size_t i) { WriteStatus(out, node.failedStatuses[i]); });
   WriteEntries(run, "lists", node.listKeys, node.listShape, [&](EntryWriter &out, size_t i) {
      std::span<const uint64_t> values;
      ListAt(node, i, &values);
      out.Key("instances");
      WriteList(out, run.file, values, node.listsTexts);
   });
   WriteEntries(run, "listFailures", node.listFailedKeys, node.listShape,
                [&](EntryWriter &out, size_t i) { WriteStatus(out, node.listFailedStatuses[i]); });
   run.out.EndObject();
}

uint64_t CountEntries(const SnapshotFile &file)
{
   uint64_t count = 0;
   for (const SnapshotNode &node : file.nodes) {
      count += node.keys.count + node.failedKeys.count + node.listKeys.count + node.listFailedKeys.count;
   }
   return count;
}

void WriteHeader(FileWriter &out, const SnapshotFile &file)
{
   out.Key("definitionSignature");
   out.String(file.signature);
   out.Key("kernelBuild");
   WriteText(out, file.kernelBuild);
   out.Key("host");
   WriteText(out, file.host);
   out.Key("captured");
   out.String(FormatCaptureTime(file.captured).c_str());
   if (*file.notes != '\0') {
      out.Key("notes");
      out.StartArray();
      std::string_view rest = file.notes;
      for (size_t end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
         WriteText(out, rest.substr(0, end));
         rest.remove_prefix(end + 1);
      }
      WriteText(out, rest);
      out.EndArray();
   }
   if (!file.kernelDetail.empty()) {
      out.Key("kernelDetail");
      out.StartObject();
      for (const nevra::KernelFigure &figure : file.kernelDetail) {
         out.Key(figure.name.c_str());
         out.Uint64(figure.kb);
      }
      out.EndObject();
   }
}

} // namespace

std::string TextAsJson(std::string_view text)
{
   TextBuffer buffer;
   EntryWriter writer(buffer);
   WriteText(writer, text);
   return {buffer.GetString(), buffer.GetSize()};
}

std::string FieldAsJson(const RecordField &field, const uint8_t *element)
{
   TextBuffer buffer;
   EntryWriter writer(buffer);
   WriteElement(writer, field, element);
   return {buffer.GetString(), buffer.GetSize()};
}

std::string WordsAsJson(const SnapshotFile &file, std::span<const uint64_t> words,
                        nevra::SnapshotKeyShape shape)
{
   TextBuffer buffer;
   EntryWriter writer(buffer);
   writer.StartArray();
   for (size_t i = 0; i < words.size(); i++) {
      WriteWord(writer, file, words[i], shape.IsText(i));
   }
   writer.EndArray();
   return {buffer.GetString(), buffer.GetSize()};
}

std::string ListAsJson(const SnapshotFile &file, std::span<const uint64_t> values, bool areTexts)
{
   TextBuffer buffer;
   EntryWriter writer(buffer);
   WriteList(writer, file, values, areTexts);
   return {buffer.GetString(), buffer.GetSize()};
}

bool ExportSnapshot(const SnapshotFile &file, FILE *output, Progress *progress, std::string *problem)
{
   const auto foreign = std::find_if_not(file.nodes.begin(), file.nodes.end(),
                                         [](const auto &node) { return node.fit.everything; });
   if (foreign != file.nodes.end()) {
      *problem = std::string("cannot be exported: this build defines ") + foreign->path + " otherwise";
      return false;
   }
   const auto buffer = std::make_unique<char[]>(1 << 16);
   rapidjson::FileWriteStream stream(output, buffer.get(), 1 << 16);
   FileWriter out(stream);
   out.SetIndent(' ', 2);
   Export run = {file, out, {}, progress, 0, CountEntries(file)};
   out.StartObject();
   WriteHeader(out, file);
   out.Key("nodes");
   out.StartObject();
   for (const SnapshotNode &node : file.nodes) {
      WriteNode(run, node);
   }
   out.EndObject();
   out.EndObject();
   stream.Put('\n');
   stream.Flush();
   if (std::fflush(output) != 0 || std::ferror(output)) {
      *problem = std::string("cannot be written out: ") + std::strerror(errno);
      return false;
   }
   return true;
}
