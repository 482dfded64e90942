#include <cstdio>

#include "nevra/records.h"
#include "report/figure_table.h"
#include "report/host_report.h"
#include "reports/report_list.h"
#include "sysinfo/node_read.h"

namespace {

struct LPoolRow {
   const char *name;
   uint32_t nodeID;
   LPagePoolRecord pool;
};

using Row = LPoolRow;

// The Total row has the sum of the peaks, too. Kept for compatibility.
constexpr Figure kFigures[] = {
   {{"name", "Large page pool name", 15, "s", kTotalled, kKey, kShown, Unit::Text, Role::Label},
    ROW_FIELD(name)},
   {{"nodeID", "Home memory node the pool", 7, "u", kNotTotalled, kSelectable, kShown, Unit::Number,
     Role::Label},
    ROW_FIELD(nodeID)},
   {{"nrLPages", "# of large pages in the pool", 16, "u", kTotalled, kSelectable, kShown, Unit::Blocks2MB,
     Role::Gauge},
    ROW_FIELD(pool.nrLPages)},
   {{"nrFreeSPages", "# of small pages free", 16, "u", kTotalled, kSelectable, kShown, Unit::Pages4KB,
     Role::Gauge},
    ROW_FIELD(pool.nrFreeSPages)},
   {{"nrSPageAllocs", "Total small page alloc count", 16, "lu", kTotalled, kSelectable, kShown, Unit::Count,
     Role::Counter},
    ROW_FIELD(pool.nrSPageAllocs)},
   {{"nrSPageFrees", "Total small page free count", 16, "lu", kTotalled, kSelectable, kShown, Unit::Count,
     Role::Counter},
    ROW_FIELD(pool.nrSPageFrees)},
   {{"nrReapAttempts", "Total reap attemts", 16, "lu", kTotalled, kSelectable, kShown, Unit::Count,
     Role::Counter},
    ROW_FIELD(pool.nrReapAttempts)},
   {{"nrSPagesReaped", "Total number of small pages reaped", 16, "lu", kTotalled, kSelectable, kShown,
     Unit::Pages4KB, Role::Counter},
    ROW_FIELD(pool.nrSPagesReaped)},
   {{"nrDefragAttempts", "Total large page defrag attempts", 16, "lu", kTotalled, kSelectable, kShown,
     Unit::Count, Role::Counter},
    ROW_FIELD(pool.nrDefragAttempts)},
   {{"nrDefragCancelled", "Total defrag attempts cancelled", 16, "lu", kTotalled, kSelectable, kShown,
     Unit::Count, Role::Counter},
    ROW_FIELD(pool.nrDefragCancelled)},
   {{"nrDefragReaped", "Total defrag attempts reaped", 16, "lu", kTotalled, kSelectable, kShown, Unit::Count,
     Role::Counter},
    ROW_FIELD(pool.nrDefragReaped)},
   {{"nrLPagesDefragged", "Total number of large pages defragged", 16, "lu", kTotalled, kSelectable, kShown,
     Unit::Blocks2MB, Role::Counter},
    ROW_FIELD(pool.nrLPagesDefragged)},
   {{"peakDefragAttempts", "Peak defrag attempts for any large page", 16, "lu", kTotalled, kSelectable,
     kShown, Unit::Count, Role::Gauge},
    ROW_FIELD(pool.peakDefragAttempts)},
   {{"nrCachehit", "Hit count in lpage victim cache", 16, "lu", kTotalled, kSelectable, kShown, Unit::Count,
     Role::Counter},
    ROW_FIELD(pool.nrCachehit)},
};
constinit FigureTable<Row, kFigures> table;

struct LPoolRun : HostRun {
   decltype(SumsOf(table)) sums;
};

// The same for both kinds of pools. Kept for compatibility.
constexpr FailureMessage kNoPool = {"KelmarGetVmPoolStats() failure, error code: ", FailureMessage::Number};

NevraStatus GetPSharePool(uint32_t nodeID, LPagePoolRecord *record)
{
   return ReadNode(
      {.node = NEVRA_NODE_memory_lpage_nodeList_psharePool,
       .capacity = 1,
       .noList = {"KelmarGetPSharePoolStats: Nevra_ParamListCreate() failure"},
       .noRecord = kNoPool},
      {{nodeID,
        {"KelmarGetPSharePoolStats: Nevra_ParamListAddInt() failure, error code: ", FailureMessage::Number}}},
      record, sizeof *record);
}

NevraStatus GetVmPool(uint32_t nodeID, const char *name, LPagePoolRecord *record)
{
   return ReadNode(
      {.node = NEVRA_NODE_memory_lpage_nodeList_vmPools,
       .capacity = 2,
       .noList = {"KelmarGetVmPoolStats: Nevra_ParamListCreate() failure"},
       .noRecord = kNoPool},
      {{nodeID,
        {"KelmarGetVmPoolStats: Nevra_ParamListAddInt() failure, error code: ", FailureMessage::Number}},
       {name,
        {"KelmarGetVmPoolStats: Nevra_ParamListAddString() failure, error code: ", FailureMessage::Number}}},
      record, sizeof *record);
}

// Puts out the row of a pool and sums it.
void PutPool(LPoolRun *run, const char *name, uint32_t nodeID, const LPagePoolRecord &pool)
{
   const LPoolRow row = {name, nodeID, pool};
   PutFigures(*run->output, table, row, run->unit);
   AddToSums(table, row, &run->sums);
}

void VisitPSharePool(LPoolRun *run, uint32_t nodeID)
{
   LPagePoolRecord pool = {};
   if (GetPSharePool(nodeID, &pool) != NEVRA_OK) {
      return;
   }
   char name[sizeof "pshare-4294967295"];
   std::snprintf(name, sizeof name, "%s%u", "pshare-", nodeID);
   PutPool(run, name, nodeID, pool);
}

NevraStatus ListVmPools(uint32_t nodeID, uint32_t numVMs, ParamListPtr *pools)
{
   NevraStatus status;
   ParamListPtr params = MakeKeyList(
      2, {"KelmarTraverseLPools: Nevra_ParamListCreate() failure"},
      {{nodeID,
        {"KelmarTraverseLPools: Nevra_ParamListAddInt() failure, error code: ", FailureMessage::Number}}},
      &status);
   if (params == nullptr) {
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

NevraStatus VisitVmPools(LPoolRun *run, uint32_t nodeID, uint32_t numVMs)
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
      LPagePoolRecord pool = {};
      if (GetVmPool(nodeID, name, &pool) == NEVRA_OK) {
         PutPool(run, name, nodeID, pool);
      }
   }
   return NEVRA_OK;
}

// Puts out a row per pool, node by node, and sums them. A pool that cannot be read is reported and left out;
// "Failure" ends the walk when a node's pools cannot be listed.
NevraStatus TraverseLPools(LPoolRun *run)
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
      VisitPSharePool(run, nodeID);
      const NevraStatus status = VisitVmPools(run, nodeID, vms.numVMs);
      if (status != NEVRA_OK) {
         return status;
      }
   }
   return NEVRA_OK;
}

NevraStatus PutPools(HostRun *hostRun)
{
   LPoolRun *run = static_cast<LPoolRun *>(hostRun);
   const NevraStatus status = TraverseLPools(run);
   if (status == NEVRA_OK) {
      run->output->Section();
      PutSums(*run->output, RowKind::Total, table, {.name = "Total", .nodeID = 0, .pool = {}}, run->sums,
              run->unit);
   }
   return status;
}

constexpr option kLongOptions[] = {kVerboseOption, kSelectionOption, kCsvOption, kEndOfOptions};

constexpr HostReport kReport = {
   .shortOptions = "s:vq",
   .longOptions = kLongOptions,
   .title = "LPAGE POOL STATS",
   .ruleLength = 43,
   .columns = table.columns,
   .unitOption = UnitOption::None,
   .putRows = PutPools,
   .closingNote = "Displayed stats are either in small 4K page (SPage) or large 2M page (LPage) units"};

} // namespace

constinit const ReportDescription lpoolStatsDescription =
   DescribeHostReport(kReport, USAGE_REPORT_OPTIONS "       none\n", true);

NevraStatus LPoolStatsReport(const ReportArguments &arguments)
{
   LPoolRun run = {};
   return RunHostReport(kReport, arguments, &run);
}
