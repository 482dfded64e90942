// Captures through a libnevra.so.1 that is not this project's: the scripted platform.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "nevra/linux/linux_source.h"
#include "nevra/records.h"
#include "nevra/snapshot/snapshot_file.h"
#include "tests/scripted/scenario.h"
#include "tests/shell/run_command.h"
#include "tests/snapshot-tool/json_kit.h"

using namespace scripted;

namespace {

namespace fs = std::filesystem;

class PlatformCapture : public testing::Test {
 protected:
   PlatformCapture()
   {
      char pattern[] = "/tmp/platform_capture_test.XXXXXX";
      folder = mkdtemp(pattern);
      options.executable = SNAPSHOT_TOOL;
      options.workingDirectory = folder;
      options.environment = {"SOURCE_DATE_EPOCH=1700000000"};
   }
   ~PlatformCapture() override { fs::remove_all(folder); }

   RunResult Capture(const Scenario &scenario) const
   {
      return RunHostmem(scenario, {"capture", "--force", "-o", "a"}, options);
   }
   std::string Captured() const
   {
      std::ifstream file(folder / "a", std::ios::binary);
      const std::string bytes{std::istreambuf_iterator<char>(file), {}};
      return Export({bytes.begin(), bytes.end()});
   }

   fs::path folder;
   RunOptions options;
};

Scenario Host()
{
   Scenario scenario;
   scenario.Group(0).Name("host").Flags(GROUP_PREDEFINED).Children({7}).MemClients({70});
   scenario.Group(7).Name("vm.7").Parent(0).Flags(GROUP_VM).Alloc({.min = 5, .max = -1}).VmmLeader(71, 72);
   scenario.Record(NodeId::sched_globalStats_numVMs, {}, NumVMsRecord{3});
   scenario.List(NodeId::system_heaps, {}, {"main", "net"});
   scenario.Record(NodeId::system_heaps_stats, {"main"},
                   FilledRecord<HeapStatsRecord>(NodeId::system_heaps_stats));
   scenario.FailRead(NodeId::system_heaps_stats, {"net"}, NEVRA_NO_PERMISSION);
   scenario.FailList(NodeId::hardware_nvd_dimm, {}, NEVRA_NOT_SUPPORTED);
   return scenario;
}

TEST_F(PlatformCapture, HoldsWhatThePlatformAnswers)
{
   const RunResult run = Capture(Host());
   EXPECT_THAT(run, RanCleanly());
   EXPECT_EQ(run.exitStatus, 0) << run.err;
   EXPECT_EQ(run.out + run.err, "");
   const std::string json = Captured();
   for (const char *line :
        {R"({"keys":[0],"instances":[7]})", R"({"keys":[7],"name":"vm.7"})",
         R"({"keys":[7],"min":5,"max":-1})", R"({"instances":["main","net"]})", R"({"numVMs":3})",
         R"({"keys":["net"],"status":"0xbad0016"})", R"({"status":"0xbad0017"})"}) {
      EXPECT_THAT(json, testing::HasSubstr(line));
   }
}

TEST_F(PlatformCapture, NotesSayWhoCapturedWhat)
{
   ASSERT_EQ(Capture(Host()).exitStatus, 0);
   utsname system;
   ASSERT_EQ(uname(&system), 0);
   const RunResult info = RunHostmem(Scenario(), {"info", "a"}, options);
   for (const std::string &line :
        {std::string("host                   ") + system.nodename,
         std::string("captured by            hostmem-snapshot " HOSTMEM_VERSION),
         std::string("kernel release         ") + system.release,
         "user ID                " + std::to_string(geteuid()), std::string("VMs                    3"),
         std::string("refused answers        1 (no permission)")}) {
      EXPECT_THAT(info.OutLines(), testing::Contains(line)) << info.out;
   }
   EXPECT_THAT(info.out, testing::Not(testing::HasSubstr("not read")));
}

// The platform may stand on a Linux kernel that knows nothing of its memory.
TEST_F(PlatformCapture, HasTheDetailOfThisKernelOnlyWhereThePlatformsMemoryIsIts)
{
   const nevra::KernelFigures ofThisHost = nevra::ReadKernelDetail("/");
   const nevra::KernelFigure *total = FindKernelFigure(ofThisHost, "MemTotal");
   ASSERT_NE(total, nullptr);
   for (const bool isThisHost : {true, false}) {
      CompMemMapStats memory = {};
      memory.managedByMemMap = total->kb + (isThisHost ? 0 : 4);
      ASSERT_EQ(Capture(Host().Record(NodeId::memory_comprehensive, {}, memory)).exitStatus, 0);
      EXPECT_EQ(Captured().find("\"kernelDetail\": {\n    \"MemTotal\": ") != std::string::npos, isThisHost);
   }
   ASSERT_EQ(Capture(Host()).exitStatus, 0);
   EXPECT_THAT(Captured(), testing::Not(testing::HasSubstr("kernelDetail")));
}

// What a report shows of the capture is what it shows on the host.
TEST_F(PlatformCapture, GivesTheReportsOfThePlatform)
{
   const Scenario host = Host();
   ASSERT_EQ(Capture(host).exitStatus, 0);
   for (const char *report : {"group-stats", "vm-stats", "heap-stats"}) {
      const RunResult live = RunHostmem(host, {"-r", report, "-q"});
      const std::string command =
         HOSTMEM " -c " + (folder / "a").string() + " -r " + report + " -q 2> " + (folder / "err").string();
      EXPECT_EQ(RunCommand(command).output, live.out) << report;
   }
}

// One fault anywhere is an answer of the snapshot, or the end of the capture when memory is short; never a
// leaked list. A success that gives nothing is a fault too.
TEST_F(PlatformCapture, BearsAFaultOfEveryOperation)
{
   for (const char *operation :
        {"Nevra_Get", "Nevra_GetInstanceListAlloc", "Nevra_ParamListAddInt", "Nevra_ParamListAddString",
         "Nevra_ParamListCreate", "Nevra_ParamListGetInt64", "Nevra_ParamListGetString"}) {
      for (const unsigned call : {1U, 2U}) {
         for (const NevraStatus status : {NEVRA_OUT_OF_MEMORY, NEVRA_OK}) {
            Scenario scenario = Host();
            const RunResult run = Capture(scenario.Fail(operation, call, status));
            EXPECT_THAT(run, RanCleanly()) << operation << ", call " << call;
            if (run.exitStatus != 0) {
               EXPECT_EQ(run.exitStatus, 1);
               EXPECT_EQ(run.err, "hostmem-snapshot: /: out of memory\n") << operation;
               EXPECT_FALSE(fs::exists(folder / "a"));
            }
            fs::remove(folder / "a");
         }
      }
   }
}

TEST_F(PlatformCapture, BearsAnyAnswer)
{
   const RunResult run = Capture(Scenario().AnswerAtRandom(1));
   EXPECT_THAT(run, RanCleanly());
   EXPECT_TRUE(run.exitStatus == 0 || !run.err.empty());
}

TEST_F(PlatformCapture, OtherDefinitionsOfTheKernelAreRefused)
{
   RunResult run = Capture(Scenario().SignatureMismatch(NEVRA_VERSION_MISMATCH, "kernel 8", "library 7"));
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(run.err,
             "hostmem-snapshot: the node definitions of the kernel, built on kernel 8, are not those of "
             "libnevra.so.1, built on library 7\n");
   EXPECT_FALSE(fs::exists(folder / "a"));
   run = Capture(Scenario().SignatureMismatch(NEVRA_FAILURE, "", ""));
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(run.err, "hostmem-snapshot: libnevra.so.1: the version check failed\n");
}

TEST_F(PlatformCapture, ALibraryThatIsNoneIsAFailure)
{
   std::ofstream(folder / "libnevra.so.1") << "no library";
   options.environment.push_back("LD_LIBRARY_PATH=" + folder.string());
   const RunResult run = Capture(Scenario());
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_THAT(run.err, testing::AllOf(testing::StartsWith("hostmem-snapshot: "),
                                       testing::HasSubstr("libnevra.so.1: file too short\n")));
}

// A recorded tree is read by this project's own source, whatever library there is.
TEST_F(PlatformCapture, ARecordedTreeAsksNoPlatform)
{
   fs::create_directories(folder / "root/proc");
   const RunResult run = RunHostmem(Host(), {"capture", "--root", "root", "-o", "a"}, options);
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_TRUE(run.trace.empty());
}

} // namespace
