#include "fuzz/linux_tree.h"

#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kMark = "=== ";
constexpr size_t kMostEntries = 256;

// Cut off the first line, or what is before the next mark.
std::string_view TakeUpTo(std::string_view &text, size_t end, size_t separator)
{
   const std::string_view part = text.substr(0, end);
   text.remove_prefix(end == std::string_view::npos ? text.size() : end + separator);
   return part;
}

std::string_view TakeContent(std::string_view &text)
{
   if (text.starts_with(kMark)) {
      return {};
   }
   const size_t end = text.find("\n=== ");
   return TakeUpTo(text, end == std::string_view::npos ? end : end + 1, 0);
}

// Names between slashes; none is empty, too long, or leads up or nowhere.
bool IsPath(std::string_view path)
{
   size_t names = 0;
   while (!path.empty()) {
      const std::string_view name = TakeUpTo(path, path.find('/'), 1);
      if (name.empty() || name.size() > 255 || name == "." || name.find('\0') != std::string_view::npos) {
         return false;
      }
      names++;
   }
   return names > 0 && names <= 80;
}

bool AddEntry(std::string_view head, std::string_view content, TreeEntries *entries)
{
   const size_t arrow = head.find(" -> ");
   TreeEntry entry = {TreeEntry::Kind::File, std::string(content)};
   if (arrow != std::string_view::npos) {
      entry = {TreeEntry::Kind::Link, std::string(head.substr(arrow + 4))};
      head = head.substr(0, arrow);
      if (entry.content.empty() || entry.content.size() > 1000 ||
          entry.content.find('\0') != std::string::npos) {
         return true;
      }
      if (entry.content.starts_with('/')) {
         return false;
      }
   } else if (head.ends_with('/')) {
      entry = {TreeEntry::Kind::Folder, {}};
      head.remove_suffix(1);
   }
   if (head.size() < 3000 && IsPath(head)) {
      (*entries)[std::string(head)] = std::move(entry);
   }
   return true;
}

// Whether what is above a path is nothing or a folder.
bool HasFoldersAbove(const TreeEntries &entries, const std::string &path)
{
   for (size_t end = path.rfind('/'); end != std::string::npos && end > 0; end = path.rfind('/', end - 1)) {
      const auto above = entries.find(path.substr(0, end));
      if (above != entries.end() && above->second.kind != TreeEntry::Kind::Folder) {
         return false;
      }
   }
   return true;
}

} // namespace

bool ParseLinuxTree(std::string_view text, TreeEntries *entries)
{
   // Paths in the mount tables write a character in octal; "\056" is a dot.
   if (text.find("..") != std::string_view::npos || text.find("\\056") != std::string_view::npos) {
      return false;
   }
   TakeContent(text);
   while (!text.empty() && entries->size() < kMostEntries) {
      text.remove_prefix(kMark.size());
      const std::string_view head = TakeUpTo(text, text.find('\n'), 1);
      if (!AddEntry(head, TakeContent(text), entries)) {
         return false;
      }
   }
   std::erase_if(*entries, [&](const auto &entry) { return !HasFoldersAbove(*entries, entry.first); });
   return true;
}

void LinuxTree::Hold(const TreeEntries &wanted)
{
   // Backwards: what is in a folder before the folder.
   for (auto at = entries.end(); at != entries.begin();) {
      --at;
      const auto same = wanted.find(at->first);
      if (same == wanted.end() || same->second.kind != at->second.kind) {
         Remove(at->first);
         at = entries.erase(at);
      }
   }
   for (const auto &[path, entry] : wanted) {
      const auto known = entries.find(path);
      if ((known == entries.end() || known->second != entry) && Write(path, entry)) {
         entries[path] = entry;
      }
   }
}

void LinuxTree::ForgetRegisters()
{
   for (auto &[path, entry] : entries) {
      if (entry.kind == TreeEntry::Kind::File && path.ends_with("/config")) {
         entry.content += "forgotten";
      }
   }
}

// With the folders above that are empty now and were made on the way.
void LinuxTree::Remove(const std::string &path)
{
   std::error_code error;
   fs::remove(fs::path(Root()) / path, error);
   for (fs::path at = fs::path(path).parent_path(); !at.empty() && !entries.contains(at);
        at = at.parent_path()) {
      if (rmdir((fs::path(Root()) / at).c_str()) != 0) {
         break;
      }
   }
}

bool LinuxTree::Write(const std::string &path, const TreeEntry &entry) const
{
   const fs::path at = fs::path(Root()) / path;
   std::error_code error;
   fs::create_directories(entry.kind == TreeEntry::Kind::Folder ? at : at.parent_path(), error);
   if (error || entry.kind == TreeEntry::Kind::Folder) {
      return !error;
   }
   if (entry.kind == TreeEntry::Kind::Link) {
      unlink(at.c_str());
      return symlink(entry.content.c_str(), at.c_str()) == 0;
   }
   const int file = open(at.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
   const bool written = file >= 0 && write(file, entry.content.data(), entry.content.size()) ==
                                        static_cast<ssize_t>(entry.content.size());
   close(file);
   return written;
}
