// Persistent memory: the namespaces of /sys/bus/nd/devices as volumes, with the regions that they lie in.
#ifndef NEVRA_LINUX_PMEM_NODES_H
#define NEVRA_LINUX_PMEM_NODES_H

#include <cstdint>
#include <string_view>

#include "nevra/linux/linux_host.h"
#include "nevra/nevra.h"
#include "nevra/param_list.h"
#include "nevra/records.h"

namespace nevra {

// A volume is named by its UUID, or like its namespace where it has none. "Not found" without the bus.
NevraStatus ListVolumes(LinuxHost &host, Nevra_ParamList &instances);

// "Not found" for an unknown volume.
NevraStatus ReadVolumeInfo(LinuxHost &host, std::string_view volumeName, PMemVolumeInfoRecord &record);
NevraStatus ReadRegionStore(LinuxHost &host, std::string_view volumeName, PMemRegionStoreRecord &record);
NevraStatus ReadVolumeCleanness(LinuxHost &host, std::string_view volumeName, PMemCleanRecord &record);

// One extent, numbered 0, where the kernel tells its address.
NevraStatus ListExtents(LinuxHost &host, std::string_view volumeName, Nevra_ParamList &instances);
NevraStatus ReadExtent(LinuxHost &host, std::string_view volumeName, int64_t extent,
                       PMemExtentRecord &record);

// The one region that the volume lies in, named like its device.
NevraStatus ListRegions(LinuxHost &host, std::string_view volumeName, Nevra_ParamList &instances);
NevraStatus ReadRegion(LinuxHost &host, std::string_view volumeName, std::string_view region,
                       PMemRegionRecord &record);

// The NUMA node of the region.
NevraStatus ListRegionNodes(LinuxHost &host, std::string_view volumeName, std::string_view region,
                            Nevra_ParamList &instances);
NevraStatus ReadRegionNode(LinuxHost &host, std::string_view volumeName, std::string_view region,
                           int64_t node, PMemRegionNumaRecord &record);

// The persistent-memory DIMMs, by the number of their device.
NevraStatus ListDimms(LinuxHost &host, Nevra_ParamList &instances);

} // namespace nevra

#endif
