// Records through a libnevra.so.1 that is not this project's: the scripted platform.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "nevra/records.h"
#include "tests/recorder/recording_kit.h"
#include "tests/scripted/scenario.h"
#include "tests/shell/run_command.h"

using namespace scripted;

namespace {

namespace fs = std::filesystem;

class PlatformRecording : public testing::Test {
 protected:
   PlatformRecording() { options.executable = "/usr/bin/timeout"; }

   // A recorder of the scenario, ended after `seconds`.
   RunResult Record(const Scenario &scenario, const std::string &seconds) const
   {
      return RunHostmem(
         scenario,
         {"--preserve-status", seconds, RECORD_PROGRAM, "run", "--dir", folder.Path(), "--every", "1s"},
         options);
   }
   std::string Reported(const std::string &report) const
   {
      const std::string command =
         RECORD_PROGRAM " report now --dir " + folder.Path() + " -r " + report + " -q 2> /dev/null";
      return RunCommand(command).output;
   }
   size_t FrameCount()
   {
      std::string problem;
      recorder::Recording recording;
      return recording.Open(folder.Path(), &problem) ? recording.Frames().size() : 0;
   }

   TemporaryFolder folder;
   RunOptions options;
};

Scenario Host()
{
   Scenario scenario;
   scenario.Group(0).Name("host").Flags(GROUP_PREDEFINED).Children({7}).MemClients({70});
   scenario.Group(7).Name("vm.7").Parent(0).Flags(GROUP_VM).Alloc({.min = 5, .max = -1}).VmmLeader(71, 72);
   scenario.List(NodeId::system_heaps, {}, {"main"});
   scenario.Record(NodeId::system_heaps_stats, {"main"},
                   FilledRecord<HeapStatsRecord>(NodeId::system_heaps_stats));
   return scenario;
}

TEST_F(PlatformRecording, ShowsTheReportsOfThePlatform)
{
   const RunResult run = Record(Host(), "4");
   EXPECT_THAT(run, RanCleanly());
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_EQ(run.out + run.err, "");
   EXPECT_GE(FrameCount(), 2u);
   for (const char *report : {"group-stats", "heap-stats"}) {
      const RunResult live = RunHostmem(Host(), {"-r", report, "-q"});
      EXPECT_NE(live.out, "");
      EXPECT_EQ(Reported(report), live.out) << report;
   }
}

TEST_F(PlatformRecording, WhenThePlatformFailsItGoesOnAndSaysSoOnce)
{
   Scenario scenario = Host();
   scenario.Fail("Nevra_ParamListCreate", 1, NEVRA_OUT_OF_MEMORY);
   const RunResult run = Record(scenario, "4");
   EXPECT_THAT(run, RanCleanly());
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_EQ(run.err, "hostmem-record: a snapshot cannot be taken: out of memory\n");
   EXPECT_EQ(FrameCount(), 0u);
}

TEST_F(PlatformRecording, OtherDefinitionsOfTheKernelEndItAtOnce)
{
   const RunResult run =
      Record(Scenario().SignatureMismatch(NEVRA_VERSION_MISMATCH, "kernel 8", "library 7"), "20");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(run.err,
             "hostmem-record: the node definitions of the kernel, built on kernel 8, are not those of "
             "libnevra.so.1, built on library 7\n");
   EXPECT_FALSE(fs::exists(folder.Path()));
}

TEST_F(PlatformRecording, ALibraryThatIsNoneEndsItAtOnce)
{
   const fs::path libraries = fs::path(folder.Path()).parent_path();
   std::ofstream(libraries / "libnevra.so.1") << "no library";
   options.environment.push_back("LD_LIBRARY_PATH=" + libraries.string());
   const RunResult run = Record(Scenario(), "20");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_THAT(run.err, testing::AllOf(testing::StartsWith("hostmem-record: "),
                                       testing::HasSubstr("libnevra.so.1: file too short\n")));
   EXPECT_FALSE(fs::exists(folder.Path()));
}

} // namespace
