// What the manual says of columns on Linux, compared with what hosts made of kernel files show there.
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "frontend/report_table.h"
#include "fuzz/linux_tree.h"
#include "manuals/column_meaning.h"
#include "manuals/source_folder.h"
#include "tests/shell/run_command.h"

namespace {

// The values that each column shows in rows of data, as the manual writes them.
using ValuesByColumn = std::map<std::string, std::set<std::string>>;

// The fields of a line of CSV, without their quotes.
std::vector<std::string> SplitFields(const std::string &line)
{
   std::vector<std::string> fields(1);
   bool isQuoted = false;
   for (const char c : line) {
      if (c == '"') {
         isQuoted = !isQuoted;
      } else if (c == ',' && !isQuoted) {
         fields.emplace_back();
      } else {
         fields.back() += c;
      }
   }
   return fields;
}

std::string AsInTheManual(const std::string &value)
{
   return value.empty() ? "-1" : value == "false" ? "n" : value == "true" ? "y" : value;
}

void AddValues(const std::string &csv, ValuesByColumn *values)
{
   constexpr size_t kRow = 3, kFirstColumn = 4; // after time, host, report and row
   const std::vector<std::string> lines = SplitLines(csv);
   const std::vector<std::string> heads = SplitFields(lines.empty() ? "" : lines[0]);
   for (const std::string &line : lines) {
      const std::vector<std::string> fields = SplitFields(line);
      for (size_t i = kFirstColumn; i < fields.size() && fields[kRow] == "data"; i++) {
         (*values)[heads[i].substr(0, heads[i].find(" ("))].insert(AsInTheManual(fields[i]));
      }
   }
}

class LinuxColumns : public ::testing::Test {
 protected:
   static void SetUpTestSuite()
   {
      LinuxTree tree;
      int number = 0;
      snapshots = std::filesystem::path(::testing::TempDir()) / "linux-columns.XXXXXX";
      std::string pattern = snapshots;
      snapshots = mkdtemp(pattern.data());
      for (const auto &host :
           std::filesystem::directory_iterator(SOURCE_FOLDER "/fuzz/seeds/linux_tree_fuzzer")) {
         std::ostringstream text;
         text << std::ifstream(host.path()).rdbuf();
         TreeEntries entries;
         ASSERT_TRUE(ParseLinuxTree(text.str(), &entries)) << host.path();
         tree.Hold(entries);
         const CommandResult run =
            RunCommand(BIN_FOLDER "/hostmem-snapshot capture --root " + ShellWord(tree.Root()) + " -o " +
                       ShellWord(snapshots / (std::to_string(number++) + ".snapshot")));
         ASSERT_EQ(run.exitStatus, 0) << run.output;
      }
   }
   static void TearDownTestSuite() { std::filesystem::remove_all(snapshots); }

   static ValuesByColumn ValuesOf(const std::string &report)
   {
      ValuesByColumn values;
      for (const auto &snapshot : std::filesystem::directory_iterator(snapshots)) {
         AddValues(RunCommand(BIN_FOLDER "/hostmem-export csv -c " + ShellWord(snapshot.path()) + " -r " +
                              report + " 2>/dev/null")
                      .output,
                   &values);
      }
      return values;
   }

   static inline std::filesystem::path snapshots;
};

// The only values on Linux, by "REPORT COLUMN".
std::map<std::string, std::string> SaidOfLinux()
{
   std::map<std::string, std::string> said;
   std::vector<std::string> errors;
   for (const auto &[page, source] : ReadSourceFolder(MANUAL_SOURCES_FOLDER, &errors)) {
      for (const PageLine &line : source) {
         for (const PageEntry &entry : line.entries) {
            if (!entry.onLinux.empty()) {
               said[page.substr(sizeof "hostmem-" - 1) + " " + entry.name] = entry.onLinux;
            }
         }
      }
   }
   EXPECT_THAT(errors, ::testing::IsEmpty());
   return said;
}

TEST_F(LinuxColumns, ShowTheValueThatTheManualCallsTheOnlyOne)
{
   const std::map<std::string, std::string> said = SaidOfLinux();
   EXPECT_GE(said.size(), 100u);
   for (const ReportEntry &report : Reports()) {
      for (const auto &[column, values] : ValuesOf(report.name)) {
         const auto only = said.find(std::string(report.name) + " " + column);
         if (only != said.end()) {
            EXPECT_THAT(values, ::testing::ElementsAre(only->second)) << only->first;
         }
      }
   }
}

// What other hosts show: a group that the kernel protects together with all groups above it, a process alone
// in such a group, large free buffers, a device in use.
const std::set<std::string> kNotOnTheseHosts = {
   "group-stats eMin",      "uw-stats min",          "uw-stats totalResv",   "buddy-stats 8MBfree",
   "buddy-stats 16MBfree",  "buddy-stats 32MBfree",  "buddy-stats 64MBfree", "buddy-stats 128MBfree",
   "buddy-stats 256MBfree", "buddy-stats 512MBfree", "buddy-stats 1GBfree",  "pmem-region-stats numOpened",
};

TEST_F(LinuxColumns, ThatTheManualSaysNothingOfShowFigures)
{
   const std::map<std::string, std::string> said = SaidOfLinux();
   std::vector<std::string> alwaysZero;
   for (const ReportEntry &report : Reports()) {
      for (const auto &[column, values] : ValuesOf(report.name)) {
         const std::string name = std::string(report.name) + " " + column;
         if (values == std::set<std::string>{"0"} && !said.contains(name)) {
            alwaysZero.push_back(name);
         }
      }
   }
   EXPECT_THAT(alwaysZero, ::testing::UnorderedElementsAreArray(kNotOnTheseHosts))
      << "a column that is 0 on every Linux host has {Linux: 0} in its manual page";
}

} // namespace
