#include "nevra/linux/linux_source.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include <fcntl.h>

#include "nevra/linux/group_nodes.h"
#include "nevra/linux/hardware_nodes.h"
#include "nevra/linux/host_nodes.h"
#include "nevra/linux/kernel_file.h"
#include "nevra/linux/kernel_text.h"
#include "nevra/linux/linux_host.h"
#include "nevra/linux/memory_client_nodes.h"
#include "nevra/linux/memory_node_nodes.h"
#include "nevra/linux/pmem_nodes.h"
#include "nevra/linux/slab_heaps.h"
#include "nevra/records.h"

namespace nevra {

namespace {

using GetFunction = NevraStatus (*)(LinuxHost &, const Nevra_ParamList &keys, void *record);
using ListFunction = NevraStatus (*)(LinuxHost &, const Nevra_ParamList &keys, Nevra_ParamList &instances);
using SetFunction = NevraStatus (*)(LinuxHost &, const Nevra_ParamList &keys, int64_t value);

// Hands a function its keys as the types that it takes: in order as integers and texts, or all in their list.
template <typename Key> Key KeyAt(const Nevra_ParamList &keys, uint32_t index)
{
   if constexpr (std::is_same_v<Key, const Nevra_ParamList &>) {
      return keys;
   } else if constexpr (std::is_same_v<Key, int64_t>) {
      return keys[index].integer;
   } else {
      static_assert(std::is_same_v<Key, std::string_view>);
      return keys[index].text;
   }
}

// Calls function(host, keys..., answer).
template <typename... Parameters, typename Answer, size_t... Index>
NevraStatus CallWithKeys(NevraStatus (*function)(LinuxHost &, Parameters...), LinuxHost &host,
                         const Nevra_ParamList &keys, Answer &answer, std::index_sequence<Index...>)
{
   using Types = std::tuple<Parameters...>;
   return function(host, KeyAt<std::tuple_element_t<Index, Types>>(keys, Index)..., answer);
}

template <typename... Parameters>
using AnswerOf =
   std::remove_reference_t<std::tuple_element_t<sizeof...(Parameters) - 1, std::tuple<Parameters...>>>;

// The record is filled apart from the caller's buffer, which may lie anywhere.
template <typename... Parameters>
NevraStatus GetBy(NevraStatus (*read)(LinuxHost &, Parameters...), LinuxHost &host,
                  const Nevra_ParamList &keys, void *destination)
{
   AnswerOf<Parameters...> record{};
   const NevraStatus status =
      CallWithKeys(read, host, keys, record, std::make_index_sequence<sizeof...(Parameters) - 1>());
   if (status == NEVRA_OK) {
      std::memcpy(destination, &record, sizeof record);
   }
   return status;
}

template <typename... Parameters>
NevraStatus ListBy(NevraStatus (*list)(LinuxHost &, Parameters...), LinuxHost &host,
                   const Nevra_ParamList &keys, Nevra_ParamList &instances)
{
   return CallWithKeys(list, host, keys, instances, std::make_index_sequence<sizeof...(Parameters) - 1>());
}

template <auto Read> NevraStatus Get(LinuxHost &host, const Nevra_ParamList &keys, void *record)
{
   return GetBy(Read, host, keys, record);
}

template <auto Function>
NevraStatus List(LinuxHost &host, const Nevra_ParamList &keys, Nevra_ParamList &instances)
{
   return ListBy(Function, host, keys, instances);
}

// What answers for a node; null: "Not found" here.
struct NodeFunctions {
   NodeId node;
   GetFunction get = nullptr;
   ListFunction list = nullptr;
   SetFunction set = nullptr;
};

constexpr NodeFunctions kNodesOnLinux[] = {
   {NodeId::sched_groups_members_groups, nullptr, List<ListMemberGroups>},
   {NodeId::sched_groups_members_memClients, nullptr, List<ListMemberMemClients>},
   {NodeId::sched_groups_groupName, Get<ReadGroupName>},
   {NodeId::sched_groups_groupTag, Get<ReadGroupTag>},
   {NodeId::sched_groups_parentGroupID, Get<ReadParentGroup>},
   {NodeId::sched_groups_groupFlags, Get<ReadGroupFlags>},
   {NodeId::sched_groups_groupLeaderID, Get<ReadGroupLeader>},
   {NodeId::sched_groups_memAllocationInKB, Get<ReadGroupAllocation>},
   {NodeId::sched_groups_stats_capacity, Get<ReadGroupCapacity>},
   {NodeId::sched_groups_stats_memoryStats, Get<ReadGroupMemory>},
   {NodeId::sched_memClients_kelmar_vmm, Get<ReadVm>},
   {NodeId::sched_memClients_kelmar_uw, Get<ReadUserWorld>},
   {NodeId::sched_memClients_swapInfo, Get<ReadVmSwap>},
   {NodeId::sched_memClients_memzipInfo, Get<ReadVmCompression>},
   {NodeId::sched_memClients_remapTypes, Get<ReadRemapStats>, List<ListRemapTypes>},
   {NodeId::worldGroups_vmmLeaderID, Get<ReadVmmLeader>},
   {NodeId::vm_vmmGroupInfo, Get<ReadVmNames>},
   {NodeId::memory_comprehensive, Get<ReadComprehensive>},
   {NodeId::memory_memInfo, Get<ReadMemNodeCount>},
   {NodeId::memory_memNodes, Get<ReadMemNode>},
   {NodeId::memory_pshare_stats, Get<ReadPageSharing>},
   {NodeId::memory_lpage_vmLPage, Get<ReadVmLargePages>},
   {NodeId::memory_lpage_nodeList_psharePool, Get<ReadTwoMegabytePool>},
   {NodeId::memory_lpage_nodeList_vmPools, Get<ReadLargePagePool>, List<ListLargePagePools>},
   {NodeId::sched_globalStats_memory_kelmar, Get<ReadGlobalMemSched>},
   {NodeId::sched_globalStats_memory_stateTransitions, Get<ReadStateTransitions>},
   {NodeId::sched_globalStats_numVMs, Get<CountVms>},
   {NodeId::system_buddy, nullptr, List<ListBuddies>},
   {NodeId::system_buddy_comprehensive, Get<ReadBuddy>},
   {NodeId::system_heaps, nullptr, List<ListHeaps>},
   {NodeId::system_heaps_stats, Get<ReadHeap>},
   {NodeId::memory_pmem_volumes, nullptr, List<ListVolumes>},
   {NodeId::memory_pmem_volumes_info, Get<ReadVolumeInfo>},
   {NodeId::memory_pmem_volumes_extents, Get<ReadExtent>, List<ListExtents>},
   {NodeId::memory_pmem_volumes_regionStore_info, Get<ReadRegionStore>},
   {NodeId::memory_pmem_volumes_regionStore_isClean, Get<ReadVolumeCleanness>},
   {NodeId::memory_pmem_volumes_regionStore_regions, nullptr, List<ListRegions>},
   {NodeId::memory_pmem_volumes_regionStore_regions_info, Get<ReadRegion>},
   {NodeId::memory_pmem_volumes_regionStore_regions_numaAllocInfo, Get<ReadRegionNode>,
    List<ListRegionNodes>},
   {NodeId::hardware_cpu_cpuList, Get<ReadCpuModel>},
   {NodeId::hardware_nvd_dimm, nullptr, List<ListDimms>},
   {NodeId::hardware_pci_seg, nullptr, List<ListPci>},
   {NodeId::hardware_pci_seg_bus, nullptr, List<ListPci>},
   {NodeId::hardware_pci_seg_bus_slot, nullptr, List<ListPci>},
   {NodeId::hardware_pci_seg_bus_slot_func, nullptr, List<ListPci>},
   {NodeId::hardware_pci_seg_bus_slot_func_pciConfigHeader, Get<ReadPciHeader>},
   {NodeId::hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr, Get<ReadPciRegister>, nullptr,
    WritePciRegister},
};

constexpr std::array<NodeFunctions, kNodeCount> FunctionsByNode()
{
   std::array<NodeFunctions, kNodeCount> functions{};
   for (const NodeFunctions &row : kNodesOnLinux) {
      functions[static_cast<size_t>(row.node)] = row;
   }
   return functions;
}

constexpr std::array<NodeFunctions, kNodeCount> kFunctionsByNode = FunctionsByNode();

const NodeFunctions &FunctionsOf(const NevraNodeDef &node)
{
   return kFunctionsByNode[static_cast<size_t>(node.id)];
}

class LinuxSource : public Source {
 public:
   explicit LinuxSource(const std::string &root) : host(root) {}

   NevraStatus Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record) override;
   NevraStatus List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                    Nevra_ParamList &instances) override;
   NevraStatus Set(const NevraNodeDef &node, const Nevra_ParamList &keys,
                   const Nevra_ParamList &values) override;
   std::span<const std::string> Unreadable() const override { return host.NotRead().Lines(); }
   KernelFigures KernelDetail() override { return ParseKernelDetail(host.MemInfoText()); }
   const char *Signature() const override { return DefinitionSignature(); }
   const char *KernelBuildText() const override { return DefinitionBuildText(); }

 private:
   LinuxHost host;
};

NevraStatus LinuxSource::Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record)
{
   const GetFunction get = FunctionsOf(node).get;
   return get != nullptr ? get(host, keys, record) : NEVRA_NOT_FOUND;
}

NevraStatus LinuxSource::List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                              Nevra_ParamList &instances)
{
   const ListFunction list = FunctionsOf(node).list;
   return list != nullptr ? list(host, keys, instances) : NEVRA_NOT_FOUND;
}

NevraStatus LinuxSource::Set(const NevraNodeDef &node, const Nevra_ParamList &keys,
                             const Nevra_ParamList &values)
{
   const SetFunction set = FunctionsOf(node).set;
   if (set == nullptr) {
      return NEVRA_NOT_SUPPORTED;
   }
   if (values.Used() != 1 || values[0].text != nullptr) {
      return NEVRA_BAD_PARAMETER;
   }
   return set(host, keys, values[0].integer);
}

} // namespace

std::unique_ptr<Source> MakeLinuxSource(const std::string &root)
{
   return std::make_unique<LinuxSource>(root);
}

namespace {

std::string ReadFileOf(const std::string &root, const char *path)
{
   KernelFileReader files(ReachOf(root));
   const FileDescriptor folder = KernelFileReader().Open(AT_FDCWD, root.c_str(), O_RDONLY | O_DIRECTORY);
   return std::string(files.ReadRecord(folder.Get(), path).value_or(""));
}

std::string ReadLineOf(const std::string &root, const char *path)
{
   const std::string text = ReadFileOf(root, path);
   std::string_view rest = text;
   return std::string(TakeLine(rest));
}

} // namespace

std::string ReadHostName(const std::string &root)
{
   return ReadLineOf(root, "proc/sys/kernel/hostname");
}

std::string ReadKernelRelease(const std::string &root)
{
   return ReadLineOf(root, "proc/sys/kernel/osrelease");
}

KernelFigures ReadKernelDetail(const std::string &root)
{
   return ParseKernelDetail(ReadFileOf(root, "proc/meminfo"));
}

} // namespace nevra
