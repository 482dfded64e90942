// A cgroup of a test's own, in the hierarchy that the live source reads.
#ifndef TESTS_NEVRA_LINUX_OWN_CGROUP_H
#define TESTS_NEVRA_LINUX_OWN_CGROUP_H

#include <filesystem>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "nevra/linux/cgroup_mounts.h"
#include "nevra/linux/kernel_file.h"

// The folder of the hierarchy; empty where none is mounted.
inline std::string MemoryHierarchy(bool *isV1)
{
   nevra::KernelFileReader files;
   const nevra::FileDescriptor root = files.OpenFolder(-1, "/");
   const nevra::CgroupMounts mounts = nevra::FindCgroupMounts(root.Get(), files);
   *isV1 = mounts.version == nevra::CgroupVersion::V1;
   return mounts.memory.IsOpen()
             ? std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(mounts.memory.Get())).string()
             : std::string();
}

// Gone at the end, with the cgroups directly below it; no process may be left in them.
class OwnCgroup {
 public:
   explicit OwnCgroup(const std::string &hierarchy)
       : path(hierarchy + "/hostmem-test-" + std::to_string(getpid())),
         made(!hierarchy.empty() && mkdir(path.c_str(), 0755) == 0)
   {
   }
   ~OwnCgroup()
   {
      // A process that has just ended keeps its cgroup for a moment.
      constexpr int kTries = 200;
      for (int i = 0; made && i < kTries && !Remove(); i++) {
         usleep(10000);
      }
   }
   OwnCgroup(const OwnCgroup &) = delete;
   OwnCgroup &operator=(const OwnCgroup &) = delete;

   const std::string path;
   const bool made;

 private:
   bool Remove() const
   {
      std::error_code error;
      for (const std::filesystem::directory_entry &entry : std::filesystem::directory_iterator(path, error)) {
         if (entry.is_directory(error)) {
            rmdir(entry.path().c_str());
         }
      }
      return rmdir(path.c_str()) == 0;
   }
};

#endif
