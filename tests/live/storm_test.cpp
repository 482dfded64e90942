// Reports of a host on which processes and cgroups come and go by the thousand.
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/live/live_report.h"
#include "tests/nevra/linux/own_cgroup.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Shared with the processes that make the storm.
struct StormCounts {
   std::atomic<bool> isOver;
   std::atomic<long> processes;
   std::atomic<long> cgroups;
};

// How long one lives: from not at all to longer than a report takes to reach it.
void LiveBriefly(long number)
{
   constexpr useconds_t kLives[] = {0, 0, 200, 1000, 5000, 30000};
   prctl(PR_SET_NAME, number % 2 == 0 ? "hm-storm" : "qemu-system-no");
   usleep(kLives[number % std::ssize(kLives)]);
   _exit(0);
}

// Moves the calling process; where that is not permitted it stays, and lives all the same.
void EnterCgroup(const std::string &path)
{
   std::ofstream(path + "/cgroup.procs") << getpid();
}

// Bears processes, each into a cgroup of its own where `folder` names the place, until the storm is over.
// Every sixth is waited for only at the end of a round, a zombie until then.
void BearProcesses(StormCounts *counts, const std::string &folder)
{
   constexpr int kRound = 24;
   for (long number = 0; !counts->isOver;) {
      std::vector<std::string> cgroups;
      for (int i = 0; i < kRound; i++, number++) {
         const std::string cgroup = folder + '/' + std::to_string(getpid()) + '-' + std::to_string(number);
         const bool hasCgroup = !folder.empty() && mkdir(cgroup.c_str(), 0755) == 0;
         const pid_t child = fork();
         if (child == 0) {
            if (hasCgroup) {
               EnterCgroup(cgroup);
            }
            LiveBriefly(number);
         }
         counts->processes += child > 0 ? 1 : 0;
         if (hasCgroup) {
            counts->cgroups++;
            cgroups.push_back(cgroup);
         }
         if (number % 6 != 0) {
            waitpid(-1, nullptr, WNOHANG);
         }
      }
      while (waitpid(-1, nullptr, 0) > 0) {
      }
      for (const std::string &cgroup : cgroups) {
         rmdir(cgroup.c_str());
      }
   }
}

// Over, and all that it bore gone, with this object.
class Storm {
 public:
   explicit Storm(const std::string &folder)
       : counts(static_cast<StormCounts *>(
            mmap(nullptr, sizeof(StormCounts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
   {
      for (const std::string &place : {std::string(), folder}) {
         const pid_t parent = fork();
         if (parent == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            BearProcesses(counts, place);
            _exit(0);
         }
         parents.push_back(parent);
      }
   }
   ~Storm()
   {
      End();
      munmap(counts, sizeof *counts);
   }
   Storm(const Storm &) = delete;
   Storm &operator=(const Storm &) = delete;

   void End()
   {
      counts->isOver = true;
      for (const pid_t parent : parents) {
         waitpid(parent, nullptr, 0);
      }
      parents.clear();
   }

   StormCounts *const counts;

 private:
   std::vector<pid_t> parents;
};

TEST(Storm, EveryReportIsWholeWhileProcessesAndCgroupsComeAndGo)
{
   bool isV1 = false;
   const OwnCgroup own(MemoryHierarchy(&isV1));
   Storm storm(own.made ? own.path : "");
   long runs = 0;
   size_t stormRows = 0;
   // A machine with more to do than this needs longer for a storm that is one.
   const Clock::time_point start = Clock::now();
   const auto goesOn = [&] {
      const bool wasOne = runs > 0 && stormRows > 0 && storm.counts->processes >= 1000 &&
                          (!own.made || storm.counts->cgroups >= 500);
      return Clock::now() < start + std::chrono::seconds(wasOne ? 6 : 60);
   };
   for (; goesOn() && !HasFailure(); runs++) {
      const LiveReport groups = RunLiveReport("group-stats");
      for (const std::vector<std::string> &row : groups.rows) {
         stormRows += groups.Text(row, "name") == "hm-storm" ? 1 : 0;
      }
      for (const char *report : {"uw-stats", "vm-stats", "comp-stats"}) {
         RunLiveReport(report);
      }
   }
   storm.End();
   const long processes = storm.counts->processes;
   const long cgroups = storm.counts->cgroups;
   std::printf("%ld runs of each report, %ld processes, %ld cgroups, %zu rows of them\n", runs, processes,
               cgroups, stormRows);
   EXPECT_GE(processes, 1000);
   EXPECT_GT(runs, 0);
   EXPECT_GT(stormRows, 0u) << "the reports missed the storm";
   if (!own.made) {
      GTEST_SKIP() << "cgroups cannot be made here: processes only";
   }
   EXPECT_GE(cgroups, 500);
}

} // namespace
