#include "bench/synthetic_groups.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <random>
#include <vector>

#include "nevra/records.h"

namespace {

using nevra::NodeId;

constexpr uint32_t kFanOut = 8;

class SyntheticGroups : public nevra::Source {
 public:
   SyntheticGroups(uint32_t count, bool shuffledIDs) : idOfGroup(count), groupOfID(count)
   {
      std::iota(idOfGroup.begin(), idOfGroup.end(), 0U);
      if (shuffledIDs && count > 1) {
         std::shuffle(idOfGroup.begin() + 1, idOfGroup.end(), std::mt19937(1)); // the root stays group 0
      }
      for (uint32_t group = 0; group < count; group++) {
         groupOfID[idOfGroup[group]] = group;
      }
   }

   NevraStatus Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record) override
   {
      std::memset(record, 0, node.record->size);
      switch (node.id) {
      case NodeId::memory_comprehensive:
      case NodeId::sched_globalStats_memory_kelmar:
      case NodeId::sched_globalStats_memory_stateTransitions:
      case NodeId::memory_memInfo:
      case NodeId::sched_globalStats_numVMs:
         return NEVRA_OK;
      default:
         break;
      }
      if (node.recordKeys.size() != 1 || node.recordKeys[0] != nevra::KeyDomain::Group || !Has(keys)) {
         return NEVRA_NOT_FOUND;
      }
      return GetGroup(node.id, groupOfID[static_cast<size_t>(keys[0].integer)], record);
   }

   NevraStatus List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                    Nevra_ParamList &instances) override
   {
      if (node.id != NodeId::sched_groups_members_groups || !Has(keys)) {
         return NEVRA_NOT_FOUND;
      }
      const uint64_t group = groupOfID[static_cast<size_t>(keys[0].integer)];
      for (uint64_t child = group * kFanOut + 1; child <= group * kFanOut + kFanOut; child++) {
         if (child < idOfGroup.size()) {
            instances.AddInt(idOfGroup[child]);
         }
      }
      return NEVRA_OK;
   }

   NevraStatus Set(const NevraNodeDef &, const Nevra_ParamList &, const Nevra_ParamList &) override
   {
      return NEVRA_NOT_SUPPORTED;
   }

   const char *Signature() const override { return nevra::DefinitionSignature(); }
   const char *KernelBuildText() const override { return nevra::DefinitionBuildText(); }

 private:
   bool Has(const Nevra_ParamList &keys) const
   {
      return keys[0].integer >= 0 && static_cast<uint64_t>(keys[0].integer) < groupOfID.size();
   }

   NevraStatus GetGroup(NodeId node, uint32_t group, void *record) const
   {
      const uint64_t figure = group * UINT64_C(2654435761) % 100000000;
      switch (node) {
      case NodeId::sched_groups_groupName: {
         auto *name = static_cast<GroupNameRecord *>(record);
         std::snprintf(name->name, sizeof name->name, "group-%u.scope", group);
         return NEVRA_OK;
      }
      case NodeId::sched_groups_groupTag:
         std::strcpy(static_cast<GroupTagRecord *>(record)->tag, group % 2 == 0 ? "system" : "user");
         return NEVRA_OK;
      case NodeId::sched_groups_parentGroupID:
         static_cast<ParentGroupIDRecord *>(record)->parentGroupID =
            group == 0 ? int64_t{-1} : idOfGroup[(group - 1) / kFanOut];
         return NEVRA_OK;
      case NodeId::sched_groups_groupFlags:
         static_cast<GroupFlagsRecord *>(record)->flags = group * 8 + 1 < idOfGroup.size() ? 0x800 : 0x2;
         return NEVRA_OK;
      case NodeId::sched_groups_memAllocationInKB: {
         auto *alloc = static_cast<GroupAllocRecord *>(record);
         alloc->min = static_cast<int64_t>(figure / 2);
         alloc->max = -1;
         alloc->minLimit = -1;
         alloc->shares = static_cast<int64_t>(figure % 10000);
         return NEVRA_OK;
      }
      case NodeId::sched_groups_stats_capacity: {
         auto *capacity = static_cast<GroupCapacityRecord *>(record);
         capacity->conResv = figure / 3;
         capacity->availResv = figure / 4;
         return NEVRA_OK;
      }
      case NodeId::sched_groups_stats_memoryStats:
         FillMemoryStats(figure, static_cast<GroupMemoryStatsRecord *>(record));
         return NEVRA_OK;
      default:
         return NEVRA_NOT_FOUND;
      }
   }

   static void FillMemoryStats(uint64_t figure, GroupMemoryStatsRecord *stats)
   {
      stats->memSize = figure;
      stats->memSizePeak = figure * 2;
      stats->ovhdResv = figure / 50;
      stats->ovhd = figure / 60;
      stats->sharedSaved = figure / 10;
      stats->consumed = figure - figure / 7;
      stats->consumedPeak = figure;
      stats->touched = figure / 5;
      stats->bMin = figure / 2;
      stats->bMax = figure * 4;
      stats->bShares = figure % 10000;
      stats->fShares = figure % 5000;
      stats->iMin = figure / 8;
      stats->eMin = figure / 9;
      stats->eMinPeak = figure / 6;
      stats->rMinPeak = figure / 11;
      stats->rMinChildPeak = figure / 12;
      stats->bActive = figure / 13;
      stats->allocTgt = figure * 3;
      stats->mps = static_cast<int64_t>(figure % 4096);
      stats->throttlePct = 100;
   }

   std::vector<uint32_t> idOfGroup;
   std::vector<uint32_t> groupOfID;
};

} // namespace

std::unique_ptr<nevra::Source> MakeSyntheticGroups(uint32_t count, bool shuffledIDs)
{
   return std::make_unique<SyntheticGroups>(count, shuffledIDs);
}
