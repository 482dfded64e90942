#include "nevra/linux/linux_source.h"

#include <cstring>

#include "nevra/linux/group_nodes.h"
#include "nevra/linux/hardware_nodes.h"
#include "nevra/linux/host_nodes.h"
#include "nevra/linux/linux_host.h"
#include "nevra/linux/memory_client_nodes.h"
#include "nevra/linux/memory_node_nodes.h"
#include "nevra/linux/pmem_nodes.h"
#include "nevra/linux/slab_heaps.h"
#include "nevra/records.h"

namespace nevra {

namespace {

// Reads a record by its type and hands it over: the caller's buffer may lie anywhere.
template <typename Record, typename Reader> NevraStatus Fill(void *destination, Reader read)
{
   Record record{};
   const NevraStatus status = read(record);
   if (status == NEVRA_OK) {
      std::memcpy(destination, &record, sizeof record);
   }
   return status;
}

template <typename Record> NevraStatus GetOfGroup(LinuxHost &host, const Nevra_ParamList &keys, void *record)
{
   return Fill<Record>(record, [&](Record &filled) { return ReadGroup(host, keys[0].integer, filled); });
}

template <typename Record> NevraStatus GetOfClient(LinuxHost &host, const Nevra_ParamList &keys, void *record)
{
   return Fill<Record>(record, [&](Record &filled) { return ReadClient(host, keys[0].integer, filled); });
}

template <typename Record> NevraStatus GetOfVmm(LinuxHost &host, const Nevra_ParamList &keys, void *record)
{
   return Fill<Record>(record, [&](Record &filled) { return ReadVmm(host, keys[0].integer, filled); });
}

template <typename Record> NevraStatus GetOfVolume(LinuxHost &host, const Nevra_ParamList &keys, void *record)
{
   return Fill<Record>(record, [&](Record &filled) { return ReadVolume(host, keys[0].text, filled); });
}

class LinuxSource : public Source {
 public:
   explicit LinuxSource(const std::string &root) : host(root) {}

   NevraStatus Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record) override;
   NevraStatus List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                    Nevra_ParamList &instances) override;
   NevraStatus Set(const NevraNodeDef &node, const Nevra_ParamList &keys,
                   const Nevra_ParamList &values) override;
   const char *Signature() const override { return DefinitionSignature(); }
   const char *KernelBuildText() const override { return DefinitionBuildText(); }

 private:
   NevraStatus GetOfHost(NodeId id, const Nevra_ParamList &keys, void *record);
   NevraStatus GetOfPersistentMemory(NodeId id, const Nevra_ParamList &keys, void *record);

   LinuxHost host;
};

NevraStatus LinuxSource::Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record)
{
   switch (node.id) {
   case NodeId::sched_groups_groupName:
      return GetOfGroup<GroupNameRecord>(host, keys, record);
   case NodeId::sched_groups_groupTag:
      return GetOfGroup<GroupTagRecord>(host, keys, record);
   case NodeId::sched_groups_parentGroupID:
      return GetOfGroup<ParentGroupIDRecord>(host, keys, record);
   case NodeId::sched_groups_groupFlags:
      return GetOfGroup<GroupFlagsRecord>(host, keys, record);
   case NodeId::sched_groups_groupLeaderID:
      return GetOfGroup<GroupLeaderIDRecord>(host, keys, record);
   case NodeId::sched_groups_memAllocationInKB:
      return GetOfGroup<GroupAllocRecord>(host, keys, record);
   case NodeId::sched_groups_stats_capacity:
      return GetOfGroup<GroupCapacityRecord>(host, keys, record);
   case NodeId::sched_groups_stats_memoryStats:
      return GetOfGroup<GroupMemoryStatsRecord>(host, keys, record);
   case NodeId::sched_memClients_kelmar_uw:
      return GetOfClient<UwStatsRecord>(host, keys, record);
   case NodeId::sched_memClients_kelmar_vmm:
      return GetOfClient<VmmStatsRecord>(host, keys, record);
   case NodeId::sched_memClients_memzipInfo:
      return GetOfClient<MemzipInfoRecord>(host, keys, record);
   case NodeId::sched_memClients_swapInfo:
      return GetOfVmm<SwapInfoRecord>(host, keys, record);
   case NodeId::vm_vmmGroupInfo:
      return GetOfVmm<VmmGroupInfoRecord>(host, keys, record);
   case NodeId::memory_lpage_vmLPage:
      return GetOfVmm<VmLPageRecord>(host, keys, record);
   case NodeId::sched_memClients_remapTypes:
      return Fill<RemapStatsRecord>(record, [&](RemapStatsRecord &filled) {
         return ReadRemapStats(host, keys[0].integer, keys[1].text, filled);
      });
   case NodeId::worldGroups_vmmLeaderID:
      return Fill<VmmLeaderIDRecord>(
         record, [&](VmmLeaderIDRecord &filled) { return ReadVmmLeader(host, keys[0].integer, filled); });
   case NodeId::memory_comprehensive:
      return Fill<CompMemMapStats>(record,
                                   [&](CompMemMapStats &filled) { return ReadComprehensive(host, filled); });
   case NodeId::sched_globalStats_memory_kelmar:
      return Fill<GlobalMemSchedInfo>(
         record, [&](GlobalMemSchedInfo &filled) { return ReadGlobalMemSched(host, filled); });
   case NodeId::sched_globalStats_memory_stateTransitions:
      return Fill<MemStateTransitions>(record, [&](MemStateTransitions &filled) {
         return ReadStateTransitions(host, keys[0].text, filled);
      });
   case NodeId::sched_globalStats_numVMs:
      return Fill<NumVMsRecord>(record, [&](NumVMsRecord &filled) { return ReadNumVMs(host, filled); });
   default:
      return GetOfHost(node.id, keys, record);
   }
}

NevraStatus LinuxSource::GetOfHost(NodeId id, const Nevra_ParamList &keys, void *record)
{
   switch (id) {
   case NodeId::memory_memInfo:
      return Fill<MemInfoRecord>(record, [&](auto &filled) { return ReadMemInfoRecord(host, filled); });
   case NodeId::memory_memNodes:
      return Fill<MemNodeInfo>(record,
                               [&](auto &filled) { return ReadMemNode(host, keys[0].integer, filled); });
   case NodeId::memory_pshare_stats:
      return Fill<PShareStats>(record, [&](auto &filled) { return ReadPageSharing(host, filled); });
   case NodeId::memory_lpage_nodeList_psharePool:
      return Fill<LPagePoolRecord>(
         record, [&](auto &filled) { return ReadSharedPool(host, keys[0].integer, filled); });
   case NodeId::memory_lpage_nodeList_vmPools:
      return Fill<LPagePoolRecord>(
         record, [&](auto &filled) { return ReadPool(host, keys[0].integer, keys[1].text, filled); });
   case NodeId::system_buddy_comprehensive:
      return Fill<BuddyComprehensiveInfo>(
         record, [&](auto &filled) { return ReadBuddy(host, keys[0].text, filled); });
   case NodeId::system_heaps_stats:
      return Fill<HeapStatsRecord>(record,
                                   [&](auto &filled) { return ReadHeap(host, keys[0].text, filled); });
   case NodeId::hardware_cpu_cpuList:
      return Fill<CpuInfoRecord>(record,
                                 [&](auto &filled) { return ReadCpu(host, keys[0].integer, filled); });
   case NodeId::hardware_pci_seg_bus_slot_func_pciConfigHeader:
      return Fill<PciConfigHeaderRecord>(record,
                                         [&](auto &filled) { return ReadPciHeader(host, keys, filled); });
   case NodeId::hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr:
      return Fill<PciConfigRegRecord>(record,
                                      [&](auto &filled) { return ReadPciRegister(host, keys, filled); });
   default:
      return GetOfPersistentMemory(id, keys, record);
   }
}

NevraStatus LinuxSource::GetOfPersistentMemory(NodeId id, const Nevra_ParamList &keys, void *record)
{
   switch (id) {
   case NodeId::memory_pmem_volumes_info:
      return GetOfVolume<PMemVolumeInfoRecord>(host, keys, record);
   case NodeId::memory_pmem_volumes_regionStore_info:
      return GetOfVolume<PMemRegionStoreRecord>(host, keys, record);
   case NodeId::memory_pmem_volumes_regionStore_isClean:
      return GetOfVolume<PMemCleanRecord>(host, keys, record);
   case NodeId::memory_pmem_volumes_extents:
      return Fill<PMemExtentRecord>(
         record, [&](auto &filled) { return ReadExtent(host, keys[0].text, keys[1].integer, filled); });
   case NodeId::memory_pmem_volumes_regionStore_regions_info:
      return Fill<PMemRegionRecord>(
         record, [&](auto &filled) { return ReadRegion(host, keys[0].text, keys[1].text, filled); });
   case NodeId::memory_pmem_volumes_regionStore_regions_numaAllocInfo:
      return Fill<PMemRegionNumaRecord>(record, [&](auto &filled) {
         return ReadRegionNode(host, keys[0].text, keys[1].text, keys[2].integer, filled);
      });
   default:
      return NEVRA_NOT_FOUND;
   }
}

NevraStatus LinuxSource::List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                              Nevra_ParamList &instances)
{
   switch (node.id) {
   case NodeId::sched_groups_members_groups:
      return ListMemberGroups(host, keys[0].integer, instances);
   case NodeId::sched_groups_members_memClients:
      return ListMemberMemClients(host, keys[0].integer, instances);
   case NodeId::sched_memClients_remapTypes:
      return ListRemapTypes(host, keys[0].integer, instances);
   case NodeId::memory_lpage_nodeList_vmPools:
      return ListPools(host, keys[0].integer, instances);
   case NodeId::system_buddy:
      return ListBuddies(host, instances);
   case NodeId::system_heaps:
      return ListHeaps(host, instances);
   case NodeId::memory_pmem_volumes:
      return ListVolumes(host, instances);
   case NodeId::memory_pmem_volumes_extents:
      return ListExtents(host, keys[0].text, instances);
   case NodeId::memory_pmem_volumes_regionStore_regions:
      return ListRegions(host, keys[0].text, instances);
   case NodeId::memory_pmem_volumes_regionStore_regions_numaAllocInfo:
      return ListRegionNodes(host, keys[0].text, keys[1].text, instances);
   case NodeId::hardware_nvd_dimm:
      return ListDimms(host, instances);
   case NodeId::hardware_pci_seg:
   case NodeId::hardware_pci_seg_bus:
   case NodeId::hardware_pci_seg_bus_slot:
   case NodeId::hardware_pci_seg_bus_slot_func:
      return ListPci(host, keys, instances);
   default:
      return NEVRA_NOT_FOUND;
   }
}

NevraStatus LinuxSource::Set(const NevraNodeDef &node, const Nevra_ParamList &keys,
                             const Nevra_ParamList &values)
{
   if (node.id != NodeId::hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr) {
      return NEVRA_NOT_SUPPORTED;
   }
   if (values.Used() != 1 || values[0].text != nullptr) {
      return NEVRA_BAD_PARAMETER;
   }
   return WritePciRegister(host, keys, values[0].integer);
}

} // namespace

std::unique_ptr<Source> MakeLinuxSource(const std::string &root)
{
   return std::make_unique<LinuxSource>(root);
}

} // namespace nevra
