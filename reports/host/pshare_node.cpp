#include "reports/host/pshare_node.h"

#include "sysinfo/node_read.h"

NevraStatus GetPShareStats(const char *reader, PShareStats *stats)
{
   return ReadNode({.node = NEVRA_NODE_memory_pshare_stats,
                    .capacity = 1,
                    .noList = {reader, FailureMessage::Plain, ": Nevra_ParamListCreate() failure"}},
                   {}, stats, sizeof *stats);
}
