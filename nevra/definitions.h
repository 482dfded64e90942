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

// Every node: the part of its identifier after NEVRA_NODE_, from which its path is made, and what it is. This
// is the only list; a new node is a row here. definitions.cpp has the key lists and explains the forms.
//
//   Lists(keys, domain)           a listing of the domain's values below the keys
//   Records<Record>(keys)         a record for the instance that the keys address
//   ListedRecords<Record>(keys)   the same, and a listing of the last key's values below the other keys
//   Settable<Record>(keys)        a record that takes Nevra_Set as well
// clang-format off
#define NEVRA_NODES(NODE)                                                                                                \
   NODE(sched_groups_members_groups, Lists(kGroup, KeyDomain::Group))                                                    \
   NODE(sched_groups_members_memClients, Lists(kGroup, KeyDomain::MemClient))                                            \
   NODE(sched_groups_groupName, Records<GroupNameRecord>(kGroup))                                                        \
   NODE(sched_groups_groupTag, Records<GroupTagRecord>(kGroup))                                                          \
   NODE(sched_groups_parentGroupID, Records<ParentGroupIDRecord>(kGroup))                                                \
   NODE(sched_groups_groupFlags, Records<GroupFlagsRecord>(kGroup))                                                      \
   NODE(sched_groups_groupLeaderID, Records<GroupLeaderIDRecord>(kGroup))                                                \
   NODE(sched_groups_memAllocationInKB, Records<GroupAllocRecord>(kGroup))                                               \
   NODE(sched_groups_stats_capacity, Records<GroupCapacityRecord>(kGroup))                                               \
   NODE(sched_groups_stats_memoryStats, Records<GroupMemoryStatsRecord>(kGroup))                                         \
   NODE(sched_memClients_kelmar_totalCommon, Records<TotalCommonStatsRecord>(kMemClient))                                \
   NODE(sched_memClients_kelmar_vmm, Records<VmmStatsRecord>(kGroupLeader))                                              \
   NODE(sched_memClients_kelmar_uw, Records<UwStatsRecord>(kGroupLeader))                                                \
   NODE(sched_memClients_kelmar_guest, Records<GuestStatsRecord>(kGroupLeader))                                          \
   NODE(sched_memClients_swapInfo, Records<SwapInfoRecord>(kVmmLeader))                                                  \
   NODE(sched_memClients_memzipInfo, Records<MemzipInfoRecord>(kGroupLeader))                                            \
   NODE(sched_memClients_remapTypes, ListedRecords<RemapStatsRecord>(kMemClientRemapType))                               \
   NODE(worldGroups_vmmLeaderID, Records<VmmLeaderIDRecord>(kGroupLeader))                                               \
   NODE(vm_vmmGroupInfo, Records<VmmGroupInfoRecord>(kVmmLeader))                                                        \
   NODE(memory_comprehensive, Records<CompMemMapStats>(kNone))                                                           \
   NODE(memory_memInfo, Records<MemInfoRecord>(kNone))                                                                   \
   NODE(memory_memNodes, Records<MemNodeInfo>(kMemNode))                                                                 \
   NODE(memory_pshare_stats, Records<PShareStats>(kNone))                                                                \
   NODE(memory_lpage_vmLPage, Records<VmLPageRecord>(kVmmLeader))                                                        \
   NODE(memory_lpage_nodeList_psharePool, Records<LPagePoolRecord>(kMemNode))                                            \
   NODE(memory_lpage_nodeList_vmPools, ListedRecords<LPagePoolRecord>(kMemNodePool))                                     \
   NODE(sched_globalStats_memory_kelmar, Records<GlobalMemSchedInfo>(kNone))                                             \
   NODE(sched_globalStats_memory_stateTransitions, Records<MemStateTransitions>(kMemState))                              \
   NODE(sched_globalStats_numVMs, Records<NumVMsRecord>(kNone))                                                          \
   NODE(system_buddy, Lists(kNone, KeyDomain::Buddy))                                                                    \
   NODE(system_buddy_comprehensive, Records<BuddyComprehensiveInfo>(kBuddy))                                             \
   NODE(system_heaps, Lists(kNone, KeyDomain::Heap))                                                                     \
   NODE(system_heaps_stats, Records<HeapStatsRecord>(kHeap))                                                             \
   NODE(memory_pmem_volumes, Lists(kNone, KeyDomain::PMemVolume))                                                        \
   NODE(memory_pmem_volumes_info, Records<PMemVolumeInfoRecord>(kVolume))                                                \
   NODE(memory_pmem_volumes_extents, ListedRecords<PMemExtentRecord>(kVolumeExtent))                                     \
   NODE(memory_pmem_volumes_regionStore_info, Records<PMemRegionStoreRecord>(kVolume))                                   \
   NODE(memory_pmem_volumes_regionStore_isClean, Records<PMemCleanRecord>(kVolume))                                      \
   NODE(memory_pmem_volumes_regionStore_regions, Lists(kVolume, KeyDomain::PMemRegion))                                  \
   NODE(memory_pmem_volumes_regionStore_regions_info, Records<PMemRegionRecord>(kVolumeRegion))                          \
   NODE(memory_pmem_volumes_regionStore_regions_numaAllocInfo, ListedRecords<PMemRegionNumaRecord>(kVolumeRegionNuma))   \
   NODE(hardware_cpu_cpuList, Records<CpuInfoRecord>(kCpu))                                                              \
   NODE(hardware_nvd_dimm, Lists(kNone, KeyDomain::Dimm))                                                                \
   NODE(hardware_pci_seg, Lists(kNone, KeyDomain::PciSegment))                                                           \
   NODE(hardware_pci_seg_bus, Lists(kPciSegment, KeyDomain::PciBus))                                                     \
   NODE(hardware_pci_seg_bus_slot, Lists(kPciBus, KeyDomain::PciSlot))                                                   \
   NODE(hardware_pci_seg_bus_slot_func, Lists(kPciSlot, KeyDomain::PciFunction))                                         \
   NODE(hardware_pci_seg_bus_slot_func_pciConfigHeader, Records<PciConfigHeaderRecord>(kPciFunction))                    \
   NODE(hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr, Settable<PciConfigRegRecord>(kPciRegister))
// clang-format on

enum class NodeId : uint8_t {
#define NEVRA_NODE_ID(node, ...) node,
   NEVRA_NODES(NEVRA_NODE_ID)
#undef NEVRA_NODE_ID
};

// The most keys that an instance has.
inline constexpr size_t kMaxKeys = 6;

#define NEVRA_COUNT_NODE(node, ...) +1 // NOLINT(bugprone-macro-parentheses): a summand
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
