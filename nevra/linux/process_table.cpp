#include "nevra/linux/process_table.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <string>
#include <string_view>
#include <utility>

#include "nevra/linux/kernel_text.h"
#include "nevra/linux/process.h"

namespace nevra {

namespace {

constexpr CgroupIndex kUnknownCgroup = std::numeric_limits<CgroupIndex>::max();

// "0::/path" is v2; "4:cpu,memory:/path" is v1.
CgroupIndex AskForCgroup(int proc, uint32_t pid, const CgroupTree &tree, KernelFileReader &files)
{
   std::optional<std::string_view> text = files.ReadAll(proc, ProcessPath(pid, "cgroup").Text());
   while (text.has_value() && !text->empty()) {
      std::string_view line = TakeLine(*text);
      const std::string_view hierarchy = TakeUntil(line, ':');
      std::string_view controllers = TakeUntil(line, ':');
      bool isTheOne = tree.mounts.version == CgroupVersion::V2 && hierarchy == "0";
      while (tree.mounts.version == CgroupVersion::V1 && !controllers.empty()) {
         isTheOne = TakeUntil(controllers, ',') == "memory" || isTheOne;
      }
      if (isTheOne) {
         return FindCgroupByPath(tree, line);
      }
   }
   return kRootCgroup;
}

void AssignCgroups(ProcessTable &table, int proc, const CgroupTree &tree, KernelFileReader &files)
{
   std::vector<std::pair<uint32_t, CgroupIndex>> members = tree.members;
   std::sort(members.begin(), members.end());
   auto member = members.begin();
   for (ProcessEntry &process : table.processes) {
      while (member != members.end() && member->first < process.pid) {
         ++member;
      }
      // One that moved while the lists were read is in two of them, and counts once.
      process.cgroup = member != members.end() && member->first == process.pid
                          ? member->second
                          : AskForCgroup(proc, process.pid, tree, files);
   }
}

void IndexByCgroup(ProcessTable &table, const CgroupTree &tree)
{
   table.byCgroup.resize(table.processes.size());
   std::iota(table.byCgroup.begin(), table.byCgroup.end(), uint32_t{0});
   std::stable_sort(table.byCgroup.begin(), table.byCgroup.end(), [&table](uint32_t a, uint32_t b) {
      return table.processes[a].cgroup < table.processes[b].cgroup;
   });
   table.belowCgroup.assign(tree.cgroups.size(), 0);
   for (const ProcessEntry &process : table.processes) {
      table.belowCgroup[process.cgroup]++;
   }
   table.firstOfCgroup.assign(tree.cgroups.size() + 1, 0);
   for (size_t i = 0; i < tree.cgroups.size(); i++) {
      table.firstOfCgroup[i + 1] = table.firstOfCgroup[i] + table.belowCgroup[i];
   }
   for (size_t i = tree.cgroups.size(); i-- > 1;) {
      table.belowCgroup[tree.cgroups[i].parent] += table.belowCgroup[i];
   }
}

} // namespace

ProcessTable ReadProcessTable(int proc, const CgroupTree &tree, KernelFileReader &files)
{
   ProcessTable table;
   for (const std::string &name :
        files.ListNames(proc, ".", EntryKind::Folders, size_t{kMaxPid} * 2, Missing::Proc)) {
      if (const std::optional<uint32_t> pid = ParsePid(name)) {
         table.processes.push_back({*pid, kUnknownCgroup});
      }
   }
   std::sort(table.processes.begin(), table.processes.end(),
             [](const ProcessEntry &a, const ProcessEntry &b) { return a.pid < b.pid; });
   // A recorded tree may name a process twice, as "7" and "07".
   table.processes.erase(
      std::unique(table.processes.begin(), table.processes.end(),
                  [](const ProcessEntry &a, const ProcessEntry &b) { return a.pid == b.pid; }),
      table.processes.end());
   AssignCgroups(table, proc, tree, files);
   IndexByCgroup(table, tree);
   return table;
}

std::optional<size_t> FindProcess(const ProcessTable &table, uint32_t pid)
{
   const auto found =
      std::lower_bound(table.processes.begin(), table.processes.end(), pid,
                       [](const ProcessEntry &process, uint32_t wanted) { return process.pid < wanted; });
   if (found == table.processes.end() || found->pid != pid) {
      return std::nullopt;
   }
   return static_cast<size_t>(found - table.processes.begin());
}

} // namespace nevra
