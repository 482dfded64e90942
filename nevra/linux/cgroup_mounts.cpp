#include "nevra/linux/cgroup_mounts.h"

#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include <unistd.h>

#include "nevra/linux/kernel_text.h"

namespace nevra {

namespace {

struct Mount {
   std::string pathInHierarchy;
   std::string mountPoint;
   bool isV2;
   std::string options;
};

// A path in the mount tables: blanks, tabs, newlines and backslashes are written in octal.
std::string DecodePath(std::string_view text)
{
   std::string path;
   while (!text.empty()) {
      const bool isOctal = text.size() >= 4 && text[0] == '\\' && text[1] >= '0' && text[1] <= '3' &&
                           text[2] >= '0' && text[2] <= '7' && text[3] >= '0' && text[3] <= '7';
      if (isOctal) {
         path += static_cast<char>((text[1] - '0') * 64 + (text[2] - '0') * 8 + (text[3] - '0'));
      } else {
         path += text[0];
      }
      text.remove_prefix(isOctal ? 4 : 1);
   }
   return path;
}

// Whether the mount hides the processes of other users from this one. Root sees them all.
bool HidesProcesses(std::string_view mountPoint, std::string_view type, std::string_view options)
{
   if (type != "proc" || mountPoint != "/proc" || geteuid() == 0) {
      return false;
   }
   while (!options.empty()) {
      const std::string_view option = TakeUntil(options, ',');
      if (option == "hidepid=2" || option == "hidepid=4" || option == "hidepid=invisible" ||
          option == "hidepid=ptraceable") {
         return true;
      }
   }
   return false;
}

void AddMount(std::vector<Mount> &mounts, std::string_view pathInHierarchy, std::string_view mountPoint,
              std::string_view type, std::string_view options)
{
   if (type == "cgroup" || type == "cgroup2") {
      mounts.push_back(
         {DecodePath(pathInHierarchy), DecodePath(mountPoint), type == "cgroup2", std::string(options)});
   }
}

// "36 35 98:0 /root /mount/point rw,noatime shared:1 - type source options"
void ParseMountInfo(std::string_view text, std::vector<Mount> &mounts, MissingFigures &notRead)
{
   while (!text.empty()) {
      std::string_view line = TakeLine(text);
      for (int skipped = 0; skipped < 3; skipped++) {
         TakeWord(line);
      }
      const std::string_view pathInHierarchy = TakeWord(line);
      const std::string_view mountPoint = TakeWord(line);
      std::string_view word;
      do {
         word = TakeWord(line);
      } while (!word.empty() && word != "-");
      const std::string_view type = TakeWord(line);
      TakeWord(line);
      const std::string_view options = TakeWord(line);
      if (HidesProcesses(mountPoint, type, options)) {
         notRead.Note(Missing::OtherProcesses, "mounted with hidepid");
      }
      AddMount(mounts, pathInHierarchy, mountPoint, type, options);
   }
}

// "source /mount/point type options 0 0"
void ParseMounts(std::string_view text, std::vector<Mount> &mounts)
{
   while (!text.empty()) {
      std::string_view line = TakeLine(text);
      TakeWord(line);
      const std::string_view mountPoint = TakeWord(line);
      const std::string_view type = TakeWord(line);
      AddMount(mounts, "/", mountPoint, type, TakeWord(line));
   }
}

bool HasWord(std::string_view words, std::string_view wanted, char separator)
{
   while (!words.empty()) {
      if (TakeUntil(words, separator) == wanted) {
         return true;
      }
   }
   return false;
}

FileDescriptor OpenMount(int root, const Mount &mount, KernelFileReader &files)
{
   return files.OpenFolder(root, BelowRoot(mount.mountPoint.c_str()), Missing::CgroupFolders);
}

bool HasMemoryController(int folder, KernelFileReader &files)
{
   std::optional<std::string_view> text = files.ReadAll(folder, "cgroup.controllers");
   return text.has_value() && HasWord(TakeLine(*text), "memory", ' ');
}

FileDescriptor OpenV1(int root, const std::vector<Mount> &mounts, std::string_view controller,
                      std::string *pathInHierarchy, KernelFileReader &files)
{
   for (const Mount &mount : mounts) {
      if (mount.isV2 || !HasWord(mount.options, controller, ',')) {
         continue;
      }
      FileDescriptor folder = OpenMount(root, mount, files);
      if (folder.IsOpen()) {
         *pathInHierarchy = mount.pathInHierarchy;
         return folder;
      }
   }
   return {};
}

} // namespace

CgroupMounts FindCgroupMounts(int root, KernelFileReader &files)
{
   std::vector<Mount> mounts;
   if (const std::optional<std::string_view> text = files.ReadAll(root, "proc/self/mountinfo")) {
      ParseMountInfo(*text, mounts, files.NotRead());
   }
   if (mounts.empty()) {
      if (const std::optional<std::string_view> text = files.ReadAll(root, "proc/mounts")) {
         ParseMounts(*text, mounts);
      }
   }

   CgroupMounts found;
   for (const Mount &mount : mounts) {
      FileDescriptor folder = mount.isV2 ? OpenMount(root, mount, files) : FileDescriptor();
      if (!folder.IsOpen()) {
         continue;
      }
      const bool hasMemory = HasMemoryController(folder.Get(), files);
      if (hasMemory || found.version == CgroupVersion::None) {
         found.version = CgroupVersion::V2;
         found.pathInHierarchy = mount.pathInHierarchy;
         found.memory = std::move(folder);
      }
      if (hasMemory) {
         return found;
      }
   }
   std::string pathInHierarchy;
   FileDescriptor memory = OpenV1(root, mounts, "memory", &pathInHierarchy, files);
   if (memory.IsOpen()) {
      found.version = CgroupVersion::V1;
      found.pathInHierarchy = pathInHierarchy;
      found.memory = std::move(memory);
      found.cpu = OpenV1(root, mounts, "cpu", &pathInHierarchy, files);
   }
   if (found.version == CgroupVersion::None) {
      files.NotRead().Note(Missing::Hierarchy, "no hierarchy is mounted");
   } else if (found.version == CgroupVersion::V2) {
      files.NotRead().Note(Missing::MemoryController, "no memory controller");
   }
   return found;
}

} // namespace nevra
