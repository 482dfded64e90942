// Memory nodes, buddies, large-page pools, heaps and page sharing over recorded trees.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "nevra/linux/kernel_text.h"
#include "tests/nevra/linux/live_source.h"
#include "tests/nevra/linux/recorded_tree.h"

namespace {

using nevra::NodeId;
using testing::ElementsAre;

// Node 0 with all zones, node 1 without memory, node 2 with normal memory only.
void MakeNodes(RecordedTree &tree)
{
   const auto zone = [](int node, const char *name, int managed) {
      return "Node " + std::to_string(node) + ", zone " + name +
             "\n  pages free     10\n        min      1\n        low      2\n        high     3\n"
             "        present  " +
             std::to_string(managed) + "\n        managed  " + std::to_string(managed) + "\n";
   };
   tree.File("proc/zoneinfo", zone(0, "     DMA", 3840) + zone(0, "   DMA32", 10000) +
                                 zone(0, "  Normal", 50000) + zone(0, " Movable", 0) +
                                 zone(1, "  Normal", 0) + zone(2, "  Normal", 70000));
   tree.File("proc/buddyinfo",
             "Node 0, zone      DMA      0      1      0      0\n"
             "Node 0, zone    DMA32      5      2      1      0\n"
             "Node 0, zone   Normal    100     10      0      1      0      0      0      0 "
             "     0      0      3\n"
             "Node 2, zone   Normal      7      0\n");
}

TEST(LinuxMemoryNodes, AreTheNumaNodesThatHaveMemory)
{
   RecordedTree tree;
   MakeNodes(tree);
   LiveSource source(tree.Root());
   EXPECT_EQ(+source.Read<MemInfoRecord>(NodeId::memory_memInfo).numMemNodes, 2u);
   EXPECT_EQ(+source.Read<MemNodeInfo>(NodeId::memory_memNodes, {0}).numaNode, 0);
   EXPECT_EQ(+source.Read<MemNodeInfo>(NodeId::memory_memNodes, {1}).numaNode, 2);
   EXPECT_EQ(source.StatusOf<MemNodeInfo>(NodeId::memory_memNodes, {2}), NEVRA_NOT_FOUND);
   EXPECT_EQ(source.StatusOf<MemNodeInfo>(NodeId::memory_memNodes, {-1}), NEVRA_NOT_FOUND);
}

TEST(LinuxBuddies, FreeBuffersByOrderAndUsedMemoryInPages)
{
   if (nevra::PageKB() != 4) {
      GTEST_SKIP() << "pages of this host are not 4 KB";
   }
   RecordedTree tree;
   MakeNodes(tree);
   LiveSource source(tree.Root());
   EXPECT_THAT(source.ListTexts(NodeId::system_buddy),
               ElementsAre("memmap-00-lo", "memmap-00-hi", "memmap-01-hi"));
   const auto low = source.Read<BuddyComprehensiveInfo>(NodeId::system_buddy_comprehensive, {"memmap-00-lo"});
   EXPECT_EQ(+low.orders[0].numFree, 5u);
   EXPECT_EQ(+low.orders[1].numFree, 3u);
   EXPECT_EQ(+low.orders[2].numFree, 1u);
   EXPECT_EQ(+low.orders[3].numFree, 0u);
   EXPECT_EQ(+low.orders[0].numUsed, 13840u - (5 + 6 + 4));
   EXPECT_EQ(+low.orders[1].numUsed, 0u);
   const auto high =
      source.Read<BuddyComprehensiveInfo>(NodeId::system_buddy_comprehensive, {"memmap-00-hi"});
   EXPECT_EQ(+high.orders[10].numFree, 3u);
   EXPECT_EQ(+high.orders[0].numUsed, 50000u - (100 + 20 + 8 + 3072));
   const auto second =
      source.Read<BuddyComprehensiveInfo>(NodeId::system_buddy_comprehensive, {"memmap-01-hi"});
   EXPECT_EQ(+second.orders[0].numFree, 7u);
   EXPECT_EQ(source.StatusOf<BuddyComprehensiveInfo>(NodeId::system_buddy_comprehensive, {"memmap-01-lo"}),
             NEVRA_NOT_FOUND);
}

TEST(LinuxBuddies, GarbageAndMissingFiles)
{
   RecordedTree tree;
   {
      LiveSource source(tree.Root());
      std::vector<int64_t> none;
      EXPECT_EQ(source.ListStatus(NodeId::system_buddy, {}, &none), NEVRA_NOT_FOUND);
      EXPECT_EQ(source.StatusOf<MemInfoRecord>(NodeId::memory_memInfo), NEVRA_NOT_FOUND);
   }
   tree.File("proc/zoneinfo",
             "Node 0, zone Normal\nmanaged 5\nNode x, zone Normal\nmanaged\nNode 70000, zone A\n"
             "managed 4\n");
   tree.File("proc/buddyinfo",
             "Node 0, zone Normal 99999999999999999999999 99999999999999999999 x\nNode\n\n");
   LiveSource source(tree.Root());
   const auto buddy =
      source.Read<BuddyComprehensiveInfo>(NodeId::system_buddy_comprehensive, {"memmap-00-hi"});
   EXPECT_EQ(+buddy.orders[0].numUsed, 0u);
   EXPECT_EQ(+source.Read<MemInfoRecord>(NodeId::memory_memInfo).numMemNodes, 1u);
   EXPECT_EQ(source.StatusOf<BuddyComprehensiveInfo>(NodeId::system_buddy_comprehensive, {"memmap-01-hi"}),
             NEVRA_NOT_FOUND);
   tree.Remove("proc/buddyinfo");
   EXPECT_EQ(source.StatusOf<BuddyComprehensiveInfo>(NodeId::system_buddy_comprehensive, {"memmap-00-hi"}),
             NEVRA_NOT_FOUND);
}

TEST(LinuxBuddies, OrdersThatTheRecordHasNoRoomForAreLeftOut)
{
   if (nevra::PageKB() != 4) {
      GTEST_SKIP() << "pages of this host are not 4 KB";
   }
   RecordedTree tree;
   tree.File("proc/zoneinfo", "lines before\nthe first zone 5\nNode 0, zone Normal\n  managed 1000\n");
   std::string line = "Node 0, zone Normal";
   for (int order = 0; order < 64; order++) {
      line += " 1";
   }
   tree.File("proc/buddyinfo", line + "\n");
   LiveSource source(tree.Root());
   const auto buddy =
      source.Read<BuddyComprehensiveInfo>(NodeId::system_buddy_comprehensive, {"memmap-00-hi"});
   for (const BuddyOrder &order : buddy.orders) {
      EXPECT_EQ(+order.numFree, 1u);
   }
}

TEST(LinuxLargePages, PoolsOfEveryNode)
{
   RecordedTree tree;
   MakeNodes(tree);
   const std::string node0 = "sys/devices/system/node/node0/";
   tree.File(node0 + "hugepages/hugepages-2048kB/nr_hugepages", "10\n");
   tree.File(node0 + "hugepages/hugepages-2048kB/free_hugepages", "4\n");
   tree.File("sys/kernel/mm/hugepages/hugepages-2048kB/resv_hugepages", "3\n");
   tree.File(node0 + "hugepages/hugepages-1048576kB/nr_hugepages", "2\n");
   tree.File(node0 + "hugepages/hugepages-1048576kB/free_hugepages", "1\n");
   tree.File(node0 + "meminfo", "Node 0 MemTotal:  100 kB\nNode 0 AnonHugePages:    6144 kB\n"
                                "Node 0 ShmemHugePages:  2048 kB\nNode 0 FileHugePages:     0 kB\n");
   for (const char *odd : {"hugepages-", "hugepages-64", "hugepages-xkB", "64kB", "demote"}) {
      tree.Folder(node0 + "hugepages/" + odd);
   }
   tree.File("sys/devices/system/node/node2/hugepages/hugepages-2048kB/nr_hugepages", "3\n");
   tree.File("sys/kernel/mm/transparent_hugepage/enabled", "always [madvise] never\n");
   tree.File("proc/vmstat",
             "compact_stall 9\ncompact_fail 4\ncompact_success 5\nthp_fault_alloc 10\n"
             "thp_collapse_alloc 20\nthp_file_alloc 30\nthp_split_page 7\nthp_split_page_failed 1\n");
   LiveSource source(tree.Root());
   const auto shared = [&source](int64_t node) {
      return source.Read<LPagePoolRecord>(NodeId::memory_lpage_nodeList_psharePool, {node});
   };
   const auto pool = [&source](int64_t node, const char *name) {
      return source.Read<LPagePoolRecord>(NodeId::memory_lpage_nodeList_vmPools, {node, name});
   };
   EXPECT_EQ(+shared(0).nrLPages, 10u);
   EXPECT_EQ(+shared(0).nrFreeSPages, 4u * 512) << "reserved ones, too: they have no node yet";
   EXPECT_EQ(+shared(1).nrLPages, 3u);
   EXPECT_EQ(source.StatusOf<LPagePoolRecord>(NodeId::memory_lpage_nodeList_psharePool, {2}),
             NEVRA_NOT_FOUND);
   EXPECT_THAT(source.ListTexts(NodeId::memory_lpage_nodeList_vmPools, {0}), ElementsAre("1048576kB", "thp"));
   EXPECT_THAT(source.ListTexts(NodeId::memory_lpage_nodeList_vmPools, {1}), ElementsAre("thp"));
   EXPECT_EQ(+pool(0, "1048576kB").nrLPages, 1024u);
   EXPECT_EQ(+pool(0, "1048576kB").nrFreeSPages, 262144u);
   EXPECT_EQ(+pool(0, "thp").nrLPages, 4u);
   EXPECT_EQ(+pool(0, "thp").nrSPageAllocs, 60u * 512);
   EXPECT_EQ(+pool(0, "thp").nrReapAttempts, 8u);
   EXPECT_EQ(+pool(0, "thp").nrSPagesReaped, 7u * 512);
   EXPECT_EQ(+pool(0, "thp").nrDefragAttempts, 9u);
   EXPECT_EQ(+pool(0, "thp").nrDefragCancelled, 4u);
   EXPECT_EQ(+pool(0, "thp").nrLPagesDefragged, 5u);
   EXPECT_EQ(+pool(1, "thp").nrDefragAttempts, 0u) << "the host's counters count once";
   EXPECT_EQ(source.StatusOf<LPagePoolRecord>(NodeId::memory_lpage_nodeList_vmPools, {0, "../../../../proc"}),
             NEVRA_NOT_FOUND);
   for (const int64_t node : {-1, 2}) {
      std::vector<int64_t> none;
      EXPECT_EQ(source.ListStatus(NodeId::memory_lpage_nodeList_vmPools, {node}, &none), NEVRA_NOT_FOUND);
      EXPECT_EQ(source.StatusOf<LPagePoolRecord>(NodeId::memory_lpage_nodeList_vmPools, {node, "thp"}),
                NEVRA_NOT_FOUND);
   }
}

TEST(LinuxHeaps, AreTheSlabCaches)
{
   RecordedTree tree;
   {
      LiveSource source(tree.Root());
      std::vector<int64_t> none;
      EXPECT_EQ(source.ListStatus(NodeId::system_heaps, {}, &none), NEVRA_NOT_FOUND);
   }
   tree.File("proc/slabinfo",
             "slabinfo - version: 2.1\n"
             "# name            <active_objs> <num_objs> <objsize> <objperslab> <pagesperslab> : tunables\n"
             "dentry             90    100    192   21    1 : tunables    0    0    0 : slabdata      5      "
             "5      0\n"
             "broken 1 2\n"
             "nothing 1 2 3 4 5 : tunables 0 0 0 : slabdata\n"
             "words a b c d e : tunables 0 0 0 : slabdata 1 1 0\n\n"
             "huge  99999999999 99999999999 4096 8 8 : tunables 0 0 0 : slabdata 99999999999 99999999999 0\n"
             "zero  0 0 0 0 0 : tunables 0 0 0 : slabdata 0 0 0\n");
   LiveSource source(tree.Root());
   EXPECT_THAT(source.ListTexts(NodeId::system_heaps), ElementsAre("dentry", "huge", "zero"));
   const auto heap = source.Read<HeapStatsRecord>(NodeId::system_heaps_stats, {"dentry"});
   const uint64_t size = 5 * nevra::PageKB() * 1024;
   EXPECT_STREQ(heap.name, "dentry");
   EXPECT_EQ(+heap.size, size);
   EXPECT_EQ(+heap.avail, 1920u);
   EXPECT_EQ(+heap.overhead, size - 19200);
   EXPECT_EQ(+heap.numRanges, 5);
   EXPECT_EQ(+heap.avgAllocSize, 192u);
   EXPECT_EQ(+heap.dynGrow, 1);
   EXPECT_EQ(+heap.pctFreeOfCur, 1920 / (size / 100));
   EXPECT_EQ(+source.Read<HeapStatsRecord>(NodeId::system_heaps_stats, {"huge"}).size, UINT32_MAX);
   EXPECT_EQ(+source.Read<HeapStatsRecord>(NodeId::system_heaps_stats, {"zero"}).pctFreeOfCur, 0u);
   EXPECT_EQ(source.StatusOf<HeapStatsRecord>(NodeId::system_heaps_stats, {"broken"}), NEVRA_NOT_FOUND);
}

TEST(LinuxHeaps, CachesOfOneNameAreOneHeap)
{
   RecordedTree tree;
   tree.File("proc/slabinfo", "a 6 10 100 8 1 : tunables 0 0 0 : slabdata 2 2 0\n"
                              "b 1 1 8 8 1 : tunables 0 0 0 : slabdata 1 1 0\n"
                              "a 25 30 200 8 2 : tunables 0 0 0 : slabdata 3 3 0\n");
   LiveSource source(tree.Root());
   EXPECT_THAT(source.ListTexts(NodeId::system_heaps), ElementsAre("a", "b"));
   const auto heap = source.Read<HeapStatsRecord>(NodeId::system_heaps_stats, {"a"});
   EXPECT_EQ(+heap.size, (2 + 3 * 2) * nevra::PageKB() * 1024);
   EXPECT_EQ(+heap.avail, 4u * 100 + 5 * 200);
   EXPECT_EQ(+heap.numRanges, 5);
   EXPECT_EQ(+heap.avgAllocSize, (10u * 100 + 30 * 200) / 40);
}

TEST(LinuxHeaps, HaveNamesThatMayBeShown)
{
   using namespace std::string_literals;
   RecordedTree tree;
   tree.File("proc/slabinfo", "a\x1b[2J\0b 6 10 100 8 1 : tunables 0 0 0 : slabdata 2 2 0\n"s);
   LiveSource source(tree.Root());
   EXPECT_THAT(source.ListTexts(NodeId::system_heaps), ElementsAre("a?[2J?b"));
   EXPECT_STREQ(source.Read<HeapStatsRecord>(NodeId::system_heaps_stats, {"a?[2J?b"}).name, "a?[2J?b");
}

TEST(LinuxPageSharing, IsSamePageMerging)
{
   RecordedTree tree;
   {
      LiveSource source(tree.Root());
      EXPECT_EQ(source.StatusOf<PShareStats>(NodeId::memory_pshare_stats), NEVRA_NOT_FOUND);
   }
   const std::string ksm = "sys/kernel/mm/ksm/";
   tree.File(ksm + "run", "1\n");
   tree.File(ksm + "pages_shared", "100\n");
   tree.File(ksm + "pages_sharing", "900\n");
   tree.File(ksm + "pages_unshared", "55\n");
   tree.File(ksm + "ksm_zero_pages", "7\n");
   LiveSource source(tree.Root());
   const auto stats = source.Read<PShareStats>(NodeId::memory_pshare_stats);
   const uint64_t small = nevra::PageKB() / 4;
   EXPECT_EQ(+stats.cow, 1000 * small);
   EXPECT_EQ(+stats.used, 100 * small);
   EXPECT_EQ(+stats.reclaimed, 907 * small);
   EXPECT_EQ(+stats.zero, 7 * small);
   EXPECT_EQ(+stats.hintActive, 55 * small);
   EXPECT_EQ(stats.cow1 + stats.totAdd + stats.totRemove + stats.peakRefCount, 0u);
}

} // namespace
