// Group IDs and world IDs on Linux.
//
//   group                ID                  leader (world ID)
//   the root cgroup      0                   none
//   another cgroup       its inode number    none
//   a process            0x40000000 + pid    pid
//   a VM                 0x40000000 + pid    pid
//   the VM's VMM         0x20000000 + pid    0x20000000 + pid
//   the VM's emulator    0x60000000 + pid    0x60000000 + pid
//
// All fit in 31 bits, so that they can be typed after -g. Each of the three groups of a VM has a leader of
// its own: the emulator carries the VM's flag as well, and would give every VM a second row if the records of
// a VM could be read under its leader.
#ifndef NEVRA_LINUX_GROUP_IDS_H
#define NEVRA_LINUX_GROUP_IDS_H

#include <cstdint>

#include "nevra/linux/kernel_text.h"

namespace nevra {

inline constexpr uint64_t kRootGroupId = 0;
inline constexpr uint32_t kVmmIdBase = 0x20000000;
inline constexpr uint32_t kProcessIdBase = 0x40000000;
inline constexpr uint32_t kEmulatorIdBase = 0x60000000;

enum class GroupKind { Cgroup, Process, Vm, Vmm, Emulator };

constexpr bool IsIdOf(uint32_t base, uint64_t id)
{
   return id > base && id <= base + kMaxPid;
}

// The ID of the cgroup with this inode number. Inode numbers count up from 1 on a running kernel and stay far
// below the processes' IDs, but a long-lived one may wrap and a recorded tree may hold any: a number that
// could be taken for a process is moved above them, out of reach of -g but never mistaken. At most 63 bits.
constexpr uint64_t CgroupIdOfInode(uint64_t inode)
{
   constexpr uint64_t kMoved = uint64_t{1} << 32;
   const uint64_t id = inode & (~uint64_t{0} >> 1);
   const bool ambiguous = id == kRootGroupId || IsIdOf(kVmmIdBase, id) || IsIdOf(kProcessIdBase, id) ||
                          IsIdOf(kEmulatorIdBase, id);
   return ambiguous ? id + kMoved : id;
}

} // namespace nevra

#endif
