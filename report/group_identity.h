// Who a row is about: what the per-VM and user-world reports show of a group before its figures.
#ifndef REPORT_GROUP_IDENTITY_H
#define REPORT_GROUP_IDENTITY_H

#include <cstdint>

#include "nevra/nevra.h"
#include "nevra/records.h"
#include "report/column_table.h"

struct GroupIdentity {
   GroupNameRecord name;
   uint64_t schedGrp;     // group ID
   int64_t parSchedGroup; // the parent's group ID
   uint32_t worldGrp;     // world ID of the group's leader
};

// The identity of a Total row.
inline constexpr GroupIdentity kTotalIdentity = {{"Total"}, 0, 0, 0};

// The columns that show it, as most reports have them.
inline constexpr ReportColumn kVmNameColumn = {"name", "Virtual machine name", 20, "s", 1, 0, 1};
inline constexpr ReportColumn kSchedGrpColumn = {"schedGrp", "Scheduler group ID", 10, "lu", 0, 0, 1};
inline constexpr ReportColumn kParSchedGroupColumn = {
   "parSchedGroup", "Parent scheduler group ID", 10, "lu", 0, 0, 1};
inline constexpr ReportColumn kWorldGrpColumn = {"worldGrp", "World group ID", 10, "d", 0, 0, 1};

// Reads name, parent and leader, in this order; the first failure ends it and is the status.
NevraStatus ReadGroupIdentity(uint64_t groupID, GroupIdentity *identity);

// The same for a group that is a VM, after a look at its flags. For any other group the status is 0, *isVm
// false and the identity left as it is.
NevraStatus ReadVmIdentity(uint64_t groupID, GroupIdentity *vm, bool *isVm);

// Called for each VM of a walk; a GroupVisitFn's status.
template <typename Context>
using VmVisitFn = NevraStatus (*)(const GroupIdentity &vm, bool csvMode, Context *context);

// The GroupVisitFn of a report with one row per VM. Other groups give no row.
template <typename Context, VmVisitFn<Context> visitVm>
NevraStatus VisitVm(uint64_t groupID, uint32_t, uint8_t csvMode, void *context)
{
   GroupIdentity vm;
   bool isVm;
   const NevraStatus status = ReadVmIdentity(groupID, &vm, &isVm);
   if (status != NEVRA_OK || !isVm) {
      return status;
   }
   return visitVm(vm, csvMode, static_cast<Context *>(context));
}

#endif
