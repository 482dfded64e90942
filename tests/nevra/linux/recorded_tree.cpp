#include "tests/nevra/linux/recorded_tree.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

RecordedTree::RecordedTree()
{
   std::string name = testing::TempDir() + "recorded-tree-XXXXXX";
   root = mkdtemp(name.data()) != nullptr ? name : "";
   EXPECT_FALSE(root.empty());
   Folder("proc");
}

RecordedTree::~RecordedTree()
{
   std::error_code ignored;
   fs::remove_all(root, ignored);
}

void RecordedTree::File(const std::string &path, const std::string &text)
{
   const fs::path file = fs::path(root) / path;
   fs::create_directories(file.parent_path());
   std::ofstream(file, std::ios::binary) << text;
}

void RecordedTree::Link(const std::string &path, const std::string &target)
{
   const fs::path link = fs::path(root) / path;
   fs::create_directories(link.parent_path());
   fs::create_symlink(target, link);
}

void RecordedTree::Folder(const std::string &path)
{
   fs::create_directories(fs::path(root) / path);
}

void RecordedTree::Remove(const std::string &path)
{
   EXPECT_GT(fs::remove_all(fs::path(root) / path), 0u) << path;
}

uint64_t RecordedTree::Inode(const std::string &path) const
{
   struct stat status = {};
   EXPECT_EQ(stat((fs::path(root) / path).c_str(), &status), 0) << path;
   return status.st_ino;
}

void RecordedTree::Process(uint32_t pid, const RecordedProcess &process)
{
   const std::string folder = "proc/" + std::to_string(pid);
   std::string text = "Name:\t" + process.name + "\nUmask:\t0022\nState:\tS (sleeping)\nTgid:\t" +
                      std::to_string(pid) + "\nPid:\t" + std::to_string(pid) + "\nPPid:\t" +
                      std::to_string(process.parent) + "\nUid:\t0\t0\t0\t0\n";
   if (!process.kthread.empty()) {
      text += "Kthread:\t" + process.kthread + "\n";
   }
   if (process.vmSize > 0) {
      const auto line = [&text](const char *key, uint64_t kb) {
         text += std::string(key) + ":\t" + std::to_string(kb) + " kB\n";
      };
      line("VmPeak", process.vmSize + 100);
      line("VmSize", process.vmSize);
      line("VmLck", 8);
      line("VmPin", 4);
      line("VmHWM", process.vmRss + 10);
      line("VmRSS", process.vmRss);
      line("RssAnon", process.vmRss / 2);
      line("RssFile", process.vmRss / 4);
      line("RssShmem", process.vmRss / 4);
      line("VmPTE", 44);
      line("VmSwap", 16);
      line("HugetlbPages", 0);
   }
   text += "Threads:\t" + std::to_string(process.threads) + "\nSigQ:\t0/96365\n";
   File(folder + "/status", text);
   File(folder + "/oom_score_adj", std::to_string(process.oomScoreAdj) + "\n");
}

void RecordedTree::MountV2()
{
   File("proc/self/mountinfo", "23 1 0:22 / /sys rw - sysfs sysfs rw\n"
                               "30 23 0:26 / /sys/fs/cgroup rw,nosuid shared:4 - cgroup2 cgroup2 rw\n");
   V2("", "cgroup.controllers", "cpuset cpu io memory pids\n");
   V2("", "cgroup.procs", "");
}

void RecordedTree::MountV1()
{
   File("proc/self/mountinfo", "31 23 0:28 / /sys/fs/cgroup rw - tmpfs tmpfs rw\n"
                               "32 31 0:29 / /sys/fs/cgroup/cpu rw - cgroup cgroup rw,cpu,cpuacct\n"
                               "35 31 0:32 / /sys/fs/cgroup/memory rw - cgroup cgroup rw,memory\n"
                               "41 31 0:38 / /sys/fs/cgroup/unified rw - cgroup2 cgroup2 rw\n");
   File("sys/fs/cgroup/unified/cgroup.controllers", "hugetlb\n");
   V1("", "cgroup.procs", "");
   Folder("sys/fs/cgroup/cpu");
}

void RecordedTree::V2(const std::string &cgroup, const std::string &file, const std::string &text)
{
   File("sys/fs/cgroup/" + cgroup + "/" + file, text);
}

void RecordedTree::V1(const std::string &cgroup, const std::string &file, const std::string &text)
{
   File("sys/fs/cgroup/memory/" + cgroup + "/" + file, text);
}

uint64_t RecordedTree::V2Id(const std::string &cgroup) const
{
   return Inode("sys/fs/cgroup/" + cgroup);
}

uint64_t RecordedTree::V1Id(const std::string &cgroup) const
{
   return Inode("sys/fs/cgroup/memory/" + cgroup);
}

void RecordedTree::HostMemory()
{
   File("proc/meminfo", "MemTotal:        8000000 kB\n"
                        "MemFree:         2000000 kB\n"
                        "MemAvailable:    4000000 kB\n"
                        "Active(anon):     300000 kB\n"
                        "Inactive(anon):    10000 kB\n"
                        "Active(file):     200000 kB\n"
                        "AnonPages:       1000000 kB\n"
                        "Shmem:            100000 kB\n"
                        "Slab:             400000 kB\n"
                        "KernelStack:       20000 kB\n"
                        "PageTables:        30000 kB\n"
                        "SecPageTables:      1000 kB\n"
                        "Percpu:             5000 kB\n"
                        "Hugetlb:           40960 kB\n");
   File("proc/zoneinfo", "Node 0, zone      DMA\n"
                         "  per-node stats\n"
                         "      nr_inactive_anon 1884\n"
                         "  pages free     3840\n"
                         "        boost    0\n"
                         "        min      60\n"
                         "        low      75\n"
                         "        high     90\n"
                         "        spanned  4095\n"
                         "        present  3998\n"
                         "        managed  3840\n"
                         "      nr_free_pages 3840\n"
                         "  pagesets\n"
                         "    cpu: 0\n"
                         "              count: 7\n"
                         "              high:  14\n"
                         "Node 0, zone   Normal\n"
                         "  pages free     496160\n"
                         "        min      16000\n"
                         "        low      20000\n"
                         "        high     24000\n"
                         "        present  2097152\n"
                         "        managed  1996160\n"
                         "Node 0, zone  Movable\n"
                         "  pages free     0\n"
                         "        min      32\n"
                         "        low      32\n"
                         "        high     32\n"
                         "        present  0\n"
                         "        managed  0\n");
   File("proc/vmstat", "nr_free_pages 500000\n"
                       "nr_memmap_pages 1000\n"
                       "nr_memmap_boot_pages 8000\n"
                       "allocstall_dma 1\n"
                       "allocstall_normal 4\n"
                       "pageoutrun 12\n");
   File("proc/sys/vm/min_free_kbytes", "67584\n");
   File("proc/iomem", "00000000-00000fff : Reserved\n"
                      "00001000-0009ffff : System RAM\n"
                      "00100000-1ffffffff : System RAM\n"
                      "  01000000-01ffffff : Kernel code\n"
                      "  02000000-027fffff : Kernel rodata\n"
                      "  02800000-02bfffff : Kernel data\n"
                      "  02c00000-02dfffff : Kernel bss\n"
                      "fee00000-fee00fff : Local APIC\n");
}
