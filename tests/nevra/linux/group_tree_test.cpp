// Groups over recorded cgroup trees of both versions: members, names, tags, parents, flags, leaders.
#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/nevra/linux/live_source.h"
#include "tests/nevra/linux/recorded_tree.h"

namespace {

using nevra::NodeId;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr int64_t kProcess = 0x40000000;
constexpr int64_t kVmm = 0x20000000;
constexpr int64_t kEmulator = 0x60000000;

constexpr uint32_t kPre = 0x1;
constexpr uint32_t kLf = 0x2;
constexpr uint32_t kVmFlag = 0x4;
constexpr uint32_t kUw = 0x8;
constexpr uint32_t kSys = 0x10;
constexpr uint32_t kPr = 0x40;
constexpr uint32_t kNp = 0x100;
constexpr uint32_t kUg = 0x400;
constexpr uint32_t kCo = 0x800;
constexpr uint32_t kSc = 0x1000;
constexpr uint32_t kVmmFlag = 0x2000;

std::string NameOf(LiveSource &source, int64_t group)
{
   return source.Read<GroupNameRecord>(NodeId::sched_groups_groupName, {group}).name;
}

std::string TagOf(LiveSource &source, int64_t group)
{
   return source.Read<GroupTagRecord>(NodeId::sched_groups_groupTag, {group}).tag;
}

int64_t ParentOf(LiveSource &source, int64_t group)
{
   return source.Read<ParentGroupIDRecord>(NodeId::sched_groups_parentGroupID, {group}).parentGroupID;
}

uint32_t FlagsOf(LiveSource &source, int64_t group)
{
   return source.Read<GroupFlagsRecord>(NodeId::sched_groups_groupFlags, {group}).flags;
}

std::vector<int64_t> MembersOf(LiveSource &source, int64_t group)
{
   return source.List(NodeId::sched_groups_members_groups, {group});
}

// init, two kernel threads; a service with two processes, a session, a VM.
void MakeHost(RecordedTree &tree)
{
   tree.HostMemory();
   tree.MountV2();
   tree.Process(1, {.name = "systemd", .parent = 0, .vmSize = 20000, .vmRss = 8000});
   tree.Process(2, {.name = "kthreadd", .parent = 0, .kthread = "1"});
   tree.Process(9, {.name = "kworker/0:1-events", .parent = 2, .kthread = "1"});
   tree.V2("", "cgroup.procs", "2\n9\n");
   tree.V2("init.scope", "cgroup.procs", "1\n");
   tree.V2("system.slice", "cgroup.procs", "");
   tree.V2("system.slice/cron.service", "cgroup.procs", "400\n401\n");
   tree.V2("system.slice/cron.service", "memory.min", "1048576\n");
   tree.Process(400, {.name = "cron", .vmSize = 9000, .vmRss = 2000, .oomScoreAdj = -1000});
   tree.Process(401, {.name = "job", .parent = 400, .vmSize = 5000, .vmRss = 1000});
   tree.V2("user.slice", "cgroup.procs", "");
   tree.V2("user.slice/user-1000.slice/session-3.scope", "cgroup.procs", "900\n");
   tree.V2("user.slice/user-1000.slice", "cgroup.procs", "");
   tree.Process(900, {.name = "bash", .vmSize = 7000, .vmRss = 3000});
   tree.V2("machine.slice", "cgroup.procs", "");
   tree.V2("machine.slice/machine-qemu\\x2d1\\x2dweb.scope", "cgroup.procs", "1200\n");
   tree.Process(1200, {.name = "qemu-system-x86", .vmSize = 6000000, .vmRss = 3000000, .threads = 9});
   tree.File("proc/1200/cmdline",
             std::string("/usr/bin/qemu-system-x86_64\0-name\0guest=web,debug-threads=on\0"
                         "-m\0size=4194304k,slots=4,maxmem=8G\0",
                         95));
}

constexpr char kVmScope[] = "machine.slice/machine-qemu\\x2d1\\x2dweb.scope";

TEST(LinuxGroups, RootListsItsCgroupsByNameThenItsProcesses)
{
   RecordedTree tree;
   MakeHost(tree);
   LiveSource source(tree.Root());
   const auto id = [&tree](const char *cgroup) { return static_cast<int64_t>(tree.V2Id(cgroup)); };
   EXPECT_THAT(MembersOf(source, 0), ElementsAre(id("init.scope"), id("machine.slice"), id("system.slice"),
                                                 id("user.slice"), kProcess + 2, kProcess + 9));
   EXPECT_THAT(MembersOf(source, id("system.slice/cron.service")),
               ElementsAre(kProcess + 400, kProcess + 401));
   EXPECT_THAT(MembersOf(source, kProcess + 400), IsEmpty());
   EXPECT_THAT(MembersOf(source, kProcess + 1200), ElementsAre(kVmm + 1200, kEmulator + 1200));
   EXPECT_THAT(MembersOf(source, kVmm + 1200), IsEmpty());
   EXPECT_THAT(MembersOf(source, kEmulator + 1200), IsEmpty());
}

TEST(LinuxGroups, EveryKindHasItsName)
{
   RecordedTree tree;
   MakeHost(tree);
   LiveSource source(tree.Root());
   EXPECT_EQ(NameOf(source, 0), "host");
   EXPECT_EQ(NameOf(source, static_cast<int64_t>(tree.V2Id("system.slice/cron.service"))), "cron.service");
   EXPECT_EQ(NameOf(source, kProcess + 400), "cron");
   EXPECT_EQ(NameOf(source, kProcess + 9), "kworker/0:1-events");
   EXPECT_EQ(NameOf(source, kProcess + 1200), "web");
   EXPECT_EQ(NameOf(source, kVmm + 1200), "vmm");
   EXPECT_EQ(NameOf(source, kEmulator + 1200), "qemu-system-x86");
}

TEST(LinuxGroups, TagIsTheTopLevelCgroupWithoutSlice)
{
   RecordedTree tree;
   MakeHost(tree);
   tree.V2("monitoring.slice", "cgroup.procs", "");
   LiveSource source(tree.Root());
   EXPECT_EQ(TagOf(source, 0), "host");
   EXPECT_EQ(TagOf(source, kProcess + 9), "host");
   EXPECT_EQ(TagOf(source, static_cast<int64_t>(tree.V2Id("system.slice"))), "system");
   EXPECT_EQ(TagOf(source, kProcess + 401), "system");
   EXPECT_EQ(TagOf(source, kProcess + 900), "user");
   EXPECT_EQ(TagOf(source, kEmulator + 1200), "machine");
   EXPECT_EQ(TagOf(source, static_cast<int64_t>(tree.V2Id("monitoring.slice"))), "monitor");
   EXPECT_EQ(TagOf(source, static_cast<int64_t>(tree.V2Id("init.scope"))), "init.sc");
}

TEST(LinuxGroups, ParentsLeadBackToTheRoot)
{
   RecordedTree tree;
   MakeHost(tree);
   LiveSource source(tree.Root());
   const int64_t slice = static_cast<int64_t>(tree.V2Id("system.slice"));
   const int64_t service = static_cast<int64_t>(tree.V2Id("system.slice/cron.service"));
   EXPECT_EQ(ParentOf(source, 0), -1);
   EXPECT_EQ(ParentOf(source, slice), 0);
   EXPECT_EQ(ParentOf(source, service), slice);
   EXPECT_EQ(ParentOf(source, kProcess + 400), service);
   EXPECT_EQ(ParentOf(source, kProcess + 9), 0);
   EXPECT_EQ(ParentOf(source, kProcess + 1200), static_cast<int64_t>(tree.V2Id(kVmScope)));
   EXPECT_EQ(ParentOf(source, kVmm + 1200), kProcess + 1200);
   EXPECT_EQ(ParentOf(source, kEmulator + 1200), kProcess + 1200);
}

TEST(LinuxGroups, FlagsOfEveryKind)
{
   RecordedTree tree;
   MakeHost(tree);
   tree.V2("empty.slice", "cgroup.procs", "");
   LiveSource source(tree.Root());
   const auto flags = [&](const char *cgroup) {
      return FlagsOf(source, static_cast<int64_t>(tree.V2Id(cgroup)));
   };
   EXPECT_EQ(FlagsOf(source, 0), kPre | kCo);
   EXPECT_EQ(flags("system.slice"), kPre | kCo);
   EXPECT_EQ(flags("empty.slice"), kPre | kLf);
   EXPECT_EQ(flags("init.scope"), kPre) << "always there, not transient";
   EXPECT_EQ(flags("system.slice/cron.service"), kSc | kPr);
   EXPECT_EQ(flags("user.slice"), kPre | kCo);
   EXPECT_EQ(flags("user.slice/user-1000.slice"), kCo | kSc | kUg);
   EXPECT_EQ(flags("user.slice/user-1000.slice/session-3.scope"), kSc | kUg | kNp);
   EXPECT_EQ(FlagsOf(source, kProcess + 400), kUw | kLf | kPr) << "never killed for lack of memory";
   EXPECT_EQ(FlagsOf(source, kProcess + 401), kUw | kLf);
   EXPECT_EQ(FlagsOf(source, kProcess + 900), kUw | kLf | kUg);
   EXPECT_EQ(FlagsOf(source, kProcess + 9), kPre | kSys | kLf);
   EXPECT_EQ(FlagsOf(source, kProcess + 1200), kVmFlag);
   EXPECT_EQ(FlagsOf(source, kVmm + 1200), kVmmFlag | kLf);
   EXPECT_EQ(FlagsOf(source, kEmulator + 1200), kUw | kVmFlag | kLf);
}

TEST(LinuxGroups, KernelThreadsAreKnownByTheirParentWhereTheKernelDoesNotTell)
{
   RecordedTree tree;
   tree.MountV2();
   tree.Process(2, {.name = "kthreadd", .parent = 0, .kthread = ""});
   tree.Process(9, {.name = "kworker/0:1", .parent = 2, .kthread = ""});
   tree.Process(10, {.name = "zombie", .parent = 1, .kthread = ""});
   LiveSource source(tree.Root());
   EXPECT_EQ(FlagsOf(source, kProcess + 2), kPre | kSys | kLf);
   EXPECT_EQ(FlagsOf(source, kProcess + 9), kPre | kSys | kLf);
   EXPECT_EQ(FlagsOf(source, kProcess + 10), kPre | kUw | kLf);
}

TEST(LinuxGroups, APidTwoThatIsNotTheDaemonHasNoKernelThreads)
{
   for (const char *status : {"Name:\tkthreadd\nPPid:\t1\nThreads:\t1\n", // of somebody
                              "Name:\tkthreadd\nPPid:\t0\nVmSize:\t100 kB\nThreads:\t1\n", "State:\tX\n"}) {
      RecordedTree tree;
      tree.MountV2();
      tree.File("proc/2/status", status);
      tree.Process(3, {.name = "child\\", .parent = 2, .kthread = ""});
      LiveSource source(tree.Root());
      EXPECT_EQ(FlagsOf(source, kProcess + 3), kPre | kUw | kLf) << status;
      EXPECT_EQ(NameOf(source, kProcess + 3), "child\\") << "half an escape";
   }
}

TEST(LinuxGroups, InAContainerPidTwoIsAnOrdinaryProcess)
{
   RecordedTree tree;
   tree.MountV2();
   tree.Process(2, {.name = "kthreadd", .parent = 1, .vmSize = 500, .vmRss = 100, .kthread = ""});
   tree.Process(9, {.name = "child", .parent = 2, .kthread = ""});
   LiveSource source(tree.Root());
   EXPECT_EQ(FlagsOf(source, kProcess + 2), kPre | kUw | kLf);
   EXPECT_EQ(FlagsOf(source, kProcess + 9), kPre | kUw | kLf);
}

TEST(LinuxGroups, EachGroupOfAVmHasALeaderOfItsOwn)
{
   RecordedTree tree;
   MakeHost(tree);
   LiveSource source(tree.Root());
   const auto leader = [&](int64_t group) {
      return source.Read<GroupLeaderIDRecord>(NodeId::sched_groups_groupLeaderID, {group}).leaderID;
   };
   EXPECT_EQ(leader(kProcess + 400), 400u);
   EXPECT_EQ(leader(kProcess + 1200), 1200u);
   EXPECT_EQ(leader(kVmm + 1200), 0x20000000u + 1200);
   EXPECT_EQ(leader(kEmulator + 1200), 0x60000000u + 1200);
   EXPECT_EQ(source.StatusOf<GroupLeaderIDRecord>(NodeId::sched_groups_groupLeaderID, {0}), NEVRA_NOT_FOUND);

   const auto vmmLeader = [&](int64_t world, VmmLeaderIDRecord *record) {
      return source.Get(NodeId::worldGroups_vmmLeaderID, {world}, record);
   };
   VmmLeaderIDRecord record{};
   EXPECT_EQ(vmmLeader(1200, &record), NEVRA_OK);
   EXPECT_EQ(+record.vmmLeaderID, 0x20000000u + 1200);
   EXPECT_EQ(vmmLeader(400, &record), NEVRA_NOT_FOUND);
   // So that the emulator, which carries the VM's flag, is no second VM.
   EXPECT_EQ(vmmLeader(kEmulator + 1200, &record), NEVRA_NOT_FOUND);
}

TEST(LinuxGroups, AProcessWithAVmDescriptorIsAVm)
{
   RecordedTree tree;
   tree.MountV2();
   tree.File("dev/kvm", "");
   tree.Process(70, {.name = "microvm", .vmSize = 5000, .vmRss = 100, .threads = 4});
   tree.Link("proc/70/fd/12", "anon_inode:kvm-vm");
   tree.Process(71, {.name = "server", .vmSize = 5000, .vmRss = 100, .threads = 4});
   tree.Link("proc/71/fd/12", "anon_inode:[eventpoll]");
   {
      LiveSource source(tree.Root());
      EXPECT_EQ(FlagsOf(source, kProcess + 70), kPre | kVmFlag);
      EXPECT_EQ(NameOf(source, kProcess + 70), "microvm");
      EXPECT_EQ(FlagsOf(source, kProcess + 71), kPre | kUw | kLf);
      EXPECT_EQ(+source.Read<NumVMsRecord>(NodeId::sched_globalStats_numVMs).numVMs, 1u);
   }
   tree.File("sys/module/kvm_intel/refcnt", "0\n");
   {
      LiveSource idle(tree.Root());
      EXPECT_EQ(FlagsOf(idle, kProcess + 70), kPre | kUw | kLf) << "the kernel says that no VM runs";
   }
   tree.File("sys/module/kvm_amd/refcnt", "1\n");
   tree.Process(72, {.name = "closed", .vmSize = 5000, .vmRss = 100, .threads = 4});
   LiveSource busy(tree.Root());
   EXPECT_EQ(FlagsOf(busy, kProcess + 70), kPre | kVmFlag);
   EXPECT_EQ(FlagsOf(busy, kVmm + 70), kVmmFlag | kLf) << "below the VM, not below the root";
   EXPECT_EQ(FlagsOf(busy, kEmulator + 70), kUw | kVmFlag | kLf);
   EXPECT_EQ(FlagsOf(busy, kProcess + 72), kPre | kUw | kLf) << "its descriptors may not be read";
}

TEST(LinuxGroups, VmsAreCountedWhetherTheyHaveBeenAskedForOrNot)
{
   RecordedTree tree;
   tree.MountV2();
   for (const uint32_t pid : {70, 71, 72}) {
      tree.Process(pid, {.name = "qemu-system-x86", .vmSize = 5000, .vmRss = 100, .threads = 4});
   }
   LiveSource source(tree.Root());
   EXPECT_EQ(NameOf(source, kProcess + 71), "qemu-system-x86");
   tree.Remove("proc/71");
   tree.Remove("proc/72");
   EXPECT_EQ(+source.Read<NumVMsRecord>(NodeId::sched_globalStats_numVMs).numVMs, 2u)
      << "71 counts as what it was, 72 has gone unseen";
}

TEST(LinuxGroups, AProcessThatRunsAnEmulatorIsAVmWhateverItCallsItself)
{
   RecordedTree tree;
   tree.MountV2();
   tree.Process(70, {.name = "guest", .vmSize = 5000, .vmRss = 100, .threads = 3});
   tree.Link("proc/70/exe", "/usr/bin/qemu-system-x86_64");
   tree.Process(71, {.name = "guest", .vmSize = 5000, .vmRss = 100, .threads = 3});
   tree.Link("proc/71/exe", "/opt/qemu-system-tools/guest");
   LiveSource source(tree.Root());
   EXPECT_EQ(FlagsOf(source, kProcess + 70), kPre | kVmFlag);
   EXPECT_EQ(FlagsOf(source, kProcess + 71), kPre | kUw | kLf);
}

TEST(LinuxGroups, AnEmulatorThatHasEndedIsAProcess)
{
   RecordedTree tree;
   tree.MountV2();
   tree.File("proc/70/status", "Name:\tqemu-system-x86\nState:\tZ (zombie)\nPPid:\t1\nThreads:\t1\n");
   LiveSource source(tree.Root());
   EXPECT_EQ(FlagsOf(source, kProcess + 70), kPre | kUw | kLf);
}

TEST(LinuxGroups, MemoryClientsAreTheLeaders)
{
   RecordedTree tree;
   MakeHost(tree);
   LiveSource source(tree.Root());
   const auto clients = [&](int64_t group) {
      return source.List(NodeId::sched_groups_members_memClients, {group});
   };
   EXPECT_THAT(clients(kProcess + 400), ElementsAre(400));
   EXPECT_THAT(clients(kEmulator + 1200), ElementsAre(kEmulator + 1200));
   EXPECT_THAT(clients(kProcess + 9), IsEmpty());
   EXPECT_THAT(clients(0), IsEmpty());
}

TEST(LinuxGroups, V1TakesTheMemoryHierarchyWhereTheUnifiedOneHasNoMemory)
{
   RecordedTree tree;
   tree.MountV1();
   tree.Process(5, {.name = "init", .vmSize = 100, .vmRss = 10});
   tree.Process(6, {.name = "db", .vmSize = 100, .vmRss = 10});
   tree.V1("", "cgroup.procs", "5\n");
   tree.V1("docker/abc", "cgroup.procs", "6\n");
   tree.V1("docker", "cgroup.procs", "");
   LiveSource source(tree.Root());
   const int64_t docker = static_cast<int64_t>(tree.V1Id("docker"));
   const int64_t container = static_cast<int64_t>(tree.V1Id("docker/abc"));
   EXPECT_THAT(MembersOf(source, 0), ElementsAre(docker, kProcess + 5));
   EXPECT_THAT(MembersOf(source, docker), ElementsAre(container));
   EXPECT_THAT(MembersOf(source, container), ElementsAre(kProcess + 6));
   EXPECT_EQ(TagOf(source, kProcess + 6), "docker");
}

TEST(LinuxGroups, V2IsTakenWhereItHasTheMemoryControllerBesideV1)
{
   RecordedTree tree;
   tree.MountV1();
   tree.File("sys/fs/cgroup/unified/cgroup.controllers", "cpu memory\n");
   tree.File("sys/fs/cgroup/unified/app.slice/cgroup.procs", "6\n");
   tree.V1("old", "cgroup.procs", "");
   tree.Process(6, {.name = "db", .vmSize = 100, .vmRss = 10});
   LiveSource source(tree.Root());
   EXPECT_THAT(MembersOf(source, 0),
               ElementsAre(static_cast<int64_t>(tree.Inode("sys/fs/cgroup/unified/app.slice"))));
}

TEST(LinuxGroups, MountsAreFoundWithoutMountinfoAndWithBlanksInTheirNames)
{
   RecordedTree tree;
   tree.File("proc/mounts", "cgroup2 /c\\040groups cgroup2 rw 0 0\n");
   tree.File("c groups/cgroup.controllers", "memory\n");
   tree.File("c groups/a.slice/cgroup.procs", "");
   LiveSource source(tree.Root());
   EXPECT_THAT(MembersOf(source, 0), ElementsAre(static_cast<int64_t>(tree.Inode("c groups/a.slice"))));
}

TEST(LinuxGroups, OnlyOctalNumbersInMountPathsAreCharacters)
{
   RecordedTree tree;
   const std::string name = "c\\9\\08\\1";
   tree.File("proc/mounts", "cgroup2 /c\\9\\08\\1 cgroup2 rw 0 0\n");
   tree.File(name + "/cgroup.controllers", "memory\n");
   tree.File(name + "/a.slice/cgroup.procs", "");
   LiveSource source(tree.Root());
   EXPECT_THAT(MembersOf(source, 0), ElementsAre(static_cast<int64_t>(tree.Inode(name + "/a.slice"))));
}

TEST(LinuxGroups, MountsThatCannotBeOpenedArePassedOver)
{
   RecordedTree tree;
   tree.File("proc/self/mountinfo", "30 23 0:26 / /gone rw - cgroup2 cgroup2 rw\n"
                                    "31 23 0:27 / /sys/fs/cgroup/v2 rw - cgroup2 cgroup2 rw\n"
                                    "34 31 0:31 / /gone rw - cgroup cgroup rw,memory\n"
                                    "35 31 0:32 / /sys/fs/cgroup/memory rw - cgroup cgroup rw,memory\n");
   tree.V1("a", "cgroup.procs", "");
   {
      LiveSource source(tree.Root());
      EXPECT_THAT(MembersOf(source, 0), ElementsAre(static_cast<int64_t>(tree.V1Id("a"))));
   }
   tree.Folder("sys/fs/cgroup/v2/b");
   LiveSource source(tree.Root());
   EXPECT_THAT(MembersOf(source, 0), ElementsAre(static_cast<int64_t>(tree.V1Id("a"))))
      << "the unified hierarchy does not say that it has the memory controller";
}

TEST(LinuxGroups, WhereOnlyASubtreeIsMountedPathsBeginWithIt)
{
   RecordedTree tree;
   tree.MountV2();
   tree.File("proc/self/mountinfo", "30 23 0:26 /pods/web /sys/fs/cgroup rw - cgroup2 cgroup2 rw\n");
   tree.V2("a/b", "cgroup.procs", "");
   tree.V2("a", "cgroup.procs", "");
   tree.Process(77, {.name = "inside"});
   tree.File("proc/77/cgroup", "0::/pods/web/a//b\n");
   tree.Process(78, {.name = "outside"});
   tree.File("proc/78/cgroup", "0::/pods/db/a\n");
   LiveSource source(tree.Root());
   EXPECT_EQ(ParentOf(source, kProcess + 77), static_cast<int64_t>(tree.V2Id("a/b")));
   EXPECT_EQ(ParentOf(source, kProcess + 78), 0);
}

TEST(LinuxGroups, InV1AProcessIsAskedForItsMemoryCgroup)
{
   RecordedTree tree;
   tree.MountV1();
   tree.V1("docker", "cgroup.procs", "");
   tree.Process(77, {.name = "stray"});
   tree.File("proc/77/cgroup", "7:cpu,cpuacct:/other\n6:hugetlb,memory:/docker\n0::/\n");
   LiveSource source(tree.Root());
   EXPECT_EQ(ParentOf(source, kProcess + 77), static_cast<int64_t>(tree.V1Id("docker")));
}

TEST(LinuxGroups, WithoutCgroupsEveryProcessIsBelowTheRoot)
{
   RecordedTree tree;
   tree.Process(5, {.name = "a", .vmSize = 100, .vmRss = 10});
   LiveSource source(tree.Root());
   EXPECT_THAT(MembersOf(source, 0), ElementsAre(kProcess + 5));
   EXPECT_EQ(
      +source.Read<GroupMemoryStatsRecord>(NodeId::sched_groups_stats_memoryStats, {kProcess + 5}).consumed,
      10u);
}

TEST(LinuxGroups, AProcessThatNoCgroupListsIsAskedForItsOwn)
{
   RecordedTree tree;
   tree.MountV2();
   tree.V2("system.slice/x.service", "cgroup.procs", "");
   tree.V2("system.slice", "cgroup.procs", "");
   tree.Process(77, {.name = "zombie"});
   tree.File("proc/77/cgroup", "1:name=systemd:/elsewhere\n0::/system.slice/x.service\n");
   tree.Process(78, {.name = "stray"});
   tree.File("proc/78/cgroup", "0::/system.slice/gone.service (deleted)\n");
   LiveSource source(tree.Root());
   EXPECT_EQ(ParentOf(source, kProcess + 77), static_cast<int64_t>(tree.V2Id("system.slice/x.service")));
   EXPECT_EQ(ParentOf(source, kProcess + 78), static_cast<int64_t>(tree.V2Id("system.slice")));
   EXPECT_EQ(FlagsOf(source, static_cast<int64_t>(tree.V2Id("system.slice/x.service"))), kSc);
}

TEST(LinuxGroups, AProcessListedByTwoCgroupsCountsOnce)
{
   RecordedTree tree;
   tree.MountV2();
   tree.V2("a.slice", "cgroup.procs", "50\n");
   tree.V2("b.slice", "cgroup.procs", "50\n");
   tree.Process(50, {.name = "moving"});
   LiveSource source(tree.Root());
   const size_t members = MembersOf(source, static_cast<int64_t>(tree.V2Id("a.slice"))).size() +
                          MembersOf(source, static_cast<int64_t>(tree.V2Id("b.slice"))).size();
   EXPECT_EQ(members, 1u);
}

TEST(LinuxGroups, AProcessThatVanishedIsNotFound)
{
   RecordedTree tree;
   MakeHost(tree);
   LiveSource source(tree.Root());
   const int64_t service = static_cast<int64_t>(tree.V2Id("system.slice/cron.service"));
   EXPECT_EQ(MembersOf(source, service).size(), 2u);
   tree.Remove("proc/401");
   std::vector<int64_t> members;
   EXPECT_EQ(source.ListStatus(NodeId::sched_groups_members_groups, {kProcess + 401}, &members),
             NEVRA_NOT_FOUND);
   EXPECT_EQ(source.StatusOf<GroupFlagsRecord>(NodeId::sched_groups_groupFlags, {kProcess + 401}),
             NEVRA_NOT_FOUND);
   EXPECT_EQ(
      source.StatusOf<GroupMemoryStatsRecord>(NodeId::sched_groups_stats_memoryStats, {kProcess + 401}),
      NEVRA_NOT_FOUND);
}

TEST(LinuxGroups, ACgroupThatVanishedIsNotFoundButItsProcessesStay)
{
   RecordedTree tree;
   MakeHost(tree);
   LiveSource source(tree.Root());
   const int64_t service = static_cast<int64_t>(tree.V2Id("system.slice/cron.service"));
   EXPECT_EQ(MembersOf(source, service).size(), 2u);
   tree.Remove("sys/fs/cgroup/system.slice/cron.service");
   EXPECT_EQ(source.StatusOf<GroupAllocRecord>(NodeId::sched_groups_memAllocationInKB, {service}),
             NEVRA_NOT_FOUND);
   EXPECT_EQ(source.StatusOf<GroupCapacityRecord>(NodeId::sched_groups_stats_capacity, {service}),
             NEVRA_NOT_FOUND);
   EXPECT_EQ(source.StatusOf<GroupMemoryStatsRecord>(NodeId::sched_groups_stats_memoryStats, {service}),
             NEVRA_NOT_FOUND);
   EXPECT_EQ(
      +source.Read<GroupMemoryStatsRecord>(NodeId::sched_groups_stats_memoryStats, {kProcess + 400}).consumed,
      2000u);
}

TEST(LinuxGroups, UnknownIdsAreNotFound)
{
   RecordedTree tree;
   MakeHost(tree);
   LiveSource source(tree.Root());
   for (const int64_t id : {int64_t{-1}, int64_t{0x3fffffff}, kProcess, kProcess + 4242, kVmm + 400,
                            kEmulator + 400, kProcess + 0x400000, INT64_MAX, INT64_MIN}) {
      EXPECT_EQ(source.StatusOf<GroupNameRecord>(NodeId::sched_groups_groupName, {id}), NEVRA_NOT_FOUND)
         << id;
      EXPECT_EQ(source.StatusOf<GroupTagRecord>(NodeId::sched_groups_groupTag, {id}), NEVRA_NOT_FOUND) << id;
      EXPECT_EQ(source.StatusOf<ParentGroupIDRecord>(NodeId::sched_groups_parentGroupID, {id}),
                NEVRA_NOT_FOUND)
         << id;
      std::vector<int64_t> none;
      EXPECT_EQ(source.ListStatus(NodeId::sched_groups_members_memClients, {id}, &none), NEVRA_NOT_FOUND)
         << id;
   }
}

TEST(LinuxGroups, UnknownLeadersAreNotFound)
{
   RecordedTree tree;
   MakeHost(tree);
   LiveSource source(tree.Root());
   for (const int64_t leader :
        {int64_t{0}, int64_t{-1}, int64_t{4242}, int64_t{0x400000}, int64_t{0x10000000}, kVmm, kVmm + 400,
         kEmulator + 4242, kProcess + 400, INT64_MAX}) {
      EXPECT_EQ(
         source.StatusOf<TotalCommonStatsRecord>(NodeId::sched_memClients_kelmar_totalCommon, {leader}),
         NEVRA_NOT_FOUND)
         << leader;
      EXPECT_EQ(source.StatusOf<VmmGroupInfoRecord>(NodeId::vm_vmmGroupInfo, {leader}), NEVRA_NOT_FOUND)
         << leader;
      EXPECT_EQ(source.StatusOf<VmLPageRecord>(NodeId::memory_lpage_vmLPage, {leader}), NEVRA_NOT_FOUND)
         << leader;
      EXPECT_EQ(source.StatusOf<RemapStatsRecord>(NodeId::sched_memClients_remapTypes, {leader, "promotion"}),
                NEVRA_NOT_FOUND)
         << leader;
      std::vector<int64_t> none;
      EXPECT_EQ(source.ListStatus(NodeId::sched_memClients_remapTypes, {leader}, &none), NEVRA_NOT_FOUND)
         << leader;
   }
}

TEST(LinuxGroups, NamesCannotSteerATerminal)
{
   RecordedTree tree;
   tree.MountV2();
   const auto named = [&tree](uint32_t pid, const std::string &name) { tree.Process(pid, {.name = name}); };
   named(20, "evil\x1b[2Jx");
   named(21, "two\\nlines");
   named(22, "back\\\\slash");
   named(23, "(paren) thesis)");
   named(24, "caf\xc3\xa9");
   named(25, "bad\xff\xc3utf");
   named(26, "c1\xc2\x9b"
             "6n\x9b");
   named(27, " blank\x7f");
   const std::string folder = "new\nline " + std::string(80, 'x');
   tree.V2(folder, "cgroup.procs", "");
   LiveSource source(tree.Root());
   EXPECT_EQ(NameOf(source, kProcess + 20), "evil?[2Jx");
   EXPECT_EQ(NameOf(source, kProcess + 21), "two?lines");
   EXPECT_EQ(NameOf(source, kProcess + 22), "back\\slash");
   EXPECT_EQ(NameOf(source, kProcess + 23), "(paren) thesis)");
   EXPECT_EQ(NameOf(source, kProcess + 24), "caf\xc3\xa9");
   EXPECT_EQ(NameOf(source, kProcess + 25), "bad??utf");
   EXPECT_EQ(NameOf(source, kProcess + 26), "c1??6n?");
   EXPECT_EQ(NameOf(source, kProcess + 27), " blank?");
   const int64_t group = static_cast<int64_t>(tree.V2Id(folder));
   EXPECT_EQ(NameOf(source, group), "new?line " + std::string(54, 'x')) << "63 characters";
   EXPECT_EQ(TagOf(source, group), "new?lin");
}

TEST(LinuxGroups, CutNamesEndWithAWholeCharacter)
{
   RecordedTree tree;
   tree.MountV2();
   std::string name;
   for (int i = 0; i < 32; i++) {
      name += "\xc3\xa9";
   }
   tree.V2("a" + name, "cgroup.procs", "");
   tree.V2(name, "cgroup.procs", "");
   LiveSource source(tree.Root());
   EXPECT_EQ(NameOf(source, static_cast<int64_t>(tree.V2Id(name))), std::string(name, 0, 62));
   EXPECT_EQ(NameOf(source, static_cast<int64_t>(tree.V2Id("a" + name))),
             std::string("a").append(name, 0, 62));
}

TEST(LinuxGroups, DeepTreesEnd)
{
   RecordedTree tree;
   tree.MountV2();
   std::string cgroup = "d";
   for (int level = 1; level < 100; level++) {
      cgroup += "/d";
   }
   tree.V2(cgroup, "cgroup.procs", "50\n");
   tree.Process(50, {.name = "deep", .vmSize = 10, .vmRss = 5});
   tree.File("proc/50/cgroup", "0::/" + cgroup + "\n");
   LiveSource source(tree.Root());
   int levels = 0;
   std::vector<int64_t> members = MembersOf(source, 0);
   while (!members.empty() && levels < 200) {
      levels++;
      members = MembersOf(source, members[0]);
   }
   EXPECT_EQ(levels, 10) << "nine cgroups, and the process of one that is too deep in the last of them";
   EXPECT_THAT((*source).Unreadable(),
               Contains(HasSubstr("/sys/fs/cgroup: cgroups deeper than 9 levels; their "
                                  "processes are shown in their ancestor at that level")));
   EXPECT_EQ(
      +source.Read<GroupMemoryStatsRecord>(NodeId::sched_groups_stats_memoryStats, {kProcess + 50}).consumed,
      5u);
}

TEST(LinuxGroups, LinksInTheCgroupTreeAreNotFollowed)
{
   RecordedTree tree;
   tree.MountV2();
   tree.V2("a", "cgroup.procs", "");
   tree.Link("sys/fs/cgroup/a/loop", "..");
   LiveSource source(tree.Root());
   EXPECT_THAT(MembersOf(source, static_cast<int64_t>(tree.V2Id("a"))), IsEmpty());
}

TEST(LinuxGroups, GarbageIsNotTakenForFigures)
{
   RecordedTree tree;
   tree.MountV2();
   tree.File("proc/self/mountinfo", "\n \n- -\n30 23 0:26 / /sys/fs/cgroup rw - cgroup2\n1 2 3\n"
                                    "30 23 0:26 / /sys/fs/cgroup rw - cgroup2 cgroup2 rw\n");
   tree.V2("a", "cgroup.procs", "0\n-5\nabc\n99999999999999999999\n60\n60x\n\n");
   tree.V2("a", "memory.current", "");
   tree.V2("a", "memory.max", "lots\n");
   tree.V2("a", "memory.min", "99999999999999999999999\n");
   tree.V2("a", "memory.stat", "anon\nactive_anon x\nkernel 4096\n\n\n:::\n");
   tree.V2("a", "cpu.stat", "nr_periods 5\nnr_throttled 99\n");
   tree.File("proc/60/status", "");
   tree.File("proc/61/status", "Name:\tx\nVmRSS:\tmany kB\nVmSize:\nPPid:\t-4\n");
   tree.Folder("proc/62");
   tree.Folder("proc/63/status");
   tree.Folder("proc/99999999999");
   tree.Folder("proc/12ab");
   tree.File("proc/meminfo", "MemTotal\nMemTotal: kB\n\xff\xfe\n");
   LiveSource source(tree.Root());
   const int64_t group = static_cast<int64_t>(tree.V2Id("a"));
   EXPECT_THAT(MembersOf(source, group), ElementsAre(kProcess + 60));
   EXPECT_EQ(MembersOf(source, 0).size(), 4u);
   const auto stats = source.Read<GroupMemoryStatsRecord>(NodeId::sched_groups_stats_memoryStats, {group});
   EXPECT_EQ(+stats.consumed, 0u);
   EXPECT_EQ(+stats.touched, 0u);
   EXPECT_EQ(+stats.ovhd, 4u);
   EXPECT_EQ(+stats.throttlePct, 0);
   EXPECT_EQ(+source.Read<GroupAllocRecord>(NodeId::sched_groups_memAllocationInKB, {group}).max, -1);
   for (const int64_t pid : {60, 62, 63}) {
      EXPECT_EQ(source.StatusOf<GroupFlagsRecord>(NodeId::sched_groups_groupFlags, {kProcess + pid}),
                NEVRA_NOT_FOUND)
         << pid;
   }
   EXPECT_EQ(
      +source.Read<GroupMemoryStatsRecord>(NodeId::sched_groups_stats_memoryStats, {kProcess + 61}).consumed,
      0u);
   EXPECT_EQ(source.StatusOf<CompMemMapStats>(NodeId::memory_comprehensive), NEVRA_NOT_FOUND);
}

TEST(LinuxGroups, AMissingRootFolderHasOneEmptyGroup)
{
   LiveSource source("/nonexistent-folder");
   EXPECT_THAT(MembersOf(source, 0), IsEmpty());
   EXPECT_EQ(source.StatusOf<CompMemMapStats>(NodeId::memory_comprehensive), NEVRA_NOT_FOUND);
   EXPECT_EQ(source.StatusOf<GlobalMemSchedInfo>(NodeId::sched_globalStats_memory_kelmar), NEVRA_NOT_FOUND);
}

TEST(LinuxGroups, MoreTagsThanAReportAddsUpAreSaid)
{
   RecordedTree tree;
   tree.MountV2();
   for (int i = 0; i < 511; i++) {
      tree.V2("t" + std::to_string(i) + ".slice", "cgroup.procs", "");
   }
   tree.V2("same-tag-one", "cgroup.procs", "");
   const auto lines = [&tree] {
      LiveSource source(tree.Root());
      MembersOf(source, 0);
      return std::vector<std::string>((*source).Unreadable().begin(), (*source).Unreadable().end());
   };
   EXPECT_THAT(lines(), Contains(HasSubstr("more than 512 tags; the tag rows of group-stats leave some out")))
      << "the root's is one, too";
   tree.Remove("sys/fs/cgroup/t0.slice");
   tree.V2("same-tag-two", "cgroup.procs", "");
   EXPECT_THAT(lines(), Not(Contains(HasSubstr("tags"))));
}

TEST(LinuxGroups, WhatIsNotMountedIsSaid)
{
   RecordedTree tree;
   {
      LiveSource source(tree.Root());
      MembersOf(source, 0);
      EXPECT_THAT(
         (*source).Unreadable(),
         ElementsAre("/proc: not mounted; processes, VMs and the host's memory are not shown",
                     "/sys: not mounted; cgroups, page sharing, huge pages and persistent memory are not "
                     "shown",
                     "/sys/fs/cgroup: no hierarchy is mounted; all processes are shown directly below the "
                     "root"));
   }
   tree.HostMemory();
   tree.MountV2();
   {
      LiveSource source(tree.Root());
      MembersOf(source, 0);
      EXPECT_THAT((*source).Unreadable(), IsEmpty());
   }
   tree.V2("", "cgroup.controllers", "cpu\n");
   LiveSource source(tree.Root());
   MembersOf(source, 0);
   EXPECT_THAT((*source).Unreadable(),
               ElementsAre("/sys/fs/cgroup: no memory controller; cgroups are shown without memory figures"));
}

} // namespace
