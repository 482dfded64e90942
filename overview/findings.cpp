#include "overview/findings.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <limits>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "nevra/values.h"
#include "overview/amount_text.h"
#include "overview/group_kind.h"

namespace overview {

namespace {

constexpr double kNever = std::numeric_limits<double>::infinity();

class Findings;

// The thresholds are in percent; a value from there on is a finding of that severity.
struct Rule {
   const char *name;
   double note;
   double warning;
   double critical;
   const char *command; // shows more of what it finds
   void (*judge)(const Evidence &evidence, Findings *findings);
};

// What a rule finds goes here.
class Findings {
 public:
   Findings(const Rule &of, const std::string &command, std::vector<Finding> *where)
       : rule(of), prefix(command), findings(where)
   {
   }

   // Adds a finding if the value reaches a threshold of the rule. `most` bounds the severity, `arguments` are
   // further ones of the rule's command.
   void Judge(double value, const std::string &subject, const std::string &text,
              const std::string &arguments = {}, Severity most = Severity::Critical)
   {
      if (!(value > 0) || value < rule.note) {
         return;
      }
      const Severity severity = value >= rule.critical  ? Severity::Critical
                                : value >= rule.warning ? Severity::Warning
                                                        : Severity::Note;
      findings->push_back({.severity = std::min(severity, most),
                           .rule = rule.name,
                           .subject = subject,
                           .text = text,
                           .command = prefix + " " + rule.command + arguments,
                           .weight = value});
   }

 private:
   const Rule &rule;
   const std::string &prefix;
   std::vector<Finding> *findings;
};

std::string Amount(uint64_t kb)
{
   return AmountText(static_cast<int64_t>(kb));
}

double Percent(uint64_t part, uint64_t whole)
{
   return PercentOf(static_cast<double>(part), static_cast<double>(whole));
}

// A kernel that can get much memory back from its caches is short of free memory only.
bool IsPlentyAvailable(const Evidence &evidence)
{
   constexpr double kPlenty = 10; // % of the host
   return evidence.detail != nullptr &&
          Percent(evidence.detail->Of("MemAvailable"), evidence.rows.host->total) >= kPlenty;
}

void JudgeMemoryState(const Evidence &evidence, Findings *findings)
{
   constexpr const char *kStates[] = {"High", "Clear", "Soft", "Hard", "Low"};
   const HostFigures &host = *evidence.rows.host;
   const auto *const state = std::ranges::find(kStates, host.memState);
   if (state == std::end(kStates)) {
      return;
   }
   std::string text =
      "is " + host.memState + ": " + Amount(host.free) + " of " + Amount(host.total) + " is free";
   if (evidence.detail != nullptr && evidence.detail->Has("MemAvailable")) {
      text += ", " + Amount(evidence.detail->Of("MemAvailable")) + " available";
   }
   findings->Judge(static_cast<double>(state - kStates), "memory state", text, {},
                   IsPlentyAvailable(evidence) ? Severity::Note : Severity::Critical);
}

// The arguments that show one group. Its ID has to fit the option.
std::string OnlyGroup(const GroupRow &group)
{
   return group.gid <= INT32_MAX ? " -g " + std::to_string(group.gid) + " -l 1" : std::string();
}

// Groups with a limit of their own, not that of the group above them.
template <typename Visit> void ForEachLimit(const HostRows &rows, Visit visit)
{
   std::unordered_map<int64_t, int64_t> limits;
   for (const GroupRow &group : rows.groups) {
      const auto above = limits.find(group.parent);
      if (group.max > 0 && (above == limits.end() || above->second != group.max)) {
         visit(group, static_cast<uint64_t>(group.max));
      }
      limits.emplace(static_cast<int64_t>(group.gid), group.max);
   }
}

constexpr double kNearLimit = 95;

// Whether the figure of the group has its page cache in it: Linux counts it for a cgroup, not for a process.
bool HasPageCache(const Evidence &evidence, const GroupRow &group)
{
   return evidence.detail != nullptr && KindOf(group) == GroupKind::Group;
}

// What VMs and processes hold of each group by its ID, in KB. What they share counts once for each of them.
std::unordered_map<int64_t, uint64_t> HeldByProcesses(const std::vector<GroupRow> &groups)
{
   std::unordered_map<int64_t, uint64_t> held;
   for (auto group = groups.rbegin(); group != groups.rend(); ++group) { // children before their parents
      const int64_t id = static_cast<int64_t>(group->gid);
      const uint64_t own = KindOf(*group) == GroupKind::Group ? held[id] : group->consumed;
      held[group->parent] += own;
   }
   return held;
}

void JudgeLimits(const Evidence &evidence, Findings *findings)
{
   const std::unordered_map<int64_t, uint64_t> held = evidence.detail != nullptr
                                                         ? HeldByProcesses(evidence.rows.groups)
                                                         : std::unordered_map<int64_t, uint64_t>();
   ForEachLimit(evidence.rows, [&](const GroupRow &group, uint64_t limit) {
      const double percent = Percent(group.consumed, limit);
      std::string text =
         "uses " + Amount(group.consumed) + ", " + PercentText(percent) + " of its limit of " + Amount(limit);
      Severity most = Severity::Critical;
      if (HasPageCache(evidence, group)) {
         const auto found = held.find(static_cast<int64_t>(group.gid));
         const uint64_t ofProcesses = found != held.end() ? std::min(found->second, group.consumed) : 0;
         text += ", page cache included; its processes hold " + Amount(ofProcesses);
         most = Percent(ofProcesses, limit) >= kNearLimit ? most : Severity::Note;
      }
      findings->Judge(percent, group.name, text, OnlyGroup(group), most);
   });
}

// What is near its limit now is said by the rule above.
void JudgePeaks(const Evidence &evidence, Findings *findings)
{
   ForEachLimit(evidence.rows, [&evidence, findings](const GroupRow &group, uint64_t limit) {
      if (Percent(group.consumed, limit) < kNearLimit) {
         findings->Judge(Percent(group.consumedPeak, limit), group.name,
                         "has reached its limit of " + Amount(limit) + ", and uses " +
                            Amount(group.consumed) + " now" +
                            (HasPageCache(evidence, group) ? ", page cache included" : ""),
                         OnlyGroup(group));
      }
   });
}

void JudgeSwapped(const Evidence &evidence, Findings *findings)
{
   for (const VmRow &vm : evidence.rows.vms) {
      const double percent = Percent(vm.swapped, std::max(vm.memSize, vm.swapped));
      findings->Judge(percent, vm.name,
                      "has " + Amount(vm.swapped) + " swapped, " + PercentText(percent) + " of its memory" +
                         (vm.isSwapping ? ", and is swapping" : ""));
   }
}

void JudgeBallooned(const Evidence &evidence, Findings *findings)
{
   for (const VmRow &vm : evidence.rows.vms) {
      const double percent = Percent(vm.ballooned, std::max(vm.memSize, vm.ballooned));
      findings->Judge(percent, vm.name,
                      "gave " + Amount(vm.ballooned) + " to its balloon, " + PercentText(percent) +
                         " of its memory");
   }
}

void JudgeReservations(const Evidence &evidence, Findings *findings)
{
   const std::vector<GroupRow> &groups = evidence.rows.groups;
   for (const GroupRow &group : groups) {
      const uint64_t reserved = group.min > 0 ? static_cast<uint64_t>(group.min) : 0;
      const uint64_t missing = reserved > group.eMin ? reserved - group.eMin : 0;
      findings->Judge(Percent(missing, reserved), group.name,
                      "reserves " + Amount(reserved) + ", of which " + Amount(group.eMin) + " is in effect",
                      OnlyGroup(group));
   }
   const uint64_t managed = evidence.rows.host->managedByMemSched;
   if (!groups.empty() && groups.front().conResv > managed) {
      findings->Judge(Percent(groups.front().conResv - managed, managed), groups.front().name,
                      "its groups reserve " + Amount(groups.front().conResv) + " of " + Amount(managed));
   }
}

void JudgeLargePages(const Evidence &evidence, Findings *findings)
{
   uint64_t size = 0;
   uint64_t free = 0;
   for (const LargePagePool &pool : evidence.rows.pools) {
      size += pool.size;
      free += pool.free;
   }
   if (free > size / 2) {
      const double percent = Percent(free, evidence.rows.host->total);
      findings->Judge(percent, "large pages",
                      Amount(free) + " of the " + Amount(size) + " set aside is not used, " +
                         PercentText(percent) + " of the host");
   }
}

// What the kernel keeps of each page that it looks at, in bytes.
constexpr uint64_t kBytesPerTrackedPage = 64;

void JudgePageSharing(const Evidence &evidence, Findings *findings)
{
   constexpr uint64_t kWorthALook = 1024; // KB
   if (!evidence.rows.sharing.has_value()) {
      return;
   }
   const PageSharing &sharing = *evidence.rows.sharing;
   const uint64_t tracked = (sharing.cow + sharing.hints) / kKBPerPage;
   const uint64_t cost = tracked * kBytesPerTrackedPage / 1024;
   if (cost >= kWorthALook) {
      findings->Judge(Percent(cost, std::max<uint64_t>(sharing.reclaimed, 1)), "page sharing",
                      "saves " + Amount(sharing.reclaimed) + ", and keeps track of " +
                         std::to_string(tracked) + " pages, about " + Amount(cost));
   }
}

void JudgeSlab(const Evidence &evidence, Findings *findings)
{
   constexpr double kWorthALook = 1; // % of the host
   const HostFigures &host = *evidence.rows.host;
   const auto largest = std::ranges::max_element(evidence.rows.heaps, {}, &HeapRow::size);
   if (largest != evidence.rows.heaps.end() && Percent(largest->size, host.total) >= kWorthALook) {
      const double percent = Percent(largest->size, host.dataAndHeap);
      findings->Judge(percent, largest->name,
                      "holds " + Amount(largest->size) + ", " + PercentText(percent) +
                         " of the kernel's data");
   }
}

void JudgeNodes(const Evidence &evidence, Findings *findings)
{
   constexpr double kPlenty = 20; // % that is free
   const auto freeOf = [](const MemoryNode &node) { return Percent(node.free, node.free + node.used); };
   const std::vector<MemoryNode> &nodes = evidence.rows.nodes;
   const auto best = std::ranges::max_element(nodes, {}, freeOf);
   if (best == nodes.end() || freeOf(*best) < kPlenty) {
      return;
   }
   for (const MemoryNode &node : nodes) {
      if (node.free + node.used == 0) {
         continue; // it has CPUs only
      }
      findings->Judge(100 - freeOf(node), "NUMA node " + std::to_string(node.numaNode),
                      "has " + Amount(node.free) + " free, " + PercentText(freeOf(node)) + "; node " +
                         std::to_string(best->numaNode) + " has " + Amount(best->free),
                      {}, IsPlentyAvailable(evidence) ? Severity::Note : Severity::Critical);
   }
}

void JudgeGrowth(const Evidence &evidence, Findings *findings)
{
   constexpr uint64_t kWorthALook = 16384; // KB
   if (evidence.before == nullptr) {
      return;
   }
   std::unordered_map<std::string_view, const HeapRow *> former;
   for (const HeapRow &heap : evidence.before->heaps) {
      former.emplace(heap.name, &heap);
   }
   for (const HeapRow &heap : evidence.rows.heaps) {
      const auto found = former.find(heap.name);
      if (found == former.end() || found->second->shrinks != heap.shrinks ||
          heap.size < found->second->size || heap.size - found->second->size < kWorthALook) {
         continue;
      }
      const uint64_t before = found->second->size;
      findings->Judge(Percent(heap.size - before, std::max<uint64_t>(before, 1)), heap.name,
                      "grew from " + Amount(before) + " to " + Amount(heap.size));
   }
}

// The order is that of the findings of one severity. A value of 0 is never a finding.
constexpr Rule kRules[] = {
   // The state: 1 is Clear, 2 Soft, 3 Hard, 4 Low.
   {"memory-state", 1, 2, 3, "-r comp-stats", JudgeMemoryState},
   {"limit", kNearLimit, kNearLimit, 99, "-r group-stats -s name:max:consumed:consumedPeak", JudgeLimits},
   {"vm-swapped", 0, 0, 10, "-r swap-stats", JudgeSwapped},
   {"vm-ballooned", 0, 0, 25, "-r vm-stats -s name:memSize:ballooned:balloonTgt", JudgeBallooned},
   {"reservation", 0, 0, kNever, "-r group-stats -s name:min:eMin:conResv:availResv", JudgeReservations},
   {"numa", 98, 98, kNever, "-r buddy-stats", JudgeNodes},
   {"large-pages", 1, 5, kNever, "-r lpool-stats", JudgeLargePages},
   {"page-sharing", 100, 100, kNever, "-r pshare-stats", JudgePageSharing},
   {"slab", 50, 80, kNever, "-r heap-stats -s name:used:size", JudgeSlab},
   {"heap-grows", 20, 50, kNever, "-r heap-stats -s name:used:size", JudgeGrowth},
   {"peak", 100, kNever, kNever, "-r group-stats -s name:max:consumed:consumedPeak", JudgePeaks},
};
static_assert(std::ranges::all_of(kRules, [](const Rule &rule) {
   return rule.note <= rule.warning && rule.warning <= rule.critical;
}));

} // namespace

const char *SeverityWord(Severity severity)
{
   switch (severity) {
   case Severity::Warning:
      return "warning";
   case Severity::Critical:
      return "critical";
   case Severity::Note:
      break;
   }
   return "note";
}

std::vector<Finding> FindFindings(const Evidence &evidence)
{
   std::vector<Finding> findings;
   if (!evidence.rows.host.has_value()) {
      return findings;
   }
   for (const Rule &rule : kRules) {
      const size_t first = findings.size();
      Findings found(rule, evidence.command, &findings);
      rule.judge(evidence, &found);
      std::stable_sort(findings.begin() + static_cast<ptrdiff_t>(first), findings.end(),
                       [](const Finding &a, const Finding &b) { return a.weight > b.weight; });
   }
   std::ranges::stable_sort(findings, std::greater(), &Finding::severity);
   return findings;
}

} // namespace overview
