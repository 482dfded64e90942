#include "nevra/linux/memory_client_nodes.h"

#include <algorithm>
#include <optional>
#include <string>

#include "nevra/linux/group_nodes.h"
#include "nevra/linux/huge_page_sharers.h"
#include "nevra/linux/kernel_text.h"
#include "nevra/linux/process_memory.h"
#include "nevra/shown_text.h"
#include "nevra/values.h"

namespace nevra {

namespace {

constexpr uint64_t kGigabytePageKB = uint64_t{1} << 20;

bool IsUserWorld(const Group &group)
{
   return group.kind == GroupKind::Emulator ||
          (group.kind == GroupKind::Process && !group.process->process.status.isKernelThread);
}

std::optional<Group> FindOfKind(LinuxHost &host, int64_t leader, GroupKind kind)
{
   const std::optional<Group> group = FindGroupOfLeader(host, leader);
   return group.has_value() && group->kind == kind ? group : std::nullopt;
}

// The figures that count for the client: those of its cgroup when nobody else is in it.
const CgroupEvents *EventsOfGroup(LinuxHost &host, const Group &group)
{
   const std::optional<CgroupIndex> own = OwnCgroup(host, group);
   return own.has_value() ? host.Events(*own) : nullptr;
}

// Whether the process's page tables may be walked; noted where not.
bool MayWalk(LinuxHost &host, const Group &group)
{
   const ProcessStatus &status = group.process->process.status;
   if (host.Walks() == Walk::All || (host.Walks() == Walk::WhereShort && IsShortWalk(status, 0))) {
      return true;
   }
   if (host.Walks() == Walk::None) {
      return false; // nothing is amiss
   }
   const CgroupEvents *events = EventsOfGroup(host, group);
   const bool isShort = events != nullptr && IsShortWalk(status, events->anonThpKB);
   if (!isShort) {
      host.Files().NotRead().Note(Missing::LongWalks, "not read of processes that it would hold up for long");
   }
   return isShort;
}

// Null where the guest's mappings may not be read, or hold no guest, or would take a long walk.
const GuestMemory *GuestOf(LinuxHost &host, const Group &group)
{
   return MayWalk(host, group) ? group.process->Guest(host.Walks(), host.Files()) : nullptr;
}

// All of it is taken for the guest's: an emulator has hardly a large page of its own.
uint64_t WatchedKBOfProcess(LinuxHost &host, const Process &process)
{
   const std::optional<MappedMemory> memory =
      host.HidesWatchedPages() ? ReadMappedMemory(process, host.Walks(), host.Files()) : std::nullopt;
   return memory.has_value() ? host.WatchedKB(process.status, memory->rss) : 0;
}

} // namespace

NevraStatus ReadUserWorld(LinuxHost &host, int64_t leader, UwStatsRecord &record)
{
   const std::optional<Group> group = FindGroupOfLeader(host, leader);
   if (!group.has_value() || !IsUserWorld(*group)) {
      return NEVRA_NOT_FOUND;
   }
   const Process &process = group->process->process;
   const ProcessStatus &status = process.status;
   std::optional<MappedMemory> memory;
   if (status.vmSize > 0 && MayWalk(host, *group)) {
      memory = ReadMappedMemory(process, host.Walks(), host.Files());
      if (!memory.has_value() && HasEndedSince(process, host.Files())) {
         return NEVRA_NOT_FOUND;
      }
   }

   GroupAllocRecord alloc{};
   FillAlloc(host, *group, alloc);
   record.min = alloc.min;
   record.max = alloc.max;
   record.minLimit = alloc.minLimit;
   record.memSizeLimit = -1;
   record.memSize = status.vmSize;
   record.allocTgt = EffectiveLimitsOfGroup(host, *group).target;
   record.totalResv = alloc.min > 0 ? static_cast<uint64_t>(alloc.min) : 0;
   record.pinnedResv = status.vmPin;
   record.memBStore = AddClamped(status.rssAnon, status.rssShmem);
   record.swapBStore = status.vmSwap;
   record.shm = status.rssShmem;
   record.pageable = status.rssAnon;
   record.pageableUnacct = status.rssFile;
   record.pinned = status.vmLck;
   record.prealloced = status.hugetlb;
   const MergedMemory merged = host.MergedOfProcess(process.pid);
   record.cow = merged.shared;
   if (memory.has_value()) {
      record.mapped = AddClamped(memory->Resident(), host.WatchedKB(status, memory->rss));
      record.touched = memory->referenced;
      // What others map too counts in parts, so that the sum over all is what they consume together.
      record.sharedSaved =
         AddClamped(SubtractClamped(memory->rss, memory->pss),
                    ReadHugeKBOfOthers(process, memory->sharedHugetlb, host.Walks(), host.Files()));
      record.cow = memory->ksm.value_or(merged.shared);
      record.swappable =
         SubtractClamped(AddClamped(memory->privateClean, memory->privateDirty), memory->locked);
      record.swapBStore = memory->swap; // with that of shared memory, which the status leaves out
      record.pinned = memory->locked;   // what is there of the memory that is locked
   } else {
      record.mapped = AddClamped(status.vmRss, status.hugetlb);
      record.swappable = SubtractClamped(status.rssAnon, status.vmLck);
   }
   record.swapped = record.swapBStore;
   return NEVRA_OK;
}

NevraStatus ReadVm(LinuxHost &host, int64_t leader, VmmStatsRecord &record)
{
   const std::optional<Group> group = FindOfKind(host, leader, GroupKind::Vm);
   if (!group.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   const Process &process = group->process->process;
   const VmCommand &command = group->process->command;
   const GuestMemory *guest = GuestOf(host, *group);
   // The mappings of one that ends meanwhile stop anywhere; the largest so far need not be the guest's.
   if (HasEndedSince(process, host.Files())) {
      return NEVRA_NOT_FOUND;
   }
   const MergedMemory merged = host.MergedOfProcess(process.pid);
   const uint64_t started = command.memoryKB.value_or(guest != nullptr ? 0 : process.status.vmSize);
   record.memSize = started;
   record.allocTgt = EffectiveLimitsOfGroup(host, *group).target;
   // The page of zeros is no part of what is resident, but the guest's pages that it stands for are there.
   record.zero = merged.zero;
   if (guest != nullptr) {
      const MappedMemory &memory = guest->mappings;
      record.memSize = std::max(started, memory.size);
      const uint64_t room = SubtractClamped(memory.size, memory.Resident());
      const uint64_t watched = std::min(WatchedKBOfProcess(host, process), room);
      record.mapped = AddClamped(AddClamped(memory.Resident(), watched), merged.zero);
      record.touched = memory.referenced;
      const uint64_t shared = memory.ksm.value_or(std::min(merged.shared, memory.rss));
      record.shared = AddClamped(shared, merged.zero);
      // Exactly, where the group's figure is an average over all who share.
      record.sharedSaved = AddClamped(merged.zero, std::min(shared, SubtractClamped(memory.rss, memory.pss)));
   } else {
      // Where the mappings may not be read, all that is resident counts as the guest's, as far as it has
      // room.
      record.mapped = std::min(AddClamped(process.status.vmRss, process.status.hugetlb), started);
      record.shared = AddClamped(merged.shared, merged.zero);
      record.sharedSaved = std::min(merged.saved, +record.mapped);
   }
   record.memSizeLimit = std::max(command.largestMemoryKB.value_or(0), +record.memSize);
   if (const CgroupEvents *events = EventsOfGroup(host, *group)) {
      // The cgroup's figure holds the emulator's own pages, too: no more of it is the guest's than is
      // swapped.
      const uint64_t swapped = guest != nullptr ? guest->mappings.swap : process.status.vmSwap;
      const uint64_t whole = events->zswappedKB;
      record.zipped = std::min(whole, swapped);
      record.zipSaved =
         whole > 0 ? MultiplyClamped(SubtractClamped(whole, events->zswapKB), record.zipped) / whole : 0;
   }
   return NEVRA_OK;
}

NevraStatus ReadVmCompression(LinuxHost &host, int64_t leader, MemzipInfoRecord &record)
{
   const std::optional<Group> group = FindOfKind(host, leader, GroupKind::Vm);
   if (!group.has_value() || host.Zswap() == nullptr) {
      return NEVRA_NOT_FOUND;
   }
   const MemInfo *memory = host.Memory();
   const uint64_t pool =
      memory != nullptr ? MultiplyClamped(memory->memTotal, host.Zswap()->largestPoolPercent) / 100 : 0;
   record.maxCache = pool;
   record.totalCache = pool;
   if (const CgroupEvents *events = EventsOfGroup(host, *group)) {
      record.totalCache = std::min(pool, events->zswapMaxKB);
      record.usedCache = events->zswapKB;
      record.zipped = PagesToKB(events->zswapOutPages);
      record.unZipped = PagesToKB(events->zswapInPages);
   }
   return NEVRA_OK;
}

NevraStatus ReadVmSwap(LinuxHost &host, int64_t leader, SwapInfoRecord &record)
{
   const std::optional<Group> group = FindOfKind(host, leader, GroupKind::Vmm);
   if (!group.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   const Process &process = group->process->process;
   const GuestMemory *guest = GuestOf(host, *group);
   if (HasEndedSince(process, host.Files())) {
      return NEVRA_NOT_FOUND;
   }
   record.swapped = guest != nullptr ? guest->mappings.swap : process.status.vmSwap;
   record.curSwapper = 1; // the kernel swaps, never the VMM
   if (const CgroupEvents *events = EventsOfGroup(host, *group)) {
      record.swapIn = PagesToKB(events->swapInPages);
      record.swapOut = PagesToKB(events->swapOutPages);
      if (events->swapMaxKB != kUnlimited) {
         record.totalReg = events->swapMaxKB;
         record.freeReg = SubtractClamped(events->swapMaxKB, events->swapKB);
      }
   }
   return NEVRA_OK;
}

NevraStatus ReadVmNames(LinuxHost &host, int64_t leader, VmmGroupInfoRecord &record)
{
   const std::optional<Group> group = FindOfKind(host, leader, GroupKind::Vmm);
   if (!group.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   const VmCommand &command = group->process->command;
   const std::string &name = command.name.empty() ? group->process->process.status.name : command.name;
   StoreShownText(record.displayName, sizeof record.displayName, name);
   StoreShownText(record.configPath, sizeof record.configPath, command.configPath);
   return NEVRA_OK;
}

NevraStatus ReadVmLargePages(LinuxHost &host, int64_t leader, VmLPageRecord &record)
{
   const std::optional<Group> group = FindOfKind(host, leader, GroupKind::Vmm);
   if (!group.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   const Process &process = group->process->process;
   const CgroupEvents *events = EventsOfGroup(host, *group);
   GuestMemory guest;
   if (const GuestMemory *walked = GuestOf(host, *group)) {
      guest = *walked;
      const MappedMemory &memory = walked->mappings;
      const uint64_t room = SubtractClamped(memory.size, memory.Resident());
      guest.mappings.largePages =
         AddClamped(memory.largePages, std::min(WatchedKBOfProcess(host, process), room));
   } else if (events != nullptr && !MayWalk(host, *group)) {
      // Nearly all large pages of a VM are its guest's.
      guest.mappings.largePages = events->anonThpKB;
      guest.mappings.hugetlb = process.status.hugetlb;
   } else {
      return NEVRA_NOT_FOUND;
   }
   if (HasEndedSince(process, host.Files())) {
      return NEVRA_NOT_FOUND;
   }
   const MappedMemory &memory = guest.mappings;
   const uint64_t small = AddClamped(memory.largePages, SubtractClamped(memory.hugetlb, guest.gigabytePages));
   record.nrBackings2M = Narrow(small / kKBPerLargePage);
   record.nrBackings1G = Narrow(guest.gigabytePages / kGigabytePageKB);
   if (events != nullptr) {
      record.nrAllocSuccess = AddClamped(events->thpFaultAllocs, events->thpCollapseAllocs);
   }
   return NEVRA_OK;
}

namespace {

// The kinds of migration, by their names in the listing and by what they are made of.
struct RemapType {
   std::string_view name;
   uint64_t CgroupEvents::*added;    // pages looked at
   uint64_t CgroupEvents::*remapped; // pages moved
};

constexpr RemapType kRemapTypes[] = {
   {"numa-balancing", &CgroupEvents::numaHintFaults, &CgroupEvents::numaMigrated},
   {"promotion", &CgroupEvents::promoted, &CgroupEvents::promoted},
   {"demotion", &CgroupEvents::demoted, &CgroupEvents::demoted},
};

} // namespace

NevraStatus ListRemapTypes(LinuxHost &host, int64_t client, Nevra_ParamList &instances)
{
   const std::optional<Group> group = FindGroupOfLeader(host, client);
   if (!group.has_value()) {
      return NEVRA_NOT_FOUND;
   }
   const CgroupEvents *events = EventsOfGroup(host, *group);
   for (const RemapType &type : kRemapTypes) {
      const bool isCounted = events != nullptr && events->*type.remapped != CgroupEvents::kNotCounted;
      if (isCounted && !instances.IsFull()) {
         const NevraStatus status = instances.AddText(type.name);
         if (status != NEVRA_OK) {
            return status;
         }
      }
   }
   return NEVRA_OK;
}

NevraStatus ReadRemapStats(LinuxHost &host, int64_t client, std::string_view type, RemapStatsRecord &record)
{
   const std::optional<Group> group = FindGroupOfLeader(host, client);
   const CgroupEvents *events = group.has_value() ? EventsOfGroup(host, *group) : nullptr;
   const auto *const known = std::find_if(std::begin(kRemapTypes), std::end(kRemapTypes),
                                          [type](const RemapType &row) { return row.name == type; });
   if (events == nullptr || known == std::end(kRemapTypes) ||
       events->*known->remapped == CgroupEvents::kNotCounted) {
      return NEVRA_NOT_FOUND;
   }
   const uint64_t added = events->*known->added;
   record.added = added != CgroupEvents::kNotCounted ? added : 0;
   record.remapped = events->*known->remapped;
   return NEVRA_OK;
}

} // namespace nevra
