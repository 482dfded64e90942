#include "overview/host_rows.h"

#include <algorithm>
#include <span>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "nevra/values.h"
#include "snapshot-tool/held_messages.h"
#include "sysinfo/param_list.h"

namespace overview {

namespace {

constexpr char kCompStats[] = "comp-stats";
constexpr char kGroupStats[] = "group-stats";
constexpr char kVmStats[] = "vm-stats";
constexpr char kSwapStats[] = "swap-stats";
constexpr char kHeapStats[] = "heap-stats";
constexpr char kPoolStats[] = "lpool-stats";
constexpr char kSharingStats[] = "pshare-stats";
constexpr char kHintStats[] = "pshareHint-stats";
constexpr char kBuddyStats[] = "buddy-stats";

// One row of a collected table, by the names of the columns.
class Fields {
 public:
   Fields(const CollectedTable &of, const CollectedRow &values) : table(of), row(values) {}

   // 0 for a figure that is not available.
   uint64_t Number(std::string_view column) const
   {
      const Cell *cell = At(column);
      return cell != nullptr && cell->kind != CellKind::Missing ? cell->integer : 0;
   }
   // -1 for a figure that is not available.
   int64_t Signed(std::string_view column) const
   {
      const Cell *cell = At(column);
      return cell != nullptr ? static_cast<int64_t>(cell->integer) : -1;
   }
   bool IsYes(std::string_view column) const { return Number(column) == 'y'; }
   const std::string &Text(std::string_view column) const
   {
      static const std::string kNone;
      const Cell *cell = At(column);
      return cell != nullptr ? cell->text : kNone;
   }

 private:
   const Cell *At(std::string_view column) const
   {
      const size_t position = table.Find(column);
      return position != CollectedTable::npos ? &row.cells[position] : nullptr;
   }

   const CollectedTable &table;
   const CollectedRow &row;
};

// Calls visit(Fields) for each row of a kind.
template <typename Visit> void ForEachRow(const CollectedTable &table, RowKind kind, Visit visit)
{
   for (const CollectedRow &row : table.rows) {
      if (row.kind == kind) {
         visit(Fields(table, row));
      }
   }
}

void TakeHost(const CollectedTable &table, HostRows *rows)
{
   ForEachRow(table, RowKind::Data, [rows](const Fields &of) {
      rows->host = {.total = of.Number("total"),
                    .discarded = of.Number("discarded"),
                    .managedByMemMap = of.Number("managedByMemMap"),
                    .kernelCode = of.Number("kernelCode"),
                    .dataAndHeap = of.Number("dataAndHeap"),
                    .buddyOvhd = of.Number("buddyOvhd"),
                    .rsvdLow = of.Number("rsvdLow"),
                    .managedByMemSched = of.Number("managedByMemSched"),
                    .minFree = of.Number("minFree"),
                    .kernelClients = of.Number("orskaClientConsumed"),
                    .otherClients = of.Number("otherConsumed"),
                    .free = of.Number("free"),
                    .memState = of.Text("memState")};
   });
}

void TakeGroups(const CollectedTable &table, HostRows *rows)
{
   ForEachRow(table, RowKind::Data, [rows](const Fields &of) {
      rows->groups.push_back({.gid = of.Number("gid"),
                              .parent = of.Signed("parGid"),
                              .name = of.Text("name"),
                              .min = of.Signed("min"),
                              .max = of.Signed("max"),
                              .conResv = of.Number("conResv"),
                              .memSize = of.Number("memSize"),
                              .eMin = of.Number("eMin"),
                              .consumed = of.Number("consumed"),
                              .consumedPeak = of.Number("consumedPeak"),
                              .sharedSaved = of.Number("sharedSaved"),
                              .flags = static_cast<uint32_t>(of.Number("flags")),
                              .tag = of.Text("tag")});
   });
}

void TakeVms(const CollectedTable &table, HostRows *rows)
{
   ForEachRow(table, RowKind::Data, [rows](const Fields &of) {
      rows->vms.push_back({.gid = of.Number("schedGrp"),
                           .name = of.Text("name"),
                           .displayName = of.Text("dname"),
                           .memSize = of.Number("memSize"),
                           .consumed = of.Number("consumed"),
                           .ballooned = of.Number("ballooned"),
                           .swapped = of.Number("swapped"),
                           .swapTarget = of.Number("swapTgt")});
   });
}

void TakeSwapping(const CollectedTable &table, HostRows *rows)
{
   std::unordered_map<uint64_t, VmRow *> vms;
   for (VmRow &vm : rows->vms) {
      vms.emplace(vm.gid, &vm);
   }
   ForEachRow(table, RowKind::Data, [&vms](const Fields &of) {
      const auto vm = vms.find(of.Number("schedGrp"));
      if (vm != vms.end()) {
         vm->second->isSwapping = of.IsYes("isSwapping");
      }
   });
}

void TakeHeaps(const CollectedTable &table, HostRows *rows)
{
   ForEachRow(table, RowKind::Data, [rows](const Fields &of) {
      rows->heaps.push_back({.name = of.Text("name"),
                             .size = of.Number("size"),
                             .used = of.Number("used"),
                             .shrinks = of.Number("numShrinkOps")});
   });
}

void TakePools(const CollectedTable &table, HostRows *rows)
{
   ForEachRow(table, RowKind::Data, [rows](const Fields &of) {
      rows->pools.push_back({.name = of.Text("name"),
                             .node = static_cast<uint32_t>(of.Number("nodeID")),
                             .size = of.Number("nrLPages") * kKBPerLargePage,
                             .free = of.Number("nrFreeSPages") * kKBPerPage});
   });
}

void TakeSharing(const CollectedTable &table, HostRows *rows)
{
   ForEachRow(table, RowKind::Data, [rows](const Fields &of) {
      rows->sharing = {
         .cow = of.Number("cow"), .used = of.Number("used"), .reclaimed = of.Number("reclaimed")};
   });
}

void TakeHints(const CollectedTable &table, HostRows *rows)
{
   ForEachRow(table, RowKind::Data, [rows](const Fields &of) {
      if (rows->sharing.has_value()) {
         rows->sharing->hints += of.Number("active");
      }
   });
}

// The KB of the buffers that the columns "4KB...", "8KB..." to "1GB..." count, those that end as the suffix.
uint64_t BuffersOf(const CollectedTable &table, const CollectedRow &row, std::string_view suffix)
{
   uint64_t kb = 0;
   uint64_t bufferKB = kKBPerPage;
   for (size_t i = 0; i < table.columns.size(); i++) {
      if (table.columns[i].name.ends_with(suffix)) {
         kb += row.cells[i].integer * bufferKB;
         bufferKB *= 2;
      }
   }
   return kb;
}

void TakeNodes(const CollectedTable &table, HostRows *rows)
{
   std::unordered_map<uint32_t, size_t> positions;
   for (const CollectedRow &row : table.rows) {
      if (row.kind != RowKind::Data) {
         continue;
      }
      const uint32_t numaNode = static_cast<uint32_t>(Fields(table, row).Number("numaNode"));
      const auto [found, isNew] = positions.emplace(numaNode, rows->nodes.size());
      if (isNew) {
         rows->nodes.push_back({.numaNode = numaNode});
      }
      MemoryNode &node = rows->nodes[found->second];
      node.free += BuffersOf(table, row, "free");
      node.used += BuffersOf(table, row, "used");
   }
}

// Whether the host has heaps to show. Without root Linux hides them, of which the report would complain; what
// the platform says of it is all that is to be told.
bool HasHeaps(HostRows *rows)
{
   HeldMessages held("hostmem-overview");
   ParamListPtr heaps;
   if (ListInstances(NEVRA_NODE_system_heaps, nullptr, &heaps) != NEVRA_NOT_FOUND) {
      return true; // or the report says what is wrong
   }
   const std::vector<std::string> messages = held.Take();
   rows->notRead.insert(rows->notRead.end(), messages.begin(), messages.end());
   return false;
}

// Whether there are VMs among the groups: the reports about them would walk all groups to find none.
bool HasVms(HostRows *rows)
{
   return std::ranges::any_of(rows->groups,
                              [](const GroupRow &group) { return (group.flags & GROUP_VM) != 0; });
}

// The reports that an overview is made of, in the order in which they run.
struct ReportOfOverview {
   const char *name;
   bool hasUnit; // an option -u, which is asked for KB
   void (*take)(const CollectedTable &table, HostRows *rows);
   bool (*isNeeded)(HostRows *rows) = nullptr; // null: always
};

constexpr ReportOfOverview kReports[] = {
   {kCompStats, true, TakeHost},
   {kGroupStats, true, TakeGroups},
   {kVmStats, true, TakeVms, HasVms},
   {kSwapStats, true, TakeSwapping, HasVms},
   {kHeapStats, true, TakeHeaps, HasHeaps},
   {kPoolStats, false, TakePools},
   {kSharingStats, true, TakeSharing},
   {kHintStats, true, TakeHints},
   {kBuddyStats, false, TakeNodes},
};

void TakeMessages(const CollectedTable &table, HostRows *rows)
{
   if (table.status == NEVRA_NOT_FOUND) {
      return; // the host has no such thing
   }
   // heap-stats ends with 0 whatever happens; all that tells of a failure then is that there is no table.
   const bool hasFailed = table.status != NEVRA_OK || !table.isComplete;
   rows->hasFailure = rows->hasFailure || hasFailed;
   rows->notRead.insert(rows->notRead.end(), table.messages.begin(), table.messages.end());
   if (hasFailed && table.messages.empty()) {
      rows->notRead.push_back(table.report + ": failed");
   }
}

} // namespace

HostRows ReadHostRows()
{
   HostRows rows;
   for (const ReportOfOverview &report : kReports) {
      if (report.isNeeded != nullptr && !report.isNeeded(&rows)) {
         continue;
      }
      CollectedTable table = CollectReport(report.name, report.hasUnit ? std::vector<std::string>{"-u", "kb"}
                                                                       : std::vector<std::string>{});
      report.take(table, &rows);
      TakeMessages(table, &rows);
      rows.tables.push_back(std::move(table));
   }
   return rows;
}

} // namespace overview
