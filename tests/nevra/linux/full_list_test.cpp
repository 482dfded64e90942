// Listings into a list with room for less: it takes what it can, and the listing is a success.
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/nevra/linux/live_source.h"
#include "tests/nevra/linux/recorded_tree.h"

namespace {

using nevra::NodeId;
using testing::ElementsAre;
using testing::IsEmpty;

// A VM alone in its cgroup, two nodes, two heaps, two volumes, two of every device.
void MakeHost(RecordedTree &tree)
{
   tree.MountV2();
   tree.V2("m.scope", "cgroup.procs", "70\n");
   tree.V2("m.scope", "memory.stat", "pgpromote_success 7\nnuma_pages_migrated 100\n");
   tree.Process(70, {.name = "qemu-system-arm", .vmSize = 9000, .vmRss = 700, .threads = 5});
   const std::string zone = ", zone Normal\n  pages free     10\n        high     3\n        managed  50\n";
   tree.File("proc/zoneinfo", "Node 0" + zone + "Node 1" + zone);
   tree.File("proc/buddyinfo", "Node 0, zone Normal 5\nNode 1, zone Normal 6\n");
   tree.Folder("sys/devices/system/node/node0/hugepages/hugepages-32768kB");
   tree.Folder("sys/devices/system/node/node0/hugepages/hugepages-64kB");
   tree.File("proc/slabinfo", "dentry 90 100 192 21 1 : tunables 0 0 0 : slabdata 5 5 0\n"
                              "inode 90 100 192 21 1 : tunables 0 0 0 : slabdata 5 5 0\n");
   const std::string nd = "sys/bus/nd/devices/";
   for (const char *name : {"namespace0.0", "namespace1.0"}) {
      tree.File(nd + name + "/size", "4194304\n");
      tree.File(nd + name + "/resource", "0x240000000\n");
   }
   tree.File(nd + "region0/numa_node", "1\n");
   tree.Folder(nd + "nmem0");
   tree.Folder(nd + "nmem1");
   for (const char *name : {"0000:01:02.3", "0000:01:02.4", "0000:01:03.0", "0000:02:00.0", "0001:00:00.0"}) {
      tree.Folder("sys/bus/pci/devices/" + std::string(name));
   }
}

// What a list with room for so many takes of the listing: numbers and texts alike.
std::vector<std::string> Listed(LiveSource &source, uint32_t room, NodeId node,
                                const std::vector<LiveSource::Key> &keys)
{
   const LiveSource::ListPtr list = LiveSource::MakeList(keys);
   const LiveSource::ListPtr instances(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, room));
   EXPECT_EQ((*source).List(nevra::Definition(node), *list, *instances), NEVRA_OK)
      << nevra::Definition(node).path;
   std::vector<std::string> names;
   for (uint32_t i = 0; i < instances->Used(); i++) {
      const Nevra_Param &param = (*instances)[i];
      names.push_back(param.text != nullptr ? param.text : std::to_string(param.integer));
   }
   return names;
}

TEST(FullList, TakesTheFirstAndNoMore)
{
   RecordedTree tree;
   MakeHost(tree);
   LiveSource source(tree.Root());
   const auto first = [&source](NodeId node, const std::vector<LiveSource::Key> &keys = {}) {
      EXPECT_THAT(Listed(source, 0, node, keys), IsEmpty()) << nevra::Definition(node).path;
      return Listed(source, 1, node, keys);
   };
   EXPECT_THAT(first(NodeId::sched_groups_members_groups, {0}),
               ElementsAre(std::to_string(tree.V2Id("m.scope"))));
   EXPECT_THAT(first(NodeId::sched_groups_members_groups, {0x40000000 + 70}),
               ElementsAre(std::to_string(0x20000000 + 70)));
   EXPECT_THAT(first(NodeId::sched_groups_members_memClients, {0x40000000 + 70}), ElementsAre("70"));
   EXPECT_THAT(first(NodeId::sched_memClients_remapTypes, {70}), ElementsAre("numa-balancing"));
   EXPECT_THAT(first(NodeId::memory_lpage_nodeList_vmPools, {0}), ElementsAre("32768kB"));
   EXPECT_THAT(first(NodeId::system_buddy), ElementsAre("memmap-00-hi"));
   EXPECT_THAT(first(NodeId::system_heaps), ElementsAre("dentry"));
   EXPECT_THAT(first(NodeId::memory_pmem_volumes), ElementsAre("namespace0.0"));
   EXPECT_THAT(first(NodeId::memory_pmem_volumes_extents, {"namespace0.0"}), ElementsAre("0"));
   EXPECT_THAT(first(NodeId::memory_pmem_volumes_regionStore_regions, {"namespace0.0"}),
               ElementsAre("region0"));
   EXPECT_THAT(
      first(NodeId::memory_pmem_volumes_regionStore_regions_numaAllocInfo, {"namespace0.0", "region0"}),
      ElementsAre("1"));
   EXPECT_THAT(first(NodeId::hardware_nvd_dimm), ElementsAre("0"));
   EXPECT_THAT(first(NodeId::hardware_pci_seg), ElementsAre("0"));
   EXPECT_THAT(first(NodeId::hardware_pci_seg_bus, {0}), ElementsAre("1"));
   EXPECT_THAT(first(NodeId::hardware_pci_seg_bus_slot, {0, 1}), ElementsAre("2"));
   EXPECT_THAT(first(NodeId::hardware_pci_seg_bus_slot_func, {0, 1, 2}), ElementsAre("3"));
}

} // namespace
