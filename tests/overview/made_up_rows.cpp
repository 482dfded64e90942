#include "tests/overview/made_up_rows.h"

#include <array>

#include "nevra/values.h"

using overview::HostRows;

namespace {

// More often than not an amount that a host may have.
uint64_t Amount(std::mt19937_64 *random)
{
   switch ((*random)() % 8) {
   case 0:
      return 0;
   case 1:
      return (*random)();
   case 2:
      return UINT64_MAX;
   default:
      return (*random)() % (uint64_t{1} << 30);
   }
}

constexpr std::array<const char *, 12> kNames = {
   "db-01",
   "",
   "\033[2J\033]0;mine\007",
   "two\nlines\r\t",
   "日本語のとても長い名前のグループ、画面より広い名前のグループ、画面より広い",
   "e\u0301\u0301\u0301\u0301\u0301\u0301\u0301\u0301\u0301",
   "\u0301\u0301starts with a mark",
   "\u202egnp.exe",
   "\u200f\u200b\ufeff\u2066",
   "not UTF-8 \xff\xc3",
   "<script>alert(1)</script>|;$(reboot)'\"",
   "a name that is much longer than any column of the screen may be, and then some more of it",
};

std::string Name(std::mt19937_64 *random)
{
   return kNames[(*random)() % kNames.size()];
}

constexpr std::array<uint32_t, 8> kFlags = {GROUP_CONTAINER,
                                            GROUP_VM | GROUP_CONTAINER,
                                            GROUP_USER_WORLD | GROUP_LEAF,
                                            GROUP_VM | GROUP_USER_WORLD,
                                            GROUP_VMM_SUB_CONTAINER,
                                            GROUP_SYSTEM_WORLD,
                                            GROUP_KERNEL_MEMORY,
                                            0};

void AddGroups(HostRows *rows, std::mt19937_64 *random)
{
   const size_t count = (*random)() % 60;
   const bool isDeep = (*random)() % 4 == 0;
   for (size_t i = 0; i < count; i++) {
      overview::GroupRow group = {.gid = (*random)() % 16 == 0 ? Amount(random) : i,
                                  .parent = static_cast<int64_t>(isDeep ? i - 1 : (*random)() % (i + 2)),
                                  .name = Name(random),
                                  .min = static_cast<int64_t>(Amount(random)),
                                  .max = static_cast<int64_t>(Amount(random)),
                                  .conResv = Amount(random),
                                  .eMin = Amount(random),
                                  .consumed = Amount(random),
                                  .consumedPeak = Amount(random),
                                  .flags = kFlags[(*random)() % kFlags.size()]};
      rows->groups.push_back(group);
      if ((group.flags & GROUP_VM) != 0) {
         rows->vms.push_back({.gid = group.gid,
                              .name = group.name,
                              .memSize = Amount(random),
                              .ballooned = Amount(random),
                              .swapped = Amount(random),
                              .isSwapping = (*random)() % 2 == 0});
      }
   }
}

} // namespace

HostRows MakeUpRows(std::mt19937_64 *random)
{
   constexpr std::array<const char *, 6> kStates = {"High", "Clear", "Soft", "Hard", "Low", "Unknown"};
   HostRows rows;
   rows.host = {.total = Amount(random),
                .discarded = Amount(random),
                .managedByMemMap = Amount(random),
                .kernelCode = Amount(random),
                .dataAndHeap = Amount(random),
                .buddyOvhd = Amount(random),
                .rsvdLow = Amount(random),
                .managedByMemSched = Amount(random),
                .kernelClients = Amount(random),
                .otherClients = Amount(random),
                .free = Amount(random),
                .memState = kStates[(*random)() % kStates.size()]};
   AddGroups(&rows, random);
   for (size_t i = (*random)() % 20; i > 0; i--) {
      rows.heaps.push_back({.name = Name(random), .size = Amount(random), .used = Amount(random)});
      rows.pools.push_back({.name = Name(random), .size = Amount(random), .free = Amount(random)});
   }
   for (uint32_t node = 0; node < (*random)() % 4; node++) {
      rows.nodes.push_back({.numaNode = node, .free = Amount(random), .used = Amount(random)});
   }
   if ((*random)() % 2 == 0) {
      rows.sharing = {.cow = Amount(random), .reclaimed = Amount(random), .hints = Amount(random)};
      rows.notRead = {"/proc/" + Name(random) + ": Permission denied", Name(random)};
   }
   return rows;
}

overview::KernelDetail MakeUpDetail(const HostRows &rows, std::mt19937_64 *random)
{
   overview::KernelDetail detail;
   for (const char *name :
        {"Slab", "SReclaimable", "SUnreclaim", "PageTables", "SecPageTables", "KernelStack", "Percpu",
         "AnonPages", "AnonHugePages", "Shmem", "Hugetlb", "Cached", "Buffers", "SwapCached", "VmallocUsed",
         "MemAvailable", "SwapTotal", "SwapFree"}) {
      if ((*random)() % 4 > 0) {
         detail.Set(name, Amount(random));
      }
   }
   detail.Set("MemTotal", (*random)() % 8 == 0 ? Amount(random) : rows.host->managedByMemMap);
   return detail;
}

HostRows PlainRows()
{
   HostRows rows;
   rows.host = {.total = 8 << 20,
                .managedByMemMap = 8 << 20,
                .kernelCode = 16 << 10,
                .dataAndHeap = 512 << 10,
                .managedByMemSched = 8 << 20,
                .kernelClients = 1 << 20,
                .otherClients = 2 << 20,
                .free = 4 << 20,
                .memState = "High"};
   rows.groups.push_back({.gid = 0, .name = "host", .consumed = 4 << 20, .flags = GROUP_PREDEFINED});
   return rows;
}
