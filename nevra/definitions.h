// The node definitions: every node's path, keys, record and listing, stated once.
//
// Node identifiers, parameter checks, the definition signature, capture and the readable form of a snapshot
// all come from this table.
#ifndef NEVRA_DEFINITIONS_H
#define NEVRA_DEFINITIONS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "nevra/nevra.h"

namespace nevra {

// How one field of a record is stored. Sizes and offsets are in bytes.
enum class FieldKind : uint8_t { Unsigned, Signed, Text, Bytes, Structure };

struct RecordLayout;

struct RecordField {
   const char *name;
   FieldKind kind;
   uint32_t offset;
   uint32_t size;                 // of one element
   uint32_t count;                // elements; 1 for Text and Bytes, whose size is that of the whole field
   const RecordLayout *structure; // for Structure
   const char *description;       // meaning and unit; empty for bytes that no report reads
};

struct RecordLayout {
   const char *name;
   uint32_t size;
   std::span<const RecordField> fields; // without gaps, in order of their offsets
};

// What a key addresses; it decides the key's type, and how capture enumerates its values.
enum class KeyDomain : uint8_t {
   None,
   Group,       // scheduler group ID, from the root's tree
   GroupLeader, // world ID of a VM's or a user world's leader
   VmmLeader,   // world ID of a VMM's leader
   MemClient,   // member memory client of a group
   RemapType,   // text
   MemState,    // text: high, clear, soft, hard, low
   MemNode,     // memory node number
   Buddy,       // text
   Heap,        // text
   LPagePool,   // text
   PMemVolume,  // text
   PMemExtent,
   PMemRegion, // text
   NumaNode,
   Cpu,
   Dimm,
   PciSegment,
   PciBus,
   PciSlot,
   PciFunction,
   PciRegisterSize,
   PciRegister
};

// True when keys of this domain are texts; the others are integers.
bool IsTextKey(KeyDomain domain);

// The name of a domain in messages and in the readable form of a snapshot.
const char *KeyDomainName(KeyDomain domain);

// Every node, in the order of the table: the part of its identifier behind NEVRA_NODE_.
#define NEVRA_NODES(NODE)                                                                                    \
   NODE(sched_groups_members_groups)                                                                         \
   NODE(sched_groups_members_memClients)                                                                     \
   NODE(sched_groups_groupName)                                                                              \
   NODE(sched_groups_groupTag)                                                                               \
   NODE(sched_groups_parentGroupID)                                                                          \
   NODE(sched_groups_groupFlags)                                                                             \
   NODE(sched_groups_groupLeaderID)                                                                          \
   NODE(sched_groups_memAllocationInKB)                                                                      \
   NODE(sched_groups_stats_capacity)                                                                         \
   NODE(sched_groups_stats_memoryStats)                                                                      \
   NODE(sched_memClients_kelmar_totalCommon)                                                                 \
   NODE(sched_memClients_kelmar_vmm)                                                                         \
   NODE(sched_memClients_kelmar_uw)                                                                          \
   NODE(sched_memClients_kelmar_guest)                                                                       \
   NODE(sched_memClients_swapInfo)                                                                           \
   NODE(sched_memClients_memzipInfo)                                                                         \
   NODE(sched_memClients_remapTypes)                                                                         \
   NODE(worldGroups_vmmLeaderID)                                                                             \
   NODE(vm_vmmGroupInfo)                                                                                     \
   NODE(memory_comprehensive)                                                                                \
   NODE(memory_memInfo)                                                                                      \
   NODE(memory_memNodes)                                                                                     \
   NODE(memory_pshare_stats)                                                                                 \
   NODE(memory_lpage_vmLPage)                                                                                \
   NODE(memory_lpage_nodeList_psharePool)                                                                    \
   NODE(memory_lpage_nodeList_vmPools)                                                                       \
   NODE(sched_globalStats_memory_kelmar)                                                                     \
   NODE(sched_globalStats_memory_stateTransitions)                                                           \
   NODE(sched_globalStats_numVMs)                                                                            \
   NODE(system_buddy)                                                                                        \
   NODE(system_buddy_comprehensive)                                                                          \
   NODE(system_heaps)                                                                                        \
   NODE(system_heaps_stats)                                                                                  \
   NODE(memory_pmem_volumes)                                                                                 \
   NODE(memory_pmem_volumes_info)                                                                            \
   NODE(memory_pmem_volumes_extents)                                                                         \
   NODE(memory_pmem_volumes_regionStore_info)                                                                \
   NODE(memory_pmem_volumes_regionStore_isClean)                                                             \
   NODE(memory_pmem_volumes_regionStore_regions)                                                             \
   NODE(memory_pmem_volumes_regionStore_regions_info)                                                        \
   NODE(memory_pmem_volumes_regionStore_regions_numaAllocInfo)                                               \
   NODE(hardware_cpu_cpuList)                                                                                \
   NODE(hardware_nvd_dimm)                                                                                   \
   NODE(hardware_pci_seg)                                                                                    \
   NODE(hardware_pci_seg_bus)                                                                                \
   NODE(hardware_pci_seg_bus_slot)                                                                           \
   NODE(hardware_pci_seg_bus_slot_func)                                                                      \
   NODE(hardware_pci_seg_bus_slot_func_pciConfigHeader)                                                      \
   NODE(hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr)

enum class NodeId : uint8_t {
#define NEVRA_NODE_ID(node) node,
   NEVRA_NODES(NEVRA_NODE_ID)
#undef NEVRA_NODE_ID
};

// The most keys that an instance has.
inline constexpr size_t kMaxKeys = 6;

#define NEVRA_COUNT_NODE(node) +1 // NOLINT(bugprone-macro-parentheses): a summand
inline constexpr size_t kNodeCount = 0 NEVRA_NODES(NEVRA_COUNT_NODE);
#undef NEVRA_COUNT_NODE

// Every node, indexed by NodeId.
extern const NevraNodeDef kDefinitionTable[kNodeCount];
std::span<const NevraNodeDef> Definitions();

const NevraNodeDef &Definition(NodeId id);

// The node with this path ("sched/groups/groupName"), or null.
const NevraNodeDef *FindDefinition(std::string_view path);

// The text whose MD5 is the definition signature: every node, key and field, in table order.
std::string CanonicalDefinitionText();

// The definition signature, 32 hexadecimal digits.
const char *DefinitionSignature();

// The build text of these definitions, at most 20 characters.
const char *DefinitionBuildText();

} // namespace nevra

struct NevraNodeDef {
   nevra::NodeId id;
   const char *path;
   std::span<const nevra::KeyDomain> recordKeys;
   const nevra::RecordLayout *record; // null: the node has no records
   std::span<const nevra::KeyDomain> listKeys;
   nevra::KeyDomain listed; // what its listing gives; None: the node has no listing
   bool settable;           // takes Nevra_Set; never captured
};

#endif
