// The scheduler groups: cgroups, processes, kernel threads and VMs as nodes of one tree.
#ifndef NEVRA_LINUX_GROUP_NODES_H
#define NEVRA_LINUX_GROUP_NODES_H

#include <cstdint>
#include <optional>

#include "nevra/linux/group_ids.h"
#include "nevra/linux/linux_host.h"
#include "nevra/nevra.h"
#include "nevra/param_list.h"
#include "nevra/records.h"

namespace nevra {

struct Group {
   GroupKind kind;
   CgroupIndex cgroup;       // the cgroup itself, or the one that the process belongs to
   ReportedProcess *process; // null for a cgroup; valid until another group is looked up
};

// Nothing when there is no such group, or it is gone.
std::optional<Group> FindGroup(LinuxHost &host, int64_t id);

// The group that a world leads: a process, a VM, a VMM or an emulator.
std::optional<Group> FindGroupOfLeader(LinuxHost &host, int64_t leader);

// The group's memory reservation and limit, KB: a cgroup's own, and those of its cgroup for a process that is
// alone in it. Nothing when the cgroup is gone.
struct GroupLimits {
   uint64_t min;
   uint64_t max; // all ones: none
};
std::optional<GroupLimits> LimitsOfGroup(LinuxHost &host, const Group &group);

void FillAlloc(LinuxHost &host, const Group &group, GroupAllocRecord &record);

// The cgroup whose limits and figures count for the group: a cgroup's own, and the one that a process, or a
// part of a VM, has for itself. Nothing for a process that shares its cgroup with others.
std::optional<CgroupIndex> OwnCgroup(LinuxHost &host, const Group &group);

// What the limits of a cgroup come to below those of its ancestors and of the host's memory, KB.
struct EffectiveLimits {
   uint64_t baseMin;
   uint64_t baseMax;
   uint64_t effectiveMin;
   // The smallest memory.high or memory.max on the way to the root: 0 where none is set, so that sums over
   // groups mean something, and for a process that shares its cgroup's with others. The root's is the host's
   // memory.
   uint64_t target;
};
EffectiveLimits EffectiveLimitsOfGroup(LinuxHost &host, const Group &group);

// The records and listings; "Not found" when the group is gone.
NevraStatus ListMemberGroups(LinuxHost &host, int64_t id, Nevra_ParamList &instances);
NevraStatus ListMemberMemClients(LinuxHost &host, int64_t id, Nevra_ParamList &instances);
NevraStatus ReadGroupName(LinuxHost &host, int64_t id, GroupNameRecord &record);
NevraStatus ReadGroupTag(LinuxHost &host, int64_t id, GroupTagRecord &record);
NevraStatus ReadParentGroup(LinuxHost &host, int64_t id, ParentGroupIDRecord &record);
NevraStatus ReadGroupFlags(LinuxHost &host, int64_t id, GroupFlagsRecord &record);
NevraStatus ReadGroupLeader(LinuxHost &host, int64_t id, GroupLeaderIDRecord &record);
NevraStatus ReadGroupAllocation(LinuxHost &host, int64_t id, GroupAllocRecord &record);
NevraStatus ReadGroupCapacity(LinuxHost &host, int64_t id, GroupCapacityRecord &record);
NevraStatus ReadGroupMemory(LinuxHost &host, int64_t id, GroupMemoryStatsRecord &record);
NevraStatus ReadVmmLeader(LinuxHost &host, int64_t leader, VmmLeaderIDRecord &record);

} // namespace nevra

#endif
