#include "reports/host/comp_stats.h"

#include <iterator>

#include "nevra/records.h"
#include "report/banner.h"
#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/grid.h"
#include "report/report_options.h"
#include "sysinfo/param_list.h"

namespace {

// The memory states, from most free memory to least, by the names that the transition node goes by.
constexpr const char *memStateNames[] = {"high", "clear", "soft", "hard", "low", "unknown", nullptr};
constexpr uint32_t kMemStateCount = 5;

ReportColumn columns[] = {
   {"total", "Total physical memory on host", 10, "lu", 0, 0, 1},
   {"discarded", "Discarded by tarvos  ", 10, "lu", 0, 0, 1},
   {"managedByMemMap", "Memory managed by MemMap", 10, "lu", 0, 0, 1},
   {"reliableMem", "Reliable memory", 10, "lu", 0, 0, 1},
   {"kernelCode", "Tarvos code region", 10, "lu", 0, 0, 1},
   {"dataAndHeap", "Tarvos data and heap", 10, "lu", 0, 0, 1},
   {"buddyOvhd", "Memmap buddy overhead ", 10, "lu", 0, 0, 1},
   {"rsvdLow", "Reserved low memory", 10, "lu", 0, 0, 1},
   {"managedByMemSched", "Memory managed by MemSched", 10, "lu", 0, 0, 1},
   {"minFree", "Min Free", 10, "lu", 0, 0, 1},
   {"orskaClientConsumed", "Consumed by tarvos clients", 10, "lu", 0, 0, 1},
   {"otherConsumed", "Consumed by non-tarvos clients", 10, "lu", 0, 0, 1},
   {"free", "Available (Free) physical memory", 10, "lu", 0, 0, 1},
   {"numHigh", "Num times host in high state", 10, "u", 0, 0, 1},
   {"numClear", "Num times host in clear state", 10, "u", 0, 0, 1},
   {"numSoft", "Num times host in soft state", 10, "u", 0, 0, 1},
   {"numHard", "Num of times host in hard state", 10, "u", 0, 0, 1},
   {"numLow", "Num of times host in low state", 10, "u", 0, 0, 1},
   {"memState", "Current memory state", 7, "s", 0, 0, 1},
   kEndOfColumns,
};

struct GlobalFigures {
   GlobalMemSchedInfo info;
   uint32_t up[kMemStateCount];   // times the host left a state for the next one toward high
   uint32_t down[kMemStateCount]; // and toward low
};

const char *MemStateDisplayName(uint32_t state)
{
   switch (state) {
   case 0:
      return "High";
   case 1:
      return "Clear";
   case 2:
      return "Soft";
   case 3:
      return "Hard";
   case 4:
      return "Low";
   default:
      return "Unknown";
   }
}

NevraStatus GetMemMapStats(CompMemMapStats *stats)
{
   ParamListPtr params = CreateParamList(1);
   if (params == nullptr) {
      Warning("KelmarCompGetMemMapStats: Nevra_ParamListCreate() failure\n");
      return NEVRA_FAILURE;
   }
   return Nevra_Get(NEVRA_NODE_memory_comprehensive, params.get(), stats, sizeof *stats);
}

ParamListPtr CreateGlobalParamList(uint32_t capacity)
{
   ParamListPtr params = CreateParamList(capacity);
   if (params == nullptr) {
      Warning("KelmarCompGetGlobalKelmar: Nevra_ParamListCreate() failure\n");
   }
   return params;
}

NevraStatus GetTransitions(const char *state, MemStateTransitions *transitions)
{
   ParamListPtr params = CreateGlobalParamList(2);
   if (params == nullptr) {
      return NEVRA_FAILURE;
   }
   const NevraStatus status = Nevra_ParamListAddString(params.get(), state);
   if (status != NEVRA_OK) {
      return status;
   }
   return Nevra_Get(NEVRA_NODE_sched_globalStats_memory_stateTransitions, params.get(), transitions,
                    sizeof *transitions);
}

NevraStatus GetSchedInfo(GlobalMemSchedInfo *info)
{
   ParamListPtr params = CreateGlobalParamList(1);
   if (params == nullptr) {
      return NEVRA_FAILURE;
   }
   return Nevra_Get(NEVRA_NODE_sched_globalStats_memory_kelmar, params.get(), info, sizeof *info);
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

void PrintCompRow(const CompMemMapStats &memMap, const GlobalFigures &global, DisplayUnit unit, bool csvMode)
{
   const auto inUnit = [unit](uint64_t kb) { return ConvertKB(kb, unit); };
   const uint32_t *up = global.up;
   const uint32_t *down = global.down;
   // A host enters a state from the neighbour below it or from the one above; it starts in high.
   const uint32_t numHigh = up[1] + 1;
   const uint32_t numClear = up[2] + down[0];
   const uint32_t numSoft = up[3] + down[1];
   const uint32_t numHard = up[4] + down[2];
   const uint32_t numLow = down[3];
   PrintReportRow(columns, csvMode, false,
                  {inUnit(memMap.total), inUnit(memMap.discarded), inUnit(memMap.managedByMemMap),
                   inUnit(memMap.reliableMem), inUnit(memMap.kernelCode), inUnit(memMap.dataAndHeap),
                   inUnit(memMap.buddyOvhd), inUnit(memMap.rsvdLow), inUnit(global.info.managedByMemSched),
                   inUnit(global.info.minFree), inUnit(memMap.orskaClientConsumed),
                   inUnit(memMap.otherConsumed), inUnit(memMap.free), numHigh, numClear, numSoft, numHard,
                   numLow, MemStateDisplayName(global.info.memState)});
}

constexpr char kShortOptions[] = "s:u:vq";
constexpr option kLongOptions[] = {kUnitOption, kSelectionOption, kVerboseOption, kCsvOption, kEndOfOptions};

} // namespace

constinit const ReportDescription compStatsDescription = {
   .columns = columns, .shortOptions = kShortOptions, .longOptions = kLongOptions};

NevraStatus CompStatsReport(int argc, char **argv)
{
   ReportOptions options;
   NevraStatus status = ParseReportOptions(argc, argv, kShortOptions, kLongOptions, &options);
   if (status != NEVRA_OK) {
      return status;
   }
   DisplayUnit unit;
   status = ParseDisplayUnit(options.unitText, false, &unit);
   if (status != NEVRA_OK) {
      return status;
   }
   ApplyColumnSelection(columns, options.selection);
   if (!options.csvMode) {
      PrintBannerTitle("COMPREHENSIVE STATS", 45);
      PrintBannerUnit(unit);
      PrintBannerSelectedColumns(columns);
   }
   PrintTableHead(columns, options.csvMode);

   CompMemMapStats memMap = {};
   status = GetMemMapStats(&memMap);
   if (status != NEVRA_OK) {
      return status;
   }
   GlobalFigures global = {};
   status = GetGlobalFigures(&global);
   if (status != NEVRA_OK) {
      return status;
   }
   PrintCompRow(memMap, global, unit, options.csvMode);
   PrintSeparatorLine(columns, options.csvMode);
   if (options.verbose) {
      DescribeColumns(columns);
   }
   return NEVRA_OK;
}
