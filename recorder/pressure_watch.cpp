#include "recorder/pressure_watch.h"

#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "nevra/linux/kernel_text.h"

namespace recorder {

namespace {

// Those without CAP_SYS_RESOURCE may ask only for windows of full two seconds.
constexpr char kTrigger[] = "some 200000 2000000";

constexpr size_t kMostCgroups = 4096;

// The number in a line "NAME NUMBER" of a text.
std::optional<uint64_t> CountIn(std::string_view text, std::string_view name)
{
   while (!text.empty()) {
      std::string_view line = nevra::TakeLine(text);
      if (nevra::TakeWord(line) == name) {
         return nevra::ParseNumber(nevra::TakeWord(line));
      }
   }
   return std::nullopt;
}

} // namespace

PressureWatch::PressureWatch(const std::string &rootFolder)
    : root(open(rootFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), files(nevra::ReachOf(rootFolder)),
      mounts(nevra::FindCgroupMounts(root.Get(), files))
{
   HasOomRisen();
   if (nevra::ReachOf(rootFolder) == nevra::Reach::Host) {
      trigger =
         files.Open(root.Get(), nevra::BelowRoot("/proc/pressure/memory"), O_RDWR | O_NONBLOCK | O_CLOEXEC);
      if (trigger.IsOpen() && write(trigger.Get(), kTrigger, sizeof kTrigger) < 0) {
         trigger.Close();
      }
   }
}

// A count that is seen for the first time has not risen: its cgroup is new, or the watch is.
void PressureWatch::CheckCount(const std::string &name, int folder, const char *path, const char *count)
{
   const std::optional<std::string_view> text = files.ReadAll(folder, path);
   const std::optional<uint64_t> value = text.has_value() ? CountIn(*text, count) : std::nullopt;
   if (!value.has_value()) {
      return;
   }
   const auto [known, isNew] = counts.try_emplace(name, *value);
   hasRisen = hasRisen || (!isNew && *value > known->second);
   known->second = *value;
}

bool PressureWatch::HasOomRisen()
{
   CheckCount("", root.Get(), nevra::BelowRoot("/proc/vmstat"), "oom_kill");
   if (mounts.version == nevra::CgroupVersion::V2) {
      // The counts of a top-level cgroup include those of all below it.
      const std::vector<std::string> names =
         files.ListNames(mounts.memory.Get(), ".", nevra::EntryKind::Folders, kMostCgroups);
      for (const std::string &name : names) {
         const std::string path = name + "/memory.events";
         CheckCount(name, mounts.memory.Get(), path.c_str(), "oom");
      }
      const std::set<std::string_view> present(names.begin(), names.end());
      std::erase_if(
         counts, [&](const auto &count) { return !count.first.empty() && !present.contains(count.first); });
   }
   return std::exchange(hasRisen, false);
}

} // namespace recorder
