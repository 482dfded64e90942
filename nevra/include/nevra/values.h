// Values that records hold: flags, states and the sizes that amounts are counted in.
#ifndef NEVRA_VALUES_H
#define NEVRA_VALUES_H

#include <cstdint>

// Scheduler-group flags.
inline constexpr uint32_t GROUP_PREDEFINED = 0x1;
inline constexpr uint32_t GROUP_LEAF = 0x2;
inline constexpr uint32_t GROUP_VM = 0x4;
inline constexpr uint32_t GROUP_USER_WORLD = 0x8;
inline constexpr uint32_t GROUP_SYSTEM_WORLD = 0x10;
inline constexpr uint32_t GROUP_TEST_WORLD = 0x20;
inline constexpr uint32_t GROUP_PROTECTED = 0x40;
inline constexpr uint32_t GROUP_SELF_DESTRUCT = 0x80;
inline constexpr uint32_t GROUP_NON_PERSISTENT = 0x100;
inline constexpr uint32_t GROUP_KERNEL_MEMORY = 0x200;
inline constexpr uint32_t GROUP_USER_CREATED = 0x400;
inline constexpr uint32_t GROUP_CONTAINER = 0x800;
inline constexpr uint32_t GROUP_SUB_CONTAINER = 0x1000;
inline constexpr uint32_t GROUP_VMM_SUB_CONTAINER = 0x2000;
inline constexpr uint32_t GROUP_UW_SUB_CONTAINER = 0x4000;

// Flags of a persistent-memory region.
inline constexpr uint32_t REGION_ALLOCATED = 0x1;
inline constexpr uint32_t REGION_DANGLING = 0x2;
inline constexpr uint32_t REGION_LOCKED = 0x4;
inline constexpr uint32_t REGION_READ_ONLY = 0x8;
inline constexpr uint32_t REGION_BLOCK_DEVICE = 0x10;
inline constexpr uint32_t REGION_PERSISTENT_RESERVATION = 0x20;
inline constexpr uint32_t REGION_SYSTEM = 0x40;
inline constexpr uint32_t REGION_ZOMBIE = 0x80;

// The memory states of a host, from most free memory to least, as records number them.
enum class MemState : uint32_t { High, Clear, Soft, Hard, Low, Unknown };
inline constexpr uint32_t kMemStateCount = 5; // those that a host can be in

// The states as the keys of the transition node.
inline constexpr const char *memStateNames[] = {"high", "clear", "soft", "hard", "low", "unknown", nullptr};

// A page and a large page, in KB.
inline constexpr uint64_t kKBPerPage = 4;
inline constexpr uint64_t kKBPerLargePage = 2048;

#endif
