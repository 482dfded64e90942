// What a group stands for, from its flags and from the groups above it.
#ifndef OVERVIEW_GROUP_KIND_H
#define OVERVIEW_GROUP_KIND_H

#include <cstdint>
#include <vector>

#include "overview/host_rows.h"

namespace overview {

enum class GroupKind : uint8_t {
   Vm,
   VmPart,  // a VMM or a process that serves a VM, by its own flags
   Process, // a user world
   System,  // threads of the kernel
   Kernel,  // the kernel's own memory, which comp-stats counts as such
   Group    // all others: they hold groups
};

GroupKind KindOf(const GroupRow &group);

// "VM", "group", ...
const char *KindWord(GroupKind kind);

// Whether each group is below a VM, in the order of the rows.
std::vector<bool> AreBelowVms(const std::vector<GroupRow> &groups);

// What the groups of a kind consume, those below VMs left out: a VM's figure is that of all of it. KB.
struct ConsumedByKind {
   uint64_t vms = 0;
   uint64_t processes = 0;
   uint64_t system = 0;
   uint64_t vmCount = 0;
   uint64_t processCount = 0;
};
ConsumedByKind SumByKind(const std::vector<GroupRow> &groups);

} // namespace overview

#endif
