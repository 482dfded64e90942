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
   EXPECT_EQ(5000u, +stats.memSize);
   EXPECT_EQ(5000u, +stats.consumed);
   EXPECT_EQ(7000u, +stats.memSizePeak);
   EXPECT_EQ(7000u, +stats.consumedPeak);
   EXPECT_EQ(1024u, +stats.ovhd);
   EXPECT_EQ(3072u, +stats.touched);
   EXPECT_EQ(400u, +stats.bMin);
   EXPECT_EQ(9000u, +stats.bMax);
   EXPECT_EQ(400u, +stats.eMin);
   EXPECT_EQ(8000u, +stats.allocTgt);
   EXPECT_EQ(75, +stats.throttlePct);
   EXPECT_EQ(0u, +stats.sharedSaved);
   EXPECT_EQ(0u, stats.ovhdResv + stats.iMin + stats.bShares + stats.fShares + stats.bActive +
                    stats.rMinPeak + stats.eMinPeak + stats.rMinChildPeak);
   EXPECT_EQ(0, +stats.mps);

   const GroupAllocRecord alloc = AllocOf(source, group);
   EXPECT_EQ(400, +alloc.min);
   EXPECT_EQ(9000, +alloc.max);
   EXPECT_EQ(-1, +alloc.minLimit);
   EXPECT_EQ(0, +alloc.shares);
}

TEST(LinuxGroupMemory, KernelMemoryIsAddedUpWhereTheKernelDoesNot)
{
   RecordedTree tree;
   tree.MountV2();
   tree.V2("a", "memory.stat", "anon 1\nkernel_stack 4096\npagetables 8192\npercpu 1024\nslab 16384\n");
   LiveSource source(tree.Root());
   EXPECT_EQ(29u, +StatsOf(source, static_cast<int64_t>(tree.V2Id("a"))).ovhd);
}

TEST(LinuxGroupMemory, ACgroupWithoutTheMemoryControllerHasNoFiguresAndNoLimits)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.MountV2();
   tree.V2("a", "cgroup.procs", "");
   LiveSource source(tree.Root());
   const int64_t group = static_cast<int64_t>(tree.V2Id("a"));
   EXPECT_EQ(0u, +StatsOf(source, group).consumed);
   EXPECT_EQ(100, +StatsOf(source, group).throttlePct);
   EXPECT_EQ(0, +AllocOf(source, group).min);
   EXPECT_EQ(-1, +AllocOf(source, group).max);
   EXPECT_EQ(8000000u, +StatsOf(source, group).bMax) << "the host's memory is a limit";
   EXPECT_EQ(0u, +StatsOf(source, group).allocTgt) << "nobody has set one";
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
   EXPECT_EQ(-1, +AllocOf(source, group).max);
   EXPECT_EQ(5000, +AllocOf(source, group).min);
   EXPECT_EQ(3000u, +stats.bMax);
   EXPECT_EQ(3000u, +stats.bMin);
   EXPECT_EQ(100u, +stats.eMin);
   EXPECT_EQ(2500u, +stats.allocTgt);
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
   EXPECT_EQ(70, percent("usage_usec 5\nnr_periods 10\nnr_throttled 3\n"));
   EXPECT_EQ(0, percent("nr_periods 10\nnr_throttled 30\n"));
   EXPECT_EQ(100, percent("nr_periods 0\nnr_throttled 0\n")) << "no limit is set";
   EXPECT_EQ(100, percent("usage_usec 5\n"));
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
   EXPECT_EQ(1050u, +root.conResv);
   EXPECT_EQ(8000000u - 1050, +root.availResv);
   const GroupCapacityRecord a = CapacityOf(source, static_cast<int64_t>(tree.V2Id("a")));
   EXPECT_EQ(500u, +a.conResv);
   EXPECT_EQ(500u, +a.availResv);
   const GroupCapacityRecord b = CapacityOf(source, static_cast<int64_t>(tree.V2Id("a/b")));
   EXPECT_EQ(0u, +b.conResv);
   EXPECT_EQ(300u, +b.availResv);
}

TEST(LinuxGroupMemory, TheRootIsTheHost)
{
   RecordedTree tree;
   tree.HostMemory();
   tree.MountV2();
   LiveSource source(tree.Root());
   const GroupMemoryStatsRecord stats = StatsOf(source, 0);
   EXPECT_EQ(6000000u, +stats.memSize);
   EXPECT_EQ(6000000u, +stats.consumed);
   EXPECT_EQ(456000u, +stats.ovhd);
   EXPECT_EQ(500000u, +stats.touched);
   EXPECT_EQ(8000000u, +stats.bMax);
   EXPECT_EQ(8000000u, +stats.allocTgt);
   EXPECT_EQ(0, +AllocOf(source, 0).min);
   EXPECT_EQ(-1, +AllocOf(source, 0).max);
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
   EXPECT_EQ(5000u, +stats.consumed);
   EXPECT_EQ(5000u, +stats.memSize);
   EXPECT_EQ(6000u, +stats.consumedPeak);
   EXPECT_EQ(80u, +stats.ovhd);
   EXPECT_EQ(3072u, +stats.touched);
   EXPECT_EQ(7000u, +stats.bMax);
   EXPECT_EQ(90, +stats.throttlePct);
   EXPECT_EQ(7000, +AllocOf(source, group).max);
   EXPECT_EQ(0, +AllocOf(source, group).min);
   EXPECT_EQ(-1, +AllocOf(source, static_cast<int64_t>(tree.V1Id("docker"))).max) << "no limit";
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
   EXPECT_EQ(9000u, +stats.memSize);
   EXPECT_EQ(9100u, +stats.memSizePeak);
   EXPECT_EQ(3000u, +stats.consumed);
   EXPECT_EQ(3010u, +stats.consumedPeak);
   EXPECT_EQ(44u, +stats.ovhd);
   EXPECT_EQ(0u, +stats.touched);
   EXPECT_EQ(0u, +stats.bMin) << "the reservation is for both processes";
   EXPECT_EQ(0u, +stats.eMin);
   EXPECT_EQ(5000u, +stats.bMax) << "the limit holds for each of them";
   EXPECT_EQ(0u, +stats.allocTgt) << "the target is for both processes";
   EXPECT_EQ(75, +stats.throttlePct);
   EXPECT_EQ(0, +AllocOf(source, kProcess + 40).min);
   EXPECT_EQ(-1, +AllocOf(source, kProcess + 40).max);
   EXPECT_EQ(0u, +StatsOf(source, kProcess + 41).memSize);
   EXPECT_EQ(0u, +CapacityOf(source, kProcess + 40).availResv);
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
   EXPECT_EQ(100, +AllocOf(source, kProcess + 40).min);
   EXPECT_EQ(5000, +AllocOf(source, kProcess + 40).max);
   EXPECT_EQ(100u, +StatsOf(source, kProcess + 40).eMin);
   EXPECT_EQ(5000u, +StatsOf(source, kProcess + 40).allocTgt);
   EXPECT_EQ(100u, +CapacityOf(source, kProcess + 40).availResv);
   EXPECT_EQ(100u, +CapacityOf(source, static_cast<int64_t>(tree.V2Id("a"))).conResv);
   const auto flags = source.Read<GroupFlagsRecord>(NodeId::sched_groups_groupFlags, {kProcess + 40}).flags;
   EXPECT_EQ(0x40u, flags & 0x40);
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
   EXPECT_EQ(512 * kMB, +StatsOf(source, kProcess + 70).memSize);
   EXPECT_EQ(300000u, +StatsOf(source, kProcess + 70).consumed);
   EXPECT_EQ(512 * kMB, +StatsOf(source, kVmm + 70).memSize);
   EXPECT_EQ(900000u, +StatsOf(source, kEmulator + 70).memSize);
   EXPECT_EQ(300000u, +StatsOf(source, kEmulator + 70).consumed);
   EXPECT_EQ(static_cast<int64_t>(64 * kMB), +AllocOf(source, kProcess + 70).min);
   EXPECT_EQ(static_cast<int64_t>(64 * kMB), +AllocOf(source, kVmm + 70).min);
   EXPECT_EQ(static_cast<int64_t>(1024 * kMB), +AllocOf(source, kVmm + 70).max);
   EXPECT_EQ(0, +AllocOf(source, kEmulator + 70).min);
   EXPECT_EQ(64 * kMB, +CapacityOf(source, kProcess + 70).conResv);
   EXPECT_EQ(0u, +CapacityOf(source, kProcess + 70).availResv);
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
   EXPECT_EQ(1000 * pageKB, +StatsOf(source, 0).sharedSaved);
   EXPECT_EQ(31 * pageKB, +StatsOf(source, static_cast<int64_t>(tree.V2Id("a"))).sharedSaved);
   EXPECT_EQ(20 * pageKB, +StatsOf(source, static_cast<int64_t>(tree.V2Id("a/b"))).sharedSaved);
   EXPECT_EQ(11 * pageKB, +StatsOf(source, kProcess + 40).sharedSaved);
}

} // namespace
