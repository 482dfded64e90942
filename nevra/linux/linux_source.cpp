#include "nevra/linux/linux_source.h"

#include <cstring>

#include "nevra/linux/group_nodes.h"
#include "nevra/linux/host_nodes.h"
#include "nevra/linux/linux_host.h"
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

class LinuxSource : public Source {
 public:
   explicit LinuxSource(const std::string &root) : host(root) {}

   NevraStatus Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record) override;
   NevraStatus List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                    Nevra_ParamList &instances) override;
   NevraStatus Set(const NevraNodeDef &, const Nevra_ParamList &, const Nevra_ParamList &) override
   {
      return NEVRA_NOT_SUPPORTED;
   }
   const char *Signature() const override { return DefinitionSignature(); }
   const char *KernelBuildText() const override { return DefinitionBuildText(); }

 private:
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
   default:
      return NEVRA_NOT_FOUND;
   }
}

} // namespace

std::unique_ptr<Source> MakeLinuxSource(const std::string &root)
{
   return std::make_unique<LinuxSource>(root);
}

} // namespace nevra
