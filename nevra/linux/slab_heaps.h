// The kernel's heaps: the caches of /proc/slabinfo, which only root may read. Caches of one name are one
// heap.
#ifndef NEVRA_LINUX_SLAB_HEAPS_H
#define NEVRA_LINUX_SLAB_HEAPS_H

#include <string_view>

#include "nevra/linux/linux_host.h"
#include "nevra/nevra.h"
#include "nevra/param_list.h"
#include "nevra/records.h"

namespace nevra {

NevraStatus ListHeaps(LinuxHost &host, Nevra_ParamList &instances);
NevraStatus ReadHeap(LinuxHost &host, std::string_view name, HeapStatsRecord &record);

} // namespace nevra

#endif
