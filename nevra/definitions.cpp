#include "nevra/definitions.h"

#include <cstddef>
#include <iterator>

#include "nevra/records.h"

namespace nevra {

namespace {

// ---- record layouts

template <typename Record> struct LayoutOf;

constexpr RecordField MakeField(const char *name, FieldKind kind, size_t offset, size_t size, size_t count,
                                const RecordLayout *structure, const char *description)
{
   return {name,
           kind,
           static_cast<uint32_t>(offset),
           static_cast<uint32_t>(size),
           static_cast<uint32_t>(count),
           structure,
           description};
}

#define NEVRA_KIND_U8(count) FieldKind::Unsigned, 1, nullptr
#define NEVRA_KIND_U16(count) FieldKind::Unsigned, 2, nullptr
#define NEVRA_KIND_U32(count) FieldKind::Unsigned, 4, nullptr
#define NEVRA_KIND_U64(count) FieldKind::Unsigned, 8, nullptr
#define NEVRA_KIND_I32(count) FieldKind::Signed, 4, nullptr
#define NEVRA_KIND_I64(count) FieldKind::Signed, 8, nullptr
#define NEVRA_KIND_TEXT(count) FieldKind::Text, (count), nullptr
#define NEVRA_KIND_BYTES(count) FieldKind::Bytes, (count), nullptr
#define NEVRA_KIND_BuddyOrder(count) FieldKind::Structure, sizeof(BuddyOrder), &LayoutOf<BuddyOrder>::kLayout

struct KindRow {
   FieldKind kind;
   size_t size;
   const RecordLayout *structure;
};

constexpr RecordField MakeRow(const char *name, size_t offset, size_t count, KindRow row,
                              const char *description)
{
   const bool whole = row.kind == FieldKind::Text || row.kind == FieldKind::Bytes;
   return MakeField(name, row.kind, offset, row.size, whole ? 1 : count, row.structure, description);
}

#define NEVRA_FIELD_ROW(kind, name, count, description)                                                      \
   MakeRow(#name, offsetof(Self, name), count, KindRow{NEVRA_KIND_##kind(count)}, description),
#define NEVRA_LAYOUT(Record, bytes)                                                                          \
   template <> struct LayoutOf<Record> {                                                                     \
      using Self = Record;                                                                                   \
      static constexpr RecordField kFields[] = {NEVRA_FIELDS_##Record(NEVRA_FIELD_ROW)};                     \
      static constexpr RecordLayout kLayout = {#Record, bytes, kFields};                                     \
   };

NEVRA_RECORDS(NEVRA_LAYOUT)

// ---- the nodes

constexpr KeyDomain kGroup[] = {KeyDomain::Group};
constexpr KeyDomain kGroupLeader[] = {KeyDomain::GroupLeader};
constexpr KeyDomain kVmmLeader[] = {KeyDomain::VmmLeader};
constexpr KeyDomain kMemClient[] = {KeyDomain::MemClient};
constexpr KeyDomain kMemClientRemapType[] = {KeyDomain::MemClient, KeyDomain::RemapType};
constexpr KeyDomain kMemState[] = {KeyDomain::MemState};
constexpr KeyDomain kMemNode[] = {KeyDomain::MemNode};
constexpr KeyDomain kMemNodePool[] = {KeyDomain::MemNode, KeyDomain::LPagePool};
constexpr KeyDomain kBuddy[] = {KeyDomain::Buddy};
constexpr KeyDomain kHeap[] = {KeyDomain::Heap};
constexpr KeyDomain kVolume[] = {KeyDomain::PMemVolume};
constexpr KeyDomain kVolumeExtent[] = {KeyDomain::PMemVolume, KeyDomain::PMemExtent};
constexpr KeyDomain kVolumeRegion[] = {KeyDomain::PMemVolume, KeyDomain::PMemRegion};
constexpr KeyDomain kVolumeRegionNuma[] = {KeyDomain::PMemVolume, KeyDomain::PMemRegion, KeyDomain::NumaNode};
constexpr KeyDomain kCpu[] = {KeyDomain::Cpu};
constexpr KeyDomain kPciRegister[] = {KeyDomain::PciSegment,      KeyDomain::PciBus,
                                      KeyDomain::PciSlot,         KeyDomain::PciFunction,
                                      KeyDomain::PciRegisterSize, KeyDomain::PciRegister};
static_assert(std::size(kPciRegister) == kMaxKeys);

constexpr std::span<const KeyDomain> kNone;
constexpr std::span<const KeyDomain> kPciFunction(kPciRegister, 4);
constexpr std::span<const KeyDomain> kPciSlot(kPciRegister, 3);
constexpr std::span<const KeyDomain> kPciBus(kPciRegister, 2);
constexpr std::span<const KeyDomain> kPciSegment(kPciRegister, 1);

// A path is its identifier with the underscores as separators.
template <size_t N> struct PathText {
   char text[N] = {};
   constexpr explicit PathText(const char (&identifier)[N])
   {
      for (size_t i = 0; i < N; i++) {
         text[i] = identifier[i] == '_' ? '/' : identifier[i];
      }
   }
};

#define NEVRA_PATH(node, ...) static constexpr PathText kPath_##node(#node);
NEVRA_NODES(NEVRA_PATH)

// What a row of NEVRA_NODES says of a node besides its name.
struct NodeForm {
   std::span<const KeyDomain> recordKeys;
   const RecordLayout *record;
   std::span<const KeyDomain> listKeys;
   KeyDomain listed;
   bool settable;
};

constexpr NodeForm Lists(std::span<const KeyDomain> keys, KeyDomain listed)
{
   return {kNone, nullptr, keys, listed, false};
}

template <typename Record> constexpr NodeForm Records(std::span<const KeyDomain> keys)
{
   return {keys, &LayoutOf<Record>::kLayout, kNone, KeyDomain::None, false};
}

template <typename Record> constexpr NodeForm ListedRecords(std::span<const KeyDomain> keys)
{
   return {keys, &LayoutOf<Record>::kLayout, keys.first(keys.size() - 1), keys.back(), false};
}

template <typename Record> constexpr NodeForm Settable(std::span<const KeyDomain> keys)
{
   return {keys, &LayoutOf<Record>::kLayout, kNone, KeyDomain::None, true};
}

constexpr NevraNodeDef MakeNode(NodeId id, const char *path, NodeForm form)
{
   return {id, path, form.recordKeys, form.record, form.listKeys, form.listed, form.settable};
}

#define NEVRA_NODE_ROW(node, ...) MakeNode(NodeId::node, kPath_##node.text, __VA_ARGS__),

} // namespace

constexpr NevraNodeDef kDefinitionTable[kNodeCount] = {NEVRA_NODES(NEVRA_NODE_ROW)};

namespace {

void AppendKeys(std::string &text, std::span<const KeyDomain> keys)
{
   text += '(';
   for (KeyDomain key : keys) {
      text += KeyDomainName(key);
      text += IsTextKey(key) ? ":text," : ":int,";
   }
   text += ')';
}

void AppendLayout(std::string &text, const RecordLayout &layout)
{
   text += layout.name;
   text += '[' + std::to_string(layout.size) + "]{";
   for (const RecordField &field : layout.fields) {
      text += field.name;
      text += ':' + std::to_string(static_cast<int>(field.kind)) + ':' + std::to_string(field.offset) + ':' +
              std::to_string(field.size) + 'x' + std::to_string(field.count);
      if (field.structure != nullptr) {
         AppendLayout(text, *field.structure);
      }
      text += ';';
   }
   text += '}';
}

} // namespace

bool IsTextKey(KeyDomain domain)
{
   switch (domain) {
   case KeyDomain::RemapType:
   case KeyDomain::MemState:
   case KeyDomain::Buddy:
   case KeyDomain::Heap:
   case KeyDomain::LPagePool:
   case KeyDomain::PMemVolume:
   case KeyDomain::PMemRegion:
      return true;
   default:
      return false;
   }
}

const char *KeyDomainName(KeyDomain domain)
{
   static constexpr const char *kNames[] = {
      "none",  "group",   "groupLeader", "vmmLeader", "memClient", "remapType",    "memState", "memNode",
      "buddy", "heap",    "lpagePool",   "volume",    "extent",    "region",       "numaNode", "cpu",
      "dimm",  "segment", "bus",         "slot",      "function",  "registerSize", "register"};
   static_assert(std::size(kNames) == static_cast<size_t>(KeyDomain::PciRegister) + 1);
   return kNames[static_cast<size_t>(domain)];
}

std::span<const NevraNodeDef> Definitions()
{
   return kDefinitionTable;
}

const NevraNodeDef &Definition(NodeId id)
{
   return kDefinitionTable[static_cast<size_t>(id)];
}

const NevraNodeDef *FindDefinition(std::string_view path)
{
   for (const NevraNodeDef &definition : kDefinitionTable) {
      if (path == definition.path) {
         return &definition;
      }
   }
   return nullptr;
}

std::string CanonicalDefinitionText()
{
   std::string text;
   for (const NevraNodeDef &definition : kDefinitionTable) {
      text += definition.path;
      AppendKeys(text, definition.recordKeys);
      if (definition.record != nullptr) {
         AppendLayout(text, *definition.record);
      }
      if (definition.listed != KeyDomain::None) {
         AppendKeys(text, definition.listKeys);
         text += "->";
         text += KeyDomainName(definition.listed);
      }
      text += definition.settable ? " settable\n" : "\n";
   }
   return text;
}

const char *DefinitionBuildText()
{
   return "hostmem-nevra " HOSTMEM_VERSION;
}

} // namespace nevra
