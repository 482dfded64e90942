// The node definitions against an account of the node tree that is stated apart from them.
#include "nevra/definitions.h"

#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <md5.h>

#include <gtest/gtest.h>

#include "tests/scripted/node_sizes.h"

using nevra::KeyDomain;
using nevra::NodeId;

namespace {

// What a node takes and gives: 'i' for an integer key, 's' for a text.
struct NodeShape {
   const char *recordKeys; // null: no records
   const char *listKeys;   // null: no listing
   char listed;
};

const std::map<std::string, NodeShape> kShapes = {
   {"sched/groups/members/groups", {nullptr, "i", 'i'}},
   {"sched/groups/members/memClients", {nullptr, "i", 'i'}},
   {"sched/groups/groupName", {"i", nullptr, 0}},
   {"sched/groups/groupTag", {"i", nullptr, 0}},
   {"sched/groups/parentGroupID", {"i", nullptr, 0}},
   {"sched/groups/groupFlags", {"i", nullptr, 0}},
   {"sched/groups/groupLeaderID", {"i", nullptr, 0}},
   {"sched/groups/memAllocationInKB", {"i", nullptr, 0}},
   {"sched/groups/stats/capacity", {"i", nullptr, 0}},
   {"sched/groups/stats/memoryStats", {"i", nullptr, 0}},
   {"sched/memClients/kelmar/totalCommon", {"i", nullptr, 0}},
   {"sched/memClients/kelmar/vmm", {"i", nullptr, 0}},
   {"sched/memClients/kelmar/uw", {"i", nullptr, 0}},
   {"sched/memClients/kelmar/guest", {"i", nullptr, 0}},
   {"sched/memClients/swapInfo", {"i", nullptr, 0}},
   {"sched/memClients/memzipInfo", {"i", nullptr, 0}},
   {"sched/memClients/remapTypes", {"is", "i", 's'}},
   {"worldGroups/vmmLeaderID", {"i", nullptr, 0}},
   {"vm/vmmGroupInfo", {"i", nullptr, 0}},
   {"memory/comprehensive", {"", nullptr, 0}},
   {"memory/memInfo", {"", nullptr, 0}},
   {"memory/memNodes", {"i", nullptr, 0}},
   {"memory/pshare/stats", {"", nullptr, 0}},
   {"memory/lpage/vmLPage", {"i", nullptr, 0}},
   {"memory/lpage/nodeList/psharePool", {"i", nullptr, 0}},
   {"memory/lpage/nodeList/vmPools", {"is", "i", 's'}},
   {"sched/globalStats/memory/kelmar", {"", nullptr, 0}},
   {"sched/globalStats/memory/stateTransitions", {"s", nullptr, 0}},
   {"sched/globalStats/numVMs", {"", nullptr, 0}},
   {"system/buddy", {nullptr, "", 's'}},
   {"system/buddy/comprehensive", {"s", nullptr, 0}},
   {"system/heaps", {nullptr, "", 's'}},
   {"system/heaps/stats", {"s", nullptr, 0}},
   {"memory/pmem/volumes", {nullptr, "", 's'}},
   {"memory/pmem/volumes/info", {"s", nullptr, 0}},
   {"memory/pmem/volumes/extents", {"si", "s", 'i'}},
   {"memory/pmem/volumes/regionStore/info", {"s", nullptr, 0}},
   {"memory/pmem/volumes/regionStore/isClean", {"s", nullptr, 0}},
   {"memory/pmem/volumes/regionStore/regions", {nullptr, "s", 's'}},
   {"memory/pmem/volumes/regionStore/regions/info", {"ss", nullptr, 0}},
   {"memory/pmem/volumes/regionStore/regions/numaAllocInfo", {"ssi", "ss", 'i'}},
   {"hardware/cpu/cpuList", {"i", nullptr, 0}},
   {"hardware/nvd/dimm", {nullptr, "", 'i'}},
   {"hardware/pci/seg", {nullptr, "", 'i'}},
   {"hardware/pci/seg/bus", {nullptr, "i", 'i'}},
   {"hardware/pci/seg/bus/slot", {nullptr, "ii", 'i'}},
   {"hardware/pci/seg/bus/slot/func", {nullptr, "iii", 'i'}},
   {"hardware/pci/seg/bus/slot/func/pciConfigHeader", {"iiii", nullptr, 0}},
   {"hardware/pci/seg/bus/slot/func/pciConfigReg/size/addr", {"iiiiii", nullptr, 0}}};

const std::map<std::string, size_t> kSizes = {
#define NODE_SIZE(node, size) {#node, size},
   SCRIPTED_NODES(NODE_SIZE)
#undef NODE_SIZE
};

std::string KeyTypes(std::span<const KeyDomain> keys)
{
   std::string types;
   for (const KeyDomain key : keys) {
      types += nevra::IsTextKey(key) ? 's' : 'i';
   }
   return types;
}

std::string Identifier(std::string path)
{
   for (char &c : path) {
      c = c == '/' ? '_' : c;
   }
   return path;
}

TEST(Definitions, AreFortyNineInTheOrderOfTheirIds)
{
   ASSERT_EQ(nevra::Definitions().size(), 49U);
   ASSERT_EQ(kSizes.size(), 49U);
   for (size_t i = 0; i < nevra::Definitions().size(); i++) {
      const NevraNodeDef &definition = nevra::Definitions()[i];
      EXPECT_EQ(static_cast<size_t>(definition.id), i);
      EXPECT_EQ(&nevra::Definition(definition.id), &definition);
      EXPECT_EQ(nevra::FindDefinition(definition.path), &definition);
   }
   EXPECT_EQ(nevra::FindDefinition("sched/groups"), nullptr);
   EXPECT_EQ(nevra::FindDefinition(""), nullptr);
}

TEST(Definitions, HaveThePlatformsRecordSizes)
{
   for (const NevraNodeDef &definition : nevra::Definitions()) {
      const auto size = kSizes.find(Identifier(definition.path));
      ASSERT_NE(size, kSizes.end()) << definition.path;
      EXPECT_EQ(definition.record != nullptr ? definition.record->size : 0, size->second) << definition.path;
   }
}

TEST(Definitions, HaveThePlatformsKeysAndListings)
{
   ASSERT_EQ(kShapes.size(), nevra::Definitions().size());
   for (const NevraNodeDef &definition : nevra::Definitions()) {
      const auto found = kShapes.find(definition.path);
      ASSERT_NE(found, kShapes.end()) << definition.path;
      const NodeShape &shape = found->second;
      EXPECT_EQ(definition.record != nullptr, shape.recordKeys != nullptr) << definition.path;
      EXPECT_EQ(KeyTypes(definition.recordKeys), shape.recordKeys != nullptr ? shape.recordKeys : "")
         << definition.path;
      EXPECT_EQ(definition.listed != KeyDomain::None, shape.listKeys != nullptr) << definition.path;
      EXPECT_EQ(KeyTypes(definition.listKeys), shape.listKeys != nullptr ? shape.listKeys : "")
         << definition.path;
      if (shape.listKeys != nullptr) {
         EXPECT_EQ(nevra::IsTextKey(definition.listed), shape.listed == 's') << definition.path;
      }
      EXPECT_LE(definition.recordKeys.size(), nevra::kMaxKeys);
   }
}

TEST(Definitions, AllowNothingButARegisterToBeSet)
{
   for (const NevraNodeDef &definition : nevra::Definitions()) {
      EXPECT_EQ(definition.settable,
                definition.id == NodeId::hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr);
   }
}

void ExpectNoGaps(const nevra::RecordLayout &layout)
{
   uint32_t end = 0;
   std::set<std::string> names;
   for (const nevra::RecordField &field : layout.fields) {
      EXPECT_EQ(field.offset, end) << layout.name << '.' << field.name;
      EXPECT_TRUE(names.insert(field.name).second) << layout.name << '.' << field.name;
      EXPECT_EQ(field.kind == nevra::FieldKind::Structure, field.structure != nullptr);
      EXPECT_EQ(field.kind == nevra::FieldKind::Bytes, std::string(field.description).empty())
         << layout.name << '.' << field.name;
      if (field.structure != nullptr) {
         EXPECT_EQ(field.size, field.structure->size);
         ExpectNoGaps(*field.structure);
      }
      end += field.size * field.count;
   }
   EXPECT_EQ(end, layout.size) << layout.name;
}

TEST(Definitions, NameEveryByteOfEveryRecordOnce)
{
   for (const NevraNodeDef &definition : nevra::Definitions()) {
      if (definition.record != nullptr) {
         ExpectNoGaps(*definition.record);
      }
   }
}

TEST(DefinitionSignature, IsTheMd5OfTheCanonicalText)
{
   const std::string text = nevra::CanonicalDefinitionText();
   char digest[MD5_DIGEST_STRING_LENGTH];
   MD5Data(reinterpret_cast<const uint8_t *>(text.data()), text.size(), digest);
   EXPECT_STREQ(nevra::DefinitionSignature(), digest);
   EXPECT_EQ(std::strlen(nevra::DefinitionSignature()), 32U);
}

TEST(DefinitionSignature, SignsEveryNodeKeyAndField)
{
   const std::string text = nevra::CanonicalDefinitionText();
   EXPECT_EQ(text, nevra::CanonicalDefinitionText());
   for (const NevraNodeDef &definition : nevra::Definitions()) {
      EXPECT_NE(text.find(std::string(definition.path) + '('), std::string::npos) << definition.path;
      for (const KeyDomain key : definition.recordKeys) {
         EXPECT_NE(text.find(nevra::KeyDomainName(key)), std::string::npos);
      }
      if (definition.record == nullptr) {
         continue;
      }
      EXPECT_NE(text.find(definition.record->name), std::string::npos);
      for (const nevra::RecordField &field : definition.record->fields) {
         const std::string row = std::string(field.name) + ':' +
                                 std::to_string(static_cast<int>(field.kind)) + ':' +
                                 std::to_string(field.offset) + ':' + std::to_string(field.size) + 'x' +
                                 std::to_string(field.count);
         EXPECT_NE(text.find(row), std::string::npos) << row;
      }
   }
}

TEST(DefinitionBuildText, FitsWhereItIsShown)
{
   EXPECT_LE(std::strlen(nevra::DefinitionBuildText()), 20U);
   EXPECT_GT(std::strlen(nevra::DefinitionBuildText()), 0U);
}

TEST(KeyDomainName, DiffersForEveryDomain)
{
   std::set<std::string> names;
   for (int domain = 0; domain <= static_cast<int>(KeyDomain::PciRegister); domain++) {
      EXPECT_TRUE(names.insert(nevra::KeyDomainName(static_cast<KeyDomain>(domain))).second);
   }
}

} // namespace
