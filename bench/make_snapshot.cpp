// Writes the snapshot of a made-up host.
// usage: make_snapshot GROUPS ordered|shuffled FILE
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/synthetic_groups.h"
#include "nevra/definitions.h"
#include "nevra/snapshot/snapshot_tree.h"
#include "nevra/snapshot/snapshot_writer.h"

namespace {

using nevra::KeyDomain;
using nevra::NodeId;

class ParamList {
 public:
   ParamList() : list(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, Nevra_ParamList::kUnbounded)) {}
   ~ParamList() { Nevra_ParamList::Destroy(list); }
   ParamList(const ParamList &) = delete;
   ParamList &operator=(const ParamList &) = delete;
   Nevra_ParamList &operator*() { return *list; }
   Nevra_ParamList *operator->() { return list; }

 private:
   Nevra_ParamList *list;
};

void AddGroup(nevra::Source &source, uint64_t groupID, nevra::SnapshotTree *tree)
{
   ParamList keys;
   keys->AddInt(static_cast<int64_t>(groupID));
   std::vector<uint8_t> record;
   for (const NevraNodeDef &node : nevra::Definitions()) {
      if (node.recordKeys.size() == 1 && node.recordKeys[0] == KeyDomain::Group) {
         record.resize(node.record->size);
         if (source.Get(node, *keys, record.data()) == NEVRA_OK) {
            nevra::AddRecord(tree, node, {&groupID, 1}, record.data());
         }
      }
   }
   ParamList children;
   const NevraNodeDef &members = nevra::Definition(NodeId::sched_groups_members_groups);
   source.List(members, *keys, *children);
   std::vector<uint64_t> childIDs;
   for (uint32_t i = 0; i < children->Used(); i++) {
      childIDs.push_back(static_cast<uint64_t>((*children)[i].integer));
   }
   nevra::AddList(tree, members, {&groupID, 1}, childIDs);
}

void AddHost(nevra::Source &source, nevra::SnapshotTree *tree)
{
   ParamList none;
   std::vector<uint8_t> record;
   for (const NodeId id : {NodeId::memory_comprehensive, NodeId::sched_globalStats_memory_kelmar}) {
      const NevraNodeDef &node = nevra::Definition(id);
      record.resize(node.record->size);
      source.Get(node, *none, record.data());
      nevra::AddRecord(tree, node, {}, record.data());
   }
   const NevraNodeDef &transitions = nevra::Definition(NodeId::sched_globalStats_memory_stateTransitions);
   for (const char *state : {"high", "clear", "soft", "hard", "low"}) {
      const uint64_t key = nevra::InternText(tree, state);
      record.assign(transitions.record->size, 0);
      nevra::AddRecord(tree, transitions, {&key, 1}, record.data());
   }
}

} // namespace

int main(int argc, char **argv)
{
   const uint32_t groups = argc == 4 ? static_cast<uint32_t>(std::strtoul(argv[1], nullptr, 10)) : 0;
   if (groups == 0) {
      std::fprintf(stderr, "usage: %s GROUPS ordered|shuffled FILE\n", argv[0]);
      return 2;
   }
   const std::unique_ptr<nevra::Source> source =
      MakeSyntheticGroups(groups, std::strcmp(argv[2], "shuffled") == 0);
   nevra::SnapshotTree tree;
   tree.signature = nevra::DefinitionSignature();
   tree.kernelBuild = nevra::DefinitionBuildText();
   tree.host = "bench.example";
   for (uint64_t groupID = 0; groupID < groups; groupID++) {
      AddGroup(*source, groupID, &tree);
   }
   AddHost(*source, &tree);

   nevra::SnapshotImage image;
   std::string problem;
   if (!nevra::MakeSnapshotImage(&tree, &image, &problem)) {
      std::fprintf(stderr, "%s\n", problem.c_str());
      return 1;
   }
   FILE *file = std::fopen(argv[3], "wb");
   const bool written =
      file != nullptr && std::fwrite(image.body.get(), 1, image.bodySize, file) == image.bodySize &&
      std::fwrite(image.trailer.data(), 1, image.trailer.size(), file) == image.trailer.size();
   if (file == nullptr || std::fclose(file) != 0 || !written) {
      std::perror(argv[3]);
      return 1;
   }
   return 0;
}
