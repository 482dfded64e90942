#include <array>
#include <cstdlib>
#include <cstring>

#include "nevra/records.h"
#include "report/column_table.h"
#include "report/host_report.h"
#include "report/table_output.h"
#include "reports/host/buddy_order.h"
#include "reports/report_list.h"
#include "sysinfo/param_list.h"

namespace {

ReportColumn columns[] = {
   {"name", "Name of the buddy", 20, "s", kTotalled, kSelectable, kShown, Unit::Text, Role::Label},
   {"memNode", "Memory node the buddy belongs to", 2, "u", kNotTotalled, kKey, kShown, Unit::Number,
    Role::Label},
   {"type", "Legacy memory type name", 4, "s", kNotTotalled, kSelectable, kShown, Unit::Text, Role::Label},
   {"numaNode", "NUMA node the buddy belongs to", 2, "u", kNotTotalled, kSelectable, kShown, Unit::Number,
    Role::Label},
   {"4KBfree", "free 4KB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"8KBfree", "free 8KB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"16KBfree", "free 16KB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"32KBfree", "free 32KB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"64KBfree", "free 64KB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"128KBfree", "free 128 KB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"256KBfree", "free 256 KB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"512KBfree", "free 512 KB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"1MBfree", "free 1MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"2MBfree", "free 2MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"4MBfree", "free 4MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"8MBfree", "free 8MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"16MBfree", "free 16MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"32MBfree", "free 32MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"64MBfree", "free 64MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"128MBfree", "free 128MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"256MBfree", "free 256MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"512MBfree", "free 256MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count,
    Role::Gauge}, // kept for compatibility: says 256MB
   {"1GBfree", "free 1GB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"4KBused", "used 4KB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"8KBused", "used 8KB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"16KBused", "used 16KB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"32KBused", "used 32KB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"64KBused", "used 64KB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"128KBused", "used 128 KB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"256KBused", "used 256 KB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"512KBused", "used 512 KB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"1MBused", "used 1MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"2MBused", "used 2MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"4MBused", "used 4MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"8MBused", "used 8MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"16MBused", "used 16MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"32MBused", "used 32MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"64MBused", "used 64MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"128MBused", "used 128MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"256MBused", "used 256MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"512MBused", "used 512MB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   {"1GBused", "used 1GB buffers", 10, "u", kTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   kEndOfColumns,
};
constexpr size_t kColumnCount = 4 + 2 * kBuddyOrders;

constexpr uint32_t kMostBuddies = 64;

struct BuddyTable {
   BuddyEntry entries[kMostBuddies];
   uint32_t count;
   BuddyEntry total;
};

void PutBuddyRow(const TableOutput &output, RowKind kind, const BuddyEntry &buddy, const char *name)
{
   std::array<CellValue, kColumnCount> cells = {name, buddy.memNode, buddy.isLow ? "low" : "high",
                                                buddy.numaNode};
   CellValue *cell = cells.data() + 4;
   for (uint32_t numFree : buddy.numFree) {
      *cell++ = numFree;
   }
   for (uint32_t numUsed : buddy.numUsed) {
      *cell++ = numUsed;
   }
   PutRow(output, kind, columns, cells);
}

// The messages about memory nodes and buddies end without a line break. Kept for compatibility: scripts read
// them so.
NevraStatus KelmarMemNode2NUMANode(uint32_t memNode, uint32_t *numaNode)
{
   ParamListPtr params = CreateParamList(1);
   if (params == nullptr) {
      Warning("KelmarMemNode2NUMANode: Nevra_ParamListCreate() failure\n");
      return NEVRA_FAILURE;
   }
   NevraStatus status = Nevra_ParamListAddInt(params.get(), memNode);
   if (status != NEVRA_OK) {
      Warning("The param list for memNode %u could not be created: %#x", memNode, status);
      return status;
   }
   MemNodeInfo info = {};
   status = Nevra_Get(NEVRA_NODE_memory_memNodes, params.get(), &info, sizeof info);
   params.reset();
   if (status != NEVRA_OK) {
      Warning("Error %#x while reading /memory/memNodes/%u", status, memNode);
      return status;
   }
   *numaNode = info.numaNode;
   return NEVRA_OK;
}

bool IsMemMapBuddy(const char *name)
{
   return std::strncmp(name, "memmap", 6) == 0;
}

// Fills an entry but for its counts, from the name of the instance.
NevraStatus FillEntry(const char *name, BuddyEntry *entry)
{
   *entry = {}; // the slot may hold what is left of a buddy that was not kept
   Str_Strcpy(entry->name, name, sizeof entry->name);
   entry->isLow = entry->name[std::strlen(entry->name) - 1] == 'o';
   entry->memNode = static_cast<uint32_t>(std::strtol(entry->name + 7, nullptr, 10));
   return KelmarMemNode2NUMANode(entry->memNode, &entry->numaNode);
}

// Keeps the buddies whose memory node can be read, as many as the table holds.
void KeepBuddies(const Nevra_ParamList *instances, BuddyTable *table)
{
   for (uint32_t i = 0; i < Nevra_ParamListUsedCount(instances) && table->count < kMostBuddies; i++) {
      const char *name = "";
      if (Nevra_ParamListGetString(instances, i, &name) != NEVRA_OK) {
         return;
      }
      if (IsMemMapBuddy(name) && FillEntry(name, &table->entries[table->count]) == NEVRA_OK) {
         table->count++;
      }
   }
}

void FindBuddies(BuddyTable *table)
{
   constexpr uint32_t kMostInstances = 99;
   constexpr size_t kStorageBytes = size_t{128} * kMostInstances;
   ParamListPtr instances(
      Nevra_ParamListCreateAndAllocateParams(NEVRA_LIST_INSTANCE, kMostInstances, kStorageBytes));
   if (instances == nullptr ||
       Nevra_GetInstanceList(NEVRA_NODE_system_buddy, nullptr, instances.get()) != NEVRA_OK) {
      return;
   }
   KeepBuddies(instances.get(), table);
   instances.reset();
   std::qsort(table->entries, table->count, sizeof(BuddyEntry), CompareBuddies);
}

NevraStatus ReadBuddy(const char *name, BuddyComprehensiveInfo *info)
{
   ParamListPtr params = CreateParamList(1);
   if (params == nullptr) {
      Warning("KelmarBuddyGetStats: Nevra_ParamListCreate() failure\n");
      return NEVRA_FAILURE;
   }
   NevraStatus status = Nevra_ParamListAddString(params.get(), name);
   if (status != NEVRA_OK) {
      Warning("The param list for buddy %s could not be created: %#x", name, status);
      return status;
   }
   status = Nevra_Get(NEVRA_NODE_system_buddy_comprehensive, params.get(), info, sizeof *info);
   if (status != NEVRA_OK) {
      Warning("Error %#x while reading %s/comprehensive", status, name);
   }
   return status;
}

// Reads and puts out the buddies in the table's order, and sums their counts.
NevraStatus KelmarBuddyGetStats(const TableOutput &output, BuddyTable *table)
{
   for (uint32_t i = 0; i < table->count; i++) {
      BuddyEntry &buddy = table->entries[i];
      BuddyComprehensiveInfo info = {};
      const NevraStatus status = ReadBuddy(buddy.name, &info);
      if (status != NEVRA_OK) {
         return status;
      }
      for (uint32_t order = 0; order < kBuddyOrders; order++) {
         buddy.numFree[order] = info.orders[order].numFree;
         buddy.numUsed[order] = info.orders[order].numUsed;
         table->total.numFree[order] += info.orders[order].numFree;
         table->total.numUsed[order] += info.orders[order].numUsed;
      }
      PutBuddyRow(output, RowKind::Data, buddy, buddy.name);
   }
   return NEVRA_OK;
}

NevraStatus PutBuddies(HostRun *run)
{
   BuddyTable table = {};
   FindBuddies(&table);
   const NevraStatus status = KelmarBuddyGetStats(*run->output, &table);
   if (status == NEVRA_OK) {
      run->output->Section();
      PutBuddyRow(*run->output, RowKind::Total, table.total, "Total");
   }
   return status;
}

constexpr option kLongOptions[] = {kSelectionOption, kVerboseOption, kCsvOption, kEndOfOptions};

constexpr HostReport kReport = {.shortOptions = "s:vq",
                                .longOptions = kLongOptions,
                                .title = "MEMMAP BUDDY STATS",
                                .ruleLength = 44,
                                .columns = columns,
                                .unitOption = UnitOption::None,
                                .putRows = PutBuddies};

} // namespace

constinit const ReportDescription buddyStatsDescription = DescribeHostReport(kReport, nullptr, true);

NevraStatus BuddyStatsReport(const ReportArguments &arguments)
{
   HostRun run;
   return RunHostReport(kReport, arguments, &run);
}
