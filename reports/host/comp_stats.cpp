#include "nevra/records.h"
#include "nevra/values.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/host_report.h"
#include "report/table_output.h"
#include "reports/report_list.h"
#include "sysinfo/node_read.h"

namespace {

ReportColumn columns[] = {
   {"total", "Total physical memory on host", 10, "lu", kNotTotalled, kSelectable, kShown, Unit::Memory,
    Role::Gauge},
   {"discarded", "Discarded by tarvos  ", 10, "lu", kNotTotalled, kSelectable, kShown, Unit::Memory,
    Role::Gauge},
   {"managedByMemMap", "Memory managed by MemMap", 10, "lu", kNotTotalled, kSelectable, kShown, Unit::Memory,
    Role::Gauge},
   {"reliableMem", "Reliable memory", 10, "lu", kNotTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
   {"kernelCode", "Tarvos code region", 10, "lu", kNotTotalled, kSelectable, kShown, Unit::Memory,
    Role::Gauge},
   {"dataAndHeap", "Tarvos data and heap", 10, "lu", kNotTotalled, kSelectable, kShown, Unit::Memory,
    Role::Gauge},
   {"buddyOvhd", "Memmap buddy overhead ", 10, "lu", kNotTotalled, kSelectable, kShown, Unit::Memory,
    Role::Gauge},
   {"rsvdLow", "Reserved low memory", 10, "lu", kNotTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
   {"managedByMemSched", "Memory managed by MemSched", 10, "lu", kNotTotalled, kSelectable, kShown,
    Unit::Memory, Role::Gauge},
   {"minFree", "Min Free", 10, "lu", kNotTotalled, kSelectable, kShown, Unit::Memory, Role::Gauge},
   {"orskaClientConsumed", "Consumed by tarvos clients", 10, "lu", kNotTotalled, kSelectable, kShown,
    Unit::Memory, Role::Gauge},
   {"otherConsumed", "Consumed by non-tarvos clients", 10, "lu", kNotTotalled, kSelectable, kShown,
    Unit::Memory, Role::Gauge},
   {"free", "Available (Free) physical memory", 10, "lu", kNotTotalled, kSelectable, kShown, Unit::Memory,
    Role::Gauge},
   {"numHigh", "Num times host in high state", 10, "u", kNotTotalled, kSelectable, kShown, Unit::Count,
    Role::Counter},
   {"numClear", "Num times host in clear state", 10, "u", kNotTotalled, kSelectable, kShown, Unit::Count,
    Role::Counter},
   {"numSoft", "Num times host in soft state", 10, "u", kNotTotalled, kSelectable, kShown, Unit::Count,
    Role::Counter},
   {"numHard", "Num of times host in hard state", 10, "u", kNotTotalled, kSelectable, kShown, Unit::Count,
    Role::Counter},
   {"numLow", "Num of times host in low state", 10, "u", kNotTotalled, kSelectable, kShown, Unit::Count,
    Role::Counter},
   {"memState", "Current memory state", 7, "s", kNotTotalled, kSelectable, kShown, Unit::Text, Role::Label},
   kEndOfColumns,
};

struct GlobalFigures {
   GlobalMemSchedInfo info;
   uint32_t up[kMemStateCount];   // times the host left a state for the next one toward high
   uint32_t down[kMemStateCount]; // and toward low
};

const char *MemStateDisplayName(uint32_t state)
{
   switch (MemState{state}) {
   case MemState::High:
      return "High";
   case MemState::Clear:
      return "Clear";
   case MemState::Soft:
      return "Soft";
   case MemState::Hard:
      return "Hard";
   case MemState::Low:
      return "Low";
   default:
      return "Unknown";
   }
}

NevraStatus GetMemMapStats(CompMemMapStats *stats)
{
   return ReadNode({.node = NEVRA_NODE_memory_comprehensive,
                    .capacity = 1,
                    .noList = {"KelmarCompGetMemMapStats: Nevra_ParamListCreate() failure"}},
                   {}, stats, sizeof *stats);
}

constexpr FailureMessage kNoGlobalList = {"KelmarCompGetGlobalKelmar: Nevra_ParamListCreate() failure"};

NevraStatus GetTransitions(const char *state, MemStateTransitions *transitions)
{
   return ReadNode(
      {.node = NEVRA_NODE_sched_globalStats_memory_stateTransitions, .capacity = 2, .noList = kNoGlobalList},
      {state}, transitions, sizeof *transitions);
}

NevraStatus GetSchedInfo(GlobalMemSchedInfo *info)
{
   return ReadNode(
      {.node = NEVRA_NODE_sched_globalStats_memory_kelmar, .capacity = 1, .noList = kNoGlobalList}, {}, info,
      sizeof *info);
}

NevraStatus GetGlobalFigures(GlobalFigures *figures)
{
   NevraStatus status = GetSchedInfo(&figures->info);
   for (uint32_t i = 0; i < kMemStateCount && status == NEVRA_OK; i++) {
      MemStateTransitions transitions = {};
      status = GetTransitions(memStateNames[i], &transitions);
      if (status == NEVRA_OK) {
         figures->up[i] = transitions.numToHigher;
         figures->down[i] = transitions.numToLower;
      }
   }
   return status;
}

void PutCompRow(const HostRun &run, const CompMemMapStats &memMap, const GlobalFigures &global)
{
   const auto inUnit = [&run](uint64_t kb) { return ConvertKB(kb, run.unit); };
   const uint32_t *up = global.up;
   const uint32_t *down = global.down;
   // A host enters a state from the neighbour below it or from the one above; it starts in high.
   const uint32_t numHigh = up[1] + 1;
   const uint32_t numClear = up[2] + down[0];
   const uint32_t numSoft = up[3] + down[1];
   const uint32_t numHard = up[4] + down[2];
   const uint32_t numLow = down[3];
   PutRow(*run.output, RowKind::Data, columns, inUnit(memMap.total), inUnit(memMap.discarded),
          inUnit(memMap.managedByMemMap), inUnit(memMap.reliableMem), inUnit(memMap.kernelCode),
          inUnit(memMap.dataAndHeap), inUnit(memMap.buddyOvhd), inUnit(memMap.rsvdLow),
          inUnit(global.info.managedByMemSched), inUnit(global.info.minFree),
          inUnit(memMap.orskaClientConsumed), inUnit(memMap.otherConsumed), inUnit(memMap.free), numHigh,
          numClear, numSoft, numHard, numLow, MemStateDisplayName(global.info.memState));
}

NevraStatus PutCompRows(HostRun *run)
{
   CompMemMapStats memMap = {};
   NevraStatus status = GetMemMapStats(&memMap);
   if (status != NEVRA_OK) {
      return status;
   }
   GlobalFigures global = {};
   status = GetGlobalFigures(&global);
   if (status != NEVRA_OK) {
      return status;
   }
   PutCompRow(*run, memMap, global);
   return NEVRA_OK;
}

constexpr option kLongOptions[] = {kUnitOption, kSelectionOption, kVerboseOption, kCsvOption, kEndOfOptions};

constexpr HostReport kReport = {.shortOptions = "s:u:vq",
                                .longOptions = kLongOptions,
                                .title = "COMPREHENSIVE STATS",
                                .ruleLength = 45,
                                .columns = columns,
                                .putRows = PutCompRows};

} // namespace

constinit const ReportDescription compStatsDescription =
   DescribeHostReport(kReport, USAGE_REPORT_OPTIONS USAGE_UNIT USAGE_UNIT_NOTE, false);

NevraStatus CompStatsReport(const ReportArguments &arguments)
{
   HostRun run;
   return RunHostReport(kReport, arguments, &run);
}
