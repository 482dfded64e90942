#include "nevra/linux/cgroup_tree.h"

#include <algorithm>
#include <set>

#include <sys/stat.h>

#include "nevra/linux/group_ids.h"
#include "nevra/linux/kernel_text.h"
#include "nevra/records.h"

namespace nevra {

namespace {

void ReadMembers(CgroupTree &tree, CgroupIndex index, int folder, KernelFileReader &files)
{
   std::optional<std::string_view> text = files.ReadAll(folder, "cgroup.procs", Missing::CgroupFiles);
   while (text.has_value() && !text->empty()) {
      // Processes of a PID namespace that this one cannot see into are listed as 0.
      if (const std::optional<uint32_t> pid = ParsePid(TakeLine(*text))) {
         tree.members.emplace_back(*pid, index);
      }
   }
}

uint64_t UniqueId(const CgroupTree &tree, int folder)
{
   struct stat status = {};
   fstat(folder, &status);
   uint64_t id = CgroupIdOfInode(status.st_ino);
   while (tree.byId.contains(id)) {
      id = CgroupIdOfInode(id + 1);
   }
   return id;
}

void AddChild(CgroupTree &tree, CgroupIndex parent, int folder, std::string name)
{
   const CgroupIndex index = static_cast<CgroupIndex>(tree.cgroups.size());
   const uint64_t id = UniqueId(tree, folder);
   const uint32_t depth = tree.cgroups[parent].depth + 1;
   tree.cgroups.push_back({id, parent, depth, std::move(name), {}});
   tree.cgroups[parent].children.push_back(index);
   tree.byId.emplace(id, index);
}

void ReadChildren(CgroupTree &tree, CgroupIndex parent, int folder, KernelFileReader &files)
{
   std::vector<std::string> names =
      files.ListNames(folder, ".", EntryKind::Folders, CgroupTree::kMostCgroups - tree.cgroups.size(),
                      Missing::CgroupFolders);
   if (!names.empty() && tree.cgroups[parent].depth >= CgroupTree::kMostLevels) {
      files.NotRead().Note(Missing::DeepCgroups,
                           "cgroups deeper than " + std::to_string(CgroupTree::kMostLevels) + " levels");
      return;
   }
   std::sort(names.begin(), names.end());
   for (std::string &name : names) {
      const FileDescriptor child = files.OpenFolder(folder, name.c_str(), Missing::CgroupFolders);
      if (child.IsOpen()) {
         const CgroupIndex index = static_cast<CgroupIndex>(tree.cgroups.size());
         AddChild(tree, parent, child.Get(), std::move(name));
         ReadMembers(tree, index, child.Get(), files);
      }
   }
}

// group-stats adds up so many tags and no more. A tag is what fits of a top-level cgroup's name.
void NoteManyTags(const CgroupTree &tree, MissingFigures &notRead)
{
   constexpr size_t kMostTags = 512;
   const std::vector<CgroupIndex> &topLevel = tree.cgroups[kRootCgroup].children;
   if (topLevel.size() < kMostTags) {
      return; // one of them may be that of the root's own processes
   }
   std::set<std::string> tags = {std::string(kRootTag)};
   for (const CgroupIndex index : topLevel) {
      tags.emplace(TagOfCgroup(tree, index).substr(0, sizeof(GroupTagRecord::tag) - 1));
   }
   if (tags.size() > kMostTags) {
      notRead.Note(Missing::ManyTags, "more than " + std::to_string(kMostTags) + " tags");
   }
}

} // namespace

CgroupTree ReadCgroupTree(int root, KernelFileReader &files)
{
   CgroupTree tree;
   tree.mounts = FindCgroupMounts(root, files);
   tree.cgroups.push_back({kRootGroupId, kRootCgroup, 0, {}, {}});
   tree.byId.emplace(kRootGroupId, kRootCgroup);
   if (tree.mounts.version == CgroupVersion::None) {
      return tree;
   }
   ReadMembers(tree, kRootCgroup, tree.mounts.memory.Get(), files);
   for (CgroupIndex index = 0; index < tree.cgroups.size(); index++) {
      const FileDescriptor folder =
         files.OpenFolder(tree.mounts.memory.Get(), CgroupPath(tree, index).c_str(), Missing::CgroupFolders);
      if (folder.IsOpen()) {
         ReadChildren(tree, index, folder.Get(), files);
      }
   }
   if (tree.cgroups.size() >= CgroupTree::kMostCgroups) {
      files.NotRead().Note(Missing::CgroupFolders, "too many");
   }
   NoteManyTags(tree, files.NotRead());
   return tree;
}

std::string CgroupPath(const CgroupTree &tree, CgroupIndex cgroup)
{
   std::vector<CgroupIndex> path;
   for (CgroupIndex at = cgroup; at != kRootCgroup; at = tree.cgroups[at].parent) {
      path.push_back(at);
   }
   std::reverse(path.begin(), path.end());
   std::string text;
   for (const CgroupIndex at : path) {
      text += text.empty() ? "" : "/";
      text += tree.cgroups[at].name;
   }
   return text.empty() ? "." : text;
}

std::string_view TopLevelName(const CgroupTree &tree, CgroupIndex cgroup)
{
   while (tree.cgroups[cgroup].depth > 1) {
      cgroup = tree.cgroups[cgroup].parent;
   }
   return tree.cgroups[cgroup].name;
}

std::string_view TagOfCgroup(const CgroupTree &tree, CgroupIndex cgroup)
{
   constexpr std::string_view kSlice = ".slice";
   std::string_view tag = cgroup != kRootCgroup ? TopLevelName(tree, cgroup) : kRootTag;
   tag.remove_suffix(tag.ends_with(kSlice) ? kSlice.size() : 0);
   return tag;
}

CgroupIndex FindUnit(const CgroupTree &tree, CgroupIndex cgroup)
{
   for (CgroupIndex at = cgroup; at != kRootCgroup; at = tree.cgroups[at].parent) {
      const std::string_view name = tree.cgroups[at].name;
      // libvirt without systemd calls it NAME.libvirt-qemu.
      if (name.ends_with(".scope") || name.ends_with(".service") || name.ends_with(".libvirt-qemu")) {
         return at;
      }
   }
   return cgroup;
}

CgroupIndex FindCgroupByPath(const CgroupTree &tree, std::string_view path)
{
   std::string_view mounted = tree.mounts.pathInHierarchy;
   if (mounted.size() > 1 && path.starts_with(mounted)) {
      path.remove_prefix(mounted.size());
   }
   CgroupIndex at = kRootCgroup;
   while (!path.empty()) {
      const std::string_view name = TakeUntil(path, '/');
      const std::vector<CgroupIndex> &children = tree.cgroups[at].children;
      const auto child = std::lower_bound(children.begin(), children.end(), name,
                                          [&tree](CgroupIndex index, std::string_view wanted) {
                                             return std::string_view(tree.cgroups[index].name) < wanted;
                                          });
      if (name.empty()) {
         continue;
      }
      if (child == children.end() || tree.cgroups[*child].name != name) {
         break;
      }
      at = *child;
   }
   return at;
}

} // namespace nevra
