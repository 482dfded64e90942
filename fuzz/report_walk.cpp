#include "fuzz/report_walk.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "nevra/records.h"

namespace {

using nevra::KeyDomain;
using nevra::NodeId;
using Value = std::variant<int64_t, std::string>;
using Values = std::vector<Value>;

struct ListDeleter {
   void operator()(Nevra_ParamList *list) const { Nevra_ParamList::Destroy(list); }
};
using ListPtr = std::unique_ptr<Nevra_ParamList, ListDeleter>;

struct Walk {
   nevra::Source &source;
   uint64_t work;
   uint64_t most;
};

ListPtr ListOf(const Values &keys)
{
   ListPtr list(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, nevra::kMaxKeys));
   for (const Value &key : keys) {
      if (const int64_t *integer = std::get_if<int64_t>(&key)) {
         list->AddInt(*integer);
      } else {
         list->AddText(std::get<std::string>(key));
      }
   }
   return list;
}

std::vector<uint8_t> Read(Walk &walk, NodeId id, const Values &keys)
{
   const NevraNodeDef &node = nevra::Definition(id);
   std::vector<uint8_t> record(node.record->size);
   walk.work++;
   if (walk.source.Get(node, *ListOf(keys), record.data()) != NEVRA_OK) {
      return {};
   }
   walk.work += record.size();
   return record;
}

bool List(Walk &walk, NodeId id, const Values &keys, Values *values)
{
   const ListPtr list(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, Nevra_ParamList::kUnbounded));
   walk.work++;
   if (walk.source.List(nevra::Definition(id), *ListOf(keys), *list) != NEVRA_OK) {
      return false;
   }
   for (uint32_t i = 0; i < list->Used(); i++) {
      const Nevra_Param &param = (*list)[i];
      walk.work += param.text != nullptr ? 1 + std::strlen(param.text) : 1;
      values->push_back(param.text != nullptr ? Value(std::string(param.text)) : Value(param.integer));
   }
   return true;
}

Values ListOrNone(Walk &walk, NodeId id, const Values &keys)
{
   Values values;
   List(walk, id, keys, &values);
   return values;
}

// Reads the records of all nodes with one key of this domain.
void ReadAll(Walk &walk, KeyDomain domain, int64_t key)
{
   for (const NevraNodeDef &node : nevra::Definitions()) {
      if (node.record != nullptr && node.recordKeys.size() == 1 && node.recordKeys[0] == domain) {
         Read(walk, node.id, {key});
      }
   }
}

template <typename Record> bool Take(const std::vector<uint8_t> &bytes, Record *record)
{
   if (bytes.size() == sizeof *record) {
      std::memcpy(record, bytes.data(), sizeof *record);
   }
   return bytes.size() == sizeof *record;
}

void VisitGroup(Walk &walk, int64_t group)
{
   ReadAll(walk, KeyDomain::Group, group);
   GroupLeaderIDRecord leader;
   if (Take(Read(walk, NodeId::sched_groups_groupLeaderID, {group}), &leader)) {
      ReadAll(walk, KeyDomain::GroupLeader, leader.leaderID);
      VmmLeaderIDRecord vmm;
      if (Take(Read(walk, NodeId::worldGroups_vmmLeaderID, {int64_t{leader.leaderID}}), &vmm)) {
         ReadAll(walk, KeyDomain::VmmLeader, vmm.vmmLeaderID);
      }
   }
   for (const Value &client : ListOrNone(walk, NodeId::sched_groups_members_memClients, {group})) {
      for (const Value &type : ListOrNone(walk, NodeId::sched_memClients_remapTypes, {client})) {
         Read(walk, NodeId::sched_memClients_remapTypes, {client, type});
      }
   }
}

void WalkGroups(Walk &walk, int64_t group, uint32_t levels)
{
   if (walk.work > walk.most) {
      return;
   }
   Values children;
   if (!List(walk, NodeId::sched_groups_members_groups, {group}, &children)) {
      return; // as a report does, without a look at the group
   }
   VisitGroup(walk, group);
   for (const Value &child : children) {
      if (levels > 1) {
         WalkGroups(walk, std::get<int64_t>(child), levels - 1);
      }
   }
}

void WalkPools(Walk &walk)
{
   MemInfoRecord info = {};
   Take(Read(walk, NodeId::memory_memInfo, {}), &info);
   for (int64_t node = 0; node < info.numMemNodes && walk.work <= walk.most; node++) {
      for (const Value &pool : ListOrNone(walk, NodeId::memory_lpage_nodeList_vmPools, {node})) {
         Read(walk, NodeId::memory_lpage_nodeList_vmPools, {node, pool});
      }
   }
}

void WalkVolume(Walk &walk, const Value &volume)
{
   for (const Value &extent : ListOrNone(walk, NodeId::memory_pmem_volumes_extents, {volume})) {
      Read(walk, NodeId::memory_pmem_volumes_extents, {volume, extent});
   }
   for (const Value &region : ListOrNone(walk, NodeId::memory_pmem_volumes_regionStore_regions, {volume})) {
      constexpr NodeId kNuma = NodeId::memory_pmem_volumes_regionStore_regions_numaAllocInfo;
      for (const Value &node : ListOrNone(walk, kNuma, {volume, region})) {
         Read(walk, kNuma, {volume, region, node});
      }
      if (walk.work > walk.most) {
         return;
      }
   }
}

} // namespace

uint64_t WalkAsReportsDo(nevra::Source &source, uint64_t most)
{
   constexpr uint32_t kLevels = 12;
   Walk walk = {source, 0, most};
   WalkGroups(walk, 0, kLevels);
   WalkPools(walk);
   for (const Value &volume : ListOrNone(walk, NodeId::memory_pmem_volumes, {})) {
      WalkVolume(walk, volume);
   }
   for (const Value &heap : ListOrNone(walk, NodeId::system_heaps, {})) {
      Read(walk, NodeId::system_heaps_stats, {heap});
   }
   return walk.work;
}
