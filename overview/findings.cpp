#include "overview/findings.h"

#include <algorithm>
#include <array>
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

// What a rule finds goes here.
class Findings {
 public:
   Findings(const RuleDescription &of, const std::string &command, std::vector<Finding> *where)
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
   const RuleDescription &rule;
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
constexpr double kPlentyAvailable = 10;

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
   Severity most = Severity::Critical;
   if (evidence.detail != nullptr && evidence.detail->Has("MemAvailable")) {
      const uint64_t available = evidence.detail->Of("MemAvailable");
      text += ", " + Amount(available) + " can be had";
      most = Percent(available, host.total) >= kPlentyAvailable ? Severity::Note : most;
   }
   findings->Judge(static_cast<double>(state - kStates), "memory state", text, {}, most);
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

void JudgeLimits(const Evidence &evidence, Findings *findings)
{
   ForEachLimit(evidence.rows, [findings](const GroupRow &group, uint64_t limit) {
      const double percent = Percent(group.consumed, limit);
      findings->Judge(percent, group.name,
                      "uses " + Amount(group.consumed) + ", " + PercentText(percent) + " of its limit of " +
                         Amount(limit),
                      OnlyGroup(group));
   });
}

// What is near its limit now is said by the rule above.
void JudgePeaks(const Evidence &evidence, Findings *findings)
{
   ForEachLimit(evidence.rows, [findings](const GroupRow &group, uint64_t limit) {
      if (Percent(group.consumed, limit) < kNearLimit) {
         findings->Judge(Percent(group.consumedPeak, limit), group.name,
                         "has reached its limit of " + Amount(limit) + ", and uses " +
                            Amount(group.consumed) + " now",
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
      findings->Judge(100 - freeOf(node), "NUMA node " + std::to_string(node.numaNode),
                      "has " + Amount(node.free) + " free, " + PercentText(freeOf(node)) + "; node " +
                         std::to_string(best->numaNode) + " has " + Amount(best->free));
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
          heap.size < found->second->size + kWorthALook) {
         continue;
      }
      const uint64_t before = found->second->size;
      findings->Judge(Percent(heap.size - before, std::max<uint64_t>(before, 1)), heap.name,
                      "grew from " + Amount(before) + " to " + Amount(heap.size) + ", and gave nothing back");
   }
}

struct Rule {
   RuleDescription description;
   void (*judge)(const Evidence &evidence, Findings *findings);
};

// The order is that of the findings of one severity. A value of 0 is never a finding.
constexpr Rule kRules[] = {
   {{"memory-state",
     "the memory state: 1 is Clear, 2 Soft, 3 Hard, 4 Low; where a tenth of the memory can be had, a note", 1,
     2, 3, "", "-r comp-stats"},
    JudgeMemoryState},
   {{"limit", "what a VM or a group consumes, against its limit", kNearLimit, kNearLimit, 99, "%",
     "-r group-stats -s name:max:consumed:consumedPeak"},
    JudgeLimits},
   {{"vm-swapped", "what is swapped of a VM, against its size", 0, 0, 10, "%", "-r swap-stats"},
    JudgeSwapped},
   {{"vm-ballooned", "what a VM gave to its balloon, against its size", 0, 0, 25, "%",
     "-r vm-stats -s name:memSize:ballooned:balloonTgt"},
    JudgeBallooned},
   {{"reservation", "what of a reservation is not in effect, and what all reserve beyond the host's memory",
     0, 0, kNever, "%", "-r group-stats -s name:min:eMin:conResv:availResv"},
    JudgeReservations},
   {{"numa", "what of a NUMA node is used, while a fifth of another is free", 98, 98, kNever, "%",
     "-r buddy-stats"},
    JudgeNodes},
   {{"large-pages",
     "large pages that are set aside and not used, if half of them are, against the host's memory", 1, 5,
     kNever, "%", "-r lpool-stats"},
    JudgeLargePages},
   {{"page-sharing", "what page sharing takes, 64 bytes a page that it keeps track of, against what it saves",
     100, 100, kNever, "%", "-r pshare-stats"},
    JudgePageSharing},
   {{"slab", "the largest heap, if it has a hundredth of the host, against the kernel's data", 50, 80, kNever,
     "%", "-r heap-stats -s name:used:size"},
    JudgeSlab},
   {{"heap-grows", "what a heap grew by, 16 MB or more, without giving any back, against its size before", 20,
     50, kNever, "%", "-r heap-stats -s name:used:size"},
    JudgeGrowth},
   {{"peak", "the most that a VM or a group has consumed, against its limit", 100, kNever, kNever, "%",
     "-r group-stats -s name:max:consumed:consumedPeak"},
    JudgePeaks},
};

constexpr auto kDescriptions = [] {
   std::array<RuleDescription, std::size(kRules)> descriptions = {};
   std::ranges::transform(kRules, descriptions.begin(), &Rule::description);
   return descriptions;
}();

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

std::span<const RuleDescription> Rules()
{
   return kDescriptions;
}

std::vector<Finding> FindFindings(const Evidence &evidence)
{
   std::vector<Finding> findings;
   if (!evidence.rows.host.has_value()) {
      return findings;
   }
   for (const Rule &rule : kRules) {
      const size_t first = findings.size();
      Findings found(rule.description, evidence.command, &findings);
      rule.judge(evidence, &found);
      std::stable_sort(findings.begin() + static_cast<ptrdiff_t>(first), findings.end(),
                       [](const Finding &a, const Finding &b) { return a.weight > b.weight; });
   }
   std::ranges::stable_sort(findings, std::greater(), &Finding::severity);
   return findings;
}

} // namespace overview
