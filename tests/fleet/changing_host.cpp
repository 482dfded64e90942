#include "tests/fleet/changing_host.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "nevra/records.h"

namespace {

using nevra::NodeId;

constexpr int64_t kMachine = 2; // the group that the sample's VMs are in
constexpr std::string_view kPoolPrefix = "vm.";

class ParamList {
 public:
   ParamList() : list(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, Nevra_ParamList::kUnbounded)) {}
   explicit ParamList(int64_t key) : ParamList() { list->AddInt(key); }
   ~ParamList() { Nevra_ParamList::Destroy(list); }
   ParamList(const ParamList &) = delete;
   ParamList &operator=(const ParamList &) = delete;
   Nevra_ParamList &operator*() { return *list; }

 private:
   Nevra_ParamList *list;
};

template <typename Record> Record Read(nevra::Source &source, NodeId node, int64_t key)
{
   Record record = {};
   if (source.Get(nevra::Definition(node), *ParamList(key), &record) != NEVRA_OK) {
      std::abort(); // the sample is not what this was made for
   }
   return record;
}

// A figure that goes up and down by up to a hundredth, by pages; in another way for each key, figure and
// minute.
struct Change {
   uint64_t key;
   unsigned minute;

   uint64_t operator()(uint64_t value, unsigned figure) const
   {
      uint64_t mixed = (key * 64 + figure) * 4096 + minute;
      mixed = (mixed ^ (mixed >> 31)) * UINT64_C(0x9E3779B97F4A7C15);
      mixed ^= mixed >> 29;
      return (value - value / 100 + value / 50 * (mixed % 1024) / 1024) / 4 * 4;
   }
};

void ChangeProcess(const Change &change, UwStatsRecord *process)
{
   process->mapped = change(process->mapped, 1);
   process->touched = change(process->touched, 2);
   process->swappable = change(process->swappable, 3);
   process->memBStore = change(process->memBStore, 4);
   process->pageable = change(process->pageable, 5);
   process->cow = change(process->cow, 6);
}

} // namespace

SampleVms FindVms(nevra::Source &sample)
{
   SampleVms found;
   ParamList groups;
   sample.List(nevra::Definition(NodeId::sched_groups_members_groups), *ParamList(kMachine), *groups);
   for (uint32_t i = 0; i < (*groups).Used(); i++) {
      VmPlace place;
      place.group = (*groups)[i].integer;
      place.leader =
         Read<GroupLeaderIDRecord>(sample, NodeId::sched_groups_groupLeaderID, place.group).leaderID;
      place.vmmLeader =
         Read<VmmLeaderIDRecord>(sample, NodeId::worldGroups_vmmLeaderID, place.leader).vmmLeaderID;
      const auto vmm = Read<VmmStatsRecord>(sample, NodeId::sched_memClients_kelmar_vmm, place.leader);
      const auto name = Read<GroupNameRecord>(sample, NodeId::sched_groups_groupName, place.group);
      found.places.push_back(place);
      found.vms.push_back({name.name, vmm.mapped - vmm.sharedSaved, vmm.touched});
   }
   return found;
}

ChangingHost::ChangingHost(nevra::Source *theSample, const SampleVms *vms, const HostStory *theStory)
    : sample(theSample), story(theStory)
{
   for (size_t vm = 0; vm < vms->places.size(); vm++) {
      const VmPlace &place = vms->places[vm];
      if (vm < story->VmCount()) {
         byGroup[place.group] = vm;
         byLeader[place.leader] = vm;
         byVmmLeader[place.vmmLeader] = vm;
      } else {
         leftOut[place.group] = vm;
      }
   }
}

const VmFigures *ChangingHost::VmIn(const IndexByID &index, const Nevra_ParamList &keys, size_t *vm) const
{
   const auto found = index.find(keys[0].integer);
   if (found == index.end()) {
      return nullptr;
   }
   *vm = found->second;
   return &story->Vm(*vm, minute);
}

NevraStatus ChangingHost::Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record)
{
   const NevraStatus status = sample->Get(node, keys, record);
   if (status == NEVRA_OK) {
      ChangeOthers(node.id, keys, record);
      ChangeVm(node.id, keys, record);
      ChangeHost(node.id, record);
   }
   return status;
}

void ChangingHost::ChangeVm(NodeId node, const Nevra_ParamList &keys, void *record) const
{
   size_t vm = 0;
   if (node == NodeId::sched_memClients_kelmar_vmm) {
      if (const VmFigures *figures = VmIn(byLeader, keys, &vm)) {
         auto *vmm = static_cast<VmmStatsRecord *>(record);
         vmm->mapped = figures->consumed + vmm->sharedSaved;
         vmm->touched = figures->touched;
         vmm->memSize = story->VmSize(vm);
         vmm->memSizeLimit = story->VmSize(vm);
      }
   } else if (node == NodeId::sched_groups_stats_memoryStats) {
      if (const VmFigures *figures = VmIn(byGroup, keys, &vm)) {
         auto *memory = static_cast<GroupMemoryStatsRecord *>(record);
         memory->consumed = figures->consumed + memory->ovhd;
         memory->touched = figures->touched;
         memory->memSize = story->VmSize(vm);
      }
   } else if (node == NodeId::sched_memClients_swapInfo) {
      if (const VmFigures *figures = VmIn(byVmmLeader, keys, &vm)) {
         auto *swap = static_cast<SwapInfoRecord *>(record);
         swap->swapped = figures->swapped;
         swap->swapIn = figures->swappedIn;
         swap->swapOut = figures->swappedOut;
         swap->isSwapping = figures->isSwapping ? 1 : 0;
      }
   } else if (node == NodeId::memory_lpage_vmLPage) {
      if (VmIn(byVmmLeader, keys, &vm) != nullptr) {
         static_cast<VmLPageRecord *>(record)->nrAllocSuccess +=
            minute / 2 * (1 + static_cast<uint32_t>(vm) % 3);
      }
   }
}

void ChangingHost::ChangeHost(NodeId node, void *record) const
{
   if (node == NodeId::memory_comprehensive) {
      auto *stats = static_cast<CompMemMapStats *>(record);
      stats->orskaClientConsumed += stats->free - story->Free(minute);
      stats->free = story->Free(minute);
   } else if (node == NodeId::sched_globalStats_memory_kelmar) {
      static_cast<GlobalMemSchedInfo *>(record)->memState = static_cast<uint32_t>(story->State(minute));
   } else if (node == NodeId::sched_globalStats_numVMs) {
      static_cast<NumVMsRecord *>(record)->numVMs = static_cast<uint32_t>(story->VmCount());
   }
}

void ChangingHost::ChangeOthers(NodeId node, const Nevra_ParamList &keys, void *record) const
{
   const Change change = {keys.Used() > 0 ? static_cast<uint64_t>(keys[0].integer) : 0, minute};
   if (node == NodeId::sched_groups_stats_memoryStats) {
      auto *memory = static_cast<GroupMemoryStatsRecord *>(record);
      memory->consumed = change(memory->consumed, 1);
      memory->touched = change(memory->touched, 2);
      memory->bActive = change(memory->bActive, 3);
      memory->ovhd = change(memory->ovhd, 4);
      memory->allocTgt = change(memory->allocTgt, 5);
      memory->memNeeded = change(memory->memNeeded, 6);
   } else if (node == NodeId::sched_memClients_kelmar_uw) {
      ChangeProcess(change, static_cast<UwStatsRecord *>(record));
   } else if (node == NodeId::sched_memClients_kelmar_vmm) {
      auto *vmm = static_cast<VmmStatsRecord *>(record);
      vmm->shared = change(vmm->shared, 1);
      vmm->sharedSaved = change(vmm->sharedSaved, 2);
      vmm->allocTgt = change(vmm->allocTgt, 3);
   } else if (node == NodeId::sched_memClients_kelmar_guest) {
      auto *guest = static_cast<GuestStatsRecord *>(record);
      guest->memFree = change(guest->memFree, 1);
      guest->memNeeded = change(guest->memNeeded, 2);
   } else if (node == NodeId::system_heaps_stats) {
      auto *heap = static_cast<HeapStatsRecord *>(record);
      heap->avail = static_cast<uint32_t>(change(heap->avail, 1));
      heap->numSuccAllocs += minute * (heap->numSuccAllocs / 10000);
   }
}

bool ChangingHost::IsLeftOut(NodeId node, const Nevra_Param &instance) const
{
   if (node == NodeId::sched_groups_members_groups) {
      return leftOut.contains(instance.integer);
   }
   // The pool of a VM is called by its leader.
   return node == NodeId::memory_lpage_nodeList_vmPools &&
          std::string_view(instance.text).starts_with(kPoolPrefix) &&
          !byLeader.contains(std::strtoll(instance.text + kPoolPrefix.size(), nullptr, 10));
}

NevraStatus ChangingHost::List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                               Nevra_ParamList &instances)
{
   ParamList all;
   const NevraStatus status = sample->List(node, keys, *all);
   for (uint32_t i = 0; status == NEVRA_OK && i < (*all).Used(); i++) {
      const Nevra_Param &instance = (*all)[i];
      if (IsLeftOut(node.id, instance)) {
         continue;
      }
      if (instance.text != nullptr) {
         instances.AddText(instance.text);
      } else {
         instances.AddInt(instance.integer);
      }
   }
   return status;
}
