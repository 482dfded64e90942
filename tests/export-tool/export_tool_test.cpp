// hostmem-export as a program.
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/recorder/reading/made_recording.h"
#include "tests/shell/run_command.h"

namespace {

constexpr char kSmallHost[] = SAMPLES "/small-host.snapshot";

// The address sanitizer opens libraries in the program's place and looks where it would look itself.
#ifdef __SANITIZE_ADDRESS__
constexpr char kEnvironment[] = "TZ=UTC LD_LIBRARY_PATH=" LIBRARY_FOLDER " ";
#else
constexpr char kEnvironment[] = "TZ=UTC ";
#endif

CommandResult Export(const std::string &arguments)
{
   return RunCommand(std::string(kEnvironment) + HOSTMEM_EXPORT " " + arguments);
}

std::string Contents(const std::string &path)
{
   std::ostringstream text;
   text << std::ifstream(path).rdbuf();
   return text.str();
}

size_t CountOf(const std::string &text, const std::string &part)
{
   size_t count = 0;
   for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
      count++;
   }
   return count;
}

TEST(ExportTool, WritesTheRowsOfASnapshotAsCsv)
{
   const CommandResult ended =
      Export(std::string("csv -c ") + kSmallHost + " -r vm-stats -s name:swapped -u mb");
   EXPECT_EQ(ended.output, "time,host,report,row,name,swapped (MB)\n"
                           "2026-01-15T12:00:00Z,aspen,vm-stats,data,birch,0\n"
                           "2026-01-15T12:00:00Z,aspen,vm-stats,data,rowan,12\n"
                           "2026-01-15T12:00:00Z,aspen,vm-stats,total,Total,12\n");
   EXPECT_EQ(ended.exitStatus, 0);
}

TEST(ExportTool, TakesSeveralReportsWithTheirOwnOptions)
{
   const std::string arguments =
      std::string(" -c ") + kSmallHost + " -r vm-stats -s name -r comp-stats -s free:memState -u mb";
   const CommandResult lines = Export("jsonl" + arguments);
   EXPECT_EQ(CountOf(lines.output, "\n"), 6u) << lines.output;
   EXPECT_NE(lines.output.find(R"({"row":"data","report":"comp-stats","host":"aspen",)"
                               R"("time":"2026-01-15T12:00:00Z","free":)"),
             std::string::npos)
      << lines.output;
   const CommandResult document = Export("json" + arguments);
   EXPECT_EQ(CountOf(document.output, "\"complete\":true"), 2u) << document.output;
   EXPECT_EQ(Export("csv" + arguments).output,
             "hostmem-export: csv: takes one report: each has columns of its own\n");
   EXPECT_EQ(Export("csv" + arguments).exitStatus, 2);
}

TEST(ExportTool, ReadsSeveralSnapshots)
{
   const CommandResult ended = Export("csv -c " + std::string(kSmallHost) +
                                      " " SAMPLES "/hypervisor-host.snapshot -r comp-stats -s free");
   EXPECT_EQ(CountOf(ended.output, ",aspen,comp-stats,data,"), 1u) << ended.output;
   EXPECT_EQ(CountOf(ended.output, ",hazel,comp-stats,data,"), 1u) << ended.output;
   EXPECT_EQ(CountOf(ended.output, "time,host"), 1u) << ended.output;
}

TEST(ExportTool, ShowsWhatItCanReadAndFails)
{
   const CommandResult ended =
      Export("csv -c /nowhere " + std::string(kSmallHost) + " -r comp-stats -s free");
   EXPECT_NE(ended.output.find("hostmem-export: /nowhere: "), std::string::npos) << ended.output;
   EXPECT_EQ(CountOf(ended.output, ",aspen,comp-stats,data,"), 1u) << ended.output;
   EXPECT_EQ(ended.exitStatus, 1);
}

TEST(ExportTool, ReadsThisHost)
{
   const CommandResult ended = Export("csv -r comp-stats -s total 2>/dev/null");
   EXPECT_EQ(ended.exitStatus, 0);
   EXPECT_EQ(CountOf(ended.output, "\n"), 2u) << ended.output;
   EXPECT_NE(ended.output.find(",comp-stats,data,"), std::string::npos) << ended.output;
   EXPECT_EQ(ended.output.find("1970"), std::string::npos) << ended.output;
}

TEST(ExportTool, ReadsAStretchOfARecording)
{
   MadeRecording recording;
   for (int i = 0; i < 4; i++) {
      recording.Add(kNoon + i * 60);
   }
   const CommandResult ended =
      Export("csv --dir " + recording.Folder() +
             " --from '2026-01-15 12:01' --to 2026-01-15T12:02:30Z -r vm-stats -s name");
   EXPECT_EQ(CountOf(ended.output, "2026-01-15T12:01:00Z,aspen,vm-stats,data,"), 2u) << ended.output;
   EXPECT_EQ(CountOf(ended.output, "2026-01-15T12:02:00Z,aspen,vm-stats,data,"), 2u) << ended.output;
   EXPECT_EQ(CountOf(ended.output, "\n"), 7u) << ended.output; // with two Total rows
   EXPECT_EQ(Export("csv --dir " + recording.Folder() + " --from @0 --to @1 -r vm-stats").exitStatus, 1);
}

TEST(ExportTool, WritesMetricsOfASnapshotWithItsHostAndTime)
{
   const CommandResult ended = Export(std::string("openmetrics -c ") + kSmallHost + " -r pshareHint-stats");
   EXPECT_EQ(
      ended.output,
      "# HELP hostmem_host The host that the figures are of.\n"
      "# TYPE hostmem_host info\n"
      "hostmem_host_info{host=\"aspen\"} 1 1768478400\n"
      "# HELP hostmem_page_sharing_hints_active_bytes Memory that is a candidate for sharing.\n"
      "# TYPE hostmem_page_sharing_hints_active_bytes gauge\n"
      "# UNIT hostmem_page_sharing_hints_active_bytes bytes\n"
      "hostmem_page_sharing_hints_active_bytes{host=\"aspen\",type=\"regular\"} 16777216 1768478400\n"
      "hostmem_page_sharing_hints_active_bytes{host=\"aspen\",type=\"lpage\"} 4194304 1768478400\n"
      "# HELP hostmem_page_sharing_hints_added_bytes Memory that became a candidate.\n"
      "# TYPE hostmem_page_sharing_hints_added_bytes counter\n"
      "# UNIT hostmem_page_sharing_hints_added_bytes bytes\n"
      "hostmem_page_sharing_hints_added_bytes_total{host=\"aspen\",type=\"regular\"} 293601280 1768478400\n"
      "hostmem_page_sharing_hints_added_bytes_total{host=\"aspen\",type=\"lpage\"} 8388608 1768478400\n"
      "# HELP hostmem_page_sharing_hints_removed_bytes Memory that is no candidate any longer.\n"
      "# TYPE hostmem_page_sharing_hints_removed_bytes counter\n"
      "# UNIT hostmem_page_sharing_hints_removed_bytes bytes\n"
      "hostmem_page_sharing_hints_removed_bytes_total{host=\"aspen\",type=\"regular\"} 276824064 1768478400\n"
      "hostmem_page_sharing_hints_removed_bytes_total{host=\"aspen\",type=\"lpage\"} 4194304 1768478400\n"
      "# HELP hostmem_report_success Whether the report came to its end: 1 or 0.\n"
      "# TYPE hostmem_report_success gauge\n"
      "hostmem_report_success{host=\"aspen\",report=\"pshareHint-stats\"} 1 1768478400\n"
      "# HELP hostmem_series_dropped Series that the cap on their number left out.\n"
      "# TYPE hostmem_series_dropped gauge\n"
      "hostmem_series_dropped{host=\"aspen\"} 0 1768478400\n"
      "# EOF\n");
   EXPECT_EQ(ended.exitStatus, 0);
}

TEST(ExportTool, WritesMetricsOfARecordingSeriesBySeries)
{
   MadeRecording recording;
   recording.Add(kNoon);
   recording.Add(kNoon + 60);
   const CommandResult ended = Export("openmetrics --dir " + recording.Folder() + " -r comp-stats");
   const std::string free = "hostmem_memory_free_bytes{host=\"aspen\"} ";
   const size_t first = ended.output.find('\n' + free);
   ASSERT_NE(first, std::string::npos) << ended.output;
   const std::string two = ended.output.substr(first + 1, ended.output.find('#', first) - first - 1);
   EXPECT_EQ(CountOf(two, "\n"), 2u) << two;
   EXPECT_LT(two.find(" 1768478400\n"), two.find(" 1768478460\n")) << two;
   EXPECT_EQ(CountOf(ended.output, "# TYPE hostmem_memory_free_bytes gauge\n"), 1u);
   EXPECT_TRUE(ended.output.ends_with("# EOF\n"));
}

TEST(ExportTool, WritesMetricsOfThisHostWithoutATimeForOtherUsersToRead)
{
   MadeRecording folder; // to write to
   const std::string path = folder.Folder() + "/hostmem.prom";
   EXPECT_EQ(Export("openmetrics --text -o " + path + " -r comp-stats 2>/dev/null").exitStatus, 0);
   const std::string text = Contents(path);
   EXPECT_EQ(CountOf(text, "\n# TYPE hostmem_memory_state_entries_total counter\n"
                           "hostmem_memory_state_entries_total{state=\"high\"} 1\n"),
             1u)
      << text;
   EXPECT_EQ(CountOf(text, "# UNIT"), 0u);
   EXPECT_EQ(CountOf(text, "# EOF"), 0u);
   EXPECT_EQ(CountOf(text, "\nhostmem_report_success{report=\"comp-stats\"} 1\n"), 1u);
   struct stat facts;
   ASSERT_EQ(stat(path.c_str(), &facts), 0);
   EXPECT_EQ(facts.st_mode & 0777, 0644u);
}

TEST(ExportTool, RefusesReportsWithoutMetricsAndTheirOptions)
{
   const std::string snapshot = std::string(" -c ") + kSmallHost;
   EXPECT_EQ(Export("openmetrics" + snapshot + " -r nosuch-stats").output,
             "hostmem-export: nosuch-stats: no such report\n");
   EXPECT_EQ(Export("openmetrics" + snapshot + " -r dcpmm-stats").output,
             "hostmem-export: dcpmm-stats: has no metrics\n");
   const CommandResult ended = Export("openmetrics" + snapshot + " -r vm-stats -u mb");
   EXPECT_EQ(ended.output, "hostmem-export: -r: a report has no options of its own here: -u\n");
   EXPECT_EQ(ended.exitStatus, 2);
}

TEST(ExportTool, WritesAFileWholeOrNotAtAll)
{
   MadeRecording folder; // to write to
   const std::string path = folder.Folder() + "/rows.csv";
   const std::string command = "csv -o " + path + " -c " + kSmallHost;
   ASSERT_EQ(Export(command + " -r comp-stats -s free").output, "");
   struct stat facts;
   ASSERT_EQ(stat(path.c_str(), &facts), 0);
   EXPECT_EQ(facts.st_mode & 0777, 0600u);
   const std::string first = Contents(path);
   EXPECT_EQ(CountOf(first, "\n"), 2u);
   EXPECT_EQ(Export(command + " -r vm-stats").output,
             "hostmem-export: " + path + ": already exists; --force replaces it\n");
   EXPECT_EQ(Export(command + " -f /nowhere -r vm-stats").exitStatus, 2) << "no place for a snapshot";
   EXPECT_EQ(Export("csv -f -o " + path + " -c /nowhere -r vm-stats").exitStatus, 1);
   EXPECT_EQ(Contents(path), first);
   EXPECT_EQ(Export("csv -f -o " + path + " -c " + kSmallHost + " -r vm-stats").exitStatus, 0);
   EXPECT_EQ(CountOf(Contents(path), ",vm-stats,"), 3u);
}

TEST(ExportTool, MakesATableForEachReportThatIsExported)
{
   const CommandResult ended = Export("schema --engine clickhouse");
   EXPECT_EQ(ended.exitStatus, 0);
   EXPECT_EQ(ended.output.find("CREATE DATABASE IF NOT EXISTS hostmem;\n\nCREATE TABLE "), 0u)
      << ended.output;
   EXPECT_EQ(CountOf(ended.output, "\nENGINE = MergeTree\n"), 18u);
   EXPECT_EQ(CountOf(ended.output, "dcpmm"), 0u) << "which is not exported";
   const CommandResult spread = Export("schema --engine clickhouse --cluster fleet");
   EXPECT_EQ(CountOf(spread.output, "\nENGINE = Distributed('fleet', hostmem, "), 18u);
}

TEST(ExportTool, LeavesOutWhatIsNoRow)
{
   const CommandResult ended =
      Export(std::string("jsonl --rows-only -c ") + kSmallHost + " -r vm-stats -s name -v");
   EXPECT_EQ(CountOf(ended.output, "\n"), 3u) << ended.output;
   EXPECT_EQ(CountOf(ended.output, "{\"row\":\"data\","), 2u) << ended.output;
   EXPECT_EQ(CountOf(ended.output, "{\"row\":\"total\","), 1u) << ended.output;
}

TEST(ExportTool, PrintsItsVersion)
{
   const CommandResult ended = Export("--version");
   EXPECT_EQ(ended.exitStatus, 0);
   EXPECT_EQ(ended.output, "hostmem-export " HOSTMEM_VERSION "\n");
}

TEST(ExportTool, RefusesWhatCannotBeMeant)
{
   const std::string source = std::string(" -c ") + kSmallHost;
   for (const auto &[arguments, message] :
        {std::pair<std::string, std::string>{"json" + source, "-r: no report is given"},
         {"json" + source + " -r", "-r lacks the name of a report"},
         {"json" + source + " -r no-stats", "no-stats: no such report"},
         {"json" + source + " -r dcpmm-stats", "dcpmm-stats: is not exported"},
         {"json" + source + " -r vm-stats -s nome", "-r: vm-stats has no column nome"},
         {"json --from now -r vm-stats", "--from requires --dir"},
         {"csv --rows-only" + source + " -r vm-stats", "--rows-only"},
         {"schema", "--engine is required"},
         {"schema --engine no-sql", "no-sql: no such engine: clickhouse is"},
         {"schema --engine clickhouse --cluster \"a'b\"", "--cluster: a name has letters"},
         {"schema --engine clickhouse -r vm-stats", "schema takes no report"},
         {"xml" + source + " -r vm-stats", "hostmem-export: unknown subcommand xml\n"},
         {"json --dir /tmp" + source + " -r vm-stats", "excludes"}}) {
      const CommandResult ended = Export(arguments);
      EXPECT_EQ(ended.exitStatus, 2) << arguments;
      EXPECT_NE(ended.output.find(message), std::string::npos) << ended.output;
   }
}

} // namespace
