#include "reports/host/pshare_node.h"

#include "sysinfo/param_list.h"

NevraStatus GetPShareStats(const char *reader, PShareStats *stats)
{
   ParamListPtr params = CreateParamList(1);
   if (params == nullptr) {
      Warning("%s: Nevra_ParamListCreate() failure\n", reader);
      return NEVRA_FAILURE;
   }
   return Nevra_Get(NEVRA_NODE_memory_pshare_stats, params.get(), stats, sizeof *stats);
}
