// A snapshot read without this project's code, by the commands of docs/snapshot.md.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/shell/run_command.h"

namespace {

using ::testing::HasSubstr;

// A folder with host.snapshot in it, and the schema at the path that the commands name.
class ForeignReader : public testing::Test {
 protected:
   void SetUp() override
   {
      std::string name = testing::TempDir() + "foreign-reader.XXXXXX";
      ASSERT_NE(mkdtemp(name.data()), nullptr);
      folder = name;
      std::filesystem::create_directories(folder / "nevra" / "snapshot");
      std::filesystem::create_symlink(SOURCE_FOLDER "/nevra/snapshot/snapshot.fbs",
                                      folder / "nevra" / "snapshot" / "snapshot.fbs");
      std::filesystem::create_symlink(SOURCE_FOLDER "/samples", folder / "samples");
      std::filesystem::copy_file(SAMPLE_SNAPSHOT, folder / "host.snapshot");
   }
   void TearDown() override { std::filesystem::remove_all(folder); }

   // Runs the line of the page that starts so.
   CommandResult RunDocumented(const std::string &start) const
   {
      std::ifstream page(SOURCE_FOLDER "/docs/snapshot.md");
      for (std::string line; std::getline(page, line);) {
         if (line.starts_with(start)) {
            return RunCommand("cd " + ShellWord(folder) + " && " + line);
         }
      }
      return {"docs/snapshot.md has no line that starts with " + start, -1};
   }

   std::filesystem::path folder;
};

TEST_F(ForeignReader, PrintsTheGroupsInPython)
{
   if (RunCommand("/usr/bin/python3 -c 'import flatbuffers'").exitStatus != 0) {
      GTEST_SKIP() << "python3-flatbuffers is not installed";
   }
   const CommandResult classes = RunDocumented("flatc --python");
   ASSERT_EQ(classes.exitStatus, 0) << classes.output;
   const CommandResult run = RunDocumented("PYTHONPATH=");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_EQ(run.output, "aspen, kernel small-host 1\n"
                         "0 host\n"
                         "   1 system\n"
                         "      11 drivers\n"
                         "      12 logger\n"
                         "   2 machine\n"
                         "      21 birch\n"
                         "         211 vmm.birch\n"
                         "         212 emu.birch\n"
                         "      22 rowan\n"
                         "         221 vmm.rowan\n"
                         "         222 emu.rowan\n"
                         "   3 shell\n");
}

TEST_F(ForeignReader, PrintsTheGroupsOfFormatVersion1InPython)
{
   if (RunCommand("/usr/bin/python3 -c 'import flatbuffers'").exitStatus != 0) {
      GTEST_SKIP() << "python3-flatbuffers is not installed";
   }
   std::filesystem::copy_file(SOURCE_FOLDER "/tests/nevra/snapshot/version1.snapshot",
                              folder / "host.snapshot", std::filesystem::copy_options::overwrite_existing);
   const CommandResult classes = RunDocumented("flatc --python");
   ASSERT_EQ(classes.exitStatus, 0) << classes.output;
   const CommandResult run = RunDocumented("PYTHONPATH=");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_EQ(run.output, "elm, kernel build 17\n"
                         "0 host\n"
                         "   7 seven\n"
                         "   3 three\n");
}

TEST_F(ForeignReader, TurnsASnapshotIntoJsonByItsSchemaAlone)
{
   const CommandResult made = RunDocumented("flatc --json");
   ASSERT_EQ(made.exitStatus, 0) << made.output;
   std::ifstream file(folder / "host.json");
   std::ostringstream json;
   json << file.rdbuf();
   EXPECT_THAT(json.str(), HasSubstr("\"host\": \"aspen\""));
   EXPECT_THAT(json.str(), HasSubstr("\"path\": \"sched/groups/groupName\""));
   if (!IsInstalled("jq")) {
      GTEST_SKIP() << "jq is not installed";
   }
   const CommandResult failed = RunDocumented("jq");
   EXPECT_EQ(failed.exitStatus, 0) << failed.output;
   EXPECT_THAT(failed.output, HasSubstr("\nsched/groups/groupName\t12\t0\n"));
}

} // namespace
