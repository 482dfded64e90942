// The live source on the machine that runs the tests: its figures against the kernel's own.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/nevra/linux/live_source.h"
#include "tests/nevra/linux/own_cgroup.h"

namespace {

using nevra::NodeId;
namespace fs = std::filesystem;

constexpr int64_t kProcess = 0x40000000;

std::map<std::string, uint64_t> KeyedFile(const std::string &path)
{
   std::map<std::string, uint64_t> figures;
   std::ifstream file(path);
   for (std::string line; std::getline(file, line);) {
      const size_t colon = line.find(':');
      if (colon != std::string::npos) {
         figures[line.substr(0, colon)] = std::strtoull(line.c_str() + colon + 1, nullptr, 10);
      }
   }
   return figures;
}

// Fails unless `actual` lies between two readings, give or take what moves while they are taken.
void ExpectNear(uint64_t before, uint64_t actual, uint64_t after, uint64_t slack, const char *what)
{
   EXPECT_GE(actual + slack, std::min(before, after)) << what;
   EXPECT_LE(actual, std::max(before, after) + slack) << what;
}

TEST(LiveHost, MemoryAgreesWithMeminfo)
{
   const auto before = KeyedFile("/proc/meminfo");
   LiveSource source("/");
   const auto stats = source.Read<CompMemMapStats>(NodeId::memory_comprehensive);
   const auto after = KeyedFile("/proc/meminfo");
   constexpr uint64_t kMoves = 256 * 1024;
   ExpectNear(before.at("MemTotal"), +stats.managedByMemMap, after.at("MemTotal"), 0, "MemTotal");
   ExpectNear(before.at("MemFree"), +stats.free, after.at("MemFree"), kMoves, "MemFree");
   EXPECT_GE(+stats.total, +stats.managedByMemMap);
   EXPECT_GE(stats.dataAndHeap + kMoves, before.at("Slab"));
   const uint64_t used = before.at("MemTotal") - before.at("MemFree");
   EXPECT_LE(stats.orskaClientConsumed + stats.otherConsumed, used + kMoves);
   const auto global = source.Read<GlobalMemSchedInfo>(NodeId::sched_globalStats_memory_kelmar);
   EXPECT_EQ(+stats.managedByMemMap, +global.managedByMemSched);
   EXPECT_LE(+global.memState, 4u);
}

void CollectProcesses(LiveSource &source, int64_t group, std::map<int64_t, int> &found)
{
   std::vector<int64_t> members;
   if (source.ListStatus(NodeId::sched_groups_members_groups, {group}, &members) != NEVRA_OK) {
      return;
   }
   for (const int64_t member : members) {
      if (member > kProcess && member <= kProcess + 0x3fffff) {
         found[member - kProcess]++;
      } else {
         CollectProcesses(source, member, found);
      }
   }
}

std::set<int64_t> ProcessesOfProc()
{
   std::set<int64_t> pids;
   for (const fs::directory_entry &entry : fs::directory_iterator("/proc")) {
      const std::string name = entry.path().filename();
      if (name.find_first_not_of("0123456789") == std::string::npos) {
         pids.insert(std::stoll(name));
      }
   }
   return pids;
}

TEST(LiveHost, EveryProcessIsFoundOnce)
{
   const std::set<int64_t> before = ProcessesOfProc();
   LiveSource source("/");
   std::map<int64_t, int> found;
   CollectProcesses(source, 0, found);
   const std::set<int64_t> after = ProcessesOfProc();
   for (const int64_t pid : before) {
      if (after.contains(pid)) {
         EXPECT_EQ(found[pid], 1) << "process " << pid;
      }
   }
   for (const auto &[pid, count] : found) {
      EXPECT_EQ(count, 1) << "process " << pid;
   }
}

TEST(LiveHost, ThisProcessShowsItsOwnMemory)
{
   const auto before = KeyedFile("/proc/self/status");
   LiveSource source("/");
   const int64_t self = kProcess + getpid();
   const auto stats = source.Read<GroupMemoryStatsRecord>(NodeId::sched_groups_stats_memoryStats, {self});
   const auto after = KeyedFile("/proc/self/status");
   ExpectNear(before.at("VmRSS"), +stats.consumed, after.at("VmRSS"), 512, "VmRSS");
   ExpectNear(before.at("VmSize"), +stats.memSize, after.at("VmSize"), 512, "VmSize");
   std::ifstream comm("/proc/self/comm");
   std::string name;
   std::getline(comm, name);
   EXPECT_EQ(source.Read<GroupNameRecord>(NodeId::sched_groups_groupName, {self}).name, name);
   EXPECT_EQ(static_cast<int64_t>(
                source.Read<GroupLeaderIDRecord>(NodeId::sched_groups_groupLeaderID, {self}).leaderID),
             getpid());
}

TEST(LiveHost, ACgroupAndItsLimitAreShown)
{
   bool isV1 = false;
   const std::string hierarchy = MemoryHierarchy(&isV1);
   if (hierarchy.empty()) {
      GTEST_SKIP() << "no cgroup hierarchy is mounted";
   }
   const OwnCgroup own(hierarchy);
   if (!own.made) {
      GTEST_SKIP() << "cgroups cannot be made in " << hierarchy;
   }
   {
      std::ofstream limit(own.path + (isV1 ? "/memory.limit_in_bytes" : "/memory.max"));
      limit << 64 * 1024 * 1024 << std::flush;
      if (!limit) {
         GTEST_SKIP() << "the memory controller is not there for cgroups below the root";
      }
   }
   struct stat status = {};
   ASSERT_EQ(stat(own.path.c_str(), &status), 0);
   LiveSource source("/");
   const int64_t group = static_cast<int64_t>(status.st_ino);
   EXPECT_EQ(hierarchy + "/" + source.Read<GroupNameRecord>(NodeId::sched_groups_groupName, {group}).name,
             own.path);
   EXPECT_EQ(+source.Read<GroupAllocRecord>(NodeId::sched_groups_memAllocationInKB, {group}).max, 64 * 1024);
   EXPECT_EQ(+source.Read<GroupMemoryStatsRecord>(NodeId::sched_groups_stats_memoryStats, {group}).bMax,
             64u * 1024);
   EXPECT_EQ(+source.Read<ParentGroupIDRecord>(NodeId::sched_groups_parentGroupID, {group}).parentGroupID, 0);
}

} // namespace
