// Which cgroup hierarchy accounts for memory on this host, and where it is mounted.
#ifndef NEVRA_LINUX_CGROUP_MOUNTS_H
#define NEVRA_LINUX_CGROUP_MOUNTS_H

#include <string>

#include "nevra/linux/kernel_file.h"

namespace nevra {

enum class CgroupVersion { None, V1, V2 };

struct CgroupMounts {
   CgroupVersion version = CgroupVersion::None;
   FileDescriptor memory;       // the root cgroup's folder; not open when there is no hierarchy
   FileDescriptor cpu;          // v1: the root of the CPU controller's hierarchy, where one is mounted
   std::string pathInHierarchy; // the cgroup that is mounted there: "/", or a container's own
};

// The v2 hierarchy where it has the memory controller, else v1's memory hierarchy, else v2 without memory
// figures. Reads the mounts of the process that asks.
CgroupMounts FindCgroupMounts(int root, KernelFileReader &files);

} // namespace nevra

#endif
