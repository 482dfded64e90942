#include "tests/nevra/snapshot/small_tree.h"

#include <cstring>

#include "nevra/records.h"
#include "nevra/snapshot/snapshot_source.h"
#include "nevra/snapshot/snapshot_writer.h"

using nevra::Definition;
using nevra::NodeId;

namespace {

void AddGroup(nevra::SnapshotTree *tree, uint64_t group, const char *name, uint32_t flags)
{
   GroupNameRecord record = {};
   std::strncpy(record.name, name, sizeof record.name - 1);
   AddRecord(tree, Definition(NodeId::sched_groups_groupName), {&group, 1}, &record);
   const GroupFlagsRecord flagsRecord = {flags};
   AddRecord(tree, Definition(NodeId::sched_groups_groupFlags), {&group, 1}, &flagsRecord);
}

void AddHost(nevra::SnapshotTree *tree)
{
   CompMemMapStats memory = {};
   memory.total = 16777216;
   memory.free = 4194304;
   AddRecord(tree, Definition(NodeId::memory_comprehensive), {}, &memory);
   tree->kernelDetail = {{"MemTotal", 16000000}, {"Active(anon)", 123456}, {"Bounce", 0}};
   AddFailure(tree, Definition(NodeId::memory_pshare_stats), {}, NEVRA_NOT_SUPPORTED);
   for (const char *state : {"soft", "high"}) {
      const uint64_t key = InternText(tree, state);
      MemStateTransitions transitions = {};
      transitions.numToLower = static_cast<uint32_t>(std::strlen(state));
      AddRecord(tree, Definition(NodeId::sched_globalStats_memory_stateTransitions), {&key, 1}, &transitions);
   }
}

void AddPools(nevra::SnapshotTree *tree)
{
   const NevraNodeDef &pools = Definition(NodeId::memory_lpage_nodeList_vmPools);
   const uint64_t node = 0;
   const uint64_t names[] = {InternText(tree, "vmPool"), InternText(tree, "anon")};
   AddList(tree, pools, {&node, 1}, names);
   for (const uint64_t name : names) {
      const uint64_t keys[] = {node, name};
      LPagePoolRecord pool = {};
      pool.nrLPages = static_cast<uint32_t>(10 + name);
      AddRecord(tree, pools, keys, &pool);
   }
   const uint64_t missing = 1;
   AddListFailure(tree, pools, {&missing, 1}, NEVRA_NO_PERMISSION);
   const uint64_t failing[] = {1, names[0]};
   AddFailure(tree, pools, failing, NEVRA_FAILURE);
}

} // namespace

nevra::SnapshotTree SmallTree()
{
   nevra::SnapshotTree tree;
   tree.signature = nevra::DefinitionSignature();
   tree.kernelBuild = "build 17";
   tree.host = "elm";
   tree.captured = 1700000000;
   AddGroup(&tree, 0, "host", 0x1);
   AddGroup(&tree, 7, "seven", 0x8);
   AddGroup(&tree, 3, "three", 0x4);
   AddGroup(&tree, static_cast<uint64_t>(-2), "below", 0);
   const uint64_t root = 0;
   const uint64_t children[] = {7, 3};
   AddList(&tree, Definition(NodeId::sched_groups_members_groups), {&root, 1}, children);
   const uint64_t leaf = 3;
   AddList(&tree, Definition(NodeId::sched_groups_members_groups), {&leaf, 1}, {});
   const uint64_t gone = 7;
   AddListFailure(&tree, Definition(NodeId::sched_groups_members_groups), {&gone, 1}, NEVRA_NOT_FOUND);
   const uint64_t ghost = 9;
   AddFailure(&tree, Definition(NodeId::sched_groups_groupName), {&ghost, 1}, NEVRA_IO_ERROR);
   AddHost(&tree);
   AddPools(&tree);
   return tree;
}

std::vector<uint8_t> SmallSnapshot()
{
   nevra::SnapshotTree tree = SmallTree();
   nevra::SnapshotImage image;
   std::string problem;
   return MakeSnapshotImage(&tree, &image, &problem) ? BytesOfImage(image) : std::vector<uint8_t>();
}

std::string GroupNameBytes(const char *name)
{
   std::string bytes = "0: ";
   bytes += name;
   bytes.resize(3 + sizeof(GroupNameRecord));
   return bytes;
}

std::string Status(NevraStatus status)
{
   return std::to_string(status) + ':';
}

namespace {

struct ListDeleter {
   void operator()(Nevra_ParamList *list) const { Nevra_ParamList::Destroy(list); }
};
using ListPtr = std::unique_ptr<Nevra_ParamList, ListDeleter>;

ListPtr ListOfKeys(std::initializer_list<Key> keys)
{
   ListPtr list(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, static_cast<uint32_t>(keys.size())));
   for (const Key &key : keys) {
      if (const int64_t *integer = std::get_if<int64_t>(&key)) {
         list->AddInt(*integer);
      } else {
         list->AddText(std::get<const char *>(key));
      }
   }
   return list;
}

} // namespace

std::string AskRecord(nevra::Source &source, NodeId node, std::initializer_list<Key> keys)
{
   const NevraNodeDef &definition = Definition(node);
   std::string record(definition.record->size, '\xee');
   const NevraStatus status = source.Get(definition, *ListOfKeys(keys), record.data());
   return status == NEVRA_OK ? "0: " + record : Status(status);
}

std::string AskList(nevra::Source &source, NodeId node, std::initializer_list<Key> keys, uint32_t capacity)
{
   ListPtr instances(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, capacity));
   const NevraStatus status = source.List(Definition(node), *ListOfKeys(keys), *instances);
   std::string answer = Status(status);
   for (uint32_t i = 0; status == NEVRA_OK && i < instances->Used(); i++) {
      const Nevra_Param &param = (*instances)[i];
      answer += ' ';
      answer += param.text != nullptr ? param.text : std::to_string(param.integer);
   }
   return answer;
}

std::vector<std::string> AskEverything(nevra::Source &source)
{
   std::vector<std::string> answers;
   for (const int64_t group : {0, 1, 3, 7, 9, -2, -1}) {
      answers.push_back(AskList(source, NodeId::sched_groups_members_groups, {group}));
      answers.push_back(AskRecord(source, NodeId::sched_groups_groupName, {group}));
      answers.push_back(AskRecord(source, NodeId::sched_groups_groupFlags, {group}));
   }
   answers.push_back(AskRecord(source, NodeId::memory_comprehensive, {}));
   answers.push_back(AskRecord(source, NodeId::memory_pshare_stats, {}));
   answers.push_back(AskRecord(source, NodeId::memory_memInfo, {}));
   for (const char *state : {"high", "soft", "low", ""}) {
      answers.push_back(AskRecord(source, NodeId::sched_globalStats_memory_stateTransitions, {state}));
   }
   for (const int64_t node : {0, 1, 2}) {
      answers.push_back(AskList(source, NodeId::memory_lpage_nodeList_vmPools, {node}));
      for (const char *pool : {"anon", "vmPool", "soft", "none"}) {
         answers.push_back(AskRecord(source, NodeId::memory_lpage_nodeList_vmPools, {node, pool}));
      }
   }
   return answers;
}

std::unique_ptr<nevra::Source> OpenBytes(const std::vector<uint8_t> &bytes)
{
   std::unique_ptr<nevra::Source> source;
   OpenSnapshotSourceFromMemory(bytes, "small", &source);
   return source;
}
