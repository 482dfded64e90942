// Every allocation of a run failing once: the run ends with a status of its own, and what it prints is whole
// unless it says otherwise.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

namespace {

namespace fs = std::filesystem;

struct Ended {
   int status; // -1: ended by a signal
   std::string out;
   std::string err;
};

std::string ReadFile(const fs::path &path)
{
   std::ifstream file(path);
   std::ostringstream text;
   text << file.rdbuf();
   return text.str();
}

class MemoryFailure : public testing::Test {
 protected:
   MemoryFailure()
   {
      char pattern[] = "/tmp/memory_failure_test.XXXXXX";
      folder = mkdtemp(pattern);
   }
   ~MemoryFailure() override { fs::remove_all(folder); }

   bool HasFailed() const { return fs::exists(folder / "mark"); }

   // The command in the folder, with its n-th allocation failing; none for 0.
   Ended RunFailing(const std::string &command, int n) const
   {
      fs::remove(folder / "mark");
      const std::string line =
         "cd " + folder.string() +
         " && HOSTMEM_FAILED_MARK=mark HOSTMEM_FAILING_ALLOCATION=" + std::to_string(n) +
         " LD_PRELOAD=" FAILING_MEMORY " exec " + command + " > out 2> err";
      const int status = std::system(line.c_str());
      return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(folder / "out"),
              ReadFile(folder / "err")};
   }

   // Calls check(run, n) for every allocation of the command; gives their number.
   template <typename Check> int FailEveryAllocation(const std::string &command, Check check) const
   {
      constexpr int kMost = 5000;
      for (int n = 1; n < kMost && !HasFailure(); n++) {
         const Ended run = RunFailing(command, n);
         if (!HasFailed()) {
            return n - 1;
         }
         SCOPED_TRACE(command + ", allocation " + std::to_string(n) + ", standard error:\n" + run.err);
         check(run);
      }
      return kMost;
   }

   fs::path folder;
};

TEST_F(MemoryFailure, EndsAReportWithAStatus)
{
   for (const char *report : {"group-stats", "vm-stats", "heap-stats", "lpool-stats", "buddy-stats",
                              "pmem-region-stats", "comp-stats", "asyncremap-stats"}) {
      const std::string command = HOSTMEM " -c " SAMPLE_SNAPSHOT " -r " + std::string(report) + " -q -v";
      const Ended clean = RunFailing(command, 0);
      ASSERT_EQ(clean.status, 0) << clean.err;
      const int allocations = FailEveryAllocation(
         command, [](const Ended &run) { EXPECT_THAT(run.status, testing::AnyOf(0, 1)); });
      EXPECT_GT(allocations, 5) << report;
   }
}

TEST_F(MemoryFailure, NeverGivesOtherGroupsThanThereAre)
{
   const std::string command = HOSTMEM " -c " SAMPLE_SNAPSHOT " -r group-stats -q";
   const Ended clean = RunFailing(command, 0);
   FailEveryAllocation(command, [&clean](const Ended &run) {
      if (run.status == 0 && run.err == clean.err) {
         EXPECT_EQ(run.out, clean.out);
      }
   });
}

TEST_F(MemoryFailure, IsToldByTheHeapReportWhereItsRecordsFindNone)
{
   int told = 0;
   FailEveryAllocation(HOSTMEM " -c " SAMPLE_SNAPSHOT " -r heap-stats -q", [&told](const Ended &run) {
      if (run.err == "KelmarHeapGetMemMapStats: malloc() for stats failure\n") {
         told++;
         EXPECT_EQ(run.status, 0);
         EXPECT_EQ(run.out, "");
      }
   });
   EXPECT_EQ(told, 1);
}

TEST_F(MemoryFailure, IsToldInOneLine)
{
   int told = 0;
   FailEveryAllocation(HOSTMEM " -c " SAMPLE_SNAPSHOT " -r comp-stats -q", [&told](const Ended &run) {
      if (run.err == "Out of memory\n") {
         told++;
         EXPECT_EQ(run.status, 1);
      }
   });
   EXPECT_GT(told, 0);
}

TEST_F(MemoryFailure, EndsAReportOfThisHostWithAStatus)
{
   for (const char *report : {"comp-stats", "buddy-stats", "heap-stats"}) {
      FailEveryAllocation(HOSTMEM " -r " + std::string(report) + " -q",
                          [](const Ended &run) { EXPECT_THAT(run.status, testing::AnyOf(0, 1)); });
   }
}

class SnapshotMemoryFailure : public MemoryFailure {
 protected:
   SnapshotMemoryFailure()
   {
      std::ofstream(folder / "a.json") << R"({"host": "elm", "nodes": {
         "sched/groups/groupName": {"records": [{"keys": [0], "name": "host"}, {"keys": [5], "name": "five"}]},
         "sched/groups/members/groups": {"lists": [{"keys": [0], "instances": [5]}]},
         "system/heaps": {"lists": [{"instances": ["main", "net"]}]}}})";
      EXPECT_EQ(RunFailing(import, 0).status, 0);
   }

   const std::string import = SNAPSHOT_TOOL " import a.json --force -o a";
};

TEST_F(SnapshotMemoryFailure, LeavesNoSnapshotThatIsNotWhole)
{
   const std::string whole = ReadFile(folder / "a");
   fs::remove(folder / "a");
   FailEveryAllocation(import, [&](const Ended &run) {
      EXPECT_THAT(run.status, testing::AnyOf(0, 1, 2));
      EXPECT_EQ(ReadFile(folder / "a"), run.status == 0 ? whole : "");
      EXPECT_EQ(run.err.empty(), run.status == 0);
      fs::remove(folder / "a");
   });
}

class SnapshotCommandMemoryFailure : public SnapshotMemoryFailure,
                                     public testing::WithParamInterface<const char *> {};

TEST_P(SnapshotCommandMemoryFailure, EndsWithAStatus)
{
   FailEveryAllocation(SNAPSHOT_TOOL " " + std::string(GetParam()),
                       [](const Ended &run) { EXPECT_THAT(run.status, testing::AnyOf(0, 1, 2)); });
}

INSTANTIATE_TEST_SUITE_P(Commands, SnapshotCommandMemoryFailure,
                         testing::Values("verify a", "export a", "info a", "diff a a"),
                         [](const auto &command) {
                            const std::string text = command.param;
                            return text.substr(0, text.find(' '));
                         });

} // namespace
