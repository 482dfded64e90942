#include "report/group_identity.h"

#include "report/flag_filter.h"
#include "report/group_queries.h"

NevraStatus ReadGroupIdentity(uint64_t groupID, GroupIdentity *identity)
{
   NevraStatus status = Kelmar_GroupGetName(groupID, &identity->name);
   if (status != NEVRA_OK) {
      return status;
   }
   identity->schedGrp = groupID;
   status = Kelmar_GroupGetParentID(groupID, &identity->parSchedGroup);
   if (status != NEVRA_OK) {
      return status;
   }
   return Kelmar_GroupGetGroupLeaderID(groupID, &identity->worldGrp);
}

NevraStatus ReadVmIdentity(uint64_t groupID, GroupIdentity *vm, bool *isVm)
{
   uint32_t flags = 0;
   const NevraStatus status = Kelmar_GroupGetFlags(groupID, &flags);
   *isVm = status == NEVRA_OK && (flags & GROUP_VM) != 0;
   return *isVm ? ReadGroupIdentity(groupID, vm) : status;
}
