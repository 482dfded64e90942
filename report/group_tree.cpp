#include "report/group_tree.h"

#include "sysinfo/node_read.h"

namespace {

NevraStatus ListChildren(uint64_t groupID, ParamListPtr *children)
{
   NevraStatus status;
   ParamListPtr params =
      MakeKeyList(2, {"KelmarGroupNevraGet: Nevra_ParamListCreate() failure"},
                  {{static_cast<int64_t>(groupID),
                    {"KelmarTraverseGroups: Nevra_ParamListAddInt() failure: ", FailureMessage::Reason}}},
                  &status);
   if (params == nullptr) {
      return status;
   }
   status = ListInstances(NEVRA_NODE_sched_groups_members_groups, params.get(), children);
   Nevra_ParamListRemoveLastParam(params.get());
   params.reset();
   if (status != NEVRA_OK && status != NEVRA_NOT_FOUND) {
      Fail({"KelmarTraverseGroups: Nevra_GetInstanceListAlloc failure: ", FailureMessage::Reason}, status);
   }
   return status;
}

} // namespace

NevraStatus TraverseGroups(uint64_t startGroupID, uint32_t levels, uint8_t csv, GroupVisitFn visit,
                           void *context)
{
   ParamListPtr children;
   NevraStatus status = ListChildren(startGroupID, &children);
   if (status != NEVRA_OK) {
      return status;
   }
   const uint32_t count = Nevra_ParamListUsedCount(children.get());
   status = visit(startGroupID, count, csv, context);
   if (status != NEVRA_OK || levels == 1) {
      return status;
   }
   for (uint32_t i = 0; i < count; i++) {
      int64_t childID = 0;
      status = Nevra_ParamListGetInt64(children.get(), i, &childID);
      if (status == NEVRA_OK) {
         TraverseGroups(static_cast<uint64_t>(childID), levels - 1, csv, visit, context);
      }
   }
   return status;
}
