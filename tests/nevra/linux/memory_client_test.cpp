// User worlds and VMs as memory clients, over recorded trees.
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "nevra/linux/huge_page_sharers.h"
#include "nevra/linux/kernel_text.h"
#include "nevra/linux/process_memory.h"
#include "tests/nevra/linux/live_source.h"
#include "tests/nevra/linux/recorded_tree.h"

namespace {

using nevra::NodeId;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int64_t kVmm = 0x20000000;
constexpr int64_t kEmulator = 0x60000000;

constexpr char kRollup[] =
   "55d0c0000000-7ffc00000000 ---p 00000000 00:00 0                          [rollup]\n"
   "Rss:                4000 kB\n"
   "Pss:                1500 kB\n"
   "Pss_Dirty:           900 kB\n"
   "Shared_Clean:       2000 kB\n"
   "Private_Clean:       700 kB\n"
   "Private_Dirty:       600 kB\n"
   "Referenced:         3500 kB\n"
   "Anonymous:           600 kB\n"
   "KSM:                  20 kB\n"
   "AnonHugePages:         0 kB\n"
   "Shared_Hugetlb:        0 kB\n"
   "Private_Hugetlb:    2048 kB\n"
   "Swap:                 16 kB\n"
   "SwapPss:              16 kB\n"
   "Locked:               50 kB\n";

UwStatsRecord UserWorld(LiveSource &source, int64_t leader)
{
   return source.Read<UwStatsRecord>(NodeId::sched_memClients_kelmar_uw, {leader});
}

// What the report computes from the record.
uint64_t Consumed(const UwStatsRecord &record)
{
   return record.mapped + record.vpmemUC - (record.vpmemRW + record.sharedSaved);
}

TEST(LinuxUserWorld, EveryFigure)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.MountV2();
   tree.V2("a", "cgroup.procs", "40\n");
   tree.V2("a", "memory.min", "1048576\n");
   tree.V2("a", "memory.max", "8388608\n");
   tree.V2("a", "memory.high", "4194304\n");
   tree.Process(40, {.name = "one", .vmSize = 9000, .vmRss = 4040});
   tree.File("proc/40/smaps_rollup", kRollup);
   LiveSource source(tree.Root());
   const UwStatsRecord record = UserWorld(source, 40);
   EXPECT_EQ(+record.min, 1024);
   EXPECT_EQ(+record.max, 8192);
   EXPECT_EQ(+record.minLimit, -1);
   EXPECT_EQ(+record.shares, 0);
   EXPECT_EQ(+record.memSizeLimit, -1);
   EXPECT_EQ(+record.memSize, 9000u);
   EXPECT_EQ(+record.touched, 3500u);
   EXPECT_EQ(+record.allocTgt, 4096u);
   EXPECT_EQ(+record.mapped, 6048u) << "with the huge pages";
   EXPECT_EQ(Consumed(record), 1500u + 2048) << "shared pages in parts";
   EXPECT_EQ(+record.totalResv, 1024u);
   EXPECT_EQ(+record.pinnedResv, 4u);
   EXPECT_EQ(+record.memBStore, 2020u + 1010);
   EXPECT_EQ(+record.swapBStore, 16u);
   EXPECT_EQ(+record.swappable, 1250u);
   EXPECT_EQ(+record.shm, 1010u);
   EXPECT_EQ(+record.cow, 20u);
   EXPECT_EQ(+record.pageable, 2020u);
   EXPECT_EQ(+record.pageableUnacct, 1010u);
   EXPECT_EQ(+record.swapped, 16u);
   EXPECT_EQ(+record.pinned, 50u) << "what is locked and there";
   EXPECT_EQ(+record.prealloced, 0u);
   EXPECT_EQ(record.swapTgt + record.swapScope + record.useReliableMem, 0u);
}

TEST(LinuxUserWorld, LargePagesThatAreWatchedAreResident)
{
   RecordedTree tree;
   tree.Process(40, {.name = "one", .vmSize = 90000, .vmRss = 82580});
   tree.File("proc/40/smaps_rollup", "1-2 ---p 0 0 0 [rollup]\nRss: 17080 kB\nPss: 17000 kB\n");
   const auto mapped = [&tree](const char *release, const char *balancing) {
      tree.File("proc/sys/kernel/osrelease", release);
      tree.File("proc/sys/kernel/numa_balancing", balancing);
      LiveSource source(tree.Root());
      return +UserWorld(source, 40).mapped;
   };
   EXPECT_EQ(mapped("6.1.0-50-amd64\n", "1\n"), 82580u);
   EXPECT_EQ(mapped("6.1.0-50-amd64\n", "0\n"), 17080u) << "nothing is watched";
   EXPECT_EQ(mapped("6.6.9\n", "1\n"), 17080u) << "the mappings have it all";
   EXPECT_EQ(mapped("5.10.0\n", "1\n"), 17080u);
   tree.Process(40, {.name = "one", .vmSize = 90000, .vmRss = 19000});
   EXPECT_EQ(mapped("6.1.0-50-amd64\n", "1\n"), 17080u) << "less than a large page";
}

TEST(LinuxUserWorld, SharedHugePagesCountForEachOfTwo)
{
   RecordedTree tree;
   tree.Process(40, {.name = "one", .vmSize = 90000, .vmRss = 4000});
   tree.File("proc/40/smaps_rollup",
             "1-2 ---p 0 0 0 [rollup]\nRss: 4000 kB\nPss: 4000 kB\nShared_Hugetlb: 8192 kB\n"
             "Private_Hugetlb: 2048 kB\n");
   LiveSource source(tree.Root());
   EXPECT_EQ(UserWorld(source, 40).mapped, 4000u + 10240);
   EXPECT_EQ(Consumed(UserWorld(source, 40)), 4000u + 2048 + 4096);
}

TEST(LinuxUserWorld, SharedHugePagesCountForEachOfThoseWhoMapThem)
{
   RecordedTree tree;
   tree.Process(40, {.name = "one", .vmSize = 90000, .vmRss = 4000});
   tree.File("proc/40/smaps_rollup",
             "1-2 ---p 0 0 0 [rollup]\nRss: 4000 kB\nPss: 4000 kB\nShared_Hugetlb: 18432 kB\n"
             "Private_Hugetlb: 2048 kB\n");
   // Three map six pages, four map three, and one is nobody else's. Small pages are in Pss.
   tree.File(
      "proc/40/numa_maps",
      "400000 default file=/bin/one mapped=2 mapmax=9 N0=2 kernelpagesize_kB=4\n"
      "7f0000000000 default file=/dev/hugepages/a huge dirty=6 mapmax=3 N0=4 N1=2 kernelpagesize_kB=2048\n"
      "7f1000000000 bind:0 file=/memfd:b\\040(deleted) huge dirty=3 mapmax=4 N0=3 kernelpagesize_kB=2048\n"
      "7f2000000000 default file=/anon_hugepage\\040(deleted) huge anon=1 dirty=1 N0=1 "
      "kernelpagesize_kB=2048");
   LiveSource source(tree.Root());
   EXPECT_EQ(Consumed(UserWorld(source, 40)), 4000u + 2048 + 12288 / 3 + 6144 / 4);
}

TEST(HugePageSharers, AnyTextGivesNoMoreThanIsShared)
{
   for (const char *text :
        {"", "huge", "1 huge mapmax=2", "1 huge mapmax=99999999999999999999 N0=1 kernelpagesize_kB=2048\n",
         "1 huge mapmax=3 N0=18446744073709551615 N1=5 kernelpagesize_kB=18446744073709551615\n",
         "1 huge mapmax=2 mapmax=2 Nx=7 N=8 N0 N0=1 kernelpagesize_kB=1 kernelpagesize_kB=1"}) {
      nevra::HugePageSharers sharers;
      EXPECT_EQ(sharers.Take(text, true), std::strlen(text));
      for (const uint64_t shared : {uint64_t{0}, uint64_t{2048}, ~uint64_t{0}}) {
         EXPECT_LE(sharers.KBOfOthers(shared), shared) << text;
         EXPECT_GE(sharers.KBOfOthers(shared), shared / 2) << text;
      }
   }
}

TEST(LinuxUserWorld, SwappedSharedMemoryIsInTheMappingsOnly)
{
   RecordedTree tree;
   tree.Process(40, {.name = "one", .vmSize = 90000, .vmRss = 4000});
   tree.File("proc/40/smaps_rollup", "1-2 ---p 0 0 0 [rollup]\nRss: 4000 kB\nSwap: 29144 kB\n");
   LiveSource source(tree.Root());
   EXPECT_EQ(UserWorld(source, 40).swapped, 29144u);
   EXPECT_EQ(UserWorld(source, 40).swapBStore, 29144u);
   tree.Remove("proc/40/smaps_rollup");
   LiveSource refused(tree.Root());
   EXPECT_EQ(UserWorld(refused, 40).swapped, 16u);
}

TEST(LinuxUserWorld, MergedMemoryIsKnownWhereTheMappingsDoNotTell)
{
   RecordedTree tree;
   tree.Process(40, {.name = "one", .vmSize = 90000, .vmRss = 4000});
   tree.File("proc/40/smaps_rollup", "1-2 ---p 0 0 0 [rollup]\nRss: 4000 kB\nPss: 4000 kB\n");
   tree.File("proc/40/ksm_merging_pages", "30\n");
   tree.File("sys/kernel/mm/ksm/pages_sharing", "30\n");
   LiveSource source(tree.Root());
   EXPECT_EQ(UserWorld(source, 40).cow, 30 * nevra::PageKB());
}

TEST(LinuxUserWorld, WithoutMappingsTheStatusHasToDo)
{
   RecordedTree tree;
   tree.Process(40, {.name = "one", .vmSize = 9000, .vmRss = 4000});
   tree.Process(41, {.name = "zombie"});
   LiveSource source(tree.Root());
   const UwStatsRecord record = UserWorld(source, 40);
   EXPECT_EQ(+record.mapped, 4000u);
   EXPECT_EQ(Consumed(record), 4000u);
   EXPECT_EQ(+record.touched, 0u);
   EXPECT_EQ(+record.swappable, 1992u);
   EXPECT_EQ(+UserWorld(source, 41).mapped, 0u);
   tree.File("proc/40/smaps_rollup", "");
   EXPECT_EQ(+UserWorld(source, 40).mapped, 4000u) << "an empty file is as good as none";
}

TEST(LinuxUserWorld, OnlyProcessesAndEmulatorsAreUserWorlds)
{
   RecordedTree tree;
   tree.Process(2, {.name = "kthreadd", .parent = 0, .kthread = "1"});
   tree.Process(70, {.name = "qemu-system-arm", .vmSize = 9000, .vmRss = 4000, .threads = 3});
   LiveSource source(tree.Root());
   const auto status = [&source](int64_t leader) {
      return source.StatusOf<UwStatsRecord>(NodeId::sched_memClients_kelmar_uw, {leader});
   };
   EXPECT_EQ(status(2), NEVRA_NOT_FOUND);
   EXPECT_EQ(status(70), NEVRA_NOT_FOUND) << "a VM";
   EXPECT_EQ(status(kVmm + 70), NEVRA_NOT_FOUND);
   EXPECT_EQ(status(kEmulator + 70), NEVRA_OK);
   EXPECT_EQ(status(71), NEVRA_NOT_FOUND);
   EXPECT_EQ(status(-1), NEVRA_NOT_FOUND);
   EXPECT_EQ(status(0), NEVRA_NOT_FOUND);
}

constexpr char kSmaps[] = "400000-401000 r-xp 00000000 08:01 12   /usr/bin/qemu: a-b\n"
                          "Size:                  4 kB\n"
                          "KernelPageSize:        4 kB\n"
                          "Rss:                   4 kB\n"
                          "VmFlags: rd ex\n"
                          "7f0000000000-7f0040000000 rw-p 00000000 00:00 0\n"
                          "Size:            1048576 kB\n"
                          "KernelPageSize:        4 kB\n"
                          "Rss:              600000 kB\n"
                          "Pss:              598000 kB\n"
                          "Referenced:       500000 kB\n"
                          "KSM:                4000 kB\n"
                          "AnonHugePages:    409600 kB\n"
                          "ShmemPmdMapped:     2048 kB\n"
                          "FilePmdMapped:         0 kB\n"
                          "Private_Hugetlb:       0 kB\n"
                          "Swap:               4000 kB\n"
                          "7f0100000000-7f0200000000 rw-p 00000000 00:00 0\n"
                          "Size:            4194304 kB\n"
                          "Rss:                  16 kB\n";

void MakeVm(RecordedTree &tree)
{
   tree.HostMemory();
   tree.MountV2();
   tree.V2("m.scope", "cgroup.procs", "70\n");
   tree.V2("m.scope", "memory.max", "4294967296\n");
   tree.V2("m.scope", "memory.swap.max", "1073741824\n");
   tree.V2("m.scope", "memory.swap.current", "1048576\n");
   tree.V2("m.scope", "memory.zswap.max", "max\n");
   tree.V2("m.scope", "memory.stat",
           "anon 1\nzswap 1048576\nzswapped 3145728\npswpin 10\npswpout 20\nzswpin 30\nzswpout 40\n"
           "pgpromote_success 7\npgdemote_kswapd 1\npgdemote_direct 2\nthp_fault_alloc 5\n"
           "thp_collapse_alloc 6\nnuma_pages_migrated 100\nnuma_pte_updates 300\nnuma_hint_faults 200\n");
   tree.Process(70, {.name = "qemu-system-x86", .vmSize = 9000000, .vmRss = 700000, .threads = 5});
   std::string command;
   for (const char *word : {"qemu-system-x86_64", "-name", "guest=db,debug-threads=on", "-readconfig",
                            "/etc/vm/db.cfg", "-m", "1024,maxmem=2G"}) {
      command += word;
      command += '\0';
   }
   tree.File("proc/70/cmdline", command);
   tree.File("proc/70/smaps", kSmaps);
}

TEST(LinuxVm, OneThatEndsBetweenItsStatusAndItsMappingsIsNotFound)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.MountV2();
   tree.Process(80, {.name = "qemu-system-x86", .vmSize = 90000, .vmRss = 40000, .threads = 3});
   tree.File("proc/80/cmdline", std::string("qemu\0-m\00064\0", 11));
   tree.File("proc/80/smaps", "");
   LiveSource source(tree.Root());
   EXPECT_EQ(+source.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {80}).mapped, 40000u);
   // Now a zombie; its status is not read anew while it is being reported.
   tree.Process(80, {.name = "qemu-system-x86"});
   EXPECT_EQ(source.StatusOf<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {80}), NEVRA_NOT_FOUND);
}

TEST(LinuxVm, EveryFigureOfItsMemory)
{
   RecordedTree tree;
   MakeVm(tree);
   tree.File("sys/kernel/mm/ksm/pages_sharing", "1000\n");
   tree.File("proc/70/ksm_stat", "ksm_merging_pages 500\n");
   LiveSource source(tree.Root());
   const auto record = source.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {70});
   EXPECT_EQ(+record.memSize, 1048576u);
   EXPECT_EQ(+record.memSizeLimit, 2097152u);
   EXPECT_EQ(+record.mapped, 600000u);
   EXPECT_EQ(+record.touched, 500000u);
   EXPECT_EQ(+record.shared, 4000u);
   EXPECT_EQ(+record.sharedSaved, 2000u) << "what is mapped elsewhere, too";
   EXPECT_EQ(+record.allocTgt, 4194304u);
   EXPECT_EQ(+record.zipped, 3072u);
   EXPECT_EQ(+record.zipSaved, 2048u);
   EXPECT_EQ(record.vpmemRO + record.vpmemRW + record.vpmemUC + record.ballooned + record.balloonTgt +
                record.llswapped + record.llswapUsed + record.zero + record.swapTgt,
             0u);
   EXPECT_EQ(source.StatusOf<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {kEmulator + 70}),
             NEVRA_NOT_FOUND);
   EXPECT_EQ(source.StatusOf<GuestStatsRecord>(NodeId::sched_memClients_kelmar_guest, {70}), NEVRA_NOT_FOUND);
}

TEST(LinuxVm, ZippedIsAPartOfWhatIsSwapped)
{
   RecordedTree tree;
   MakeVm(tree);
   tree.V2("m.scope", "memory.stat", "zswap 2097152\nzswapped 8388608\n");
   LiveSource source(tree.Root());
   const auto record = source.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {70});
   EXPECT_EQ(record.zipped, 4000u) << "the rest is the emulator's own";
   EXPECT_EQ(record.zipSaved, 3000u);
   EXPECT_EQ(source.Read<SwapInfoRecord>(NodeId::sched_memClients_swapInfo, {kVmm + 70}).swapped, 4000u);
}

TEST(LinuxVm, WithoutMappingsAllThatIsResidentIsTheGuests)
{
   RecordedTree tree;
   MakeVm(tree);
   tree.Remove("proc/70/smaps");
   LiveSource source(tree.Root());
   const auto record = source.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {70});
   EXPECT_EQ(+record.memSize, 1048576u);
   EXPECT_EQ(+record.mapped, 700000u);
   EXPECT_EQ(+record.touched, 0u);
   EXPECT_EQ(source.StatusOf<VmLPageRecord>(NodeId::memory_lpage_vmLPage, {kVmm + 70}), NEVRA_NOT_FOUND);
}

TEST(LinuxVm, SwapIsThatOfTheProcessAndItsCgroup)
{
   RecordedTree tree;
   MakeVm(tree);
   LiveSource source(tree.Root());
   const auto record = source.Read<SwapInfoRecord>(NodeId::sched_memClients_swapInfo, {kVmm + 70});
   EXPECT_EQ(+record.swapped, 4000u);
   EXPECT_EQ(+record.swapIn, 10 * nevra::PageKB());
   EXPECT_EQ(+record.swapOut, 20 * nevra::PageKB());
   EXPECT_EQ(+record.totalReg, 1048576u);
   EXPECT_EQ(+record.freeReg, 1048576u - 1024);
   EXPECT_EQ(+record.curSwapper, 1u);
   EXPECT_EQ(+record.isSwapping, 0);
   EXPECT_EQ(source.StatusOf<SwapInfoRecord>(NodeId::sched_memClients_swapInfo, {70}), NEVRA_NOT_FOUND);
}

TEST(LinuxVm, CgroupFiguresCountOnlyForAVmAloneInItsCgroup)
{
   RecordedTree tree;
   MakeVm(tree);
   tree.V2("m.scope", "cgroup.procs", "70\n71\n");
   tree.Process(71, {.name = "helper", .vmSize = 100, .vmRss = 50});
   LiveSource source(tree.Root());
   const auto swap = source.Read<SwapInfoRecord>(NodeId::sched_memClients_swapInfo, {kVmm + 70});
   EXPECT_EQ(+swap.swapped, 4000u);
   EXPECT_EQ(swap.swapOut + swap.totalReg, 0u);
   EXPECT_EQ(+source.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {70}).zipped, 0u);
   EXPECT_THAT(source.ListTexts(NodeId::sched_memClients_remapTypes, {70}), IsEmpty());
}

TEST(LinuxVm, NamesOfTheVmAndItsConfiguration)
{
   RecordedTree tree;
   MakeVm(tree);
   LiveSource source(tree.Root());
   const auto record = source.Read<VmmGroupInfoRecord>(NodeId::vm_vmmGroupInfo, {kVmm + 70});
   EXPECT_STREQ(record.displayName, "db");
   EXPECT_STREQ(record.configPath, "/etc/vm/db.cfg");
   EXPECT_EQ(source.StatusOf<VmmGroupInfoRecord>(NodeId::vm_vmmGroupInfo, {70}), NEVRA_NOT_FOUND);
}

TEST(LinuxVm, CompressionIsThatOfSwappedMemory)
{
   RecordedTree tree;
   MakeVm(tree);
   {
      LiveSource source(tree.Root());
      EXPECT_EQ(source.StatusOf<MemzipInfoRecord>(NodeId::sched_memClients_memzipInfo, {70}),
                NEVRA_NOT_FOUND);
   }
   tree.File("sys/module/zswap/parameters/enabled", "Y\n");
   tree.File("sys/module/zswap/parameters/max_pool_percent", "20\n");
   LiveSource source(tree.Root());
   const auto record = source.Read<MemzipInfoRecord>(NodeId::sched_memClients_memzipInfo, {70});
   EXPECT_EQ(+record.maxCache, 1600000u);
   EXPECT_EQ(+record.totalCache, 1600000u);
   EXPECT_EQ(+record.usedCache, 1024u);
   EXPECT_EQ(+record.zipped, 40 * nevra::PageKB());
   EXPECT_EQ(+record.unZipped, 30 * nevra::PageKB());
   EXPECT_EQ(source.StatusOf<MemzipInfoRecord>(NodeId::sched_memClients_memzipInfo, {kEmulator + 70}),
             NEVRA_NOT_FOUND);
}

TEST(LinuxVm, CompressionWithoutKernelFiguresIsTheSettingsAlone)
{
   RecordedTree tree;
   MakeVm(tree);
   const auto zip = [&tree] {
      LiveSource source(tree.Root());
      return source.Read<MemzipInfoRecord>(NodeId::sched_memClients_memzipInfo, {70});
   };
   tree.File("sys/module/zswap/parameters/enabled", "Y\n");
   tree.File("sys/module/zswap/parameters/max_pool_percent", "200\n");
   EXPECT_EQ(+zip().maxCache, 8000000u) << "no more than all memory";
   tree.V2("m.scope", "cgroup.procs", "70\n71\n");
   tree.Process(71, {.name = "helper", .vmSize = 100, .vmRss = 50});
   EXPECT_EQ(+zip().totalCache, 8000000u);
   EXPECT_EQ(+zip().usedCache, 0u) << "the cgroup's figures are not the VM's alone";
   tree.Remove("proc/meminfo");
   EXPECT_EQ(+zip().maxCache, 0u);
   tree.File("sys/module/zswap/parameters/enabled", "N\n");
   LiveSource source(tree.Root());
   EXPECT_EQ(source.StatusOf<MemzipInfoRecord>(NodeId::sched_memClients_memzipInfo, {70}), NEVRA_NOT_FOUND);
}

TEST(LinuxVm, FiguresOfACgroupThatVanishedReadZero)
{
   RecordedTree tree;
   MakeVm(tree);
   LiveSource source(tree.Root());
   EXPECT_THAT(source.List(NodeId::sched_groups_members_groups, {0}), testing::SizeIs(1));
   tree.Remove("sys/fs/cgroup/m.scope");
   const auto swap = source.Read<SwapInfoRecord>(NodeId::sched_memClients_swapInfo, {kVmm + 70});
   EXPECT_EQ(+swap.swapped, 4000u);
   EXPECT_EQ(swap.swapIn + swap.swapOut + swap.totalReg, 0u);
   EXPECT_EQ(+source.Read<VmLPageRecord>(NodeId::memory_lpage_vmLPage, {kVmm + 70}).nrAllocSuccess, 0u);
   EXPECT_THAT(source.ListTexts(NodeId::sched_memClients_remapTypes, {70}), IsEmpty());
}

TEST(LinuxVm, LargePagesOfTheGuestMapping)
{
   RecordedTree tree;
   MakeVm(tree);
   {
      LiveSource source(tree.Root());
      const auto record = source.Read<VmLPageRecord>(NodeId::memory_lpage_vmLPage, {kVmm + 70});
      EXPECT_EQ(+record.nrBackings2M, 201u);
      EXPECT_EQ(+record.nrBackings1G, 0u);
      EXPECT_EQ(+record.nrAllocSuccess, 11u);
   }
   tree.File("proc/70/smaps", "7f0000000000-7f0040000000 rw-s 00000000 00:00 0 /dev/hugepages/x\n"
                              "Size:            1048576 kB\nKernelPageSize:  1048576 kB\nRss: 0 kB\n"
                              "Shared_Hugetlb:  1048576 kB\n");
   LiveSource source(tree.Root());
   const auto record = source.Read<VmLPageRecord>(NodeId::memory_lpage_vmLPage, {kVmm + 70});
   EXPECT_EQ(+record.nrBackings2M, 0u);
   EXPECT_EQ(+record.nrBackings1G, 1u);
   EXPECT_EQ(+source.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {70}).mapped, 1048576u);
}

TEST(LinuxVm, RemapTypesAreTheMigrationsThatTheKernelCounts)
{
   RecordedTree tree;
   MakeVm(tree);
   LiveSource source(tree.Root());
   EXPECT_THAT(source.ListTexts(NodeId::sched_memClients_remapTypes, {kEmulator + 70}),
               ElementsAre("numa-balancing", "promotion", "demotion"));
   const auto read = [&source](const char *type) {
      return source.Read<RemapStatsRecord>(NodeId::sched_memClients_remapTypes, {kEmulator + 70, type});
   };
   EXPECT_EQ(+read("numa-balancing").added, 200u);
   EXPECT_EQ(+read("numa-balancing").remapped, 100u);
   EXPECT_EQ(+read("promotion").remapped, 7u);
   EXPECT_EQ(+read("demotion").remapped, 3u);
   EXPECT_EQ(source.StatusOf<RemapStatsRecord>(NodeId::sched_memClients_remapTypes, {kEmulator + 70, "x"}),
             NEVRA_NOT_FOUND);
   tree.V2("m.scope", "memory.stat", "numa_pages_migrated 100\n");
   LiveSource old(tree.Root());
   EXPECT_THAT(old.ListTexts(NodeId::sched_memClients_remapTypes, {70}), ElementsAre("numa-balancing"));
   EXPECT_EQ(+old.Read<RemapStatsRecord>(NodeId::sched_memClients_remapTypes, {70, "numa-balancing"}).added,
             0u)
      << "it counts what it moves, not what it looks at";
   EXPECT_EQ(old.StatusOf<RemapStatsRecord>(NodeId::sched_memClients_remapTypes, {70, "promotion"}),
             NEVRA_NOT_FOUND);
   tree.V2("m.scope", "memory.stat", "anon 5\n");
   LiveSource older(tree.Root());
   EXPECT_THAT(older.ListTexts(NodeId::sched_memClients_remapTypes, {kEmulator + 70}), IsEmpty());
}

// A mapping as smaps has it: KB, and the flags.
std::string Mapping(const std::string &access, uint64_t size, uint64_t rss, const std::string &more = "",
                    const std::string &flags = "rd wr mr mw me dc ac sd hg mg")
{
   return "7f0000000000-7f0040000000 " + access + " 00000000 00:00 0 \nSize: " + std::to_string(size) +
          " kB\nKernelPageSize: 4 kB\nRss: " + std::to_string(rss) + " kB\n" + more + "VmFlags: " + flags +
          "\n";
}

struct GuestVm {
   std::vector<const char *> words;
   std::string smaps;
};

void MakeGuest(RecordedTree &tree, const GuestVm &vm)
{
   tree.HostMemory();
   tree.MountV2();
   tree.Process(70, {.name = "qemu-system-x86", .vmSize = 900000, .vmRss = 300000, .threads = 5});
   std::string command = std::string("qemu-system-x86_64") + '\0';
   for (const char *word : vm.words) {
      command += word;
      command += '\0';
   }
   tree.File("proc/70/cmdline", command);
   tree.File("proc/70/smaps", vm.smaps);
}

TEST(LinuxVm, MemoryOfTwoBackendsIsAddedUp)
{
   RecordedTree tree;
   MakeGuest(
      tree,
      {.words = {"-m", "size=196608k", "-object",
                 R"({"qom-type":"memory-backend-ram","id":"ram-node0","size":134217728})", "-object",
                 "memory-backend-ram,id=b,size=64M", "-numa", "node,memdev=ram-node0", "-numa",
                 "node,memdev=b"},
       .smaps = Mapping("rw-p", 500000, 7) +
                Mapping("rw-p", 131072, 5000, "Referenced: 10 kB\nAnonHugePages: 2048 kB\nSwap: 3 kB\n") +
                Mapping("rw-p", 65536, 3000, "Referenced: 20 kB\nAnonHugePages: 4096 kB\nSwap: 4 kB\n")});
   LiveSource source(tree.Root());
   const auto record = source.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {70});
   EXPECT_EQ(record.memSize, 196608u);
   EXPECT_EQ(record.mapped, 8000u);
   EXPECT_EQ(record.touched, 30u);
   EXPECT_EQ(source.Read<VmLPageRecord>(NodeId::memory_lpage_vmLPage, {kVmm + 70}).nrBackings2M, 3u);
   EXPECT_EQ(source.Read<SwapInfoRecord>(NodeId::sched_memClients_swapInfo, {kVmm + 70}).swapped, 7u);
}

TEST(LinuxVm, MemoryPluggedInLaterIsTheGuestsToo)
{
   RecordedTree tree;
   const std::string ram = Mapping("rw-p", 262144, 5000);
   const std::string dimm = Mapping("rw-p", 131072, 3000);
   const std::string others = Mapping("rw-p", 16384, 9) + Mapping("rw-p", 131072, 9, "", "rd wr mr mw me ac");
   MakeGuest(tree, {.words = {"-m", "256M,slots=2,maxmem=512M"}, .smaps = ram + dimm + others});
   LiveSource source(tree.Root());
   const auto record = source.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {70});
   EXPECT_EQ(record.memSize, 393216u)
      << "not the 16 MB of a display, nor what is not made like a guest's memory";
   EXPECT_EQ(record.mapped, 8000u);
   EXPECT_EQ(record.memSizeLimit, 524288u);
   MakeGuest(tree, {.words = {"-m", "256M"}, .smaps = ram + dimm});
   LiveSource fixed(tree.Root());
   EXPECT_EQ(fixed.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {70}).memSize, 262144u)
      << "nothing can be plugged into this one";
}

TEST(LinuxVm, LargePagesThatAreWatchedAreTheGuests)
{
   RecordedTree tree;
   MakeGuest(tree, {.words = {"-m", "128"}, .smaps = Mapping("rw-p", 131072, 5000)});
   tree.File("proc/70/smaps_rollup", "1-2 ---p 0 0 0 [rollup]\nRss: 200000 kB\n"); // 300000 are resident
   tree.File("proc/sys/kernel/osrelease", "6.1.0-50-amd64\n");
   tree.File("proc/sys/kernel/numa_balancing", "1\n");
   LiveSource source(tree.Root());
   EXPECT_EQ(source.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {70}).mapped, 105000u);
   EXPECT_EQ(source.Read<VmLPageRecord>(NodeId::memory_lpage_vmLPage, {kVmm + 70}).nrBackings2M, 48u);
}

TEST(LinuxVm, AVmThatHasJustBeenStartedHasNoMemoryYet)
{
   RecordedTree tree;
   MakeGuest(tree, {.words = {"-m", "96"}, .smaps = Mapping("rw-p", 1024, 700)});
   LiveSource source(tree.Root());
   const auto record = source.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {70});
   EXPECT_EQ(record.mapped, 0u) << "what is there is the emulator's own";
   EXPECT_EQ(record.memSize, 98304u);
}

TEST(LinuxVm, TheTranslatorsBufferIsNotTheGuestsMemory)
{
   RecordedTree tree;
   const std::string buffer = Mapping("rwxp", 524288, 1104);
   MakeGuest(tree, {.words = {"-m", "0.125G"}, .smaps = buffer + Mapping("rw-p", 131072, 5000)});
   {
      LiveSource source(tree.Root());
      const auto record = source.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {70});
      EXPECT_EQ(record.memSize, 131072u);
      EXPECT_EQ(record.mapped, 5000u);
   }
   MakeGuest(tree, {.words = {}, .smaps = buffer + Mapping("rw-p", 131072, 5000)});
   LiveSource source(tree.Root());
   const auto record = source.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {70});
   EXPECT_EQ(record.memSize, 131072u) << "the emulator's own choice";
   EXPECT_EQ(record.mapped, 5000u);
}

TEST(LinuxVm, MappedStaysBelowTheGuestsSizeWhereMappingsMayNotBeRead)
{
   RecordedTree tree;
   MakeGuest(tree, {.words = {"-m", "128"}, .smaps = ""});
   tree.Remove("proc/70/smaps");
   LiveSource source(tree.Root());
   EXPECT_EQ(source.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {70}).mapped, 131072u);
   EXPECT_EQ(source.Read<SwapInfoRecord>(NodeId::sched_memClients_swapInfo, {kVmm + 70}).swapped, 16u)
      << "of the whole process";
}

// Two VMs that share 1000 pages, and have 10 pages of zeros each.
TEST(LinuxVm, MergedMemoryIsSavedOnceByAllWhoShareIt)
{
   const uint64_t page = nevra::PageKB();
   RecordedTree tree;
   MakeGuest(tree, {.words = {"-m", "128"},
                    .smaps = Mapping("rw-p", 131072, 5000 + 1000 * page,
                                     "Pss: " + std::to_string(5000 + 500 * page) +
                                        " kB\nKSM: " + std::to_string(1000 * page) + " kB\n")});
   tree.File("sys/kernel/mm/ksm/pages_shared", "1000\n");
   tree.File("sys/kernel/mm/ksm/pages_sharing", "1000\n");
   tree.File("sys/kernel/mm/ksm/ksm_zero_pages", "20\n");
   tree.File("proc/70/ksm_stat", "ksm_rmap_items 5\nksm_zero_pages 10\nksm_merging_pages 1000\n");
   LiveSource source(tree.Root());
   const auto record = source.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {70});
   EXPECT_EQ(record.zero, 10 * page);
   EXPECT_EQ(record.shared, 1010 * page);
   EXPECT_EQ(record.sharedSaved, 510 * page);
   EXPECT_EQ(record.mapped, 5000 + 1010 * page);
   EXPECT_EQ(record.mapped - record.sharedSaved, 5000 + 500 * page) << "consumed";
   // Linux 6.1 has neither the line nor the file.
   MakeGuest(tree, {.words = {"-m", "128"},
                    .smaps = Mapping("rw-p", 131072, 5000 + 1000 * page,
                                     "Pss: " + std::to_string(5000 + 500 * page) + " kB\n")});
   tree.File("proc/70/ksm_stat", "ksm_rmap_items 5\n");
   tree.File("proc/70/ksm_merging_pages", "1000\n");
   LiveSource old(tree.Root());
   const auto before = old.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {70});
   EXPECT_EQ(before.shared, 1000 * page);
   EXPECT_EQ(before.sharedSaved, 500 * page);
   tree.Remove("proc/70/smaps");
   LiveSource hidden(tree.Root());
   EXPECT_EQ(hidden.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {70}).sharedSaved, 500 * page);
}

TEST(GuestMemory, IsTheMappingOfTheGuestsSizeElseTheLargest)
{
   const auto rss = [](std::string_view smaps, std::vector<uint64_t> pieces) {
      const auto guest = nevra::ParseGuestMemory(smaps, {.piecesKB = std::move(pieces)});
      return guest.has_value() ? std::optional(guest->mappings.rss) : std::nullopt;
   };
   EXPECT_EQ(rss(kSmaps, {1048576}), 600000u);
   EXPECT_EQ(rss(kSmaps, {5}), 16u);
   EXPECT_EQ(rss(kSmaps, {}), 16u);
   EXPECT_EQ(rss("", {5}), std::nullopt);
   EXPECT_EQ(rss("-\n--\n:::\nSize\n\xff- -\n", {5}), std::nullopt);
   EXPECT_EQ(rss("1-2 rw-p\nSize: 9 kB\n3-4\nRss: 7 kB\na-b: 5 kB\nPss: 1 kB\n", {9}), 7u)
      << "neither an address alone nor a key with a dash begins a mapping";
   EXPECT_EQ(rss(Mapping("r--p", 9, 1) + Mapping("rwxp", 8, 2) + Mapping("rw-p", 4, 3), {}), 3u);
   EXPECT_EQ(rss(Mapping("rw-p", 4, 3) + Mapping("rw-s", 4, 5), {4, 4}), 8u) << "each mapping counts once";
}

// "SIZE kB" mappings of a process, each as long as the kernel writes them.
std::string MappingText(uint64_t address, uint64_t sizeKB)
{
   char head[128];
   std::snprintf(head, sizeof head, "%012" PRIx64 "-%012" PRIx64 " rw-p 00000000 00:00 0 \n", address,
                 address + sizeKB * 1024);
   const std::string size = std::to_string(sizeKB);
   return head + ("Size:           " + size + " kB\n") + "KernelPageSize:        4 kB\n" +
          "Rss:                " + size + " kB\n" + "Referenced:         " + size + " kB\n" +
          "VmFlags: rd wr mr mw me ac sd \n";
}

TEST(LinuxVm, TheGuestIsFoundAmongAnyNumberOfMappings)
{
   std::string smaps;
   uint64_t address = 0x10000000;
   while (smaps.size() < (size_t{17} << 20)) {
      smaps += MappingText(address, 4);
      address += 8192;
   }
   smaps += MappingText(address, 65536);
   RecordedTree tree;
   tree.HostMemory();
   tree.Process(61, {.name = "qemu-system-x86", .vmSize = 900000, .vmRss = 400000, .threads = 3});
   tree.File("proc/61/smaps", smaps);
   LiveSource source(tree.Root());
   const auto vm = source.Read<VmmStatsRecord>(NodeId::sched_memClients_kelmar_vmm, {61});
   EXPECT_EQ(+vm.memSize, 65536u);
   EXPECT_EQ(+vm.mapped, 65536u);
   EXPECT_EQ(+vm.touched, 65536u);
}

TEST(GuestMemorySearch, TakesWholeMappingsOnly)
{
   const std::string text = MappingText(0x1000, 4) + MappingText(0x9000, 64) + MappingText(0x90000, 8);
   for (size_t cut = 0; cut <= text.size(); cut++) {
      nevra::GuestMemorySearch search({});
      const size_t taken = search.Take(std::string_view(text).substr(0, cut), false);
      ASSERT_LE(taken, cut);
      search.Take(std::string_view(text).substr(taken), true);
      ASSERT_TRUE(search.Found().has_value());
      EXPECT_EQ(search.Found()->mappings.rss, 64u) << cut;
   }
}

} // namespace
