#include "reports/host/lpool_stats.h"

#include <cstdio>

#include "nevra/records.h"
#include "report/banner.h"
#include "report/column_table.h"
#include "report/grid.h"
#include "report/report_options.h"
#include "sysinfo/param_list.h"

namespace {

ReportColumn columns[] = {
   {"name", "Large page pool name", 15, "s", 1, 1, 1},
   {"nodeID", "Home memory node the pool", 7, "u", 0, 0, 1},
   {"nrLPages", "# of large pages in the pool", 16, "u", 1, 0, 1},
   {"nrFreeSPages", "# of small pages free", 16, "u", 1, 0, 1},
   {"nrSPageAllocs", "Total small page alloc count", 16, "lu", 1, 0, 1},
   {"nrSPageFrees", "Total small page free count", 16, "lu", 1, 0, 1},
   {"nrReapAttempts", "Total reap attemts", 16, "lu", 1, 0, 1},
   {"nrSPagesReaped", "Total number of small pages reaped", 16, "lu", 1, 0, 1},
   {"nrDefragAttempts", "Total large page defrag attempts", 16, "lu", 1, 0, 1},
   {"nrDefragCancelled", "Total defrag attempts cancelled", 16, "lu", 1, 0, 1},
   {"nrDefragReaped", "Total defrag attempts reaped", 16, "lu", 1, 0, 1},
   {"nrLPagesDefragged", "Total number of large pages defragged", 16, "lu", 1, 0, 1},
   {"peakDefragAttempts", "Peak defrag attempts for any large page", 16, "lu", 1, 0, 1},
   {"nrCachehit", "Hit count in lpage victim cache", 16, "lu", 1, 0, 1},
   kEndOfColumns,
};

constexpr uint32_t kTotalNodeID = 255; // never seen: a Total row leaves the node blank

void PrintLPoolRow(const LPagePoolRecord &record, const char *name, uint32_t nodeID, bool isTotalRow,
                   bool csvMode)
{
   PrintReportRow(
      columns, csvMode, isTotalRow,
      {name, nodeID, uint32_t{record.nrLPages}, uint32_t{record.nrFreeSPages}, uint64_t{record.nrSPageAllocs},
       uint64_t{record.nrSPageFrees}, uint64_t{record.nrReapAttempts}, uint64_t{record.nrSPagesReaped},
       uint64_t{record.nrDefragAttempts}, uint64_t{record.nrDefragCancelled}, uint64_t{record.nrDefragReaped},
       uint64_t{record.nrLPagesDefragged}, uint64_t{record.peakDefragAttempts}, uint64_t{record.nrCachehit}});
}

void AddToTotals(LPagePoolRecord *totals, const LPagePoolRecord &record)
{
   totals->nrLPages += record.nrLPages;
   totals->nrFreeSPages += record.nrFreeSPages;
   totals->nrSPageAllocs += record.nrSPageAllocs;
   totals->nrSPageFrees += record.nrSPageFrees;
   totals->nrReapAttempts += record.nrReapAttempts;
   totals->nrSPagesReaped += record.nrSPagesReaped;
   totals->nrDefragAttempts += record.nrDefragAttempts;
   totals->nrDefragCancelled += record.nrDefragCancelled;
   totals->nrDefragReaped += record.nrDefragReaped;
   totals->nrLPagesDefragged += record.nrLPagesDefragged;
   totals->peakDefragAttempts += record.peakDefragAttempts; // meant: the peaks are summed
   totals->nrCachehit += record.nrCachehit;
}

NevraStatus GetPSharePool(uint32_t nodeID, LPagePoolRecord *record)
{
   ParamListPtr params = CreateParamList(1);
   if (params == nullptr) {
      Warning("KelmarGetPSharePoolStats: Nevra_ParamListCreate() failure\n");
      return NEVRA_FAILURE;
   }
   NevraStatus status = Nevra_ParamListAddInt(params.get(), nodeID);
   if (status != NEVRA_OK) {
      Warning("KelmarGetPSharePoolStats: Nevra_ParamListAddInt() failure, error code: %u\n", status);
      return status;
   }
   status =
      Nevra_Get(NEVRA_NODE_memory_lpage_nodeList_psharePool, params.get(), record, sizeof(LPagePoolRecord));
   if (status != NEVRA_OK) {
      Warning("KelmarGetVmPoolStats() failure, error code: %u\n", status); // meant: the VM pools' message
   }
   return status;
}

NevraStatus GetVmPool(uint32_t nodeID, const char *name, LPagePoolRecord *record)
{
   ParamListPtr params = CreateParamList(2);
   if (params == nullptr) {
      Warning("KelmarGetVmPoolStats: Nevra_ParamListCreate() failure\n");
      return NEVRA_FAILURE;
   }
   NevraStatus status = Nevra_ParamListAddInt(params.get(), nodeID);
   if (status != NEVRA_OK) {
      Warning("KelmarGetVmPoolStats: Nevra_ParamListAddInt() failure, error code: %u\n", status);
      return status;
   }
   status = Nevra_ParamListAddString(params.get(), name);
   if (status != NEVRA_OK) {
      Warning("KelmarGetVmPoolStats: Nevra_ParamListAddString() failure, error code: %u\n", status);
      return status;
   }
   status =
      Nevra_Get(NEVRA_NODE_memory_lpage_nodeList_vmPools, params.get(), record, sizeof(LPagePoolRecord));
   if (status != NEVRA_OK) {
      Warning("KelmarGetVmPoolStats() failure, error code: %u\n", status);
   }
   return status;
}

void VisitPSharePool(uint32_t nodeID, LPagePoolRecord *totals, bool csvMode)
{
   LPagePoolRecord record = {};
   if (GetPSharePool(nodeID, &record) != NEVRA_OK) {
      return;
   }
   char name[sizeof "pshare-4294967295"];
   std::snprintf(name, sizeof name, "%s%u", "pshare-", nodeID);
   PrintLPoolRow(record, name, nodeID, false, csvMode);
   AddToTotals(totals, record);
}

NevraStatus ListVmPools(uint32_t nodeID, uint32_t numVMs, ParamListPtr *pools)
{
   ParamListPtr params = CreateParamList(2);
   if (params == nullptr) {
      Warning("KelmarTraverseLPools: Nevra_ParamListCreate() failure\n");
      return NEVRA_FAILURE;
   }
   const NevraStatus status = Nevra_ParamListAddInt(params.get(), nodeID);
   if (status != NEVRA_OK) {
      Warning("KelmarTraverseLPools: Nevra_ParamListAddInt() failure, error code: %u\n", status);
      return NEVRA_FAILURE;
   }
   Nevra_ParamList *instances = nullptr;
   if (Nevra_GetInstanceListAllocHint(NEVRA_NODE_memory_lpage_nodeList_vmPools, params.get(), numVMs,
                                      &instances) != NEVRA_OK ||
       instances == nullptr) {
      params.reset();
      Warning("KelmarTraverseLPools: Nevra_GetInstanceListAllocHint() failure\n");
      return NEVRA_FAILURE;
   }
   pools->reset(instances);
   return NEVRA_OK;
}

NevraStatus VisitVmPools(uint32_t nodeID, uint32_t numVMs, LPagePoolRecord *totals, bool csvMode)
{
   ParamListPtr pools;
   const NevraStatus status = ListVmPools(nodeID, numVMs, &pools);
   if (status != NEVRA_OK) {
      return status;
   }
   const uint32_t count = Nevra_ParamListUsedCount(pools.get());
   for (uint32_t i = 0; i < count; i++) {
      const char *name = "";
      if (Nevra_ParamListGetString(pools.get(), i, &name) != NEVRA_OK) {
         Warning("KelmarTraverseLPools: Nevra_ParamListGetString() failure\n");
         return NEVRA_FAILURE;
      }
      LPagePoolRecord record = {};
      if (GetVmPool(nodeID, name, &record) == NEVRA_OK) {
         PrintLPoolRow(record, name, nodeID, false, csvMode);
         AddToTotals(totals, record);
      }
   }
   return NEVRA_OK;
}

// Prints a row per pool, node by node, and sums them. A pool that cannot be read is reported and left out;
// "Failure" ends the walk when a node's pools cannot be listed.
NevraStatus TraverseLPools(LPagePoolRecord *totals, bool csvMode)
{
   MemInfoRecord memInfo = {};
   if (Nevra_Get(NEVRA_NODE_memory_memInfo, nullptr, &memInfo, sizeof memInfo) != NEVRA_OK) {
      Warning("KelmarTraversLPools: Nevra_Get hardwareInfo failure\n");
      return NEVRA_FAILURE;
   }
   NumVMsRecord vms = {};
   if (Nevra_Get(NEVRA_NODE_sched_globalStats_numVMs, nullptr, &vms, sizeof vms) != NEVRA_OK) {
      Warning("KelmarTraversLPools: Nevra_Get numVMs failure\n");
      return NEVRA_FAILURE;
   }
   for (uint32_t nodeID = 0; nodeID < memInfo.numMemNodes; nodeID++) {
      VisitPSharePool(nodeID, totals, csvMode);
      const NevraStatus status = VisitVmPools(nodeID, vms.numVMs, totals, csvMode);
      if (status != NEVRA_OK) {
         return status;
      }
   }
   return NEVRA_OK;
}

constexpr char kShortOptions[] = "s:vq";
constexpr option kLongOptions[] = {kVerboseOption, kSelectionOption, kCsvOption, kEndOfOptions};

} // namespace

constinit const ReportDescription lpoolStatsDescription = {
   .columns = columns, .shortOptions = kShortOptions, .longOptions = kLongOptions, .hasTotalRow = true};

NevraStatus LPoolStatsReport(int argc, char **argv)
{
   ReportOptions options;
   NevraStatus status = ParseReportOptions(argc, argv, kShortOptions, kLongOptions, &options);
   if (status != NEVRA_OK) {
      return status;
   }
   ApplyColumnSelection(columns, options.selection);
   if (!options.csvMode) {
      PrintBannerTitle("LPAGE POOL STATS", 43);
      PrintBannerSelectedColumns(columns);
   }
   PrintTableHead(columns, options.csvMode);
   LPagePoolRecord totals = {};
   status = TraverseLPools(&totals, options.csvMode);
   if (status != NEVRA_OK) {
      return status;
   }
   PrintSeparatorLine(columns, options.csvMode);
   PrintLPoolRow(totals, "Total", kTotalNodeID, true, options.csvMode);
   PrintSeparatorLine(columns, options.csvMode);
   if (options.verbose) {
      DescribeColumns(columns);
      std::puts("Displayed stats are either in small 4K page (SPage) or large 2M page (LPage) units");
   }
   return NEVRA_OK;
}
