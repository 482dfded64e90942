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
inline constexpr ReportColumn kVmNameColumn = {
   "name", "Virtual machine name", 20, "s", kTotalled, kSelectable, kShown, Unit::Text, Role::Label};
inline constexpr ReportColumn kSchedGrpColumn = {
   "schedGrp", "Scheduler group ID", 10, "lu", kNotTotalled, kSelectable, kShown, Unit::Id, Role::Label};
inline constexpr ReportColumn kParSchedGroupColumn = {
   "parSchedGroup", "Parent scheduler group ID", 10, "lu", kNotTotalled, kSelectable, kShown, Unit::Id,
   Role::Label};
inline constexpr ReportColumn kWorldGrpColumn = {
   "worldGrp", "World group ID", 10, "d", kNotTotalled, kSelectable, kShown, Unit::Id, Role::Label};

// Reads name, parent and leader, in this order; the first failure ends it and is the status.
NevraStatus ReadGroupIdentity(uint64_t groupID, GroupIdentity *identity);

// The same for a group that is a VM, after a look at its flags. For any other group the status is 0, *isVm
// false and the identity left as it is.
NevraStatus ReadVmIdentity(uint64_t groupID, GroupIdentity *vm, bool *isVm);

#endif
