// The cgroups of the host, and the processes of each, as they were when the tree was read.
#ifndef NEVRA_LINUX_CGROUP_TREE_H
#define NEVRA_LINUX_CGROUP_TREE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "nevra/linux/cgroup_mounts.h"
#include "nevra/linux/kernel_file.h"

namespace nevra {

// An index into CgroupTree::cgroups.
using CgroupIndex = uint32_t;
inline constexpr CgroupIndex kRootCgroup = 0;

struct Cgroup {
   uint64_t id;
   CgroupIndex parent;                // of the root: itself
   uint32_t depth;                    // 0 for the root
   std::string name;                  // of its folder; empty for the root
   std::vector<CgroupIndex> children; // by name
};

struct CgroupTree {
   // Deeper cgroups than this are left out, and their processes belong to their ancestor of this depth.
   // Reports walk 12 levels of groups: the root, nine levels of cgroups, and below the last a VM and its VMM.
   static constexpr uint32_t kMostLevels = 9;
   static constexpr size_t kMostCgroups = size_t{1} << 20;

   CgroupMounts mounts;
   std::vector<Cgroup> cgroups; // the root first, parents before their children; never empty
   std::unordered_map<uint64_t, CgroupIndex> byId;
   std::vector<std::pair<uint32_t, CgroupIndex>> members; // pid and cgroup, as cgroup.procs has them
};

CgroupTree ReadCgroupTree(int root, KernelFileReader &files);

// The cgroup's path below the mounted root without a leading slash, "." for the root itself.
std::string CgroupPath(const CgroupTree &tree, CgroupIndex cgroup);

// The name of the cgroup's ancestor, or itself, directly below the root; empty for the root.
std::string_view TopLevelName(const CgroupTree &tree, CgroupIndex cgroup);

// What group-stats sums up by: the top-level name without ".slice"; the root's is "host".
inline constexpr std::string_view kRootTag = "host";
std::string_view TagOfCgroup(const CgroupTree &tree, CgroupIndex cgroup);

// The scope or service that the cgroup is or lies in, the closest one; itself when there is none. Who starts
// a process in it may divide it further: libvirt keeps a VM's emulator and its processors apart.
CgroupIndex FindUnit(const CgroupTree &tree, CgroupIndex cgroup);

// The cgroup at a path as /proc/PID/cgroup gives it, or the closest ancestor of it that there is.
CgroupIndex FindCgroupByPath(const CgroupTree &tree, std::string_view path);

} // namespace nevra

#endif
