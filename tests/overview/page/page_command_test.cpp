// hostmem-overview --html as a program: the file that it writes, or leaves as it was.
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <stdlib.h>
#include <sys/stat.h>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "tests/overview/page/json_at.h"
#include "tests/recorder/reading/made_recording.h"
#include "tests/shell/run_command.h"

namespace {

std::string ReadText(const std::string &path)
{
   std::ostringstream text;
   text << std::ifstream(path, std::ios::binary).rdbuf();
   return text.str();
}

class OverviewHtml : public testing::Test {
 protected:
   OverviewHtml()
   {
      std::string name = (std::filesystem::temp_directory_path() / "overview-html-XXXXXX").string();
      folder = mkdtemp(name.data());
      page = folder + "/page.html";
   }
   ~OverviewHtml() override { std::filesystem::remove_all(folder); }

   void SetUp() override
   {
#ifndef HAS_PAGE
      GTEST_SKIP() << "the program is built without the page";
#endif
   }

   // The exit status; what it says is left in `said`.
   int Run(const std::string &words)
   {
      const CommandResult result =
         RunCommand("LD_LIBRARY_PATH=" LIBRARY_FOLDER " TZ=UTC " HOSTMEM_OVERVIEW " " + words);
      said = result.output;
      return result.exitStatus;
   }

   int RunSample(const std::string &words)
   {
      return Run("-c " SAMPLES "/small-host.snapshot " + words);
   }

   // The data of the page that was written.
   void ReadData(rapidjson::Document *data)
   {
      const std::string text = ReadText(page);
      const std::string begin = R"(<script type="application/json" id="data">)";
      const size_t at = text.find(begin);
      ASSERT_NE(at, std::string::npos);
      const size_t from = at + begin.size();
      data->Parse(text.substr(from, text.find("</script>", from) - from).c_str());
      ASSERT_FALSE(data->HasParseError());
   }

   std::string folder;
   std::string page;
   std::string said;
};

TEST_F(OverviewHtml, WritesOneFileForItsOwnerAlone)
{
   ASSERT_EQ(RunSample("--html " + page), 0) << said;
   EXPECT_EQ(said, "");
   struct stat status = {};
   ASSERT_EQ(stat(page.c_str(), &status), 0);
   EXPECT_EQ(status.st_mode & 07777, 0600u);
   rapidjson::Document data;
   ReadData(&data);
   EXPECT_STREQ(JsonAt(data, "/now/host").GetString(), "aspen");
   EXPECT_STREQ(JsonAt(data, "/now/time").GetString(), "2026-01-15T12:00:00Z");
   EXPECT_TRUE(JsonAt(data, "/before").IsNull());
   EXPECT_TRUE(JsonAt(data, "/timeline").IsNull());
   EXPECT_EQ(JsonAt(data, "/accounts/0/root/kb").GetInt64(), 8388608);
}

TEST_F(OverviewHtml, HasEveryReportThatProgramsNothing)
{
   ASSERT_EQ(RunSample("--html " + page), 0) << said;
   rapidjson::Document data;
   ReadData(&data);
   std::string reports;
   for (const rapidjson::Value &table : JsonAt(data, "/tables").GetArray()) {
      reports += JsonAt(table, "/report").GetString() + std::string(" ") +
                 std::to_string(JsonAt(table, "/rows").Size()) + "\n";
   }
   EXPECT_STREQ(JsonAt(data, "/tables/0/columns/31/name").GetString(), "flags");
   EXPECT_STREQ(JsonAt(data, "/tables/0/rows/5/31").GetString(), "vm:co");
   EXPECT_EQ(reports, "group-stats 12\nvm-stats 2\nuw-stats 4\nbuddy-stats 3\npshare-stats 1\n"
                      "pshareHint-stats 2\nswap-stats 2\ncomp-stats 1\nlpool-stats 6\nheap-stats 3\n"
                      "guest-stats 2\nzip-stats 2\nlpage-stats 2\nasyncremap-stats 4\n"
                      "pmem-regionstore-stats 1\npmem-region-stats 2\npmem-extent-stats 2\n"
                      "pmem-region-numa-stats 4\n");
}

TEST_F(OverviewHtml, AFileThatIsThereIsKeptUnlessForced)
{
   std::ofstream(page) << "mine";
   EXPECT_EQ(RunSample("--html " + page), 1);
   EXPECT_EQ(said, "hostmem-overview: " + page + ": already exists; --force replaces it\n");
   EXPECT_EQ(ReadText(page), "mine");
   EXPECT_EQ(RunSample("--force --html " + page), 0) << said;
   EXPECT_TRUE(ReadText(page).starts_with("<!DOCTYPE html>\n"));
}

TEST_F(OverviewHtml, WritesNothingWhenThereIsNoOverview)
{
   const std::string nowhere = folder + "/nowhere";
   const std::string notThere =
      "hostmem-overview: " + nowhere + ": cannot be read: No such file or directory\n";
   EXPECT_EQ(Run("-c " + nowhere + " --html " + page), 1);
   EXPECT_EQ(said, notThere);
   EXPECT_EQ(Run("-c " SAMPLES "/small-host.snapshot --against " + nowhere + " --html " + page), 1);
   EXPECT_EQ(said, notThere);
   std::ofstream(folder + "/damaged") << "no snapshot";
   EXPECT_EQ(Run("-c " + folder + "/damaged --html " + page), 1);
   EXPECT_FALSE(std::filesystem::exists(page));
   EXPECT_EQ(RunSample("--html " + folder + "/none/page.html"), 1);
   EXPECT_EQ(said, "hostmem-overview: " + folder +
                      "/none/page.html: cannot be written: No such file or directory\n");
}

TEST_F(OverviewHtml, RefusesWhatCannotBeMeant)
{
   EXPECT_EQ(RunSample("--force"), 2);
   EXPECT_EQ(RunSample("--check --html " + page), 3);
   EXPECT_EQ(RunSample("--findings --html " + page), 2);
   EXPECT_EQ(RunSample("--from now --html " + page), 2);
   EXPECT_EQ(Run("--dir " + folder + " --from now"), 2);
   EXPECT_EQ(Run("--dir " + folder + " --from now --at now --html " + page), 2);
   EXPECT_FALSE(std::filesystem::exists(page));
}

TEST_F(OverviewHtml, WithAMomentBeforeHasTheChangeOfEveryFigure)
{
   const std::string earlier = folder + "/earlier.snapshot";
   const std::vector<uint8_t> snapshot = MakeSnapshot(
      kNoon - 3600, {{"\"consumed\": 3932160", "\"consumed\": 3000000"}, {"\"rowan\"", "\"willow\""}});
   std::ofstream(earlier, std::ios::binary)
      .write(reinterpret_cast<const char *>(snapshot.data()), static_cast<std::streamsize>(snapshot.size()));
   ASSERT_EQ(RunSample("--against " + earlier + " --html " + page), 0) << said;
   rapidjson::Document data;
   ReadData(&data);
   EXPECT_STREQ(JsonAt(data, "/before/time").GetString(), "2026-01-15T11:00:00Z");
   const rapidjson::Value &groups = JsonAt(data, "/tables/0");
   EXPECT_STREQ(JsonAt(groups, "/rows/5/1").GetString(), "birch");
   EXPECT_EQ(JsonAt(groups, "/before/5/24").GetInt64(), 3000000);
   EXPECT_EQ(JsonAt(groups, "/rows/5/24").GetInt64(), 3932160);
   EXPECT_EQ(JsonAt(groups, "/before/0").GetInt64(), 0);
   EXPECT_STREQ(JsonAt(groups, "/rows/8/1").GetString(), "rowan");
   EXPECT_TRUE(JsonAt(groups, "/before/8").IsNull());
   EXPECT_STREQ(JsonAt(groups, "/gone/0/1").GetString(), "willow");
}

TEST_F(OverviewHtml, OfARecordingHasATimeline)
{
   MadeRecording recording;
   for (int minute = 0; minute < 5; minute++) {
      recording.Add(kNoon + minute * 60,
                    {{"\"consumed\": 3932160", "\"consumed\": " + std::to_string(1000000 * (minute + 1))}});
   }
   recording.Stop();
   ASSERT_EQ(Run("--dir " + recording.Folder() +
                 " --from 2026-01-15T12:01:00Z --to 2026-01-15T12:03:59Z --html " + page),
             0)
      << said;
   rapidjson::Document data;
   ReadData(&data);
   EXPECT_STREQ(JsonAt(data, "/now/time").GetString(), "2026-01-15T12:03:00Z");
   EXPECT_STREQ(JsonAt(data, "/before/time").GetString(), "2026-01-15T12:01:00Z");
   const rapidjson::Value &timeline = JsonAt(data, "/timeline");
   ASSERT_EQ(JsonAt(timeline, "/times").Size(), 3u);
   EXPECT_EQ(JsonAt(timeline, "/times/0").GetInt64(), kNoon + 60);
   EXPECT_EQ(JsonAt(timeline, "/recorded").GetInt64(), 3);
   EXPECT_EQ(JsonAt(timeline, "/frames").Size(), 3u);
   EXPECT_EQ(JsonAt(timeline, "/frames/1/groups").Size(), 12u);
   EXPECT_EQ(JsonAt(timeline, "/groups").Size(), 12u);
   EXPECT_STREQ(JsonAt(timeline, "/groups/5/3").GetString(), "vm:co");
   bool hasBirch = false;
   for (const rapidjson::Value &series : JsonAt(timeline, "/series").GetArray()) {
      ASSERT_EQ(JsonAt(series, "/kb").Size(), 3u);
      if (std::string(JsonAt(series, "/name").GetString()) == "birch") {
         hasBirch = true;
         EXPECT_EQ(JsonAt(series, "/kb/0").GetInt64(), 2000000);
         EXPECT_EQ(JsonAt(series, "/kb/2").GetInt64(), 4000000);
      }
   }
   EXPECT_TRUE(hasBirch);
}

TEST_F(OverviewHtml, OfNothingRecordedThenWritesNothing)
{
   MadeRecording recording;
   recording.Add(kNoon);
   recording.Stop();
   EXPECT_EQ(Run("--dir " + recording.Folder() + " --to 2026-01-01T00:00:00Z --html " + page), 1);
   EXPECT_EQ(said, "hostmem-overview: " + recording.Folder() + ": nothing is recorded between these times\n");
   EXPECT_FALSE(std::filesystem::exists(page));
}

} // namespace
