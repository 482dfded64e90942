// A folder with kernel files made by hand, for the live source to read instead of the host's.
#ifndef TESTS_NEVRA_LINUX_RECORDED_TREE_H
#define TESTS_NEVRA_LINUX_RECORDED_TREE_H

#include <cstdint>
#include <string>
#include <vector>

// A process as a recorded tree shows it; memory in KB. Without memory it is a zombie or a kernel thread.
struct RecordedProcess {
   std::string name;
   uint32_t parent = 1;
   uint64_t vmSize = 0;
   uint64_t vmRss = 0;
   uint32_t threads = 1;
   int oomScoreAdj = 0;
   std::string kthread = "0"; // empty: a kernel that does not tell
};

class RecordedTree {
 public:
   RecordedTree();
   ~RecordedTree(); // removes the folder
   RecordedTree(const RecordedTree &) = delete;
   RecordedTree &operator=(const RecordedTree &) = delete;

   const std::string &Root() const { return root; }

   // Paths are below the root, without a leading slash; folders on the way are made.
   void File(const std::string &path, const std::string &text);
   void Link(const std::string &path, const std::string &target);
   void Folder(const std::string &path);
   void Remove(const std::string &path);
   uint64_t Inode(const std::string &path) const;

   // /proc/PID with status and oom_score_adj.
   void Process(uint32_t pid, const RecordedProcess &process);

   // A v2 hierarchy with the memory controller at /sys/fs/cgroup; a v1 memory hierarchy at
   // /sys/fs/cgroup/memory, the CPU controller's at /sys/fs/cgroup/cpu.
   void MountV2();
   void MountV1();

   // Files of a cgroup of that hierarchy ("a.slice/b.service"; empty: the root).
   void V2(const std::string &cgroup, const std::string &file, const std::string &text);
   void V1(const std::string &cgroup, const std::string &file, const std::string &text);
   uint64_t V2Id(const std::string &cgroup) const;
   uint64_t V1Id(const std::string &cgroup) const;

   // /proc/meminfo, zoneinfo, vmstat and sys/vm/min_free_kbytes of a host with 8 GB, 2 GB of them free.
   void HostMemory();

 private:
   std::string root;
};

#endif
