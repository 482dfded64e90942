#include "overview/group_kind.h"

#include <unordered_set>

#include "nevra/values.h"

namespace overview {

GroupKind KindOf(const GroupRow &group)
{
   if ((group.flags & (GROUP_VMM_SUB_CONTAINER | GROUP_UW_SUB_CONTAINER)) != 0) {
      return GroupKind::VmPart;
   }
   if ((group.flags & GROUP_VM) != 0) {
      // A process that carries the flag serves the VM above it.
      return (group.flags & GROUP_USER_WORLD) != 0 ? GroupKind::VmPart : GroupKind::Vm;
   }
   if ((group.flags & GROUP_USER_WORLD) != 0) {
      return GroupKind::Process;
   }
   if ((group.flags & GROUP_KERNEL_MEMORY) != 0) {
      return GroupKind::Kernel;
   }
   return (group.flags & GROUP_SYSTEM_WORLD) != 0 ? GroupKind::System : GroupKind::Group;
}

const char *KindWord(GroupKind kind)
{
   switch (kind) {
   case GroupKind::Vm:
      return "VM";
   case GroupKind::VmPart:
      return "part of a VM";
   case GroupKind::Process:
      return "process";
   case GroupKind::System:
      return "threads of the kernel";
   case GroupKind::Kernel:
      return "memory of the kernel";
   case GroupKind::Group:
      break;
   }
   return "group";
}

std::vector<bool> AreBelowVms(const std::vector<GroupRow> &groups)
{
   std::unordered_set<int64_t> vmsAndBelow;
   std::vector<bool> areBelow;
   areBelow.reserve(groups.size());
   for (const GroupRow &group : groups) {
      const bool isBelow = vmsAndBelow.contains(group.parent);
      areBelow.push_back(isBelow);
      if (isBelow || KindOf(group) == GroupKind::Vm) {
         vmsAndBelow.insert(static_cast<int64_t>(group.gid));
      }
   }
   return areBelow;
}

ConsumedByKind SumByKind(const std::vector<GroupRow> &groups)
{
   const std::vector<bool> areBelow = AreBelowVms(groups);
   ConsumedByKind sums;
   for (size_t i = 0; i < groups.size(); i++) {
      const GroupRow &group = groups[i];
      if (areBelow[i]) {
         continue;
      }
      switch (KindOf(group)) {
      case GroupKind::Vm:
         sums.vms += group.consumed;
         sums.vmCount++;
         break;
      case GroupKind::Process:
         sums.processes += group.consumed;
         sums.processCount++;
         break;
      case GroupKind::System:
         sums.system += group.consumed;
         break;
      default:
         break;
      }
   }
   return sums;
}

} // namespace overview
