// What the reports with a Total row over the scheduler-group tree have in common: options, banner, header,
// walk and totals.
#include <gtest/gtest.h>
#include <ostream>

#include "tests/reports/group/vm_scenario.h"

using namespace scripted;

namespace {

struct ReportCase {
   const char *name;
   const char *title;
   int ruleLength;
   const char *totals;               // with no rows, as CSV
   const char *nameColumns = "name"; // shown when the name alone is selected: a key stays
   bool hasLevels = true;            // and -l
   bool hasUnit = true;              // shows the unit that was chosen
   bool hasFilters = false;          // -i and -e
   bool selectionFirst = false;      // looks at the selection before the unit
};

// How a failed test shows its case.
void PrintTo(const ReportCase &report, std::ostream *out)
{
   *out << report.name;
}

const ReportCase kReports[] = {
   {.name = "vm-stats",
    .title = "VIRTUAL MACHINE STATS",
    .ruleLength = 47,
    .totals = "Total,,,,,0,0,0,,,,0,0,0,0,0,0,0,0,,0,0,0,0,0,0,0,0,0,0,0,0,,",
    .selectionFirst = true},
   {.name = "uw-stats",
    .title = "USER-WORLD STATS",
    .ruleLength = 42,
    .totals = ",,,,,0,,,,0,0,,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,,",
    .hasFilters = true},
   {.name = "swap-stats",
    .title = "VIRTUAL MACHINE SWAP STATS",
    .ruleLength = 52,
    .totals = "Total,,,,,,,,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0"},
   {.name = "guest-stats",
    .title = "GUEST STATS",
    .ruleLength = 37,
    .totals = "Total,,,,0,0,0,0,0,,0",
    .selectionFirst = true},
   {.name = "zip-stats",
    .title = "VIRTUAL MACHINE COMPRESSION STATS",
    .ruleLength = 61,
    .totals = "Total,,,,0,0,0,0,0,0,0,0,0,0"},
   {.name = "lpage-stats",
    .title = "VIRTUAL MACHINE LARGE PAGE STATS",
    .ruleLength = 58,
    .totals = "Total,,,,0,0,0,0,0,0,0,0,0",
    .hasUnit = false},
   {.name = "asyncremap-stats",
    .title = "ASYNC_REMAP STATS",
    .ruleLength = 43,
    .totals = ",,,0,0,0,0,0,0,0,0,0",
    .nameColumns = "name:type",
    .hasLevels = false},
};

// A chain of groups that no report has rows for: group 0, its child 1, and so on.
Scenario Chain(int groups)
{
   Scenario scenario;
   for (int group = 0; group < groups; group++) {
      scenario.Group(group).Name("g").Flags(GROUP_SYSTEM_WORLD);
      if (group + 1 < groups) {
         scenario.Group(group).Children({group + 1});
      }
   }
   return scenario;
}

class GroupReport : public testing::TestWithParam<ReportCase> {
 protected:
   RunResult Run(const Scenario &scenario, const std::vector<std::string> &options) const
   {
      std::vector<std::string> arguments = {"-r", GetParam().name};
      arguments.insert(arguments.end(), options.begin(), options.end());
      RunResult run = RunHostmem(scenario, arguments);
      EXPECT_THAT(run, RanCleanly());
      return run;
   }

   // Expects the run to end with this message before anything is printed or read.
   void ExpectRefusal(const std::vector<std::string> &options, const std::string &message) const
   {
      const RunResult run = Run(Chain(1), options);
      EXPECT_EQ(run.out, "");
      EXPECT_EQ(run.err, message);
      EXPECT_EQ(run.exitStatus, 1);
      EXPECT_EQ(run.Count("Nevra_ParamListCreate"), 0U);
   }

   // The lines of the banner, from the blank one to the blank one.
   std::vector<std::string> Banner(const char *group, const char *levels, const char *unit) const
   {
      const ReportCase &report = GetParam();
      std::vector<std::string> lines = {"", std::string(" ") + report.title + ": " + kScriptedTimeText,
                                        ' ' + std::string(static_cast<size_t>(report.ruleLength), '-'),
                                        std::string("   Start Group ID   : ") + group};
      if (report.hasLevels) {
         lines.push_back(std::string("   No. of levels    : ") + levels);
      }
      lines.push_back(std::string("   Unit             : ") + (report.hasUnit ? unit : "LPage (2M)"));
      if (report.hasFilters) {
         lines.push_back("   Inclusion filter : (all)");
         lines.push_back("   Exclusion filter : (none)");
      }
      lines.push_back(std::string("   Selected columns : ") + report.nameColumns);
      lines.push_back("");
      return lines;
   }

   // The banner of a run with the name column alone.
   void ExpectBanner(const std::vector<std::string> &options, const std::vector<std::string> &expected) const
   {
      std::vector<std::string> arguments = {"-s", "name"};
      arguments.insert(arguments.end(), options.begin(), options.end());
      std::vector<std::string> lines = Run(Chain(1), arguments).OutLines();
      ASSERT_GE(lines.size(), expected.size());
      lines.resize(expected.size());
      EXPECT_EQ(JoinLines(lines), JoinLines(expected));
   }
};

// The reports with -l: all but the last.
class LevelledReport : public GroupReport {};

std::string CaseName(const testing::TestParamInfo<ReportCase> &test)
{
   const std::string name = test.param.name;
   return name.substr(0, name.find('-'));
}

INSTANTIATE_TEST_SUITE_P(All, GroupReport, testing::ValuesIn(kReports), CaseName);
INSTANTIATE_TEST_SUITE_P(All, LevelledReport, testing::ValuesIn(std::begin(kReports), std::end(kReports) - 1),
                         CaseName);

TEST_P(GroupReport, NoRowsGiveTotalsOfZero)
{
   const RunResult run = Run(Chain(3), {"-q"});
   ASSERT_EQ(run.OutLines().size(), 2U);
   EXPECT_EQ(run.OutLines()[1], GetParam().totals);
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
}

TEST_P(GroupReport, AMissingStartGroupGivesTotalsOfZeroAndFails)
{
   const RunResult run = Run(Chain(3), {"-q", "-g", "99"});
   ASSERT_EQ(run.OutLines().size(), 2U);
   EXPECT_EQ(run.OutLines()[1], GetParam().totals);
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(run.Calls().size(), 1U);
}

TEST_P(GroupReport, SeparatorsEncloseTheHeaderAndTheTotals)
{
   const std::vector<std::string> lines = Run(Chain(1), {}).OutLines();
   ASSERT_GE(lines.size(), 6U);
   const std::vector<std::string> table(lines.end() - 6, lines.end());
   const std::string separator(table[1].size(), '-');
   EXPECT_EQ(table[0], separator);
   EXPECT_EQ(table[2], separator);
   EXPECT_EQ(table[3], separator);
   EXPECT_EQ(table[4].size(), separator.size());
   EXPECT_EQ(table[5], separator);
}

TEST_P(GroupReport, PrintsItsSettings)
{
   ExpectBanner({}, Banner("0", "12", "KB"));
   ExpectBanner({"-g", "5", "-u", "GB"}, Banner("5", "12", "GB"));
   ExpectBanner({"--gid", "7", "--unit", "mb"}, Banner("7", "12", "MB"));
   ExpectBanner({"-u", "gb", "-u", "pg"}, Banner("0", "12", "Page (4K)")); // the last one holds
   if (GetParam().hasLevels) {
      ExpectBanner({"-l", "3"}, Banner("0", "3", "KB"));
      ExpectBanner({"--level", "12"}, Banner("0", "12", "KB"));
   }
}

TEST_P(GroupReport, TheStartGroupHas32BitsAndASign)
{
   ExpectBanner({"-g", "-1"}, Banner("18446744073709551615", "12", "KB"));
   ExpectBanner({"-g", "4294967298"}, Banner("2", "12", "KB"));
   ExpectBanner({"-g", "2147483648"}, Banner("18446744071562067968", "12", "KB"));
   ExpectBanner({"-g", "two"}, Banner("0", "12", "KB"));
   EXPECT_EQ(Run(Chain(1), {"-g", "-1"}).Calls(),
             std::vector<std::string>{
                "Nevra_GetInstanceListAlloc(sched_groups_members_groups, #1 [-1]) = 0xbad0003 unscripted"});
}

TEST_P(GroupReport, CsvHasNeitherBannerNorSeparators)
{
   for (const char *csv : {"-q", "--csvMode"}) {
      const std::vector<std::string> lines = Run(Chain(1), {csv}).OutLines();
      ASSERT_EQ(lines.size(), 2U);
      EXPECT_THAT(lines[0], testing::HasSubstr("name,"));
   }
}

TEST_P(GroupReport, DescribesTheShownColumnsBelow)
{
   for (const char *verbose : {"-v", "--verbose"}) {
      const std::vector<std::string> lines = Run(Chain(1), {verbose, "-q", "--cSelect", "name"}).OutLines();
      ASSERT_GE(lines.size(), 4U);
      EXPECT_EQ(lines[2], "Description of report header labels:");
      EXPECT_THAT(lines[3], testing::StartsWith("                name: "));
   }
   EXPECT_THAT(Run(Chain(1), {}).out, testing::Not(testing::HasSubstr("Description")));
}

TEST_P(GroupReport, AnUnknownUnitIsRefused)
{
   for (const char *unit : {"b", "xx", ""}) {
      ExpectRefusal({"-u", unit}, "Invalid unit specified. Choose from {mb, kb, pg}\n");
   }
}

TEST_P(GroupReport, WarnsOfTheSelectionBeforeOrAfterTheUnit)
{
   const std::string selection = "Selected columns is too long, selection might be ignored.\n";
   const std::string unit = "Invalid unit specified. Choose from {mb, kb, pg}\n";
   ExpectRefusal({"-s", std::string(513, 'x'), "-u", "xx"},
                 GetParam().selectionFirst ? selection + unit : unit);
}

TEST_P(LevelledReport, ALevelOf0IsRefused)
{
   for (const std::string level : {"0", "deep", ""}) {
      ExpectRefusal({"-l", level}, "Invalid level " + level + ", must be > 0\n");
   }
   // At once: before what comes later on the command line, and before the unit.
   ExpectRefusal({"-u", "xx", "-l", "0", "-l", "13"}, "Invalid level 0, must be > 0\n");
}

TEST_P(LevelledReport, ALevelAbove12BecomesTwelve)
{
   for (const std::string level : {"13", "-1"}) {
      const RunResult run = Run(Chain(14), {"-l", level, "-s", "name"});
      EXPECT_EQ(run.err, "Specified level " + level + " too high, reseting to 12\n");
      EXPECT_EQ(run.OutLines()[4], "   No. of levels    : 12");
      EXPECT_EQ(run.Count("Nevra_GetInstanceListAlloc"), 12U);
      EXPECT_EQ(run.exitStatus, 0);
   }
}

TEST_P(LevelledReport, WalksAsManyLevelsAsAsked)
{
   EXPECT_EQ(Run(Chain(14), {}).Count("Nevra_GetInstanceListAlloc"), 12U);
   EXPECT_EQ(Run(Chain(14), {"-l", "1"}).Count("Nevra_GetInstanceListAlloc"), 1U);
   EXPECT_EQ(Run(Chain(14), {"-l", "3", "-g", "2"}).Count("Nevra_GetInstanceListAlloc"), 3U);
}

TEST_P(GroupReport, UnknownOptionsAreIgnored)
{
   const RunResult run = Run(Chain(1), {"-z", "-q", "--nothing", "-t", "word", "-c", "file"});
   ASSERT_EQ(run.OutLines().size(), 2U);
   EXPECT_EQ(run.OutLines()[1], GetParam().totals);
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_EQ(run.Count("Nevra_UseCache"), 0U);
}

TEST_P(GroupReport, FailuresAtTheStartGroupAreTheRunsOwn)
{
   Scenario scenario = Chain(2);
   scenario.Group(0).FailRead(NodeId::sched_groups_groupFlags, NEVRA_BAD_PARAMETER);
   RunResult run = Run(scenario, {"-q"});
   EXPECT_EQ(run.OutLines()[1], GetParam().totals);
   EXPECT_EQ(run.err, "Kelmar_GroupGetFlags() failure, error code: 195887111\n");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(run.Count("Nevra_GetInstanceListAlloc"), 1U); // not its child's
   scenario.Group(0).FailChildren(NEVRA_OUT_OF_MEMORY);
   run = Run(scenario, {"-q"});
   EXPECT_EQ(run.OutLines()[1], GetParam().totals);
   EXPECT_EQ(run.err, "KelmarTraverseGroups: Nevra_GetInstanceListAlloc failure: Out of memory\n");
   EXPECT_EQ(run.exitStatus, 1);
}

TEST_P(GroupReport, AListingThatHandsOverNoListHasFailed)
{
   Scenario scenario = Chain(1);
   scenario.Fail("Nevra_GetInstanceListAlloc", 1, NEVRA_OK);
   const RunResult run = Run(scenario, {"-q"});
   EXPECT_EQ(run.OutLines()[1], GetParam().totals);
   EXPECT_EQ(run.err, "KelmarTraverseGroups: Nevra_GetInstanceListAlloc failure: Failure\n");
   EXPECT_EQ(run.exitStatus, 1);
}

TEST_P(GroupReport, FailuresBelowTheStartGroupAreNot)
{
   Scenario scenario = Chain(2);
   scenario.Group(1).FailRead(NodeId::sched_groups_groupFlags, NEVRA_BAD_PARAMETER);
   const RunResult run = Run(scenario, {"-q"});
   EXPECT_EQ(run.err, "Kelmar_GroupGetFlags() failure, error code: 195887111\n");
   EXPECT_EQ(run.exitStatus, 0);
}

} // namespace
