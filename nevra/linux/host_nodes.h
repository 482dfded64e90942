// The host-wide nodes: memory accounting, memory states, page sharing.
#ifndef NEVRA_LINUX_HOST_NODES_H
#define NEVRA_LINUX_HOST_NODES_H

#include <string_view>

#include "nevra/linux/linux_host.h"
#include "nevra/nevra.h"
#include "nevra/records.h"

namespace nevra {

// "Not found" where /proc/meminfo cannot be read.
NevraStatus ReadComprehensive(LinuxHost &host, CompMemMapStats &record);
NevraStatus ReadGlobalMemSched(LinuxHost &host, GlobalMemSchedInfo &record);

// "Not found" for a state of another name.
NevraStatus ReadStateTransitions(LinuxHost &host, std::string_view state, MemStateTransitions &record);

// Same-page merging; "Not found" where the kernel has none.
NevraStatus ReadPageSharing(LinuxHost &host, PShareStats &record);

NevraStatus CountVms(LinuxHost &host, NumVMsRecord &record);

} // namespace nevra

#endif
