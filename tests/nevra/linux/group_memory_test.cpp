// The memory figures of groups over recorded trees.
#include <string>

#include <gtest/gtest.h>

#include "nevra/linux/kernel_text.h"
#include "tests/nevra/linux/live_source.h"
#include "tests/nevra/linux/recorded_tree.h"

namespace {

using nevra::NodeId;

constexpr int64_t kProcess = 0x40000000;
constexpr int64_t kVmm = 0x20000000;
constexpr int64_t kEmulator = 0x60000000;
constexpr uint64_t kMB = 1024; // in KB

std::string Bytes(uint64_t kb)
{
   return std::to_string(kb * 1024) + "\n";
}

GroupMemoryStatsRecord StatsOf(LiveSource &source, int64_t group)
{
   return source.Read<GroupMemoryStatsRecord>(NodeId::sched_groups_stats_memoryStats, {group});
}

GroupAllocRecord AllocOf(LiveSource &source, int64_t group)
{
   return source.Read<GroupAllocRecord>(NodeId::sched_groups_memAllocationInKB, {group});
}

GroupCapacityRecord CapacityOf(LiveSource &source, int64_t group)
{
   return source.Read<GroupCapacityRecord>(NodeId::sched_groups_stats_capacity, {group});
}

TEST(LinuxGroupMemory, EveryFigureOfAV2Cgroup)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.MountV2();
   tree.V2("a.slice", "cgroup.procs", "");
   tree.V2("a.slice", "memory.current", Bytes(5000));
   tree.V2("a.slice", "memory.peak", Bytes(7000));
   tree.V2("a.slice", "memory.min", Bytes(400));
   tree.V2("a.slice", "memory.high", Bytes(8000));
   tree.V2("a.slice", "memory.max", Bytes(9000));
   tree.V2("a.slice", "memory.stat",
           "anon 1024\nfile 2048\nkernel 1048576\nkernel_stack 4096\npagetables 8192\nslab 16384\n"
           "inactive_anon 1\nactive_anon 2097152\ninactive_file 3\nactive_file 1048576\n");
   tree.V2("a.slice", "cpu.stat",
           "usage_usec 5\nuser_usec 3\nsystem_usec 2\nnr_periods 200\nnr_throttled 50\nthrottled_usec 9\n");
   LiveSource source(tree.Root());
   const int64_t group = static_cast<int64_t>(tree.V2Id("a.slice"));
   const GroupMemoryStatsRecord stats = StatsOf(source, group);
   EXPECT_EQ(+stats.memSize, 5000u);
   EXPECT_EQ(+stats.consumed, 5000u);
   EXPECT_EQ(+stats.memSizePeak, 7000u);
   EXPECT_EQ(+stats.consumedPeak, 7000u);
   EXPECT_EQ(+stats.ovhd, 1024u);
   EXPECT_EQ(+stats.touched, 3072u);
   EXPECT_EQ(+stats.bMin, 400u);
   EXPECT_EQ(+stats.bMax, 9000u);
   EXPECT_EQ(+stats.eMin, 400u);
   EXPECT_EQ(+stats.allocTgt, 8000u);
   EXPECT_EQ(+stats.throttlePct, 75);
   EXPECT_EQ(+stats.sharedSaved, 0u);
   EXPECT_EQ(stats.ovhdResv + stats.iMin + stats.bShares + stats.fShares + stats.bActive + stats.rMinPeak +
                stats.eMinPeak + stats.rMinChildPeak,
             0u);
   EXPECT_EQ(+stats.mps, 0);

   const GroupAllocRecord alloc = AllocOf(source, group);
   EXPECT_EQ(+alloc.min, 400);
   EXPECT_EQ(+alloc.max, 9000);
   EXPECT_EQ(+alloc.minLimit, -1);
   EXPECT_EQ(+alloc.shares, 0);
}

TEST(LinuxGroupMemory, KernelMemoryIsAddedUpWhereTheKernelDoesNot)
{
   RecordedTree tree;
   tree.MountV2();
   tree.V2("a", "memory.stat", "anon 1\nkernel_stack 4096\npagetables 8192\npercpu 1024\nslab 16384\n");
   LiveSource source(tree.Root());
   EXPECT_EQ(+StatsOf(source, static_cast<int64_t>(tree.V2Id("a"))).ovhd, 29u);
}

TEST(LinuxGroupMemory, ACgroupWithoutTheMemoryControllerHasNoFiguresAndNoLimits)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.MountV2();
   tree.V2("a", "cgroup.procs", "");
   LiveSource source(tree.Root());
   const int64_t group = static_cast<int64_t>(tree.V2Id("a"));
   EXPECT_EQ(+StatsOf(source, group).consumed, 0u);
   EXPECT_EQ(+StatsOf(source, group).throttlePct, 100);
   EXPECT_EQ(+AllocOf(source, group).min, 0);
   EXPECT_EQ(+AllocOf(source, group).max, -1);
   EXPECT_EQ(+StatsOf(source, group).bMax, 8000000u) << "the host's memory is a limit";
   EXPECT_EQ(+StatsOf(source, group).allocTgt, 0u) << "nobody has set one";
}

TEST(LinuxGroupMemory, WithoutTheMemoryControllerTheProcessesTellWhatIsConsumed)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.MountV2();
   tree.V2("a", "memory.current", Bytes(9000));
   tree.V2("a/b", "cgroup.procs", "40\n");
   tree.V2("a/b/c", "cgroup.procs", "41\n");
   tree.Process(40, {.name = "one", .vmSize = 9000, .vmRss = 3000});
   tree.Process(41, {.name = "two", .vmSize = 9000, .vmRss = 500});
   LiveSource source(tree.Root());
   const auto consumed = [&](const char *cgroup) {
      return +StatsOf(source, static_cast<int64_t>(tree.V2Id(cgroup))).consumed;
   };
   EXPECT_EQ(consumed("a"), 9000u);
   EXPECT_EQ(consumed("a/b"), 3500u);
   EXPECT_EQ(consumed("a/b/c"), 500u);
}

TEST(LinuxGroupMemory, HugePagesAreConsumed)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.MountV2();
   tree.V2("a", "memory.current", Bytes(9000));
   tree.V2("a", "memory.peak", Bytes(10000));
   tree.V2("a", "hugetlb.2MB.current", Bytes(4096));
   tree.V2("a", "hugetlb.1GB.current", Bytes(1048576));
   tree.V2("a", "hugetlb.64KB.current", Bytes(64));
   tree.File("sys/kernel/mm/hugepages/hugepages-2048kB/nr_hugepages", "24\n");
   tree.File("sys/kernel/mm/hugepages/hugepages-1048576kB/nr_hugepages", "1\n");
   tree.File("sys/kernel/mm/hugepages/hugepages-64kB/nr_hugepages", "0\n");
   const auto stats = [&tree] {
      LiveSource source(tree.Root());
      return StatsOf(source, static_cast<int64_t>(tree.V2Id("a")));
   };
   EXPECT_EQ(stats().consumed, 9000u + 4096 + 1048576) << "a size without pages is not looked at";
   EXPECT_EQ(stats().consumedPeak, 9000u + 4096 + 1048576) << "no less than now";
   tree.File("proc/self/mountinfo",
             "30 23 0:26 / /sys/fs/cgroup rw - cgroup2 cgroup2 rw,memory_hugetlb_accounting\n");
   EXPECT_EQ(stats().consumed, 9000u) << "they are counted already";
}

TEST(LinuxGroupMemory, AncestorsLimitWhatIsBelowThem)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.MountV2();
   tree.V2("a", "memory.max", Bytes(3000));
   tree.V2("a", "memory.high", Bytes(2500));
   tree.V2("a", "memory.min", Bytes(100));
   tree.V2("a/b", "memory.max", "max\n");
   tree.V2("a/b", "memory.high", "max\n");
   tree.V2("a/b", "memory.min", Bytes(5000));
   LiveSource source(tree.Root());
   const int64_t group = static_cast<int64_t>(tree.V2Id("a/b"));
   const GroupMemoryStatsRecord stats = StatsOf(source, group);
   EXPECT_EQ(+AllocOf(source, group).max, -1);
   EXPECT_EQ(+AllocOf(source, group).min, 5000);
   EXPECT_EQ(+stats.bMax, 3000u);
   EXPECT_EQ(+stats.bMin, 3000u);
   EXPECT_EQ(+stats.eMin, 100u);
   EXPECT_EQ(+stats.allocTgt, 2500u);
}

// What a slice reserves and nobody below it claims protects its children as well, by their use: not for
// certain.
TEST(LinuxGroupMemory, EffectiveMinIsWhatIsProtectedForCertain)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.MountV2();
   tree.File("proc/self/mountinfo",
             "30 23 0:26 / /sys/fs/cgroup rw - cgroup2 cgroup2 rw,memory_recursiveprot\n");
   tree.V2("a", "memory.min", Bytes(1000));
   tree.V2("a/b", "memory.min", "0\n");
   tree.V2("a/c", "memory.min", Bytes(400));
   LiveSource source(tree.Root());
   EXPECT_EQ(StatsOf(source, static_cast<int64_t>(tree.V2Id("a/b"))).eMin, 0u);
   EXPECT_EQ(StatsOf(source, static_cast<int64_t>(tree.V2Id("a/c"))).eMin, 400u);
}

TEST(LinuxGroupMemory, ThrottlingIsThePartOfPeriodsThatWere)
{
   RecordedTree tree;
   tree.MountV2();
   const auto percent = [&tree](const char *cpuStat) {
      tree.V2("a", "cpu.stat", cpuStat);
      LiveSource source(tree.Root());
      return StatsOf(source, static_cast<int64_t>(tree.V2Id("a"))).throttlePct;
   };
   EXPECT_EQ(percent("usage_usec 5\nnr_periods 10\nnr_throttled 3\n"), 70);
   EXPECT_EQ(percent("nr_periods 10\nnr_throttled 30\n"), 0);
   EXPECT_EQ(percent("nr_periods 0\nnr_throttled 0\n"), 100) << "no limit is set";
   EXPECT_EQ(percent("usage_usec 5\n"), 100);
}

TEST(LinuxGroupMemory, CapacityIsWhatTheChildrenReserve)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.MountV2();
   tree.V2("a", "memory.min", Bytes(1000));
   tree.V2("a/b", "memory.min", Bytes(300));
   tree.V2("a/c", "memory.min", Bytes(200));
   tree.V2("d", "memory.min", Bytes(50));
   LiveSource source(tree.Root());
   const GroupCapacityRecord root = CapacityOf(source, 0);
   EXPECT_EQ(+root.conResv, 1050u);
   EXPECT_EQ(+root.availResv, 8000000u - 1050);
   const GroupCapacityRecord a = CapacityOf(source, static_cast<int64_t>(tree.V2Id("a")));
   EXPECT_EQ(+a.conResv, 500u);
   EXPECT_EQ(+a.availResv, 500u);
   const GroupCapacityRecord b = CapacityOf(source, static_cast<int64_t>(tree.V2Id("a/b")));
   EXPECT_EQ(+b.conResv, 0u);
   EXPECT_EQ(+b.availResv, 300u);
}

TEST(LinuxGroupMemory, TheRootIsTheHost)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.MountV2();
   LiveSource source(tree.Root());
   const GroupMemoryStatsRecord stats = StatsOf(source, 0);
   EXPECT_EQ(+stats.memSize, 6000000u);
   EXPECT_EQ(+stats.consumed, 6000000u);
   EXPECT_EQ(+stats.ovhd, 456000u);
   EXPECT_EQ(+stats.touched, 500000u);
   EXPECT_EQ(+stats.bMax, 8000000u);
   EXPECT_EQ(+stats.allocTgt, 8000000u);
   EXPECT_EQ(+AllocOf(source, 0).min, 0);
   EXPECT_EQ(+AllocOf(source, 0).max, -1);
}

TEST(LinuxGroupMemory, EveryFigureOfAV1Cgroup)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.MountV1();
   tree.V1("docker/abc", "cgroup.procs", "");
   tree.V1("docker/abc", "memory.usage_in_bytes", Bytes(5000));
   tree.V1("docker/abc", "memory.max_usage_in_bytes", Bytes(6000));
   tree.V1("docker/abc", "memory.limit_in_bytes", Bytes(7000));
   tree.V1("docker/abc", "memory.kmem.usage_in_bytes", Bytes(80));
   tree.V1("docker/abc", "memory.stat",
           "active_anon 1\nactive_file 2\ntotal_active_anon 1048576\ntotal_active_file 2097152\n");
   tree.V1("docker", "memory.limit_in_bytes", "9223372036854771712\n");
   tree.File("sys/fs/cgroup/cpu/docker/abc/cpu.stat", "nr_periods 10\nnr_throttled 1\nthrottled_time 1\n");
   LiveSource source(tree.Root());
   const int64_t group = static_cast<int64_t>(tree.V1Id("docker/abc"));
   const GroupMemoryStatsRecord stats = StatsOf(source, group);
   EXPECT_EQ(+stats.consumed, 5000u);
   EXPECT_EQ(+stats.memSize, 5000u);
   EXPECT_EQ(+stats.consumedPeak, 6000u);
   EXPECT_EQ(+stats.ovhd, 80u);
   EXPECT_EQ(+stats.touched, 3072u);
   EXPECT_EQ(+stats.bMax, 7000u);
   EXPECT_EQ(+stats.throttlePct, 90);
   EXPECT_EQ(+AllocOf(source, group).max, 7000);
   EXPECT_EQ(+AllocOf(source, group).min, 0);
   EXPECT_EQ(+AllocOf(source, static_cast<int64_t>(tree.V1Id("docker"))).max, -1) << "no limit";
}

TEST(LinuxGroupMemory, FiguresOfAProcess)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.MountV2();
   tree.V2("a", "cgroup.procs", "40\n41\n");
   tree.V2("a", "memory.min", Bytes(100));
   tree.V2("a", "memory.max", Bytes(5000));
   tree.V2("a", "memory.high", Bytes(4000));
   tree.V2("a", "cpu.stat", "nr_periods 4\nnr_throttled 1\n");
   tree.Process(40, {.name = "one", .vmSize = 9000, .vmRss = 3000});
   tree.Process(41, {.name = "zombie"});
   LiveSource source(tree.Root());
   const GroupMemoryStatsRecord stats = StatsOf(source, kProcess + 40);
   EXPECT_EQ(+stats.memSize, 9000u);
   EXPECT_EQ(+stats.memSizePeak, 9100u);
   EXPECT_EQ(+stats.consumed, 3000u);
   EXPECT_EQ(+stats.consumedPeak, 3010u);
   EXPECT_EQ(+stats.ovhd, 44u);
   EXPECT_EQ(+stats.touched, 0u);
   EXPECT_EQ(+stats.bMin, 0u) << "the reservation is for both processes";
   EXPECT_EQ(+stats.eMin, 0u);
   EXPECT_EQ(+stats.bMax, 5000u) << "the limit holds for each of them";
   EXPECT_EQ(+stats.allocTgt, 0u) << "the target is for both processes";
   EXPECT_EQ(+stats.throttlePct, 75);
   EXPECT_EQ(+AllocOf(source, kProcess + 40).min, 0);
   EXPECT_EQ(+AllocOf(source, kProcess + 40).max, -1);
   EXPECT_EQ(+StatsOf(source, kProcess + 41).memSize, 0u);
   EXPECT_EQ(+CapacityOf(source, kProcess + 40).availResv, 0u);
}

TEST(LinuxGroupMemory, AProcessAloneInItsCgroupHasItsLimits)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.MountV2();
   tree.V2("a", "cgroup.procs", "40\n");
   tree.V2("a", "memory.min", Bytes(100));
   tree.V2("a", "memory.max", Bytes(5000));
   tree.Process(40, {.name = "one", .vmSize = 9000, .vmRss = 3000});
   LiveSource source(tree.Root());
   EXPECT_EQ(+AllocOf(source, kProcess + 40).min, 100);
   EXPECT_EQ(+AllocOf(source, kProcess + 40).max, 5000);
   EXPECT_EQ(+StatsOf(source, kProcess + 40).eMin, 100u);
   EXPECT_EQ(+StatsOf(source, kProcess + 40).allocTgt, 5000u);
   EXPECT_EQ(+CapacityOf(source, kProcess + 40).availResv, 100u);
   EXPECT_EQ(+CapacityOf(source, static_cast<int64_t>(tree.V2Id("a"))).conResv, 100u);
   const auto flags = source.Read<GroupFlagsRecord>(NodeId::sched_groups_groupFlags, {kProcess + 40}).flags;
   EXPECT_EQ(flags & 0x40, 0x40u);
}

TEST(LinuxGroupMemory, AVmIsItsGuestAndItsEmulator)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.MountV2();
   tree.V2("m.scope", "cgroup.procs", "70\n");
   tree.V2("m.scope", "memory.min", Bytes(64 * kMB));
   tree.V2("m.scope", "memory.max", Bytes(1024 * kMB));
   tree.Process(70, {.name = "qemu-system-x86", .vmSize = 900000, .vmRss = 300000, .threads = 5});
   tree.File("proc/70/cmdline", std::string("qemu\0-m\0"
                                            "512\0",
                                            12));
   LiveSource source(tree.Root());
   EXPECT_EQ(+StatsOf(source, kProcess + 70).memSize, 512 * kMB);
   EXPECT_EQ(+StatsOf(source, kProcess + 70).consumed, 300000u);
   EXPECT_EQ(+StatsOf(source, kVmm + 70).memSize, 512 * kMB);
   EXPECT_EQ(+StatsOf(source, kEmulator + 70).memSize, 900000u);
   EXPECT_EQ(+StatsOf(source, kEmulator + 70).consumed, 300000u);
   EXPECT_EQ(+AllocOf(source, kProcess + 70).min, static_cast<int64_t>(64 * kMB));
   EXPECT_EQ(+AllocOf(source, kVmm + 70).min, static_cast<int64_t>(64 * kMB));
   EXPECT_EQ(+AllocOf(source, kVmm + 70).max, static_cast<int64_t>(1024 * kMB));
   EXPECT_EQ(+AllocOf(source, kEmulator + 70).min, 0);
   EXPECT_EQ(+CapacityOf(source, kProcess + 70).conResv, 64 * kMB);
   EXPECT_EQ(+CapacityOf(source, kProcess + 70).availResv, 0u);
}

// A VM as libvirt runs it: the limits are those of its scope, its threads are apart from each other below it,
// and the kernel threads that serve it are there, too.
void MakeVmInScope(RecordedTree &tree)
{
   tree.HostMemory();
   tree.MountV2();
   tree.Process(2, {.name = "kthreadd", .parent = 0, .kthread = ""});
   tree.V2("machine.slice", "memory.min", "0\n");
   tree.V2("machine.slice/a.scope", "cgroup.procs", "");
   tree.V2("machine.slice/a.scope", "memory.min", Bytes(64 * kMB));
   tree.V2("machine.slice/a.scope", "memory.max", Bytes(1024 * kMB));
   tree.V2("machine.slice/a.scope", "cpu.stat", "nr_periods 4\nnr_throttled 1\n");
   tree.V2("machine.slice/a.scope", "memory.swap.max", Bytes(512 * kMB));
   tree.V2("machine.slice/a.scope", "memory.stat", "pswpout 3\n");
   tree.V2("machine.slice/a.scope/libvirt", "cgroup.procs", "70\n81\n82\n");
   tree.V2("machine.slice/a.scope/libvirt", "memory.min", "0\n");
   tree.V2("machine.slice/a.scope/libvirt", "memory.max", "max\n");
   tree.V2("machine.slice/a.scope/libvirt/emulator", "cgroup.type", "threaded\n");
   tree.Process(70,
                {.name = "qemu-system-x86", .vmSize = 900000, .vmRss = 300000, .threads = 5, .kthread = ""});
   tree.Process(81, {.name = "kvm-nx-lpage-re", .parent = 2, .kthread = ""});
   tree.Process(82, {.name = "vhost-70", .parent = 2, .kthread = ""});
   tree.File("proc/70/cmdline", std::string("qemu\0-m\0"
                                            "512\0",
                                            12));
}

TEST(LinuxGroupMemory, AVmsCgroupIsItsScopeWithItsKernelThreads)
{
   RecordedTree tree;
   MakeVmInScope(tree);
   LiveSource source(tree.Root());
   EXPECT_EQ(AllocOf(source, kProcess + 70).min, static_cast<int64_t>(64 * kMB));
   EXPECT_EQ(AllocOf(source, kVmm + 70).max, static_cast<int64_t>(1024 * kMB));
   EXPECT_EQ(AllocOf(source, kEmulator + 70).max, -1);
   const GroupMemoryStatsRecord stats = StatsOf(source, kProcess + 70);
   EXPECT_EQ(stats.allocTgt, 1024 * kMB);
   EXPECT_EQ(stats.bMin, 64 * kMB);
   EXPECT_EQ(stats.bMax, 1024 * kMB);
   EXPECT_EQ(stats.throttlePct, 75);
   EXPECT_EQ(stats.eMin, 0u) << "the slice reserves nothing";
   const auto swap = source.Read<SwapInfoRecord>(NodeId::sched_memClients_swapInfo, {kVmm + 70});
   EXPECT_EQ(swap.totalReg, 512 * kMB);
   EXPECT_EQ(swap.swapOut, 3 * nevra::PageKB());
   const int64_t libvirt = static_cast<int64_t>(tree.V2Id("machine.slice/a.scope/libvirt"));
   EXPECT_EQ(CapacityOf(source, libvirt).conResv, 64 * kMB);
}

TEST(LinuxGroupMemory, AScopeThatAVmSharesIsNotItsOwn)
{
   RecordedTree tree;
   MakeVmInScope(tree);
   tree.V2("machine.slice/a.scope", "cgroup.procs", "90\n");
   tree.Process(90, {.name = "helper", .vmSize = 900, .vmRss = 300, .kthread = ""});
   LiveSource source(tree.Root());
   EXPECT_EQ(AllocOf(source, kProcess + 70).max, -1) << "its own cgroup has no limit";
   const auto swap = source.Read<SwapInfoRecord>(NodeId::sched_memClients_swapInfo, {kVmm + 70});
   EXPECT_EQ(swap.totalReg, 0u);
   tree.V2("machine.slice/a.scope/libvirt", "memory.max", Bytes(600 * kMB));
   LiveSource limited(tree.Root());
   EXPECT_EQ(AllocOf(limited, kProcess + 70).max, static_cast<int64_t>(600 * kMB));
}

TEST(LinuxGroupMemory, MergedPagesAreSavings)
{
   RecordedTree tree;
   tree.MountV2();
   tree.File("sys/kernel/mm/ksm/pages_sharing", "1000\n");
   tree.V2("a", "cgroup.procs", "40\n");
   tree.V2("a/b", "cgroup.procs", "41\n");
   tree.Process(40, {.name = "one", .vmSize = 9000, .vmRss = 3000});
   tree.Process(41, {.name = "two", .vmSize = 9000, .vmRss = 3000});
   tree.File("proc/40/ksm_stat", "ksm_rmap_items 9\nksm_zero_pages 1\nksm_merging_pages 10\n");
   tree.File("proc/41/ksm_stat", "ksm_rmap_items 9\nksm_merging_pages 20\n");
   const uint64_t pageKB = nevra::PageKB();
   LiveSource source(tree.Root());
   EXPECT_EQ(+StatsOf(source, 0).sharedSaved, 1000 * pageKB);
   EXPECT_EQ(+StatsOf(source, static_cast<int64_t>(tree.V2Id("a"))).sharedSaved, 31 * pageKB);
   EXPECT_EQ(+StatsOf(source, static_cast<int64_t>(tree.V2Id("a/b"))).sharedSaved, 20 * pageKB);
   EXPECT_EQ(+StatsOf(source, kProcess + 40).sharedSaved, 11 * pageKB);
}

} // namespace
