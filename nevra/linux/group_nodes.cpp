#include "nevra/linux/group_nodes.h"

#include <algorithm>
#include <limits>
#include <string>
#include <string_view>

#include "nevra/linux/kernel_text.h"
#include "nevra/shown_text.h"
#include "nevra/values.h"

namespace nevra {

namespace {

constexpr std::string_view kVmmName = "vmm";
constexpr std::string_view kUserSlice = "user.slice";
// The only scope that is always there: it holds the first process.
constexpr std::string_view kInitScope = "init.scope";

// The kernel's figures are 64 bits wide, and so are most fields; signed ones have a bit less.
int64_t Signed(uint64_t value)
{
   constexpr uint64_t kLargest = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
   return value == kUnlimited ? -1 : static_cast<int64_t>(std::min(value, kLargest));
}

std::optional<Group> FindProcessGroup(LinuxHost &host, GroupKind kind, uint64_t pid)
{
   ReportedProcess *process = host.FindProcess(static_cast<uint32_t>(pid));
   if (process == nullptr || (kind != GroupKind::Process && !process->isVm)) {
      return std::nullopt;
   }
   return Group{process->isVm && kind == GroupKind::Process ? GroupKind::Vm : kind, process->cgroup, process};
}

uint32_t Pid(const Group &group)
{
   return group.process->process.pid;
}

bool IsKernelThread(const Group &group)
{
   return group.process != nullptr && group.process->process.status.isKernelThread;
}

uint32_t FlagsOfCgroup(LinuxHost &host, CgroupIndex index)
{
   const CgroupTree &tree = host.Cgroups();
   const Cgroup &cgroup = tree.cgroups[index];
   const ProcessTable &processes = host.Processes();
   const bool hasProcesses = processes.firstOfCgroup[index] != processes.firstOfCgroup[index + 1];
   const std::string_view name = cgroup.name;
   uint32_t flags = 0;
   flags |= cgroup.depth <= 1 ? GROUP_PREDEFINED : 0;
   flags |= cgroup.children.empty() && !hasProcesses ? GROUP_LEAF : 0;
   flags |= !cgroup.children.empty() ? GROUP_CONTAINER : 0;
   flags |= cgroup.depth > 1 ? GROUP_SUB_CONTAINER : 0;
   flags |= cgroup.depth > 1 && TopLevelName(tree, index) == kUserSlice ? GROUP_USER_CREATED : 0;
   flags |= name.ends_with(".scope") && name != kInitScope ? GROUP_NON_PERSISTENT : 0;
   const CgroupLimits *limits = host.Limits(index);
   flags |= limits != nullptr && limits->min > 0 ? GROUP_PROTECTED : 0;
   return flags;
}

uint32_t FlagsOfProcess(LinuxHost &host, const Group &group)
{
   uint32_t flags = 0;
   switch (group.kind) {
   case GroupKind::Vm:
      flags = GROUP_VM;
      break;
   case GroupKind::Vmm:
      flags = GROUP_VMM_SUB_CONTAINER | GROUP_LEAF;
      break;
   case GroupKind::Emulator:
      flags = GROUP_USER_WORLD | GROUP_VM | GROUP_LEAF;
      break;
   default:
      flags = (IsKernelThread(group) ? GROUP_SYSTEM_WORLD : GROUP_USER_WORLD) | GROUP_LEAF;
   }
   const bool isBelowVm = group.kind == GroupKind::Vmm || group.kind == GroupKind::Emulator;
   flags |= group.cgroup == kRootCgroup && !isBelowVm ? GROUP_PREDEFINED : 0;
   flags |= TopLevelName(host.Cgroups(), group.cgroup) == kUserSlice ? GROUP_USER_CREATED : 0;
   if (!IsKernelThread(group)) {
      const std::optional<GroupLimits> limits = LimitsOfGroup(host, group);
      const bool isReserved = limits.has_value() && limits->min > 0;
      flags |= isReserved || group.process->IsProtected(host.Files()) ? GROUP_PROTECTED : 0;
   }
   return flags;
}

uint64_t MergedKBBelow(LinuxHost &host, CgroupIndex index)
{
   if (index == kRootCgroup || host.MergedKB() == 0) {
      return host.MergedKB();
   }
   const ProcessTable &table = host.Processes();
   uint64_t merged = 0;
   for (uint32_t i = table.firstOfCgroup[index]; i < table.firstOfCgroup[index + 1]; i++) {
      merged = AddClamped(merged, host.MergedOfProcess(table.processes[table.byCgroup[i]].pid).saved);
   }
   for (CgroupIndex child : host.Cgroups().cgroups[index].children) {
      merged = AddClamped(merged, MergedKBBelow(host, child));
   }
   return merged;
}

void StoreLimits(LinuxHost &host, const Group &group, GroupMemoryStatsRecord &record)
{
   const EffectiveLimits limits = EffectiveLimitsOfGroup(host, group);
   record.bMin = limits.baseMin;
   record.bMax = limits.baseMax;
   record.eMin = limits.effectiveMin;
   record.allocTgt = limits.target;
   const CgroupLimits *own = host.Limits(OwnCgroup(host, group).value_or(group.cgroup));
   record.throttlePct = own != nullptr ? own->unthrottledPercent : 100;
}

// The root is the host: its own files, where it has any, leave out the memory that the kernel uses itself.
void ReadHostStats(LinuxHost &host, const MemInfo &memory, GroupMemoryStatsRecord &record)
{
   record.memSize = SubtractClamped(memory.memTotal, memory.memFree);
   record.consumed = record.memSize;
   record.ovhd = memory.KernelHeap();
   record.touched = AddClamped(memory.activeAnon, memory.activeFile);
   record.sharedSaved = host.MergedKB();
}

NevraStatus ReadCgroupStats(LinuxHost &host, const Group &group, GroupMemoryStatsRecord &record)
{
   if (group.cgroup == kRootCgroup && host.Memory() != nullptr) {
      ReadHostStats(host, *host.Memory(), record);
      return NEVRA_OK;
   }
   const CgroupUsage *usage = host.Usage(group.cgroup);
   if (usage == nullptr) {
      return NEVRA_NOT_FOUND;
   }
   // Memory is counted for the closest ancestor that has the controller; what is here is known by the
   // processes.
   const uint64_t current = usage->isKnown ? usage->current : host.ResidentKBBelow(group.cgroup);
   record.memSize = current;
   record.consumed = current;
   record.memSizePeak = usage->peak;
   record.consumedPeak = usage->peak;
   record.ovhd = usage->kernel;
   record.touched = usage->active;
   record.sharedSaved = MergedKBBelow(host, group.cgroup);
   return NEVRA_OK;
}

void ReadProcessStats(LinuxHost &host, const Group &group, GroupMemoryStatsRecord &record)
{
   const ProcessStatus &status = group.process->process.status;
   const bool hasGuest = group.kind == GroupKind::Vm || group.kind == GroupKind::Vmm;
   const std::optional<uint64_t> guest = hasGuest ? group.process->command.memoryKB : std::nullopt;
   if (group.kind == GroupKind::Vmm) {
      record.memSize = guest.value_or(0);
      record.memSizePeak = record.memSize;
      return;
   }
   record.memSize = guest.value_or(status.vmSize);
   record.memSizePeak = guest.value_or(status.vmPeak);
   // Huge pages that were set aside for files are resident, but no part of the resident set.
   const uint64_t resident = AddClamped(status.vmRss, status.hugetlb);
   record.consumed = resident;
   record.consumedPeak = std::max(status.vmHwm, resident);
   record.ovhd = status.vmPte;
   record.sharedSaved = host.MergedOfProcess(Pid(group)).saved;
}

} // namespace

std::optional<Group> FindGroup(LinuxHost &host, int64_t id)
{
   if (id < 0) {
      return std::nullopt;
   }
   const uint64_t number = static_cast<uint64_t>(id);
   const CgroupTree &tree = host.Cgroups();
   if (const auto cgroup = tree.byId.find(number); cgroup != tree.byId.end()) {
      return Group{GroupKind::Cgroup, cgroup->second, nullptr};
   }
   if (IsIdOf(kProcessIdBase, number)) {
      return FindProcessGroup(host, GroupKind::Process, number - kProcessIdBase);
   }
   if (IsIdOf(kVmmIdBase, number)) {
      return FindProcessGroup(host, GroupKind::Vmm, number - kVmmIdBase);
   }
   if (IsIdOf(kEmulatorIdBase, number)) {
      return FindProcessGroup(host, GroupKind::Emulator, number - kEmulatorIdBase);
   }
   return std::nullopt;
}

std::optional<Group> FindGroupOfLeader(LinuxHost &host, int64_t leader)
{
   if (leader <= 0) {
      return std::nullopt;
   }
   const uint64_t number = static_cast<uint64_t>(leader);
   if (number <= kMaxPid) {
      return FindProcessGroup(host, GroupKind::Process, number);
   }
   if (IsIdOf(kVmmIdBase, number) || IsIdOf(kEmulatorIdBase, number)) {
      return FindGroup(host, leader);
   }
   return std::nullopt;
}

std::optional<CgroupIndex> OwnCgroup(LinuxHost &host, const Group &group)
{
   if (group.kind == GroupKind::Cgroup) {
      return group.cgroup;
   }
   const CgroupIndex own = group.process->own;
   // A VM shares its cgroup with the kernel threads that serve it.
   const bool isAlone =
      group.process->isVm ? host.HoldsOneProcess(own) : host.Processes().belowCgroup[own] == 1;
   return own != kRootCgroup && isAlone ? std::optional(own) : std::nullopt;
}

std::optional<GroupLimits> LimitsOfGroup(LinuxHost &host, const Group &group)
{
   // The emulator is not what a VM's memory is reserved for; its VMM is.
   const std::optional<CgroupIndex> own =
      group.kind != GroupKind::Emulator ? OwnCgroup(host, group) : std::nullopt;
   const CgroupLimits *limits = own.has_value() ? host.Limits(*own) : nullptr;
   if (limits != nullptr) {
      return GroupLimits{limits->min, limits->max};
   }
   // A process outlives its cgroup when it is moved to another.
   return group.kind == GroupKind::Cgroup ? std::nullopt : std::optional(GroupLimits{0, kUnlimited});
}

EffectiveLimits EffectiveLimitsOfGroup(LinuxHost &host, const Group &group)
{
   const CgroupTree &tree = host.Cgroups();
   const GroupLimits limits = LimitsOfGroup(host, group).value_or(GroupLimits{0, kUnlimited});
   const uint64_t hostMemory = host.Memory() != nullptr ? host.Memory()->memTotal : kUnlimited;
   const std::optional<CgroupIndex> own = OwnCgroup(host, group);
   EffectiveLimits effective{limits.min, hostMemory, limits.min, kUnlimited};
   bool isBelowOwn = own.has_value(); // what divides a VM's scope reserves nothing, and takes nothing away
   for (CgroupIndex at = group.cgroup; at != kRootCgroup; at = tree.cgroups[at].parent) {
      isBelowOwn = isBelowOwn && at != *own;
      if (const CgroupLimits *ancestor = host.Limits(at)) {
         effective.baseMax = std::min(effective.baseMax, ancestor->max);
         effective.effectiveMin = isBelowOwn ? limits.min : std::min(effective.effectiveMin, ancestor->min);
         effective.target = std::min({effective.target, ancestor->high, ancestor->max});
      }
   }
   effective.baseMin = std::min(effective.baseMin, effective.baseMax);
   effective.effectiveMin = std::min(effective.effectiveMin, effective.baseMax);
   const bool isRoot = group.kind == GroupKind::Cgroup && group.cgroup == kRootCgroup;
   if (isRoot) {
      effective.target = effective.baseMax;
   } else if (!own.has_value() || effective.target == kUnlimited) {
      effective.target = 0;
   }
   return effective;
}

NevraStatus ListMemberGroups(LinuxHost &host, int64_t id, Nevra_ParamList &instances)
{
   const std::optional<Group> group = FindGroup(host, id);
   if (!group.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   NevraStatus status = NEVRA_OK;
   const auto add = [&](uint64_t member) {
      if (status == NEVRA_OK && !instances.IsFull()) {
         status = instances.AddInt(static_cast<int64_t>(member));
      }
   };
   if (group->kind == GroupKind::Vm) {
      add(kVmmIdBase + Pid(*group));
      add(kEmulatorIdBase + Pid(*group));
   } else if (group->kind == GroupKind::Cgroup) {
      const CgroupTree &tree = host.Cgroups();
      for (CgroupIndex child : tree.cgroups[group->cgroup].children) {
         add(tree.cgroups[child].id);
      }
      const ProcessTable &table = host.Processes();
      for (uint32_t i = table.firstOfCgroup[group->cgroup]; i < table.firstOfCgroup[group->cgroup + 1]; i++) {
         add(uint64_t{kProcessIdBase} + table.processes[table.byCgroup[i]].pid);
      }
   }
   return status;
}

NevraStatus ListMemberMemClients(LinuxHost &host, int64_t id, Nevra_ParamList &instances)
{
   const std::optional<Group> group = FindGroup(host, id);
   if (!group.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   GroupLeaderIDRecord leader;
   if (IsKernelThread(*group) || instances.IsFull() || ReadGroupLeader(host, id, leader) != NEVRA_OK) {
      return NEVRA_OK;
   }
   return instances.AddInt(leader.leaderID);
}

NevraStatus ReadGroupName(LinuxHost &host, int64_t id, GroupNameRecord &record)
{
   const std::optional<Group> group = FindGroup(host, id);
   if (!group.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   std::string_view name;
   if (group->kind == GroupKind::Cgroup) {
      name = group->cgroup == kRootCgroup ? kRootTag : host.Cgroups().cgroups[group->cgroup].name;
   } else if (group->kind == GroupKind::Vmm) {
      name = kVmmName;
   } else {
      name = group->process->process.status.name;
      if (group->kind == GroupKind::Vm) {
         const std::string &given = group->process->command.name;
         name = given.empty() ? name : given;
      }
   }
   StoreShownText(record.name, sizeof record.name, name);
   return NEVRA_OK;
}

NevraStatus ReadGroupTag(LinuxHost &host, int64_t id, GroupTagRecord &record)
{
   const std::optional<Group> group = FindGroup(host, id);
   if (!group.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   StoreShownText(record.tag, sizeof record.tag, TagOfCgroup(host.Cgroups(), group->cgroup));
   return NEVRA_OK;
}

NevraStatus ReadParentGroup(LinuxHost &host, int64_t id, ParentGroupIDRecord &record)
{
   const std::optional<Group> group = FindGroup(host, id);
   if (!group.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   const CgroupTree &tree = host.Cgroups();
   if (group->kind == GroupKind::Vmm || group->kind == GroupKind::Emulator) {
      record.parentGroupID = int64_t{kProcessIdBase} + Pid(*group);
   } else if (group->kind != GroupKind::Cgroup) {
      record.parentGroupID = static_cast<int64_t>(tree.cgroups[group->cgroup].id);
   } else if (group->cgroup == kRootCgroup) {
      record.parentGroupID = -1;
   } else {
      record.parentGroupID = static_cast<int64_t>(tree.cgroups[tree.cgroups[group->cgroup].parent].id);
   }
   return NEVRA_OK;
}

NevraStatus ReadGroupFlags(LinuxHost &host, int64_t id, GroupFlagsRecord &record)
{
   const std::optional<Group> group = FindGroup(host, id);
   if (!group.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   record.flags =
      group->kind == GroupKind::Cgroup ? FlagsOfCgroup(host, group->cgroup) : FlagsOfProcess(host, *group);
   return NEVRA_OK;
}

NevraStatus ReadGroupLeader(LinuxHost &host, int64_t id, GroupLeaderIDRecord &record)
{
   const std::optional<Group> group = FindGroup(host, id);
   if (!group.has_value() || group->kind == GroupKind::Cgroup) {
      return NEVRA_NOT_FOUND;
   }
   const uint32_t base = group->kind == GroupKind::Vmm        ? kVmmIdBase
                         : group->kind == GroupKind::Emulator ? kEmulatorIdBase
                                                              : 0;
   record.leaderID = base + Pid(*group);
   return NEVRA_OK;
}

void FillAlloc(LinuxHost &host, const Group &group, GroupAllocRecord &record)
{
   const GroupLimits limits = LimitsOfGroup(host, group).value_or(GroupLimits{0, kUnlimited});
   record = {};
   record.min = Signed(limits.min);
   record.max = Signed(limits.max);
   record.minLimit = Signed(kUnlimited);
}

NevraStatus ReadGroupAllocation(LinuxHost &host, int64_t id, GroupAllocRecord &record)
{
   const std::optional<Group> group = FindGroup(host, id);
   if (!group.has_value() || !LimitsOfGroup(host, *group).has_value()) {
      return NEVRA_NOT_FOUND;
   }
   FillAlloc(host, *group, record);
   return NEVRA_OK;
}

namespace {

// What the processes directly in a cgroup have reserved: one that has the cgroup, or a larger one, for
// itself.
uint64_t ReservedForProcess(LinuxHost &host, CgroupIndex cgroup)
{
   const ProcessTable &table = host.Processes();
   uint64_t reserved = 0;
   if (host.HoldsOneProcess(cgroup)) {
      for (uint32_t i = table.firstOfCgroup[cgroup]; i < table.firstOfCgroup[cgroup + 1]; i++) {
         const int64_t id = int64_t{kProcessIdBase} + table.processes[table.byCgroup[i]].pid;
         const std::optional<Group> group = FindGroup(host, id);
         const std::optional<GroupLimits> limits =
            group.has_value() && !IsKernelThread(*group) ? LimitsOfGroup(host, *group) : std::nullopt;
         reserved = AddClamped(reserved, limits.has_value() ? limits->min : 0);
      }
   }
   return reserved;
}

} // namespace

NevraStatus ReadGroupCapacity(LinuxHost &host, int64_t id, GroupCapacityRecord &record)
{
   const std::optional<Group> group = FindGroup(host, id);
   const std::optional<GroupLimits> limits = group.has_value() ? LimitsOfGroup(host, *group) : std::nullopt;
   if (!limits.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   uint64_t own = limits->min;
   uint64_t taken = 0;
   if (group->kind == GroupKind::Vm) {
      taken = limits->min;
   } else if (group->kind == GroupKind::Cgroup) {
      const CgroupIndex index = group->cgroup;
      if (index == kRootCgroup) {
         own = host.Memory() != nullptr ? host.Memory()->memTotal : 0;
      } else {
         taken = ReservedForProcess(host, index);
      }
      for (CgroupIndex child : host.Cgroups().cgroups[index].children) {
         const CgroupLimits *ofChild = host.Limits(child);
         taken = AddClamped(taken, ofChild != nullptr ? ofChild->min : 0);
      }
   }
   record = {};
   record.conResv = taken;
   record.availResv = SubtractClamped(own, taken);
   return NEVRA_OK;
}

NevraStatus ReadGroupMemory(LinuxHost &host, int64_t id, GroupMemoryStatsRecord &record)
{
   const std::optional<Group> group = FindGroup(host, id);
   if (!group.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   record = {};
   StoreLimits(host, *group, record);
   if (group->kind == GroupKind::Cgroup) {
      return ReadCgroupStats(host, *group, record);
   }
   ReadProcessStats(host, *group, record);
   return NEVRA_OK;
}

NevraStatus ReadVmmLeader(LinuxHost &host, int64_t leader, VmmLeaderIDRecord &record)
{
   const std::optional<Group> group = FindGroupOfLeader(host, leader);
   if (!group.has_value() || group->kind != GroupKind::Vm) {
      return NEVRA_NOT_FOUND;
   }
   record.vmmLeaderID = kVmmIdBase + Pid(*group);
   return NEVRA_OK;
}

} // namespace nevra
