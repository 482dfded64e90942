#include "report/group_queries.h"

#include <cstring>

#include "report/flag_filter.h"
#include "sysinfo/node_read.h"
#include "sysinfo/status.h"

namespace {

constexpr FailureMessage kNoGroupList = {"KelmarGroupNevraGet: Nevra_ParamListCreate() failure"};
constexpr FailureMessage kNoGroupKey = {"KelmarGroupNevraGet: Nevra_ParamListAddInt() faiure, error code: ",
                                        FailureMessage::Number};

// Finds the VMM sub-container of a VM: its first child with the flag.
NevraStatus FindVmmChild(uint64_t vmGroupID, uint64_t *vmmGroupID)
{
   NevraStatus status;
   ParamListPtr params =
      MakeKeyList(2, kNoGroupList,
                  {{static_cast<int64_t>(vmGroupID),
                    {"Kelmar_GroupGetVMMAlloc: Nevra_ParamListAddInt() failure: ", FailureMessage::Reason}}},
                  &status);
   if (params == nullptr) {
      return status;
   }
   ParamListPtr children;
   status = ListInstances(NEVRA_NODE_sched_groups_members_groups, params.get(), &children);
   Nevra_ParamListRemoveLastParam(params.get());
   params.reset();
   if (status != NEVRA_OK) {
      return Fail({"Kelmar_GroupGetVMMAlloc: GetInstanceListAlloc failure: ", FailureMessage::Reason},
                  status);
   }
   const uint32_t count = Nevra_ParamListUsedCount(children.get());
   for (uint32_t i = 0; i < count; i++) {
      int64_t childID = 0;
      uint32_t flags = 0;
      if (Nevra_ParamListGetInt64(children.get(), i, &childID) == NEVRA_OK &&
          Kelmar_GroupGetFlags(static_cast<uint64_t>(childID), &flags) == NEVRA_OK &&
          (flags & GROUP_VMM_SUB_CONTAINER) != 0) {
         *vmmGroupID = static_cast<uint64_t>(childID);
         return NEVRA_OK;
      }
   }
   return NEVRA_NOT_FOUND;
}

} // namespace

NevraStatus GroupNodeGet(uint64_t groupID, NevraNode node, void *record, size_t recordSize)
{
   std::memset(record, 0, recordSize); // what the platform leaves out reads as 0
   return ReadNode({.node = node, .capacity = 2, .noList = kNoGroupList, .removesKey = true},
                   {{static_cast<int64_t>(groupID), kNoGroupKey}}, record, recordSize);
}

NevraStatus MemClientNodeGet(int64_t clientID, NevraNode node, void *record, size_t recordSize)
{
   std::memset(record, 0, recordSize);
   return ReadNode(
      {.node = node,
       .capacity = 2,
       .noList = {"Kelmar_MemClientNevraGet: Nevra_ParamListCreate() failure"},
       .removesKey = true},
      {{clientID, {"Kelmar_MemClientNevraGet: Nevra_ParamListAddInt() failure: ", FailureMessage::Reason}}},
      record, recordSize);
}

NevraStatus MemClientStatsGet(int64_t clientID, NevraNode node, const char *operation, void *record,
                              size_t recordSize)
{
   const NevraStatus status = MemClientNodeGet(clientID, node, record, recordSize);
   if (status != NEVRA_OK && status != NEVRA_NOT_FOUND) {
      Warning("%s() failure, error code: %u\n", operation, status);
   }
   return status;
}

NevraStatus Kelmar_GroupGetName(uint64_t groupID, GroupNameRecord *name)
{
   const NevraStatus status = GroupNodeGet(groupID, NEVRA_NODE_sched_groups_groupName, name, sizeof *name);
   if (status != NEVRA_OK) {
      Warning("Kelmar_GroupGetName() failure, error code: %u\n", status);
   }
   name->name[sizeof name->name - 1] = '\0';
   return status;
}

NevraStatus Kelmar_GroupGetTag(uint64_t groupID, GroupTagRecord *tag)
{
   const NevraStatus status = GroupNodeGet(groupID, NEVRA_NODE_sched_groups_groupTag, tag, sizeof *tag);
   if (status != NEVRA_OK) {
      Warning("Kelmar_GroupGetTag() failure, error code: %u\n", status);
   }
   tag->tag[sizeof tag->tag - 1] = '\0';
   return status;
}

NevraStatus Kelmar_GroupGetParentID(uint64_t groupID, int64_t *parentID)
{
   const NevraStatus status =
      GroupNodeGet(groupID, NEVRA_NODE_sched_groups_parentGroupID, parentID, sizeof(ParentGroupIDRecord));
   if (status != NEVRA_OK && status != NEVRA_NOT_FOUND) {
      Warning("Kelmar_GroupGetParentID() failure, error code: %u\n", status);
   }
   return status;
}

NevraStatus Kelmar_GroupGetFlags(uint64_t groupID, uint32_t *flags)
{
   const NevraStatus status =
      GroupNodeGet(groupID, NEVRA_NODE_sched_groups_groupFlags, flags, sizeof(GroupFlagsRecord));
   if (status != NEVRA_OK && status != NEVRA_NOT_FOUND && status != NEVRA_NOT_INITIALIZED) {
      Warning("Kelmar_GroupGetFlags() failure, error code: %u\n", status);
   }
   return status;
}

NevraStatus Kelmar_GroupGetGroupLeaderID(uint64_t groupID, uint32_t *leaderID)
{
   *leaderID = 0;
   uint32_t flags = 0;
   NevraStatus status = Kelmar_GroupGetFlags(groupID, &flags);
   if (status != NEVRA_OK) {
      return status;
   }
   if ((flags & (GROUP_VM | GROUP_USER_WORLD)) == 0) {
      return NEVRA_BAD_PARAMETER;
   }
   status =
      GroupNodeGet(groupID, NEVRA_NODE_sched_groups_groupLeaderID, leaderID, sizeof(GroupLeaderIDRecord));
   if (status != NEVRA_OK) {
      Warning("Kelmar_GroupGetGroupLeaderID() failure, error code: %u\n", status);
   }
   return status;
}

NevraStatus Kelmar_GroupGetAlloc(uint64_t groupID, GroupAllocRecord *alloc)
{
   const NevraStatus status =
      GroupNodeGet(groupID, NEVRA_NODE_sched_groups_memAllocationInKB, alloc, sizeof *alloc);
   if (status != NEVRA_OK && status != NEVRA_NOT_FOUND) {
      Warning("Kelmar_GroupGetAlloc() failure, error code: %u\n", status);
   }
   return status;
}

NevraStatus KelmarGroupGetMemoryStats(uint64_t groupID, GroupMemoryStatsRecord *stats)
{
   const NevraStatus status =
      GroupNodeGet(groupID, NEVRA_NODE_sched_groups_stats_memoryStats, stats, sizeof *stats);
   if (status != NEVRA_OK && status != NEVRA_NOT_FOUND) {
      Warning("KelmarGroupGetMemoryStats() failure, error code: %u\n", status);
   }
   return status;
}

NevraStatus Kelmar_MemClientGetTotalCommonStats(uint32_t clientID, TotalCommonStatsRecord *stats)
{
   const NevraStatus status =
      MemClientNodeGet(clientID, NEVRA_NODE_sched_memClients_kelmar_totalCommon, stats, sizeof *stats);
   if (status != NEVRA_OK && status != NEVRA_NOT_FOUND) {
      Warning("Kelmar_MemClientGetTotalCommonStats() failure: %s\n", ORSKA_ReturnStatusToString(status));
   }
   return status;
}

NevraStatus Kelmar_GetVmmLeaderID(uint32_t groupLeaderID, uint32_t *vmmLeaderID)
{
   const NevraStatus status =
      GroupNodeGet(groupLeaderID, NEVRA_NODE_worldGroups_vmmLeaderID, vmmLeaderID, sizeof(VmmLeaderIDRecord));
   if (status != NEVRA_OK && status != NEVRA_NOT_FOUND) {
      Warning("Kelmar_GetVmmLeaderID() failure: %s\n", ORSKA_ReturnStatusToString(status));
   }
   return status;
}

NevraStatus Kelmar_GroupGetVMMAlloc(uint64_t vmGroupID, VmmAlloc *alloc)
{
   uint64_t vmmGroupID = 0;
   NevraStatus status = FindVmmChild(vmGroupID, &vmmGroupID);
   if (status != NEVRA_OK) {
      return status;
   }
   if (vmmGroupID == UINT64_MAX) {
      return NEVRA_NOT_FOUND;
   }
   GroupAllocRecord vm;
   status = Kelmar_GroupGetAlloc(vmGroupID, &vm);
   if (status != NEVRA_OK) {
      Warning("Kelmar_GroupGetVMMAlloc: VM GroupGetAlloc failure, error code: %u\n", status);
      return status;
   }
   GroupAllocRecord vmm;
   status = Kelmar_GroupGetAlloc(vmmGroupID, &vmm);
   if (status != NEVRA_OK) {
      Warning("Kelmar_GroupGetVMMAlloc: GroupGetAlloc failure, error code: %u\n", status);
      return status;
   }
   // The mix is the system's own: the sub-container holds the reservation and limit, the VM the rest.
   *alloc = {vmm.min, vmm.max, vm.shares, vm.minLimit};
   return NEVRA_OK;
}
