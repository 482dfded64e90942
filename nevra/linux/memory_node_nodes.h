// Memory nodes, and what each has: buddies and large-page pools.
//
// Memory nodes count up from 0 without gaps: each is one of the NUMA nodes that have memory, in their order.
#ifndef NEVRA_LINUX_MEMORY_NODE_NODES_H
#define NEVRA_LINUX_MEMORY_NODE_NODES_H

#include <cstdint>
#include <string_view>

#include "nevra/linux/linux_host.h"
#include "nevra/nevra.h"
#include "nevra/param_list.h"
#include "nevra/records.h"

namespace nevra {

// "Not found" where /proc/zoneinfo cannot be read.
NevraStatus ReadMemNodeCount(LinuxHost &host, MemInfoRecord &record);
NevraStatus ReadMemNode(LinuxHost &host, int64_t memNode, MemNodeInfo &record);

// The buddies: "memmap-NN-lo" is the zones DMA and DMA32 of memory node NN, "memmap-NN-hi" the others.
NevraStatus ListBuddies(LinuxHost &host, Nevra_ParamList &instances);
NevraStatus ReadBuddy(LinuxHost &host, std::string_view name, BuddyComprehensiveInfo &record);

// The pool that is set aside for pages of 2 MB.
NevraStatus ReadTwoMegabytePool(LinuxHost &host, int64_t memNode, LPagePoolRecord &record);

// The other pools: those set aside for pages of other sizes, and "thp", what the kernel makes large by
// itself.
NevraStatus ListLargePagePools(LinuxHost &host, int64_t memNode, Nevra_ParamList &instances);
NevraStatus ReadLargePagePool(LinuxHost &host, int64_t memNode, std::string_view name,
                              LPagePoolRecord &record);

} // namespace nevra

#endif
