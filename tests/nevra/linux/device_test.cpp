// Persistent memory, processors and PCI registers over recorded trees.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "tests/nevra/linux/live_source.h"
#include "tests/nevra/linux/recorded_tree.h"

namespace {

using nevra::NodeId;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kUuid[] = "12345678-9abc-def0-1234-56789abcdef0";
constexpr uint64_t kGB = uint64_t{1} << 30;

void MakePersistentMemory(RecordedTree &tree)
{
   const std::string nd = "sys/bus/nd/devices/";
   tree.File(nd + "region0/size", std::to_string(8 * kGB) + "\n");
   tree.File(nd + "region0/available_size", std::to_string(2 * kGB) + "\n");
   tree.File(nd + "region0/numa_node", "1\n");
   tree.File(nd + "region0/read_only", "0\n");
   tree.File(nd + "region0/badblocks", "");
   tree.File(nd + "namespace0.0/size", std::to_string(4 * kGB) + "\n");
   tree.File(nd + "namespace0.0/uuid", std::string(kUuid) + "\n");
   tree.File(nd + "namespace0.0/mode", "fsdax\n");
   tree.File(nd + "namespace0.0/holder", "pfn0.0\n");
   tree.File(nd + "namespace0.0/resource", "0x240000000\n");
   tree.File(nd + "namespace0.1/size", "0\n");
   tree.File(nd + "region1/size", std::to_string(kGB) + "\n");
   tree.File(nd + "region1/available_size", "0\n");
   tree.File(nd + "region1/numa_node", "-1\n");
   tree.File(nd + "region1/read_only", "1\n");
   tree.File(nd + "region1/badblocks", "100 8\n200 1\n");
   tree.File(nd + "namespace1.0/size", std::to_string(kGB) + "\n");
   tree.File(nd + "namespace1.0/mode", "devdax\n");
   tree.Folder(nd + "nmem0");
   tree.Folder(nd + "nmem12");
   tree.Folder(nd + "ndbus0");
}

TEST(LinuxPersistentMemory, VolumesAndTheirRegions)
{
   RecordedTree tree;
   MakePersistentMemory(tree);
   LiveSource source(tree.Root());
   EXPECT_THAT(source.ListTexts(NodeId::memory_pmem_volumes), ElementsAre(kUuid, "namespace1.0"));
   EXPECT_EQ(source.StatusOf<PMemVolumeInfoRecord>(NodeId::memory_pmem_volumes_info, {kUuid}), NEVRA_OK);
   EXPECT_EQ(source.StatusOf<PMemVolumeInfoRecord>(NodeId::memory_pmem_volumes_info, {"namespace0.1"}),
             NEVRA_NOT_FOUND);

   const auto store =
      source.Read<PMemRegionStoreRecord>(NodeId::memory_pmem_volumes_regionStore_info, {kUuid});
   EXPECT_EQ(+store.total2MBlocks, 2048u);
   EXPECT_EQ(+store.allocated2MBlocks, 2048u);
   EXPECT_EQ(+store.available2MBlocks, 0u) << "what the region has left is no volume's";
   EXPECT_EQ(+store.reserved2MBlocks, 0u);
   EXPECT_EQ(+store.totalRegions, 1u);
   EXPECT_EQ(+store.freeRegions, 0u);
   const auto clean = [&source](const char *volume) {
      return source.Read<PMemCleanRecord>(NodeId::memory_pmem_volumes_regionStore_isClean, {volume}).isClean;
   };
   EXPECT_EQ(clean(kUuid), 1);
   EXPECT_EQ(clean("namespace1.0"), 0) << "it has bad blocks";

   EXPECT_THAT(source.ListTexts(NodeId::memory_pmem_volumes_regionStore_regions, {kUuid}),
               ElementsAre("region0"));
   const auto region = [&source](const char *volume, const char *name) {
      return source.Read<PMemRegionRecord>(NodeId::memory_pmem_volumes_regionStore_regions_info,
                                           {volume, name});
   };
   EXPECT_EQ(+region(kUuid, "region0").size, 8 * kGB);
   EXPECT_EQ(+region(kUuid, "region0").allocated2MBlocks, 2048u) << "its own, not all of the region's";
   EXPECT_EQ(+region(kUuid, "region0").reserved2MBlocks, 2048u);
   EXPECT_EQ(+region(kUuid, "region0").flags, 0x11u) << "allocated, a block device";
   EXPECT_EQ(+region(kUuid, "region0").openCount, 0u) << "held by what makes a disk of it, used by nobody";
   EXPECT_EQ(+region(kUuid, "region0").numaAffinityMask, 2u);
   EXPECT_EQ(+region(kUuid, "region0").dataLossCounter, 0u);
   EXPECT_EQ(+region("namespace1.0", "region1").flags, 0x9u) << "allocated, read-only";
   EXPECT_EQ(+region("namespace1.0", "region1").dataLossCounter, 9u);
   EXPECT_EQ(+region("namespace1.0", "region1").numaAffinityMask, 0u);
   EXPECT_EQ(source.StatusOf<PMemRegionRecord>(NodeId::memory_pmem_volumes_regionStore_regions_info,
                                               {kUuid, "region1"}),
             NEVRA_NOT_FOUND);
}

// Three namespaces that are used, and one that is not.
TEST(LinuxPersistentMemory, AVolumeIsOpenWhenItsDiskIsUsed)
{
   RecordedTree tree;
   const std::string nd = "sys/bus/nd/devices/";
   for (const char *number : {"0", "1", "2", "3", "4"}) {
      tree.File(nd + "namespace0." + number + "/size", "67108864\n");
   }
   tree.File(nd + "namespace0.0/block/pmem0/dev", "259:0\n"); // raw, mounted
   tree.File(nd + "namespace0.1/holder", "btt0.1\n");
   tree.File(nd + "btt0.1/block/pmem0.1s/dev", "259:1\n"); // swapped to
   tree.File(nd + "namespace0.2/holder", "pfn0.2\n");
   tree.File(nd + "pfn0.2/block/pmem0.2/dev", "259:2\n");
   tree.Folder(nd + "pfn0.2/block/pmem0.2/holders");
   tree.File(nd + "pfn0.2/block/pmem0.2/pmem0.2p1/dev", "259:3\n"); // its partition is a part of another disk
   tree.Folder(nd + "pfn0.2/block/pmem0.2/pmem0.2p1/holders/dm-0");
   tree.File(nd + "namespace0.3/holder", "pfn0.3\n");
   tree.File(nd + "pfn0.3/block/pmem0.3/dev", "259:4\n");
   tree.File(nd + "namespace0.4/holder", "dax0.4\n");
   tree.File("proc/self/mountinfo", "23 1 0:22 / /sys rw - sysfs sysfs rw\n"
                                    "40 1 259:0 / /data rw - ext4 /dev/pmem0 rw\n");
   tree.File("proc/swaps", "Filename Type Size Used Priority\n/dev/pmem0.1s partition 1 0 -2\n");
   LiveSource source(tree.Root());
   const auto opened = [&source](const char *volume) {
      return +source
                 .Read<PMemRegionRecord>(NodeId::memory_pmem_volumes_regionStore_regions_info,
                                         {volume, "region0"})
                 .openCount;
   };
   EXPECT_EQ(opened("namespace0.0"), 1u);
   EXPECT_EQ(opened("namespace0.1"), 1u);
   EXPECT_EQ(opened("namespace0.2"), 1u);
   EXPECT_EQ(opened("namespace0.3"), 0u);
   EXPECT_EQ(opened("namespace0.4"), 0u) << "the kernel does not say who has a character device open";
}

TEST(LinuxPersistentMemory, AVolumeHasTheUuidThatNdctlNamesItBy)
{
   RecordedTree tree;
   const std::string nd = "sys/bus/nd/devices/";
   const std::string own(kUuid);
   const std::string holders = "abcdef01-9abc-def0-1234-56789abcdef0";
   tree.File(nd + "namespace0.0/size", "67108864\n");
   tree.File(nd + "namespace0.0/uuid", own + "\n");
   tree.File(nd + "namespace0.0/holder", "btt0.0\n");
   {
      LiveSource source(tree.Root());
      EXPECT_THAT(source.ListTexts(NodeId::memory_pmem_volumes), ElementsAre(own)) << "the holder has none";
   }
   tree.File(nd + "btt0.0/uuid", holders + "\n");
   {
      LiveSource source(tree.Root());
      EXPECT_THAT(source.ListTexts(NodeId::memory_pmem_volumes), ElementsAre(holders));
   }
   tree.File(nd + "namespace0.0/holder", "../devices/btt0.0\n");
   LiveSource source(tree.Root());
   EXPECT_THAT(source.ListTexts(NodeId::memory_pmem_volumes), ElementsAre(own)) << "no device is named so";
}

TEST(LinuxPersistentMemory, ExtentsAndNumaNodes)
{
   RecordedTree tree;
   MakePersistentMemory(tree);
   LiveSource source(tree.Root());
   EXPECT_THAT(source.List(NodeId::memory_pmem_volumes_extents, {kUuid}), ElementsAre(0));
   EXPECT_THAT(source.List(NodeId::memory_pmem_volumes_extents, {"namespace1.0"}), IsEmpty())
      << "its address may not be read";
   const auto extent = source.Read<PMemExtentRecord>(NodeId::memory_pmem_volumes_extents, {kUuid, 0});
   EXPECT_EQ(+extent.startBlk, 0u);
   EXPECT_EQ(+extent.endBlk, 1048575u);
   EXPECT_EQ(+extent.startMPN, 0x240000u);
   EXPECT_EQ(+extent.endMPN, 0x240000u + 1048575);
   EXPECT_EQ(+extent.numaNode, 1u);
   EXPECT_EQ(source.StatusOf<PMemExtentRecord>(NodeId::memory_pmem_volumes_extents, {kUuid, 1}),
             NEVRA_NOT_FOUND);
   const NodeId numa = NodeId::memory_pmem_volumes_regionStore_regions_numaAllocInfo;
   EXPECT_THAT(source.List(numa, {kUuid, "region0"}), ElementsAre(1));
   EXPECT_THAT(source.List(numa, {"namespace1.0", "region1"}), IsEmpty());
   const auto node = source.Read<PMemRegionNumaRecord>(numa, {kUuid, "region0", 1});
   EXPECT_EQ(+node.numaNode, 1u);
   EXPECT_EQ(+node.num2MAllocated, 2048u);
   EXPECT_EQ(source.StatusOf<PMemRegionNumaRecord>(numa, {kUuid, "region0", 0}), NEVRA_NOT_FOUND);
}

TEST(LinuxPersistentMemory, HostileVolumesAreBounded)
{
   RecordedTree tree;
   const std::string nd = "sys/bus/nd/devices/";
   tree.File(nd + "namespace0.0/size", "99999999999999999999999\n");
   tree.File(nd + "namespace0.0/uuid", "\x1b[2Jx678-9abc-def0-1234-56789abcdef0\n");
   tree.File(nd + "namespace1/size", "4096\n");
   tree.File(nd + "namespace" + std::string(60, '1') + "/size", "4096\n");
   LiveSource source(tree.Root());
   EXPECT_THAT(source.ListTexts(NodeId::memory_pmem_volumes),
               ElementsAre("?[2Jx678-9abc-def0-1234-56789abcdef0", "namespace1"));
   EXPECT_EQ(+source
                 .Read<PMemRegionRecord>(NodeId::memory_pmem_volumes_regionStore_regions_info,
                                         {"namespace1", "region1"})
                 .size,
             0u);
}

// A copied namespace keeps its UUID.
TEST(LinuxPersistentMemory, EachVolumeHasANameOfItsOwn)
{
   RecordedTree tree;
   const std::string nd = "sys/bus/nd/devices/";
   const std::string longName = "namespace" + std::string(27, '1');
   for (const std::string &device : {std::string("namespace0.0"), std::string("namespace0.1"), longName}) {
      tree.File(nd + device + "/size", "4096\n");
   }
   tree.File(nd + "namespace0.0/uuid", std::string(kUuid) + "\n");
   tree.File(nd + "namespace0.1/uuid", std::string(kUuid) + "\n");
   {
      LiveSource source(tree.Root());
      EXPECT_THAT(source.ListTexts(NodeId::memory_pmem_volumes),
                  ElementsAre(kUuid, "namespace0.1", longName));
   }
   tree.File(nd + "namespace0.0/uuid", longName + "\n");
   LiveSource source(tree.Root());
   EXPECT_THAT(source.ListTexts(NodeId::memory_pmem_volumes), ElementsAre("namespace0.0", kUuid, longName));
}

TEST(LinuxPersistentMemory, NothingIsKnownOfVolumesAndRegionsThatAreNotThere)
{
   RecordedTree tree;
   MakePersistentMemory(tree);
   LiveSource source(tree.Root());
   const NodeId regions = NodeId::memory_pmem_volumes_regionStore_regions;
   const NodeId numa = NodeId::memory_pmem_volumes_regionStore_regions_numaAllocInfo;
   const NodeId region = NodeId::memory_pmem_volumes_regionStore_regions_info;
   std::vector<int64_t> none;
   EXPECT_EQ(
      source.StatusOf<PMemRegionStoreRecord>(NodeId::memory_pmem_volumes_regionStore_info, {"namespace0.1"}),
      NEVRA_NOT_FOUND);
   EXPECT_EQ(source.StatusOf<PMemCleanRecord>(NodeId::memory_pmem_volumes_regionStore_isClean, {"none"}),
             NEVRA_NOT_FOUND);
   EXPECT_EQ(source.ListStatus(NodeId::memory_pmem_volumes_extents, {"none"}, &none), NEVRA_NOT_FOUND);
   EXPECT_EQ(source.StatusOf<PMemExtentRecord>(NodeId::memory_pmem_volumes_extents, {"none", 0}),
             NEVRA_NOT_FOUND);
   EXPECT_EQ(source.ListStatus(regions, {"none"}, &none), NEVRA_NOT_FOUND);
   EXPECT_EQ(source.StatusOf<PMemRegionRecord>(region, {"none", "region0"}), NEVRA_NOT_FOUND);
   EXPECT_EQ(source.ListStatus(numa, {"none", "region0"}, &none), NEVRA_NOT_FOUND);
   EXPECT_EQ(source.ListStatus(numa, {kUuid, "region1"}, &none), NEVRA_NOT_FOUND);
   EXPECT_EQ(source.StatusOf<PMemRegionNumaRecord>(numa, {"none", "region0", 1}), NEVRA_NOT_FOUND);
   EXPECT_EQ(source.StatusOf<PMemRegionNumaRecord>(numa, {"namespace1.0", "region1", 0}), NEVRA_NOT_FOUND)
      << "its node is unknown";
}

TEST(LinuxPersistentMemory, ModesThatMakeABlockDevice)
{
   RecordedTree tree;
   const std::string nd = "sys/bus/nd/devices/";
   const char *const modes[] = {"raw", "sector", "safe", "memory", "fsdax", "devdax", "dax", "unknown"};
   for (size_t i = 0; i < std::size(modes); i++) {
      const std::string number = std::to_string(i);
      tree.File(nd + "region" + number + "/size", std::to_string(kGB) + "\n");
      tree.File(nd + "region" + number + "/available_size", std::to_string(kGB) + "\n");
      tree.File(nd + "namespace" + number + ".0/size", std::to_string(kGB) + "\n");
      tree.File(nd + "namespace" + number + ".0/mode", std::string(modes[i]) + "\n");
   }
   LiveSource source(tree.Root());
   for (size_t i = 0; i < std::size(modes); i++) {
      const std::string number = std::to_string(i);
      const auto region = source.Read<PMemRegionRecord>(NodeId::memory_pmem_volumes_regionStore_regions_info,
                                                        {"namespace" + number + ".0", "region" + number});
      EXPECT_EQ(+region.flags, i < 5 ? 0x11u : 0x1u) << modes[i];
      EXPECT_EQ(+region.openCount, 0u) << modes[i];
   }
}

TEST(LinuxPersistentMemory, NumaNodesBeyondTheMaskAreNodesStill)
{
   RecordedTree tree;
   const std::string nd = "sys/bus/nd/devices/";
   const NodeId numa = NodeId::memory_pmem_volumes_regionStore_regions_numaAllocInfo;
   const NodeId info = NodeId::memory_pmem_volumes_regionStore_regions_info;
   const char *const nodes[] = {"63", "64", "1024", "x"};
   for (size_t i = 0; i < std::size(nodes); i++) {
      const std::string number = std::to_string(i);
      tree.File(nd + "region" + number + "/numa_node", std::string(nodes[i]) + "\n");
      tree.File(nd + "namespace" + number + ".0/size", std::to_string(kGB) + "\n");
   }
   LiveSource source(tree.Root());
   const auto mask = [&](const char *volume, const char *region) {
      return source.Read<PMemRegionRecord>(info, {volume, region}).numaAffinityMask;
   };
   EXPECT_EQ(mask("namespace0.0", "region0"), uint64_t{1} << 63);
   EXPECT_EQ(mask("namespace1.0", "region1"), 0u);
   EXPECT_EQ(mask("namespace2.0", "region2"), 0u);
   EXPECT_THAT(source.List(numa, {"namespace0.0", "region0"}), ElementsAre(63));
   EXPECT_THAT(source.List(numa, {"namespace1.0", "region1"}), ElementsAre(64));
   EXPECT_THAT(source.List(numa, {"namespace2.0", "region2"}), IsEmpty()) << "no kernel has so many";
   EXPECT_THAT(source.List(numa, {"namespace3.0", "region3"}), IsEmpty());
}

TEST(LinuxPersistentMemory, OnlyNumberedDevicesAreVolumesAndDimms)
{
   RecordedTree tree;
   const std::string nd = "sys/bus/nd/devices/";
   for (const char *name : {"namespace", "namespace_seed", "namespace:0", "namespace5.0"}) {
      tree.File(nd + name + "/size", "4194304\n");
   }
   for (const char *name : {"nmem", "nmemory", "nmem7", "nmem2147483647", "nmem2147483648"}) {
      tree.Folder(nd + name);
   }
   LiveSource source(tree.Root());
   EXPECT_THAT(source.ListTexts(NodeId::memory_pmem_volumes), ElementsAre("namespace5.0"));
   EXPECT_THAT(source.List(NodeId::hardware_nvd_dimm), ElementsAre(7, 2147483647));
}

TEST(LinuxPersistentMemory, NoneWithoutTheBus)
{
   RecordedTree tree;
   LiveSource source(tree.Root());
   std::vector<int64_t> none;
   EXPECT_EQ(source.ListStatus(NodeId::memory_pmem_volumes, {}, &none), NEVRA_NOT_FOUND);
   EXPECT_THAT(source.List(NodeId::hardware_nvd_dimm), IsEmpty());
}

TEST(LinuxHardware, DimmsByNumber)
{
   RecordedTree tree;
   MakePersistentMemory(tree);
   LiveSource source(tree.Root());
   EXPECT_THAT(source.List(NodeId::hardware_nvd_dimm), ElementsAre(0, 12));
}

TEST(LinuxHardware, EachDimmOnceWhateverIsNamedLikeOne)
{
   RecordedTree tree;
   for (const char *name : {"nmem2", "nmem10", "nmem02", "nmem1\n", "nmem", "nmem99999999999"}) {
      tree.Folder(std::string("sys/bus/nd/devices/") + name);
   }
   LiveSource source(tree.Root());
   EXPECT_THAT(source.List(NodeId::hardware_nvd_dimm), ElementsAre(2, 10));
}

TEST(LinuxHardware, ProcessorModels)
{
   RecordedTree tree;
   tree.File("proc/cpuinfo",
             "processor\t: 0\nvendor_id\t: GenuineIntel\nmodel\t\t: 85\nmodel name\t: A 12\n\n"
             "processor\t: 1\nmodel\t\t: 999\n\nprocessor\t: 2\nmodel name\t: none\n\n"
             "processor\t: many\nmodel\t\t: 4\n\nprocessor\t: 5\nmodel\t\t: 6\n");
   LiveSource source(tree.Root());
   const auto model = [&source](int64_t cpu) {
      return source.Read<CpuInfoRecord>(NodeId::hardware_cpu_cpuList, {cpu}).model;
   };
   EXPECT_EQ(model(0), 85);
   EXPECT_EQ(model(1), 255);
   EXPECT_EQ(model(2), 0) << "not the next one's";
   EXPECT_EQ(model(5), 6);
   EXPECT_EQ(source.StatusOf<CpuInfoRecord>(NodeId::hardware_cpu_cpuList, {3}), NEVRA_NOT_FOUND);
   EXPECT_EQ(source.StatusOf<CpuInfoRecord>(NodeId::hardware_cpu_cpuList, {-1}), NEVRA_NOT_FOUND);
}

std::string Config()
{
   std::string bytes(4096, '\0');
   bytes.replace(0, 4, "\x86\x80\x42\x20");
   bytes.replace(0xa0, 4, "\x01\x02\x03\x04");
   return bytes;
}

TEST(LinuxHardware, PciFunctionsByTheirAddress)
{
   RecordedTree tree;
   const std::string pci = "sys/bus/pci/devices/";
   tree.File(pci + "0000:3f:0a.2/config", Config());
   tree.Folder(pci + "0000:3f:0a.6");
   tree.Folder(pci + "0000:00:1f.0");
   tree.Folder(pci + "10000:01:00.0");
   tree.Folder(pci + "not-a-device");
   tree.Folder(pci + "80000000:00:01.0");
   LiveSource source(tree.Root());
   EXPECT_THAT(source.List(NodeId::hardware_pci_seg), ElementsAre(0, 0x10000));
   EXPECT_THAT(source.List(NodeId::hardware_pci_seg_bus, {0}), ElementsAre(0, 0x3f));
   EXPECT_THAT(source.List(NodeId::hardware_pci_seg_bus_slot, {0, 0x3f}), ElementsAre(10));
   EXPECT_THAT(source.List(NodeId::hardware_pci_seg_bus_slot_func, {0, 0x3f, 10}), ElementsAre(2, 6));
   std::vector<int64_t> none;
   EXPECT_EQ(source.ListStatus(NodeId::hardware_pci_seg_bus, {7}, &none), NEVRA_NOT_FOUND);
   const NodeId header = NodeId::hardware_pci_seg_bus_slot_func_pciConfigHeader;
   EXPECT_EQ(source.StatusOf<PciConfigHeaderRecord>(header, {0, 0x3f, 10, int64_t{1} << 32}),
             NEVRA_NOT_FOUND);
   const auto record = source.Read<PciConfigHeaderRecord>(header, {0, 0x3f, 10, 2});
   EXPECT_EQ(+record.vendorID, 0x8086);
   EXPECT_EQ(+record.deviceID, 0x2042);
   EXPECT_EQ(source.StatusOf<PciConfigHeaderRecord>(header, {0, 0x3f, 10, 6}), NEVRA_NOT_FOUND);
   EXPECT_EQ(source.StatusOf<PciConfigHeaderRecord>(header, {0, -1, 10, 6}), NEVRA_NOT_FOUND);
}

TEST(LinuxHardware, PciRegistersAreReadAndWritten)
{
   RecordedTree tree;
   const std::string config = "sys/bus/pci/devices/0000:3f:0a.2/config";
   tree.File(config, Config());
   LiveSource source(tree.Root());
   const NodeId node = NodeId::hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr;
   const auto value = [&](int size, int address) {
      return source.Read<PciConfigRegRecord>(node, {0, 0x3f, 10, 2, size, address}).value;
   };
   const auto set = [&](int size, int address, int64_t number) {
      const auto keys = LiveSource::MakeList({0, 0x3f, 10, 2, size, address});
      const auto values = LiveSource::MakeList({number}, NEVRA_LIST_VALUES);
      return (*source).Set(nevra::Definition(node), *keys, *values);
   };
   EXPECT_EQ(value(4, 0xa0), 0x04030201u);
   EXPECT_EQ(value(2, 0xa0), 0x0201u);
   EXPECT_EQ(value(1, 0xa3), 0x04u);
   EXPECT_EQ(set(4, 0xf4, 0x102), NEVRA_OK);
   EXPECT_EQ(value(4, 0xf4), 0x102u);
   EXPECT_EQ(set(1, 0xf5, 0xff), NEVRA_OK);
   EXPECT_EQ(value(4, 0xf4), 0xff02u);
   EXPECT_EQ(set(1, 0xf5, 0x100), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(set(4, 4093, 0), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(set(3, 0, 0), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(set(4, -4, 0), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(set(4, 0, -1), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(std::filesystem::file_size(tree.Root() + "/" + config), 4096u);
   EXPECT_EQ(source.StatusOf<PciConfigRegRecord>(node, {0, 0x3f, 10, 2, 8, 0}), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(source.StatusOf<PciConfigRegRecord>(node, {0, 0x3f, 10, 3, 4, 0}), NEVRA_NOT_FOUND);
   const auto gone = LiveSource::MakeList({0, 0x3f, 10, 3, 4, 0});
   const auto values = LiveSource::MakeList({1}, NEVRA_LIST_VALUES);
   EXPECT_EQ((*source).Set(nevra::Definition(node), *gone, *values), NEVRA_NOT_FOUND);
}

TEST(LinuxHardware, RegistersBeyondTheFileAreNotFoundAndNotWritten)
{
   RecordedTree tree;
   const std::string config = "sys/bus/pci/devices/0000:3f:0a.2/config";
   tree.File(config, Config().substr(0, 64)); // as the kernel shows it without privileges
   LiveSource source(tree.Root());
   const NodeId node = NodeId::hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr;
   EXPECT_EQ(source.Read<PciConfigRegRecord>(node, {0, 0x3f, 10, 2, 4, 0}).value, 0x20428086u);
   EXPECT_EQ(source.StatusOf<PciConfigRegRecord>(node, {0, 0x3f, 10, 2, 4, 64}), NEVRA_NOT_FOUND);
   EXPECT_EQ(source.StatusOf<PciConfigRegRecord>(node, {0, 0x3f, 10, 2, 4, 62}), NEVRA_NOT_FOUND);
   tree.File(config, "\x86");
   EXPECT_EQ(source.StatusOf<PciConfigHeaderRecord>(NodeId::hardware_pci_seg_bus_slot_func_pciConfigHeader,
                                                    {0, 0x3f, 10, 2}),
             NEVRA_NOT_FOUND);
}

// While it lives, no file of this process may grow.
class NoRoomInFiles {
 public:
   NoRoomInFiles() : handler(std::signal(SIGXFSZ, SIG_IGN))
   {
      EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
      const rlimit none = {0, before.rlim_max};
      EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
   }
   ~NoRoomInFiles()
   {
      setrlimit(RLIMIT_FSIZE, &before);
      std::signal(SIGXFSZ, handler);
   }
   NoRoomInFiles(const NoRoomInFiles &) = delete;
   NoRoomInFiles &operator=(const NoRoomInFiles &) = delete;

 private:
   rlimit before = {};
   void (*handler)(int);
};

TEST(LinuxHardware, WritesThatTheDeviceDoesNotTakeAreErrors)
{
   RecordedTree tree;
   const std::string devices = "sys/bus/pci/devices/";
   tree.File(devices + "0000:00:01.0/config", "");
   tree.Folder(devices + "0000:00:02.0/config");
   LiveSource source(tree.Root());
   const NodeId node = NodeId::hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr;
   const auto set = [&](int slot, const std::vector<LiveSource::Key> &numbers) {
      const auto keys = LiveSource::MakeList({0, 0, slot, 0, 4, 0});
      const auto values = LiveSource::MakeList(numbers, NEVRA_LIST_VALUES);
      return (*source).Set(nevra::Definition(node), *keys, *values);
   };
   {
      const NoRoomInFiles noRoom;
      EXPECT_EQ(set(1, {1}), NEVRA_WRITE_ERROR);
   }
   EXPECT_EQ(set(2, {1}), NEVRA_NOT_FOUND) << "a folder";
   EXPECT_EQ(set(1, {}), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(set(1, {1, 2}), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(set(1, {"1"}), NEVRA_BAD_PARAMETER);
}

TEST(LinuxHardware, OnlyRegistersAreWritten)
{
   RecordedTree tree;
   LiveSource source(tree.Root());
   const auto keys = LiveSource::MakeList({0});
   const auto values = LiveSource::MakeList({1}, NEVRA_LIST_VALUES);
   EXPECT_EQ((*source).Set(nevra::Definition(NodeId::sched_groups_groupFlags), *keys, *values),
             NEVRA_NOT_SUPPORTED);
}

TEST(LinuxPersistentMemory, VolumesAreReadOnceForAllTheirNodes)
{
   RecordedTree tree;
   tree.File("sys/bus/nd/devices/namespace0.0/size", "4194304\n");
   LiveSource source(tree.Root());
   EXPECT_THAT(source.ListTexts(NodeId::memory_pmem_volumes), testing::ElementsAre("namespace0.0"));
   tree.File("sys/bus/nd/devices/namespace0.0/size", "0\n");
   EXPECT_EQ(
      source.Read<PMemRegionStoreRecord>(NodeId::memory_pmem_volumes_regionStore_info, {"namespace0.0"})
         .total2MBlocks,
      2u);
}

} // namespace
