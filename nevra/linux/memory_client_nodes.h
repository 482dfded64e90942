// The memory clients: user worlds and VMs by the worlds that lead them.
#ifndef NEVRA_LINUX_MEMORY_CLIENT_NODES_H
#define NEVRA_LINUX_MEMORY_CLIENT_NODES_H

#include <cstdint>
#include <string_view>

#include "nevra/linux/linux_host.h"
#include "nevra/nevra.h"
#include "nevra/param_list.h"
#include "nevra/records.h"

namespace nevra {

// By the leader of a process or of a VM's emulator. "Not found" for everybody else, and when it is gone.
NevraStatus ReadUserWorld(LinuxHost &host, int64_t leader, UwStatsRecord &record);

// By the leader of a VM.
NevraStatus ReadVm(LinuxHost &host, int64_t leader, VmmStatsRecord &record);

// By the leader of a VM; "Not found" unless the kernel compresses swapped memory.
NevraStatus ReadVmCompression(LinuxHost &host, int64_t leader, MemzipInfoRecord &record);

// By the leader of a VMM.
NevraStatus ReadVmSwap(LinuxHost &host, int64_t leader, SwapInfoRecord &record);
NevraStatus ReadVmNames(LinuxHost &host, int64_t leader, VmmGroupInfoRecord &record);
NevraStatus ReadVmLargePages(LinuxHost &host, int64_t leader, VmLPageRecord &record);

// The kinds of page migration that the kernel counts for a client: for the cgroup that it is alone in.
NevraStatus ListRemapTypes(LinuxHost &host, int64_t client, Nevra_ParamList &instances);
NevraStatus ReadRemapStats(LinuxHost &host, int64_t client, std::string_view type, RemapStatsRecord &record);

} // namespace nevra

#endif
