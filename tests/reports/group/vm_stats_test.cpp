// vm-stats.
#include <gtest/gtest.h>

#include "tests/reports/group/query_faults.h"
#include "tests/reports/group/vm_scenario.h"

using namespace scripted;

namespace {

// Everything that a row shows of a VM besides its identity.
struct Vm {
   GroupAllocRecord vmAlloc;  // of the VM's group
   GroupAllocRecord vmmAlloc; // of its VMM sub-container
   VmmGroupInfoRecord info;
   VmmStatsRecord vmm;
   SwapInfoRecord swap;
   GroupMemoryStatsRecord memory;
};

// Figures that all differ, in column order: base + 1, base + 2 and so on; consumed is 32, mapped base + 57.
// What the report must not take has other figures.
Vm VmFrom(uint32_t base)
{
   Vm vm = {};
   vm.vmmAlloc = {.min = base + 3, .max = base + 4, .shares = 9999, .minLimit = 9999};
   vm.vmAlloc = {.min = 9999, .max = 9999, .shares = base + 6, .minLimit = base + 5};
   vm.vmm.memSizeLimit = base + 1;
   vm.vmm.memSize = base + 2;
   vm.memory.ovhdResv = base + 7;
   vm.memory.ovhd = base + 8;
   vm.vmm.allocTgt = base + 9;
   vm.vmm.balloonTgt = base + 11;
   vm.vmm.ballooned = base + 12;
   vm.memory.pressureLimit = base + 13;
   vm.memory.memNeeded = base + 14;
   vm.vmm.swapTgt = base + 15;
   vm.swap.swapTgt = 9999;
   vm.swap.swapped = base + 16;
   vm.vmm.mapped = base + 57;
   vm.vmm.touched = base + 18;
   vm.vmm.zipped = base + 19;
   vm.vmm.vpmemRO = base + 20;
   vm.vmm.vpmemRW = base + 21;
   vm.vmm.vpmemUC = base + 22;
   vm.vmm.zipSaved = base + 23;
   vm.vmm.shared = base + 24;
   vm.vmm.zero = base + 25;
   vm.vmm.sharedSaved = base + 26;
   vm.vmm.swapScope = base + 27;
   return vm;
}

uint32_t VmmGroupOf(uint32_t vm)
{
   return 100 + vm;
}

void SetVm(Scenario *scenario, uint32_t number, const Vm &vm)
{
   scenario->Group(number).Children({VmmGroupOf(number)}).Alloc(vm.vmAlloc).MemoryStats(vm.memory);
   scenario->Group(VmmGroupOf(number)).Flags(GROUP_VMM_SUB_CONTAINER).Alloc(vm.vmmAlloc);
   scenario->Record(NodeId::vm_vmmGroupInfo, {VmmLeaderOf(number)}, vm.info);
   scenario->Record(NodeId::sched_memClients_kelmar_vmm, {LeaderOf(number)}, vm.vmm);
   scenario->Record(NodeId::sched_memClients_swapInfo, {VmmLeaderOf(number)}, vm.swap);
}

Scenario VmsWith(const std::vector<Vm> &vms)
{
   Scenario scenario = HostWithVms(static_cast<uint32_t>(vms.size()));
   for (uint32_t vm = 1; vm <= vms.size(); vm++) {
      SetVm(&scenario, vm, vms[vm - 1]);
   }
   return scenario;
}

Scenario TwoVms()
{
   Vm first = VmFrom(100);
   first.vmm.balloonActive = 1;
   first.memory.isUnderPressure = 2;
   SetText(first.info.displayName, "vm.1 display");
   SetText(first.info.configPath, "/vmfs/vm.1");
   Vm second = VmFrom(200);
   second.vmm.useReliableMem = 4;
   SetText(second.info.displayName, "vm.2 display");
   SetText(second.info.configPath, "/vmfs/vm.2");
   return VmsWith({first, second});
}

TEST(VmStats, PrintsItsTable)
{
   const RunResult run = RunHostmem(TwoVms(), {"-r", "vm-stats", "-v"});
   EXPECT_EQ(run.out, R"(
 VIRTUAL MACHINE STATS: Tue Nov 14 22:13:20 2023
 -----------------------------------------------
   Start Group ID   : 0
   No. of levels    : 12
   Unit             : KB
   Selected columns : name:b:schedGrp:parSchedGroup:worldGrp:memSizeLimit:memSize:min:max:minLimit:shares:ovhdResv:ovhd:allocTgt:consumed:balloonTgt:ballooned:pressureLimit:memNeeded:isUnderPressure:swapTgt:swapped:mapped:touched:zipped:vpmemRO:vpmemRW:vpmemUC:zipSaved:shared:zero:sharedSaved:useReliableMem:swapScope

--------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------
           name b   schedGrp parSchedGroup   worldGrp memSizeLimit    memSize        min        max   minLimit     shares   ovhdResv       ovhd   allocTgt   consumed balloonTgt  ballooned pressureLimit  memNeeded isUnderPressure    swapTgt    swapped     mapped    touched     zipped    vpmemRO    vpmemRW    vpmemUC   zipSaved     shared       zero sharedSaved useReliableMem swapScope
--------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------
           vm.1 y          1             0         71          101        102        103        104        105        106        107        108        109         32        111        112           113        114               y        115        116        157        118        119        120        121        122        123        124        125         126              n       127
           vm.2 n          2             0         72          201        202        203        204        205        206        207        208        209         32        211        212           213        214               n        215        216        257        218        219        220        221        222        223        224        225         226              y       227
--------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------
          Total                                                302        304        306                                         314        316        318         64        322        324           326        328                        330        332        414        336        338        340        342        344        346        348        350         352                         
--------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------------
Description of report header labels:
                name: Virtual machine group name
                   b: Is balloon driver active?
            schedGrp: Scheduler group ID
       parSchedGroup: Parent scheduler group ID
            worldGrp: World group ID
        memSizeLimit: Upper bound on guest physical memory size
             memSize: Guest physical memory size
                 min: Configured host physical memory reservation for guest
                 max: Configured host physical memory limit for guest
            minLimit: Configured upper bound for VM reservation (includes ovhdResv)
              shares: Configured shares
            ovhdResv: Reserved overhead memory
                ovhd: Consumed overhead memory
            allocTgt: Host physical memory allocation target
            consumed: Host physical memory consumed by guest
          balloonTgt: Target balloon size
           ballooned: Actual balloon size
       pressureLimit: Reclamation limit before the guest is under pressure
           memNeeded: Memory required by the guest for optimal performance
     isUnderPressure: Is the guest experiencing pressure?
             swapTgt: Host swap target
             swapped: Amount swapped by host
              mapped: Guest physical memory backed by host memory
             touched: Guest physical memory actively used by VM
              zipped: Guest physical memory that is compressed
             vpmemRO: Guest physical persistent memory that is cached read-only
             vpmemRW: Guest physical persistent memory that is cached read-write
             vpmemUC: Guest physical persistent memory that is not yet cached
            zipSaved: Host physical memory saved by compression
              shared: Subset of mapped that is marked COW as a result of page-sharing
                zero: Subset of shared pages that are zero-filled
         sharedSaved: Host physical memory saved as a result of page-sharing
      useReliableMem: Uses Reliable memory
           swapScope: Swap scope
)");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_THAT(run, RanCleanly());
}

TEST(VmStats, PrintsItsTableWithTheExtraColumnsAsCsv)
{
   const RunResult run = RunHostmem(TwoVms(), {"-r", "vm-stats", "-x", "-q"});
   EXPECT_EQ(
      run.out,
      R"(name,b,schedGrp,parSchedGroup,worldGrp,memSizeLimit,memSize,min,max,minLimit,shares,ovhdResv,ovhd,allocTgt,consumed,balloonTgt,ballooned,pressureLimit,memNeeded,isUnderPressure,swapTgt,swapped,mapped,touched,zipped,vpmemRO,vpmemRW,vpmemUC,zipSaved,shared,zero,sharedSaved,useReliableMem,swapScope,dname,quenPath
vm.1,y,1,0,71,101,102,103,104,105,106,107,108,109,32,111,112,113,114,y,115,116,157,118,119,120,121,122,123,124,125,126,n,127,vm.1 display,/vmfs/vm.1
vm.2,n,2,0,72,201,202,203,204,205,206,207,208,209,32,211,212,213,214,n,215,216,257,218,219,220,221,222,223,224,225,226,y,227,vm.2 display,/vmfs/vm.2
Total,,,,,302,304,306,,,,314,316,318,64,322,324,326,328,,330,332,414,336,338,340,342,344,346,348,350,352,,,,
)");
   EXPECT_EQ(run.exitStatus, 0);
}

TEST(VmStats, ReadsAVmInThisOrder)
{
   const RunResult run = RunHostmem(TwoVms(), {"-r", "vm-stats", "-g", "1", "-l", "1", "-q"});
   TraceLines reads = VmIdentityReads() + OneKeyRead("worldGroups_vmmLeaderID", LeaderOf(1), 4) +
                      OneKeyRead("vm_vmmGroupInfo", VmmLeaderOf(1), 3268);
   reads += {"Nevra_ParamListCreate(1, 2) = #1",
             "Nevra_ParamListAddInt(#1, 1) = 0",
             "Nevra_GetInstanceListAlloc(sched_groups_members_groups, #1 [1]) = 0 #3 [101]",
             "Nevra_ParamListRemoveLastParam(#1) = 0",
             "Nevra_ParamListDestroy(#1)",
             "Nevra_ParamListUsedCount(#3) = 1",
             "Nevra_ParamListGetInt64(#3, 0) = 0 101"};
   reads += OneKeyRead("sched_groups_groupFlags", 101, 4);
   reads += {"Nevra_ParamListDestroy(#3)"};
   reads += OneKeyRead("sched_groups_memAllocationInKB", 1, 36) +
            OneKeyRead("sched_groups_memAllocationInKB", 101, 36) +
            OneKeyRead("sched_memClients_kelmar_vmm", LeaderOf(1), 336) +
            OneKeyRead("sched_memClients_swapInfo", VmmLeaderOf(1), 220) +
            OneKeyRead("sched_groups_stats_memoryStats", 1, 320);
   EXPECT_EQ(JoinLines(run.trace), JoinLines(WalkOverGroup1(reads, {101})));
}

// ---- columns

TEST(VmStats, TheExtraColumnsShowWhateverIsSelected)
{
   for (const char *extra : {"-x", "--extra"}) {
      EXPECT_EQ(RunColumns(TwoVms(), "vm-stats", "name:memSize", {extra}).out,
                "name,memSize,dname,quenPath\n"
                "vm.1,102,vm.1 display,/vmfs/vm.1\n"
                "vm.2,202,vm.2 display,/vmfs/vm.2\n"
                "Total,304,,\n");
   }
}

TEST(VmStats, NoSelectionShowsTheExtraColumns)
{
   EXPECT_EQ(RunColumns(TwoVms(), "vm-stats", "name:dname:quenPath").out, "name\nvm.1\nvm.2\nTotal\n");
}

TEST(VmStats, TheBannerNamesAllColumnsOnceTheExtraOnesShow)
{
   EXPECT_EQ(RunHostmem(TwoVms(), {"-r", "vm-stats", "-x"}).OutLines()[6], "   Selected columns : (all)");
}

// ---- rows

// Kept for compatibility: the reservation and the limit are the VMM sub-container's, the rest the VM group's
// own.
TEST(VmStats, MixesTheAllocationsOfTheVmAndItsSubContainer)
{
   Vm vm = {};
   vm.vmmAlloc = {.min = 1, .max = 2, .shares = 3, .minLimit = 4};
   vm.vmAlloc = {.min = 5, .max = 6, .shares = 7, .minLimit = 8};
   EXPECT_EQ(RunColumns(VmsWith({vm}), "vm-stats", "name:min:max:minLimit:shares").out,
             "name,min,max,minLimit,shares\nvm.1,1,2,8,7\nTotal,1,,,\n");
}

TEST(VmStats, TakesTheFirstVmmSubContainerThatCanBeRead)
{
   Scenario scenario = VmsWith({VmFrom(100)});
   scenario.Group(1).Children({31, 32, 33, 101});
   scenario.Group(31).Flags(GROUP_UW_SUB_CONTAINER).Alloc({.min = 31});
   scenario.Group(32).Flags(GROUP_VMM_SUB_CONTAINER).Alloc({.min = 32});
   scenario.Group(32).FailRead(NodeId::sched_groups_groupFlags, NEVRA_NOT_FOUND);
   scenario.Group(33).Flags(GROUP_VMM_SUB_CONTAINER | GROUP_LEAF).Alloc({.min = 33});
   EXPECT_EQ(RunColumns(scenario, "vm-stats", "name:min").out, "name,min\nvm.1,33\nTotal,33\n");
}

TEST(VmStats, AVmWithoutAVmmSubContainerIsLeftOutInSilence)
{
   for (const Keys &children : {Keys{}, Keys{31}, Keys{-1}}) {
      Scenario scenario = VmsWith({VmFrom(100), VmFrom(200)});
      scenario.Group(1).Children(children);
      scenario.Group(31).Flags(GROUP_UW_SUB_CONTAINER);
      scenario.Group(-1).Flags(GROUP_VMM_SUB_CONTAINER);
      const RunResult run = RunColumns(scenario, "vm-stats", "name:min");
      EXPECT_EQ(run.out, "name,min\nvm.2,203\nTotal,203\n");
      EXPECT_EQ(run.err, "");
      EXPECT_EQ(run.exitStatus, 0);
   }
}

// Kept for compatibility: what the VM has of persistent memory counts where it is not cached, and not where
// it is.
TEST(VmStats, ConsumedIsComputed)
{
   Vm vm = {};
   vm.vmm.mapped = 1000;
   vm.vmm.vpmemUC = 200;
   vm.vmm.vpmemRW = 30;
   vm.vmm.sharedSaved = 4;
   vm.memory.consumed = 9999;
   EXPECT_EQ(RunColumns(VmsWith({vm}), "vm-stats", "name:consumed").out,
             "name,consumed\nvm.1,1166\nTotal,1166\n");
   vm.vmm.sharedSaved = 1172;
   EXPECT_EQ(RunColumns(VmsWith({vm}), "vm-stats", "name:consumed").out,
             "name,consumed\nvm.1,18446744073709551614\nTotal,18446744073709551614\n");
}

TEST(VmStats, ALimitAboveTheThresholdIsNotAvailable)
{
   Vm vm = {};
   vm.vmmAlloc.min = 0xFFFFFFFFFF;
   vm.vmmAlloc.max = 0xFFFFFFFFFF;
   vm.vmAlloc.minLimit = 0xFFFFFFFFF1;
   EXPECT_EQ(RunColumns(VmsWith({vm}), "vm-stats", "name:min:max:minLimit").out,
             "name,min,max,minLimit\nvm.1,1099511627775,-1,-1\nTotal,1099511627775,,\n");
   EXPECT_EQ(RunColumns(VmsWith({vm}), "vm-stats", "name:min:max:minLimit", {"-u", "gb"}).out,
             "name,min,max,minLimit\nvm.1,1048576,-1,-1\nTotal,1048576,,\n");
   vm.vmmAlloc.max = 0xFFFFFFFFF0;
   vm.vmAlloc.minLimit = -2;
   EXPECT_EQ(RunColumns(VmsWith({vm}), "vm-stats", "name:max:minLimit").out,
             "name,max,minLimit\nvm.1,1099511627760,-1\nTotal,,\n");
}

TEST(VmStats, ConvertsMemoryButNeitherSharesNorTheSwapScope)
{
   Vm vm = VmFrom(1024);
   vm.vmm.vpmemUC += 1024;
   const RunResult run = RunHostmem(VmsWith({vm}), {"-r", "vm-stats", "-q", "-u", "mb"});
   EXPECT_EQ(run.OutLines()[1],
             "vm.1,n,1,0,71,2,2,2,2,2,1030,2,2,2,2,2,2,2,2,n,2,2,2,2,2,2,2,3,2,2,2,2,n,1051");
   EXPECT_EQ(run.OutLines()[2], "Total,,,,,2,2,2,,,,2,2,2,2,2,2,2,2,,2,2,2,2,2,2,2,3,2,2,2,2,,");
}

TEST(VmStats, TotalsSumKBAndConvertTheSum)
{
   Vm vm = {};
   vm.vmm.memSize = 100;
   vm.vmmAlloc.min = -1;
   EXPECT_EQ(RunColumns(VmsWith({vm, vm}), "vm-stats", "name:memSize:min", {"-u", "mb"}).out,
             "name,memSize,min\nvm.1,1,-1\nvm.2,1,-1\nTotal,1,0\n"); // -2 KB, rounded up
}

TEST(VmStats, TextsNeedNoTerminator)
{
   Vm vm = {};
   SetText(vm.info.displayName, std::string(1024, 'd'));
   SetText(vm.info.configPath, std::string(1984, 'p'));
   Scenario scenario = VmsWith({vm});
   scenario.Group(1).Name(std::string(64, 'n'));
   EXPECT_EQ(RunColumns(scenario, "vm-stats", "name", {"-x"}).out,
             "name,dname,quenPath\n" + std::string(63, 'n') + ',' + std::string(1023, 'd') + ',' +
                std::string(1983, 'p') + "\nTotal,,\n");
}

// ---- failures

TEST(VmStats, AVmWithoutFiguresIsLeftOutInSilence)
{
   for (const auto &[node, key] : {std::pair(NodeId::worldGroups_vmmLeaderID, LeaderOf(1)),
                                   std::pair(NodeId::sched_memClients_kelmar_vmm, LeaderOf(1)),
                                   std::pair(NodeId::sched_memClients_swapInfo, VmmLeaderOf(1)),
                                   std::pair(NodeId::sched_groups_stats_memoryStats, 1U)}) {
      Scenario scenario = TwoVms();
      scenario.FailRead(node, {key}, NEVRA_NOT_FOUND);
      const RunResult run = RunColumns(scenario, "vm-stats", "name:memSize");
      EXPECT_EQ(run.out, "name,memSize\nvm.2,202\nTotal,202\n");
      EXPECT_EQ(run.err, "");
      EXPECT_EQ(run.exitStatus, 0);
   }
}

TEST(VmStats, AVmThatCannotBeReadIsLeftOutWithItsChildren)
{
   Scenario scenario = VmsWith({VmFrom(100), VmFrom(200), VmFrom(300)});
   scenario.Group(0).Children({1, 2});
   scenario.Group(1).Children({VmmGroupOf(1), 3});
   EXPECT_EQ(RunColumns(scenario, "vm-stats", "name").out, "name\nvm.1\nvm.3\nvm.2\nTotal\n");
   scenario.FailRead(NodeId::vm_vmmGroupInfo, {VmmLeaderOf(1)}, NEVRA_NOT_FOUND);
   const RunResult run = RunColumns(scenario, "vm-stats", "name");
   EXPECT_EQ(run.out, "name\nvm.2\nTotal\n");
   EXPECT_EQ(run.err, "Nevra_Get: Not found\n");
   EXPECT_EQ(run.exitStatus, 0);
}

// The read of the names has its own list and its own messages, with which nothing is silent.
std::string InfoMessages(const Fault &fault)
{
   if (fault.operation == "Nevra_ParamListCreate") {
      return "Nevra_ParamListCreate() failure\n";
   }
   return (fault.operation == "Nevra_ParamListAddInt" ? "Nevra_ParamListAddInt: " : "Nevra_Get: ") +
          StatusText(fault.status) + '\n';
}

std::string SubContainerMessages(const Fault &fault)
{
   if (fault.operation == "Nevra_ParamListCreate") {
      return "KelmarGroupNevraGet: Nevra_ParamListCreate() failure\n";
   }
   return (fault.operation == "Nevra_ParamListAddInt"
              ? "Kelmar_GroupGetVMMAlloc: Nevra_ParamListAddInt() failure: "
              : "Kelmar_GroupGetVMMAlloc: GetInstanceListAlloc failure: ") +
          StatusText(fault.status) + '\n';
}

// Said after the query's own message, and of every status.
std::string AllocMessages(const Fault &fault, const std::string &read)
{
   const bool ofVm = read.find("[1]") != std::string::npos;
   return QueryMessages(fault, read, {}) +
          (ofVm ? "Kelmar_GroupGetVMMAlloc: VM GroupGetAlloc failure, error code: "
                : "Kelmar_GroupGetVMMAlloc: GroupGetAlloc failure, error code: ") +
          std::to_string(fault.status) + '\n';
}

std::optional<std::string> VmMessages(const Fault &fault, const std::string &read)
{
   if (fault.operation == "Nevra_ParamListGetInt64") {
      return ""; // a child that has no ID is passed over
   }
   if (read.starts_with("Nevra_Get(vm_vmmGroupInfo")) {
      return InfoMessages(fault);
   }
   if (read.starts_with("Nevra_GetInstanceListAlloc(")) {
      return SubContainerMessages(fault);
   }
   if (read.starts_with("Nevra_Get(sched_groups_memAllocationInKB")) {
      return AllocMessages(fault, read);
   }
   return std::nullopt;
}

TEST(VmStats, EveryFaultIsReportedAndLeavesNoRow)
{
   CheckFaultsLeaveNoRow(TwoVms(), "vm-stats",
                         {{"sched_memClients_kelmar_vmm", "KelmarVMGetVMMStats"},
                          {"sched_memClients_swapInfo", "KelmarVMGetSwapStats"}},
                         VmMessages);
}

TEST(VmStats, EveryFaultInAWholeTreeFreesItsLists)
{
   CheckEveryFault(TwoVms(), {"-r", "vm-stats", "-q"});
}

TEST(VmStats, TheNamesAreReleasedAfterAFailedRead)
{
   Scenario scenario = TwoVms();
   scenario.FailRead(NodeId::vm_vmmGroupInfo, {VmmLeaderOf(1)}, NEVRA_BAD_PARAMETER);
   const RunResult run = RunHostmem(scenario, {"-r", "vm-stats", "-g", "1", "-l", "1", "-q"});
   TraceLines read = OneKeyRead("vm_vmmGroupInfo", VmmLeaderOf(1), 3268, 1, NEVRA_BAD_PARAMETER);
   read.insert(read.begin() + 3, "Warning(\"Nevra_Get: Bad parameter\\n\")");
   EXPECT_EQ(JoinLines(run.trace),
             JoinLines(WalkOverGroup1(
                VmIdentityReads() + OneKeyRead("worldGroups_vmmLeaderID", LeaderOf(1), 4) + read, {101})));
}

} // namespace
