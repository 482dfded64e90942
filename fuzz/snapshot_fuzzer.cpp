// Opens a snapshot, whatever it is, and reads and lists every node with keys that it has and keys that it has
// not.
//
// The first byte says what is fixed before the rest is opened, so that the fuzzer gets past the
// checksums.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "fuzz/record_texts.h"
#include "fuzz/report_walk.h"
#include "nevra/kernel_detail.h"
#include "nevra/records.h"
#include "nevra/shown_text.h"
#include "nevra/snapshot/snapshot_checksum.h"
#include "nevra/snapshot/snapshot_file.h"
#include "nevra/snapshot/snapshot_source.h"
#include "nevra/snapshot/snapshot_trailer.h"
#include "nevra/snapshot/snapshot_vectors.h"
#include "nevra/snapshot/snapshot_verify.h"
#include "snapshot-tool/json_export.h"
#include "snapshot_generated.h"

namespace {

using nevra::KeyTable;
using nevra::SnapshotFile;
using nevra::SnapshotKeyShape;
using nevra::SnapshotNode;

enum class Fix : uint8_t { Nothing, Directory, Vectors, Everything };

struct ListDeleter {
   void operator()(Nevra_ParamList *list) const { Nevra_ParamList::Destroy(list); }
};
using ListPtr = std::unique_ptr<Nevra_ParamList, ListDeleter>;

template <typename Element> std::span<const uint8_t> BytesOf(const flatbuffers::Vector<Element> *vector)
{
   return vector == nullptr ? std::span<const uint8_t>()
                            : std::span(vector->Data(), vector->size() * sizeof(Element));
}

// Writes a checksum into the field of a table, when it is there. The table is that of the original: in `body`
// one checksum may already lie over the next table.
void PutChecksum(const std::vector<uint8_t> &original, const flatbuffers::Table &table,
                 flatbuffers::voffset_t field, uint64_t checksum, uint8_t *body)
{
   const uint8_t *address = table.GetAddressOf(field);
   if (address != nullptr) {
      std::memcpy(body + (address - original.data()), &checksum, sizeof checksum);
   }
}

const flatbuffers::Table &TableOf(const void *table)
{
   return *static_cast<const flatbuffers::Table *>(table);
}

void FixVectors(uint8_t *body, size_t size)
{
   const std::vector<uint8_t> original(body, body + size);
   flatbuffers::Verifier verifier(original.data(), size);
   if (!nevra::snapshot::VerifySnapshotBuffer(verifier)) {
      return;
   }
   const nevra::snapshot::Snapshot *root = nevra::snapshot::GetSnapshot(original.data());
   for (const nevra::snapshot::Node *node : *root->nodes()) {
#define VECTOR_BYTES(member, field, FIELD, Element) BytesOf(node->field()),
      const nevra::NodeVectorBytes vectors = {NEVRA_SNAPSHOT_VECTORS(VECTOR_BYTES)};
      PutChecksum(original, TableOf(node), nevra::snapshot::Node::VT_CHECKSUM,
                  nevra::ChecksumOfVectors(std::span(vectors).first(
                     root->format_version() == 1 ? nevra::kVersion1VectorCount : vectors.size())),
                  body);
   }
   const std::span<const uint8_t> texts[] = {BytesOf(root->text_offsets()), BytesOf(root->text_bytes())};
   PutChecksum(original, TableOf(root), nevra::snapshot::Snapshot::VT_TEXT_CHECKSUM,
               nevra::ChecksumOfVectors(texts), body);
}

void FixInput(std::vector<uint8_t> *bytes, Fix fix)
{
   if (bytes->size() < nevra::kTrailerSize) {
      return;
   }
   const size_t size = bytes->size() - nevra::kTrailerSize;
   if (fix == Fix::Vectors || fix == Fix::Everything) {
      FixVectors(bytes->data(), size);
   }
   if (fix == Fix::Directory || fix == Fix::Everything) {
      nevra::SnapshotTrailer trailer;
      nevra::DecodeTrailer(std::span(*bytes).last<nevra::kTrailerSize>(), &trailer);
      const auto fixed =
         nevra::EncodeTrailer({bytes->data(), size}, std::min<uint64_t>(trailer.directorySize, size));
      std::copy(fixed.begin(), fixed.end(), bytes->begin() + static_cast<ptrdiff_t>(size));
   }
}

// The keys at a position of a table, with `shift` added to them; false when they have no text.
bool TakeKeys(const SnapshotFile &file, const uint64_t *words, SnapshotKeyShape shape, uint64_t shift,
              Nevra_ParamList *keys)
{
   for (size_t i = 0; i < shape.count; i++) {
      const uint64_t word = words[i] + shift;
      const char *text = shape.IsText(i) ? TextAt(file, word) : nullptr;
      if (shape.IsText(i) && text == nullptr) {
         return false;
      }
      if (text != nullptr) {
         keys->AddLastingText(text);
      } else {
         keys->AddInt(static_cast<int64_t>(word));
      }
   }
   return true;
}

void ReadRecord(nevra::Source &source, const NevraNodeDef &node, const Nevra_ParamList &keys)
{
   if (node.record != nullptr && keys.Used() == node.recordKeys.size()) {
      // Of exactly this size, so that a write past the end shows.
      std::vector<uint8_t> record(node.record->size);
      if (source.Get(node, keys, record.data()) == NEVRA_OK) {
         RequireShownTexts(node, record.data());
      }
   }
}

void ReadList(nevra::Source &source, const NevraNodeDef &node, const Nevra_ParamList &keys)
{
   if (node.listed == nevra::KeyDomain::None || keys.Used() != node.listKeys.size()) {
      return;
   }
   for (const uint32_t capacity : {0u, 3u, Nevra_ParamList::kUnbounded}) {
      const ListPtr list(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, capacity));
      const NevraStatus status = source.List(node, keys, *list);
      for (uint32_t i = 0; status == NEVRA_OK && i < list->Used(); i++) {
         RequireShownInstance(node, (*list)[i].text != nullptr ? (*list)[i].text : "");
      }
   }
}

// Asks for the keys of a table and their neighbours, by the types that the definitions give them.
void AskForTable(nevra::Source &source, const SnapshotFile &file, const NevraNodeDef &node,
                 const KeyTable &table, std::span<const nevra::KeyDomain> domains, bool isList)
{
   const SnapshotKeyShape shape = nevra::KeyShapeOf(domains);
   if (table.width != shape.count) {
      return;
   }
   constexpr size_t kMostAsked = 16;
   const uint64_t shifts[] = {0, 1, ~uint64_t{0}, uint64_t{1} << 63};
   for (size_t i = 0; i < std::min(table.count, kMostAsked); i++) {
      for (const uint64_t shift : shifts) {
         const ListPtr keys(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, nevra::kMaxKeys));
         if (!TakeKeys(file, table[i], shape, shift, keys.get())) {
            continue;
         }
         if (isList) {
            ReadList(source, node, *keys);
         } else {
            ReadRecord(source, node, *keys);
         }
      }
   }
}

// Keys that no snapshot knows better than another.
void AskWildly(nevra::Source &source, const NevraNodeDef &node)
{
   for (const bool isList : {false, true}) {
      const ListPtr keys(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, nevra::kMaxKeys));
      for (const nevra::KeyDomain domain : isList ? node.listKeys : node.recordKeys) {
         if (nevra::IsTextKey(domain)) {
            keys->AddLastingText("high");
         } else {
            keys->AddInt(0);
         }
      }
      if (isList) {
         ReadList(source, node, *keys);
      } else {
         ReadRecord(source, node, *keys);
      }
   }
}

void AskEverything(nevra::Source &source, const SnapshotFile &file)
{
   for (const NevraNodeDef &node : nevra::Definitions()) {
      AskWildly(source, node);
   }
   for (const SnapshotNode &node : file.nodes) {
      const NevraNodeDef *definition = nevra::FindDefinition(node.path);
      if (definition != nullptr) {
         AskForTable(source, file, *definition, node.keys, definition->recordKeys, false);
         AskForTable(source, file, *definition, node.failedKeys, definition->recordKeys, false);
         AskForTable(source, file, *definition, node.listKeys, definition->listKeys, true);
         AskForTable(source, file, *definition, node.listFailedKeys, definition->listKeys, true);
      }
   }
}

// ---- work
//
// What docs/snapshot.md promises: at most so much work for each byte of the file. The constant is for the
// questions of a report of an empty file, one for each memory node that a record of a few bytes may claim
// among them.

constexpr uint64_t kMostReadPerByte = 160;
constexpr uint64_t kMostWrittenPerByte = 80;
constexpr uint64_t kMostOfAnEmptyFile = 4096;

ssize_t CountBytes(void *cookie, const char *, size_t size)
{
   *static_cast<uint64_t *>(cookie) += size;
   return static_cast<ssize_t>(size);
}

uint64_t Export(const SnapshotFile &file)
{
   uint64_t written = 0;
   cookie_io_functions_t counting = {};
   counting.write = CountBytes;
   FILE *output = fopencookie(&written, "w", counting);
   Progress progress("exporting", output, false, std::chrono::steady_clock::now);
   std::string problem;
   ExportSnapshot(file, output, &progress, &problem);
   std::fclose(output);
   return written;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
   if (size == 0) {
      return 0;
   }
   std::vector<uint8_t> bytes(data + 1, data + size);
   FixInput(&bytes, static_cast<Fix>(data[0] % 4));
   SnapshotFile file;
   std::string problem;
   const NevraStatus status = OpenSnapshotBytes(bytes, &file, &problem);
   Require((status == NEVRA_OK) == problem.empty(), "a failure has a reason, and success has none");
   if (status != NEVRA_OK) {
      return 0;
   }
   for (const nevra::KernelFigure &figure : file.kernelDetail) {
      Require(nevra::IsShownText(figure.name) && FindKernelFigure(file.kernelDetail, figure.name) == &figure,
              "the kernel's detail is safe to print, each name once");
   }
   std::unique_ptr<nevra::Source> source;
   Require(OpenSnapshotSourceFromMemory(bytes, "input", &source) == NEVRA_OK, "opens once, opens twice");
   AskEverything(*source, file);
   const uint64_t mostRead = kMostReadPerByte * file.size + kMostOfAnEmptyFile;
   Require(WalkAsReportsDo(*source, mostRead) <= mostRead,
           "what reports read is linear in the size of the file");
   if (VerifySnapshot(file, &problem)) {
      Require(Export(file) <= kMostWrittenPerByte * file.size + kMostOfAnEmptyFile,
              "what export writes is linear in the size of the file");
   }
   return 0;
}
