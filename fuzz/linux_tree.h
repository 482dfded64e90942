// A folder of kernel files that is made from one text, for the live source to read.
//
// The text is a file after the other:
//
//    === proc/meminfo
//    MemTotal:  8000000 kB
//    === proc/70/exe -> usr/bin/qemu-system-x86_64
//    === sys/fs/cgroup/a.slice/
//
// A line that begins with "=== " names a file, a symbolic link or a folder; what follows up to the next such
// line is what is in the file.
#ifndef FUZZ_LINUX_TREE_H
#define FUZZ_LINUX_TREE_H

#include <map>
#include <string>
#include <string_view>

#include "fuzz/memory_folder.h"

// What stands at a path below the root.
struct TreeEntry {
   enum class Kind { File, Link, Folder } kind = Kind::File;
   std::string content; // of a link: its target

   bool operator==(const TreeEntry &) const = default;
};

using TreeEntries = std::map<std::string, TreeEntry>;

// False for a text that could lead out of the folder. A path that cannot be is left out.
bool ParseLinuxTree(std::string_view text, TreeEntries *entries);

// One folder in memory for the whole process. What is the same from one tree to the next stays as it is.
class LinuxTree {
 public:
   const std::string &Root() const { return folder.Path(); }

   void Hold(const TreeEntries &wanted);

   // The registers of devices may hold something else by now.
   void ForgetRegisters();

 private:
   void Remove(const std::string &path);
   bool Write(const std::string &path, const TreeEntry &entry) const;

   MemoryFolder folder{"linux-tree"};
   TreeEntries entries;
};

#endif
