// group-stats, as a whole process on the scripted platform.
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sysinfo/status.h"
#include "tests/scripted/scenario.h"
#include "tests/scripted/trace_lines.h"

using namespace scripted;

namespace {

const std::string kSeparator = std::string(416, '-') + '\n';
const std::string kHeader =
   "     gid                         name   parGid   nChild        min        max   minLimit     sh"
   "ares    conResv  availResv    memSize memSizePeak       iMin       eMin   eMinPeak   rMinPeak r"
   "MinChildPeak       bMin       bMax    bShares    fShares   ovhdResv       ovhd   allocTgt   con"
   "sumed consumedPeak    touched    bActive sharedSaved                  mps throttlePct          "
   "  flags                          tag"
   "\n";
const std::string kCsvHeader =
   "gid,name,parGid,nChild,min,max,minLimit,shares,conResv,availResv,memSize,memSizePeak,iMin,eMin,"
   "eMinPeak,rMinPeak,rMinChildPeak,bMin,bMax,bShares,fShares,ovhdResv,ovhd,allocTgt,consumed,consu"
   "medPeak,touched,bActive,sharedSaved,mps,throttlePct,flags,tag"
   "\n";
const std::string kDescriptions =
   "Description of report header labels:\n"
   "                 gid: Group ID\n"
   "                name: Group name\n"
   "              parGid: Parent group ID\n"
   "              nChild: Number of child groups\n"
   "                 min: Configured memory reservation\n"
   "                 max: Configured memory limit\n"
   "            minLimit: Configured memory reservation limit\n"
   "              shares: Configured shares\n"
   "             conResv: Total memory reservation consumed by children\n"
   "           availResv: Total memory reservation available to group\n"
   "             memSize: Guest physical / Accounted UW virtual / kernel machine address space currently "
   "consumed\n"
   "         memSizePeak: Peak guest physical / Accounted UW virtual / kernel machine address space "
   "currently consumed (since last reset)\n"
   "                iMin: Implicit memory reservation\n"
   "                eMin: Effective memory reservation\n"
   "            eMinPeak: Peak value for effective memory reservation (since last reset)\n"
   "            rMinPeak: Peak value for requested memory reservation (since last reset)\n"
   "       rMinChildPeak: Peak requested memory reservation value for subgroups (since last reset)\n"
   "                bMin: Base memory reservation\n"
   "                bMax: Base memory limit\n"
   "             bShares: Base shares\n"
   "             fShares: flattened base shares\n"
   "            ovhdResv: Reserved overhead memory\n"
   "                ovhd: Consumed overhead memory\n"
   "            allocTgt: Memory allocation target for group\n"
   "            consumed: Total memory consumed by group\n"
   "        consumedPeak: Peak value for total memory consumed by group (since last reset)\n"
   "             touched: Estimate of guest memory touched\n"
   "             bActive: Base activeness\n"
   "         sharedSaved: Estimate of memory savings from page sharing\n"
   "                 mps: Memory per share (KB)\n"
   "         throttlePct: % of possible time the guest is allowed to be executed\n"
   "               flags: Group flags\n"
   "                 tag: Group Tag\n";

std::string Banner(const std::string &startGroup = "0", const std::string &levels = "12",
                   const std::string &unit = "KB", const std::string &inclusion = "(all)",
                   const std::string &exclusion = "(none)", const std::string &selected = "(all)")
{
   return std::string("\n GROUP STATS: ") + kScriptedTimeText +
          "\n -------------------------------------\n   Start Group ID   : " + startGroup +
          "\n   No. of levels    : " + levels + "\n   Unit             : " + unit +
          "\n   Inclusion filter : " + inclusion + "\n   Exclusion filter : " + exclusion +
          "\n   Selected columns : " + selected + "\n\n";
}

RunResult RunReport(const Scenario &scenario, const std::vector<std::string> &options = {})
{
   std::vector<std::string> arguments = {"-r", "group-stats"};
   arguments.insert(arguments.end(), options.begin(), options.end());
   RunResult run = RunHostmem(scenario, arguments);
   EXPECT_THAT(run, RanCleanly());
   return run;
}

// A row of a CSV run, without the header.
std::string Row(const RunResult &run, size_t index = 0)
{
   const std::vector<std::string> lines = run.OutLines();
   return index + 1 < lines.size() ? lines[index + 1] : "no such row:\n" + run.out + run.err;
}

// ---- records by their bytes, so that an offset is checked against a number and not against itself

void Put(std::string *bytes, size_t offset, uint64_t value, size_t size = 8)
{
   std::memcpy(bytes->data() + offset, &value, size);
}

std::string AllocBytes(int64_t min, int64_t max, int64_t shares, int64_t minLimit)
{
   std::string bytes(36, '\xee');
   Put(&bytes, 0, static_cast<uint64_t>(min));
   Put(&bytes, 8, static_cast<uint64_t>(max));
   Put(&bytes, 16, static_cast<uint64_t>(shares));
   Put(&bytes, 24, static_cast<uint64_t>(minLimit));
   return bytes;
}

std::string CapacityBytes(uint64_t conResv, uint64_t availResv)
{
   std::string bytes(24, '\xee');
   Put(&bytes, 8, conResv);
   Put(&bytes, 16, availResv);
   return bytes;
}

// The figures of the memory statistics record, by name.
using Figures = std::map<std::string, uint64_t>;

const std::map<std::string, size_t> kOffsets = {
   {"memSize", 4},        {"ovhdResv", 20},      {"ovhd", 28},         {"sharedSaved", 60},
   {"consumed", 108},     {"touched", 140},      {"bMin", 156},        {"bMax", 164},
   {"bShares", 172},      {"fShares", 180},      {"iMin", 188},        {"eMin", 196},
   {"bActive", 204},      {"allocTgt", 212},     {"mps", 237},         {"rMinPeak", 245},
   {"eMinPeak", 261},     {"consumedPeak", 277}, {"memSizePeak", 293}, {"throttlePct", 309},
   {"rMinChildPeak", 310}};

std::string MemoryStatsBytes(const Figures &figures, char rest = '\xee')
{
   std::string bytes(320, rest);
   for (const auto &[name, value] : figures) {
      Put(&bytes, kOffsets.at(name), value, name == "throttlePct" ? 1 : 8);
   }
   return bytes;
}

const Figures kFigures = {{"memSize", 3001},       {"memSizePeak", 3002}, {"iMin", 3003},
                          {"eMin", 3004},          {"eMinPeak", 3005},    {"rMinPeak", 3006},
                          {"rMinChildPeak", 3007}, {"bMin", 3008},        {"bMax", 3009},
                          {"bShares", 3010},       {"fShares", 3011},     {"ovhdResv", 3012},
                          {"ovhd", 3013},          {"allocTgt", 3014},    {"consumed", 3015},
                          {"consumedPeak", 3016},  {"touched", 3017},     {"bActive", 3018},
                          {"sharedSaved", 3019},   {"mps", 3020},         {"throttlePct", 21}};

// One group with every figure different.
Scenario OneGroup(int64_t groupID = 7)
{
   Scenario scenario;
   scenario.Group(groupID).Name("vm.4711").Tag("gold").Parent(4).Flags(GROUP_VM | GROUP_CONTAINER);
   scenario.RecordBytes(NodeId::sched_groups_memAllocationInKB, {groupID},
                        AllocBytes(1001, 1002, 1004, 1003));
   scenario.RecordBytes(NodeId::sched_groups_stats_capacity, {groupID}, CapacityBytes(2001, 2002));
   scenario.RecordBytes(NodeId::sched_groups_stats_memoryStats, {groupID}, MemoryStatsBytes(kFigures));
   return scenario;
}

const std::vector<std::string> kSeven = {"-g", "7", "-q"};

std::vector<std::string> With(std::vector<std::string> options, const std::vector<std::string> &more)
{
   options.insert(options.end(), more.begin(), more.end());
   return options;
}

// ---- rows

TEST(GroupStats, PrintsARowOfThirtyThreeFigures)
{
   const RunResult run = RunReport(OneGroup(), kSeven);
   EXPECT_EQ(run.out,
             kCsvHeader +
                "7,vm.4711,4,0,1001,1002,1003,1004,2001,2002,3001,3002,3003,3004,3005,3006,3007,3008,"
                "3009,3010,3011,3012,3013,3014,3015,3016,3017,3018,3019,3020,21,vm:co,gold\n");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
}

TEST(GroupStats, PrintsATable)
{
   const RunResult run = RunReport(OneGroup(), {"-g", "7"});
   EXPECT_EQ(run.out, Banner("7") + kSeparator + kHeader + kSeparator +
                         "       7                      vm.4711        4        0       1001       1002      "
                         " 1003       1004       "
                         "2001       2002       3001        3002       3003       3004       3005       3006 "
                         "         3007       "
                         "3008       3009       3010       3011       3012       3013       3014       3015  "
                         "       3016       3017 "
                         "      3018        3019                 3020          21            vm:co           "
                         "              gold\n" +
                         kSeparator);
   EXPECT_EQ(run.exitStatus, 0);
}

TEST(GroupStats, TakesEachFigureFromItsOwnBytes)
{
   for (const auto &[name, offset] : kOffsets) {
      Scenario scenario = OneGroup();
      const uint64_t value = name == "throttlePct" ? 0xfe : 0x0102030405060708;
      scenario.RecordBytes(NodeId::sched_groups_stats_memoryStats, {7}, MemoryStatsBytes({{name, value}}, 0));
      EXPECT_EQ(Row(RunReport(scenario, With(kSeven, {"-s", name}))), "7," + std::to_string(value)) << name;
   }
}

TEST(GroupStats, PrintsSignedAndUnsignedColumnsAsSuch)
{
   Scenario scenario = OneGroup();
   scenario.Group(7).Parent(-1);
   scenario.RecordBytes(NodeId::sched_groups_memAllocationInKB, {7}, AllocBytes(-2, -1, -3, -1));
   scenario.RecordBytes(NodeId::sched_groups_stats_capacity, {7}, CapacityBytes(UINT64_MAX, UINT64_MAX - 1));
   Figures figures;
   for (const auto &[name, offset] : kOffsets) {
      figures[name] = UINT64_MAX;
   }
   scenario.RecordBytes(NodeId::sched_groups_stats_memoryStats, {7}, MemoryStatsBytes(figures));
   const std::string most = "18446744073709551615";
   std::string expected = "7,vm.4711,-1,0,-2,-1,-1,-3," + most + ",18446744073709551614";
   for (int i = 0; i < 19; i++) {
      expected += ',' + most;
   }
   EXPECT_EQ(Row(RunReport(scenario, kSeven)), expected + ",-1,255,vm:co,gold");
}

TEST(GroupStats, ShowsEveryFlag)
{
   Scenario scenario = OneGroup();
   const std::vector<std::string> options = With(kSeven, {"-s", "flags"});
   const std::pair<uint32_t, const char *> kTexts[] = {
      {0x7fff, "(all)"}, {0xffffffff, "(all)"}, {0x8000, "no row"}, {0x3, "pre:lf"}, {0x4002, "lf:usr"}};
   for (const auto &[flags, text] : kTexts) {
      scenario.Group(7).Flags(flags);
      if (flags == 0x8000) { // a bit without a name shares one with "everything"
         EXPECT_EQ(Row(RunReport(scenario, options)), "7,(none)");
      } else {
         EXPECT_EQ(Row(RunReport(scenario, options)), std::string("7,") + text);
      }
   }
}

// A group without any flag has no bit in common with the inclusion mask, whatever that is.
TEST(GroupStats, HasNoRowForAGroupWithoutFlags)
{
   Scenario scenario = OneGroup();
   scenario.Group(7).Flags(0);
   const RunResult run = RunReport(scenario, kSeven);
   EXPECT_EQ(run.out, kCsvHeader);
   EXPECT_EQ(run.exitStatus, 0);
}

TEST(GroupStats, BoundsTheTextsOfThePlatform)
{
   Scenario scenario = OneGroup();
   scenario.Group(7).Name(std::string(64, 'n')).Tag("12345678");
   EXPECT_EQ(Row(RunReport(scenario, With(kSeven, {"-s", "name:tag"}))),
             "7," + std::string(63, 'n') + ",1234567");
}

TEST(GroupStats, CarriesALongNameIntoTheNextColumns)
{
   Scenario scenario = OneGroup();
   scenario.Group(7).Name(std::string(30, 'n'));
   EXPECT_EQ(RunReport(scenario, {"-g", "7", "-s", "name:parGid:nChild"}).OutLines().at(13),
             "       7 nnnnnnnnnnnnnnnnnnnnnnnnnnnnnn      4        0");
}

// ---- the walk

//  0 ── 4 (no VM) ── 7 (VM, leaf) ── 8 (user world)
//    └─ 5 (user world, leaf)
Scenario Tree()
{
   Scenario scenario;
   scenario.Group(0).Name("host").Flags(GROUP_PREDEFINED).Children({4, 5});
   scenario.Group(4).Name("vms").Parent(0).Flags(GROUP_CONTAINER).Tag("a").Children({7});
   scenario.Group(7).Name("vm").Parent(4).Flags(GROUP_VM | GROUP_LEAF).Tag("b").Children({8});
   scenario.Group(8).Name("uw").Parent(7).Flags(GROUP_USER_WORLD).Tag("a");
   scenario.Group(5).Name("shell").Parent(0).Flags(GROUP_USER_WORLD | GROUP_LEAF);
   return scenario;
}

const std::vector<std::string> kShort = {"-q", "-s", "name:parGid:nChild"};
const std::string kShortHeader = "gid,name,parGid,nChild\n";

TEST(GroupStats, ShowsTheTreeInPreOrder)
{
   const RunResult run = RunReport(Tree(), kShort);
   EXPECT_EQ(run.out, kShortHeader + "0,host,-1,2\n4,vms,0,1\n7,vm,4,1\n8,uw,7,0\n5,shell,0,0\n");
   EXPECT_EQ(run.exitStatus, 0);
}

TEST(GroupStats, ShowsAsManyLevelsAsAsked)
{
   const std::string first = kShortHeader + "0,host,-1,2\n";
   EXPECT_EQ(RunReport(Tree(), With(kShort, {"-l", "1"})).out, first);
   EXPECT_EQ(RunReport(Tree(), With(kShort, {"-l", "2"})).out, first + "4,vms,0,1\n5,shell,0,0\n");
   EXPECT_EQ(RunReport(Tree(), With(kShort, {"--level=2", "--gid", "4"})).out,
             kShortHeader + "4,vms,0,1\n7,vm,4,1\n");
}

TEST(GroupStats, StartsAtTheGroupAsked)
{
   EXPECT_EQ(RunReport(Tree(), With(kShort, {"-g", "7"})).out, kShortHeader + "7,vm,4,1\n8,uw,7,0\n");
   EXPECT_EQ(RunReport(OneGroup(-1), {"-g", "-1", "-q", "-s", "name"}).out,
             "gid,name\n18446744073709551615,vm.4711\n");
   EXPECT_EQ(RunReport(OneGroup(-1), {"-g", "4294967295", "-q", "-s", "name"}).out,
             "gid,name\n18446744073709551615,vm.4711\n");
}

TEST(GroupStats, WalksTwelveLevelsAtMost)
{
   Scenario chain;
   for (int64_t id = 0; id < 14; id++) {
      chain.Group(id).Flags(GROUP_VM).Children({id + 1});
   }
   for (const std::vector<std::string> &options :
        std::vector<std::vector<std::string>>{{}, {"-l", "12"}, {"-l", "13"}, {"-l", "-5"}}) {
      const RunResult run = RunReport(chain, With({"-q", "-s", "gid"}, options));
      EXPECT_EQ(run.out, "gid\n0\n1\n2\n3\n4\n5\n6\n7\n8\n9\n10\n11\n");
      EXPECT_EQ(run.exitStatus, 0);
   }
}

TEST(GroupStats, EndsQuietlyWithoutAStartGroup)
{
   const RunResult run = RunReport(Tree(), {"-g", "99"});
   EXPECT_EQ(run.out, Banner("99") + kSeparator + kHeader + kSeparator + kSeparator);
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 1);
}

// ---- filters

TEST(GroupStats, FiltersRowsAndNotTheWalk)
{
   EXPECT_EQ(RunReport(Tree(), With(kShort, {"-i", "vm:UW"})).out,
             kShortHeader + "7,vm,4,1\n8,uw,7,0\n5,shell,0,0\n");
   EXPECT_EQ(RunReport(Tree(), With(kShort, {"-e", "lf"})).out,
             kShortHeader + "0,host,-1,2\n4,vms,0,1\n8,uw,7,0\n");
   EXPECT_EQ(RunReport(Tree(), With(kShort, {"--iFilter=vm:uw", "--eFilter=lf"})).out,
             kShortHeader + "8,uw,7,0\n");
   EXPECT_EQ(RunReport(Tree(), With(kShort, {"-i", ":"})).out, kShortHeader);
   EXPECT_EQ(RunReport(Tree(), With(kShort, {"-i", ":"})).exitStatus, 0);
   EXPECT_EQ(RunReport(Tree(), With(kShort, {"-e", ":"})).OutLines().size(), 6U);
}

TEST(GroupStats, ReadsOnlyTheFlagsOfAGroupThatIsFilteredOut)
{
   EXPECT_EQ(RunReport(Tree(), With(kShort, {"-i", "tw", "-g", "4"})).Calls({"Nevra_Get"}),
             (std::vector<std::string>{"Nevra_Get(sched_groups_groupFlags, #1 [4], 4) = 0",
                                       "Nevra_Get(sched_groups_groupFlags, #1 [7], 4) = 0",
                                       "Nevra_Get(sched_groups_groupFlags, #1 [8], 4) = 0"}));
}

// ---- options

TEST(GroupStats, TellsItsSettings)
{
   const auto head = [](const std::vector<std::string> &options) {
      const RunResult run = RunReport(Tree(), With({"-s", "gid"}, options));
      const std::vector<std::string> lines = run.OutLines();
      return JoinLines({lines.begin(), lines.begin() + 10});
   };
   const auto banner = [](const std::string &group, const std::string &levels, const std::string &unit,
                          const std::string &inclusion, const std::string &exclusion) {
      return Banner(group, levels, unit, inclusion, exclusion, "gid");
   };
   EXPECT_EQ(head({}), banner("0", "12", "KB", "(all)", "(none)"));
   EXPECT_EQ(head({"-g", "-1"}), banner("18446744073709551615", "12", "KB", "(all)", "(none)"));
   EXPECT_EQ(head({"-g", "2147483648"}), banner("18446744071562067968", "12", "KB", "(all)", "(none)"));
   EXPECT_EQ(head({"-l", "3", "-u", "pg"}), banner("0", "3", "Page (4K)", "(all)", "(none)"));
   EXPECT_EQ(head({"-l", "99", "-u", "gb"}), banner("0", "12", "GB", "(all)", "(none)"));
   EXPECT_EQ(head({"-i", "UW:vm", "-e", "lf"}), banner("0", "12", "KB", "vm:uw", "lf"));
   EXPECT_EQ(head({"-i", ":", "-e", "pre:lf:vm:uw:sys:tw:pr:sd:np:ke:ug:co:sc:vmm:usr"}),
             banner("0", "12", "KB", "(none)", "(all)"));
}

TEST(GroupStats, DescribesItsColumns)
{
   EXPECT_EQ(RunReport(OneGroup(), With(kSeven, {"-v", "-g", "99"})).out, kCsvHeader + kDescriptions);
   const std::string table = RunReport(OneGroup(), {"-v", "-g", "99"}).out;
   EXPECT_EQ(table, Banner("99") + kSeparator + kHeader + kSeparator + kSeparator + kDescriptions);
}

TEST(GroupStats, KeepsItsKeyColumnWhateverIsSelected)
{
   EXPECT_EQ(RunReport(Tree(), {"-s", "nothing", "-v", "-l", "1"}).out,
             Banner("0", "1", "KB", "(all)", "(none)", "gid") + "--------\n"
                                                                "     gid\n"
                                                                "--------\n"
                                                                "       0\n"
                                                                "--------\n"
                                                                "Description of report header labels:\n"
                                                                "                 gid: Group ID\n");
}

TEST(GroupStats, RefusesALevelOfZeroBeforeAnythingIsPrinted)
{
   for (const char *level : {"0", "abc", ""}) {
      const RunResult run = RunReport(Tree(), {"-l", level, "-u", "b", "-i", "foo"});
      EXPECT_EQ(run.out, "");
      EXPECT_EQ(run.err, "Invalid level " + std::string(level) + ", must be > 0\n");
      EXPECT_EQ(run.exitStatus, 1);
      EXPECT_EQ(run.Count("Nevra_ParamListCreate"), 0U);
   }
}

TEST(GroupStats, LowersALevelThatIsTooHigh)
{
   for (const char *level : {"13", "-5", "4294967295"}) {
      const RunResult run = RunReport(Tree(), {"-l", level});
      EXPECT_EQ(run.err, "Specified level " + std::string(level) + " too high, reseting to 12\n");
      EXPECT_EQ(run.OutLines().at(4), "   No. of levels    : 12");
      EXPECT_EQ(run.exitStatus, 0);
   }
}

TEST(GroupStats, RefusesAUnitBeforeAFilter)
{
   for (const char *unit : {"b", "tb"}) {
      const RunResult run =
         RunReport(Tree(), {"-u", unit, "-i", "foo", "-e", "bar", "-s", std::string(600, 'x')});
      EXPECT_EQ(run.out, "");
      EXPECT_EQ(run.err, "Invalid unit specified. Choose from {mb, kb, pg}\n");
      EXPECT_EQ(run.exitStatus, 1);
   }
}

TEST(GroupStats, RefusesTheInclusionBeforeTheExclusion)
{
   RunResult run = RunReport(Tree(), {"-e", "bar", "-i", "vm:foo:baz", "-s", std::string(600, 'x')});
   EXPECT_EQ(run.out, "");
   EXPECT_EQ(run.err, "Invalid flag (foo) in filter\n");
   EXPECT_EQ(run.exitStatus, 1);
   run = RunReport(Tree(), {"-e", "bar", "-i", "vm"});
   EXPECT_EQ(run.out, "");
   EXPECT_EQ(run.err, "Invalid flag (bar) in filter\n");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(run.Count("Nevra_ParamListCreate"), 0U);
}

TEST(GroupStats, IgnoresWhatItDoesNotKnow)
{
   for (const std::vector<std::string> &options : std::vector<std::vector<std::string>>{
           {"-x"}, {"-c", "file"}, {"-h"}, {"--nothing=1"}, {"word"}, {"-r", "vm-stats"}}) {
      EXPECT_EQ(RunReport(Tree(), With(With(kShort, {"-l", "1"}), options)).out,
                kShortHeader + "0,host,-1,2\n");
   }
}

TEST(GroupStats, TakesTheLastOfARepeatedOption)
{
   EXPECT_EQ(
      RunReport(Tree(), {"-q", "-l", "3",  "-g", "4",  "-s",   "gid", "-u", "b",  "-i", "foo", "-e", "foo",
                         "-l", "1",  "-g", "7",  "-s", "name", "-u",  "kb", "-i", "vm", "-e",  "sys"})
         .out,
      "gid,name\n7,vm\n");
}

// ---- units

TEST(GroupStats, ConvertsMemoryAndNothingElse)
{
   EXPECT_EQ(Row(RunReport(OneGroup(), With(kSeven, {"-u", "gb"}))),
             "7,vm.4711,4,0,1,1,1,1004,1,1,1,1,1,1,1,1,1,1,1,3010,3011,1,1,1,1,1,1,1,1,1,21,vm:co,gold");
   EXPECT_EQ(Row(RunReport(OneGroup(), With(kSeven, {"-u", "mb"}))),
             "7,vm.4711,4,0,1,1,1,1004,2,2,3,3,3,3,3,3,3,3,3,3010,3011,3,3,3,3,3,3,3,3,3,21,vm:co,gold");
   EXPECT_EQ(
      Row(RunReport(OneGroup(), With(kSeven, {"-u", "pg"}))),
      "7,vm.4711,4,0,251,251,251,1004,501,501,751,751,751,751,752,752,752,752,753,3010,3011,753,754,754,"
      "754,754,755,755,755,755,21,vm:co,gold");
}

TEST(GroupStats, ShowsLimitsAboveTheThresholdAsNotAvailable)
{
   const auto row = [](int64_t min, int64_t max, int64_t minLimit, const std::string &unit) {
      Scenario scenario = OneGroup();
      scenario.RecordBytes(NodeId::sched_groups_memAllocationInKB, {7}, AllocBytes(min, max, 5, minLimit));
      return Row(RunReport(scenario, With(kSeven, {"-s", "min:max:minLimit:shares", "-u", unit})));
   };
   EXPECT_EQ(row(0xFFFFFFFFF0, 0xFFFFFFFFF0, 0xFFFFFFFFF0, "kb"),
             "7,1099511627760,1099511627760,1099511627760,5");
   EXPECT_EQ(row(0xFFFFFFFFF1, 0xFFFFFFFFF1, 0xFFFFFFFFF1, "kb"), "7,1099511627761,-1,-1,5");
   EXPECT_EQ(row(5, 0xFFFFFFFFF1, INT64_MIN, "pg"), "7,2,-1,-1,5");
   EXPECT_EQ(row(-1, -1, -2, "mb"), "7,-1,-1,-1,5");
   // A minimum just below all ones is a number like any other: it wraps around.
   EXPECT_EQ(row(-2, 8, 9, "pg"), "7,0,2,3,5");
   EXPECT_EQ(row(-1025, 8, 9, "mb"), "7,18014398509481983,1,1,5");
}

// Kept for compatibility: memory per share is converted, although its description says KB.
TEST(GroupStats, ConvertsMemoryPerShare)
{
   Scenario scenario = OneGroup();
   scenario.RecordBytes(NodeId::sched_groups_stats_memoryStats, {7}, MemoryStatsBytes({{"mps", 2049}}));
   EXPECT_EQ(Row(RunReport(scenario, With(kSeven, {"-s", "mps", "-u", "mb"}))), "7,3");
   scenario.RecordBytes(NodeId::sched_groups_stats_memoryStats, {7}, MemoryStatsBytes({{"mps", UINT64_MAX}}));
   EXPECT_EQ(Row(RunReport(scenario, With(kSeven, {"-s", "mps", "-u", "mb"}))), "7,-1");
}

TEST(GroupStats, LeavesAllOnesUnconverted)
{
   Scenario scenario = OneGroup();
   scenario.RecordBytes(NodeId::sched_groups_stats_capacity, {7}, CapacityBytes(UINT64_MAX, 0xFFFFFFFFF4));
   for (const char *unit : {"gb", "mb", "kb", "pg"}) {
      EXPECT_EQ(Row(RunReport(scenario, With(kSeven, {"-s", "conResv", "-u", unit}))),
                "7,18446744073709551615");
   }
   // No threshold here.
   EXPECT_EQ(Row(RunReport(scenario, With(kSeven, {"-s", "availResv"}))), "7,1099511627764");
}

// ---- the tag summary

// Two groups of one tag, one of another, one without.
Scenario Tagged()
{
   Scenario scenario;
   scenario.Group(0).Name("host").Flags(GROUP_PREDEFINED).Children({1, 2, 3});
   const char *tags[] = {"", "gold", "iron", "gold"};
   for (int64_t id = 1; id <= 3; id++) {
      const uint64_t base = 1000 * static_cast<uint64_t>(id);
      scenario.Group(id).Name("group" + std::to_string(id)).Tag(tags[id]).Parent(0).Flags(GROUP_VM);
      scenario.RecordBytes(NodeId::sched_groups_memAllocationInKB, {id}, AllocBytes(id, 7, 9, 8));
      scenario.RecordBytes(NodeId::sched_groups_stats_capacity, {id}, CapacityBytes(base + 1, base + 2));
      Figures figures = kFigures;
      for (auto &[name, value] : figures) {
         value = name == "throttlePct" ? 33 : value % 100 + base;
      }
      scenario.RecordBytes(NodeId::sched_groups_stats_memoryStats, {id}, MemoryStatsBytes(figures));
   }
   scenario.Group(3).Children({4});
   scenario.Group(4).Name("tagless").Parent(3).Flags(GROUP_USER_WORLD);
   return scenario;
}

// Kept for compatibility: the last group's bMax instead of a sum, consumed twice over, and 0 for what has no
// sum.
TEST(GroupStats, SumsGroupsByTag)
{
   const RunResult run = RunReport(Tagged(), {"-q", "-t"});
   const std::vector<std::string> lines = run.OutLines();
   ASSERT_EQ(lines.size(), 1U + 5 + 1 + 3);
   EXPECT_EQ(lines[6], "Virtual tags report");
   EXPECT_EQ(lines[7], "1,,0,3,0,-1,-1,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,-1,0,(none),");
   EXPECT_EQ(lines[8],
             "1,gold,0,1,4,-1,-1,0,4002,4004,4002,4004,4006,4008,4010,4012,4014,4016,3009,0,0,4024,4026,"
             "4028,8060,4032,4034,4036,4038,-1,0,(none),gold");
   EXPECT_EQ(lines[9],
             "1,iron,0,0,2,-1,-1,0,2001,2002,2001,2002,2003,2004,2005,2006,2007,2008,2009,0,0,2012,2013,"
             "2014,4030,2016,2017,2018,2019,-1,0,(none),iron");
   EXPECT_EQ(run.exitStatus, 0);
}

TEST(GroupStats, CountsATagsConsumptionTwice)
{
   Scenario scenario = Tagged();
   scenario.RecordBytes(NodeId::sched_groups_stats_memoryStats, {1},
                        MemoryStatsBytes({{"consumed", 100}}, 0));
   scenario.RecordBytes(NodeId::sched_groups_stats_memoryStats, {3}, MemoryStatsBytes({{"consumed", 50}}, 0));
   EXPECT_EQ(RunReport(scenario, {"-q", "-t", "-s", "tag:consumed:max:minLimit:mps:flags"}).OutLines().at(8),
             "1,-1,-1,300,-1,(none),gold");
}

TEST(GroupStats, PrintsTheTagsBelowTheTable)
{
   const RunResult run = RunReport(Tagged(), {"--tags", "-s", "name:min:tag", "-v", "-i", "vm"});
   const std::string separator = std::string(8 + 28 + 10 + 28 + 3, '-') + '\n';
   EXPECT_EQ(run.out, Banner("0", "12", "KB", "vm", "(none)", "gid:name:min:tag") + separator +
                         "     gid                         name        min                          tag\n" +
                         separator +
                         "       1                       group1          1                         gold\n"
                         "       2                       group2          2                         iron\n"
                         "       3                       group3          3                         gold\n" +
                         separator +
                         "Virtual tags report\n"
                         "       1                         gold          4                         gold\n"
                         "       1                         iron          2                         iron\n" +
                         separator +
                         "Description of report header labels:\n"
                         "                 gid: Group ID\n"
                         "                name: Group name\n"
                         "                 min: Configured memory reservation\n"
                         "                 tag: Group Tag\n");
}

TEST(GroupStats, SumsKilobytesBeforeItConverts)
{
   const RunResult run = RunReport(Tagged(), {"-q", "-t", "-u", "mb", "-s", "min:memSize:tag"});
   EXPECT_EQ(run.out, "gid,min,memSize,tag\n0,0,0,\n1,1,1,gold\n2,1,2,iron\n3,1,3,gold\n4,0,0,\n"
                      "Virtual tags report\n1,0,0,\n1,1,4,gold\n1,1,2,iron\n");
}

TEST(GroupStats, KeepsTagsApartByCase)
{
   Scenario scenario = Tagged();
   scenario.Group(3).Tag("Gold");
   EXPECT_EQ(
      RunReport(scenario, {"-q", "-t", "-i", "vm", "-s", "nChild:tag"}).out,
      "gid,nChild,tag\n1,0,gold\n2,0,iron\n3,1,Gold\nVirtual tags report\n1,0,gold\n1,0,iron\n1,1,Gold\n");
}

TEST(GroupStats, SumsOnlyGroupsThatHaveARow)
{
   Scenario scenario = Tagged();
   scenario.Group(1).FailRead(NodeId::sched_groups_stats_memoryStats, 0xbad0003);
   EXPECT_EQ(RunReport(scenario, {"-q", "-t", "-s", "min:tag", "-e", "uw:pre"}).out,
             "gid,min,tag\n2,2,iron\n3,3,gold\nVirtual tags report\n1,2,iron\n1,3,gold\n");
}

TEST(GroupStats, PrintsNoTagRowsWithoutARow)
{
   const RunResult run = RunReport(Tagged(), {"-t", "-g", "99", "-s", "gid"});
   EXPECT_EQ(run.out, Banner("99", "12", "KB", "(all)", "(none)", "gid") +
                         "--------\n     gid\n--------\n--------\nVirtual tags report\n--------\n");
   EXPECT_EQ(run.exitStatus, 1);
}

TEST(GroupStats, AddsTagsModulo2To64)
{
   Scenario scenario = Tagged();
   scenario.RecordBytes(NodeId::sched_groups_memAllocationInKB, {1}, AllocBytes(INT64_MAX, 0, 0, 0));
   scenario.RecordBytes(NodeId::sched_groups_stats_capacity, {1}, CapacityBytes(UINT64_MAX, 1));
   EXPECT_EQ(RunReport(scenario, {"-q", "-t", "-i", "vm", "-s", "min:conResv:tag"}).OutLines().at(5),
             "1,-9223372036854775806,3000,gold");
}

TEST(GroupStats, CopiesANewTagTwice)
{
   EXPECT_EQ(RunReport(Tagged(), {"-q", "-t"}).Calls({"Str_Strcpy"}),
             (std::vector<std::string>{"Str_Strcpy(\"\", 64)", "Str_Strcpy(\"\", 8)",
                                       "Str_Strcpy(\"gold\", 64)", "Str_Strcpy(\"gold\", 8)",
                                       "Str_Strcpy(\"iron\", 64)", "Str_Strcpy(\"iron\", 8)"}));
   EXPECT_TRUE(RunReport(Tagged(), {"-q"}).Calls({"Str_Strcpy"}).empty());
}

TEST(GroupStats, HasRoomFor512Tags)
{
   Scenario scenario;
   Keys children;
   for (int64_t id = 1; id <= 515; id++) {
      children.push_back(id);
      scenario.Group(id).Flags(GROUP_VM).Tag("t" + std::to_string(id));
   }
   scenario.Group(514).Tag("t1").Children({600}); // known, although the table is full
   scenario.Group(600).Flags(GROUP_VM).Tag("t2");
   scenario.Group(513).Children({601}); // new: no row, and nothing below it
   scenario.Group(601).Flags(GROUP_VM).Tag("t2");
   scenario.Group(0).Children(children);
   const RunResult run = RunReport(scenario, {"-q", "-t", "-s", "nChild:tag"});
   const std::vector<std::string> lines = run.OutLines();
   ASSERT_EQ(lines.size(), 1U + 512 + 2 + 1 + 512);
   EXPECT_EQ(lines[512], "512,0,t512");
   EXPECT_EQ(lines[513], "514,1,t1");
   EXPECT_EQ(lines[514], "600,0,t2");
   EXPECT_EQ(lines[515], "Virtual tags report");
   EXPECT_EQ(lines[516], "1,1,t1");
   EXPECT_EQ(lines[1027], "1,0,t512");
   EXPECT_EQ(run.err, "Maximum number of VTag exceeded\nMaximum number of VTag exceeded\n");
   EXPECT_EQ(run.exitStatus, 0);
   // Without the summary there is no limit.
   EXPECT_EQ(RunReport(scenario, {"-q"}).OutLines().size(), 1U + 517);
}

// ---- the order of calls

TraceLines GroupReads(int64_t groupID, unsigned list)
{
   TraceLines lines;
   lines += OneKeyRead("sched_groups_groupFlags", groupID, 4, list);
   lines += OneKeyRead("sched_groups_groupName", groupID, 64, list);
   lines += OneKeyRead("sched_groups_groupTag", groupID, 8, list);
   lines += OneKeyRead("sched_groups_parentGroupID", groupID, 8, list);
   lines += OneKeyRead("sched_groups_memAllocationInKB", groupID, 36, list);
   lines += OneKeyRead("sched_groups_stats_capacity", groupID, 24, list);
   lines += OneKeyRead("sched_groups_stats_memoryStats", groupID, 320, list);
   return lines;
}

TEST(GroupStats, ReadsAGroupBeforeItsChildren)
{
   TraceLines expected = {"Nevra_CheckSig(21) = 0"};
   expected += ChildListing(7, {8});
   expected += {"Nevra_ParamListUsedCount(#2) = 1"};
   expected += GroupReads(7, 1);
   expected += {"Nevra_ParamListGetInt64(#2, 0) = 0 8",
                "Nevra_ParamListCreate(1, 2) = #1",
                "Nevra_ParamListAddInt(#1, 8) = 0",
                "Nevra_GetInstanceListAlloc(sched_groups_members_groups, #1 [8]) = 0 #3 []",
                "Nevra_ParamListRemoveLastParam(#1) = 0",
                "Nevra_ParamListDestroy(#1)",
                "Nevra_ParamListUsedCount(#3) = 0"};
   expected += GroupReads(8, 1);
   expected += {"Nevra_ParamListDestroy(#3)", "Nevra_ParamListDestroy(#2)"};
   for (const std::vector<std::string> &options :
        std::vector<std::vector<std::string>>{{}, {"-q"}, {"-v", "-s", "gid"}, {"-u", "gb"}}) {
      EXPECT_EQ(JoinLines(RunReport(Tree(), With({"-g", "7"}, options)).trace), JoinLines(expected));
   }
}

// ---- failures

// What a read that fails with a status prints, and which statuses are silent.
struct ReadFailure {
   NodeId node;
   const char *message;
   std::vector<NevraStatus> silent;
};

const ReadFailure kReadFailures[] = {
   {NodeId::sched_groups_groupFlags, "Kelmar_GroupGetFlags() failure, error code: ", {0xbad0003, 0xbad0031}},
   {NodeId::sched_groups_groupName, "Kelmar_GroupGetName() failure, error code: ", {}},
   {NodeId::sched_groups_groupTag, "Kelmar_GroupGetTag() failure, error code: ", {}},
   {NodeId::sched_groups_parentGroupID, "Kelmar_GroupGetParentID() failure, error code: ", {0xbad0003}},
   {NodeId::sched_groups_memAllocationInKB, "Kelmar_GroupGetAlloc() failure, error code: ", {0xbad0003}},
   {NodeId::sched_groups_stats_capacity, "KelmarGroupGetCapacity() failure, error code: ", {0xbad0003}},
   {NodeId::sched_groups_stats_memoryStats,
    "KelmarGroupGetMemoryStats() failure, error code: ",
    {0xbad0003}}};

std::string ReadMessage(const ReadFailure &read, NevraStatus status)
{
   const bool silent = std::find(read.silent.begin(), read.silent.end(), status) != read.silent.end();
   return silent ? "" : read.message + std::to_string(status) + '\n';
}

TEST(GroupStats, LeavesOutAGroupThatCannotBeReadAndAllBelow)
{
   for (const ReadFailure &read : kReadFailures) {
      for (const NevraStatus status : kFaultStatuses) {
         Scenario scenario = Tree();
         scenario.Group(4).FailRead(read.node, status);
         const RunResult run = RunReport(scenario, With(kShort, {"-t"}));
         EXPECT_EQ(run.out, kShortHeader + "0,host,-1,2\n5,shell,0,0\nVirtual tags report\n1,,0,2\n");
         EXPECT_EQ(run.err, ReadMessage(read, status));
         EXPECT_EQ(run.exitStatus, 0);
      }
   }
}

TEST(GroupStats, ReturnsTheStatusOfTheStartGroup)
{
   for (const ReadFailure &read : kReadFailures) {
      for (const NevraStatus status : kFaultStatuses) {
         Scenario scenario = Tree();
         scenario.Group(0).FailRead(read.node, status);
         const RunResult run = RunReport(scenario);
         EXPECT_EQ(run.out, Banner() + kSeparator + kHeader + kSeparator + kSeparator);
         EXPECT_EQ(run.err, ReadMessage(read, status));
         EXPECT_EQ(run.exitStatus, 1);
      }
   }
}

TEST(GroupStats, StopsReadingAGroupAtTheFirstFailure)
{
   unsigned reads = 0;
   for (const ReadFailure &read : kReadFailures) {
      Scenario scenario = OneGroup();
      scenario.Group(7).FailRead(read.node, 0xbad0001);
      EXPECT_EQ(RunReport(scenario, kSeven).Count("Nevra_Get"), ++reads);
   }
}

// One group: which message each failing call gives, and that the run ends with the status of the start group.
TEST(GroupStats, ReportsEveryFaultOfOneGroup)
{
   const auto expect = [](const Fault &fault) {
      const std::string number = std::to_string(fault.status);
      const bool inListing = fault.call == 1;
      ExpectedFault expected = {.exitStatus = 1, .err = "", .out = "gid\n"};
      if (fault.operation == "Nevra_ParamListRemoveLastParam") {
         expected = {.exitStatus = 0, .err = "", .out = "gid\n7\n"};
      } else if (fault.operation == "Nevra_GetInstanceListAlloc") {
         if (fault.status != 0xbad0003) {
            expected.err = std::string("KelmarTraverseGroups: Nevra_GetInstanceListAlloc failure: ") +
                           ORSKA_ReturnStatusToString(fault.status) + '\n';
         }
      } else if (fault.operation == "Nevra_Get") {
         expected.err = ReadMessage(kReadFailures[fault.call - 1], fault.status);
      } else if (inListing) {
         expected.err = fault.operation == "Nevra_ParamListCreate"
                           ? "KelmarGroupNevraGet: Nevra_ParamListCreate() failure\n"
                           : std::string("KelmarTraverseGroups: Nevra_ParamListAddInt() failure: ") +
                                ORSKA_ReturnStatusToString(fault.status) + '\n';
      } else {
         expected.err =
            (fault.operation == "Nevra_ParamListCreate"
                ? "KelmarGroupNevraGet: Nevra_ParamListCreate() failure\n"
                : "KelmarGroupNevraGet: Nevra_ParamListAddInt() faiure, error code: " + number + '\n') +
            ReadMessage(kReadFailures[fault.call - 2], fault.status);
      }
      return expected;
   };
   const unsigned faults =
      CheckEveryFault(OneGroup(), {"-r", "group-stats", "-q", "-g", "7", "-s", "gid"}, expect);
   EXPECT_EQ(faults, 8 /* creates */ +
                        kFaultsPerCall * (8 /* adds */ + 8 /* removes */ + 7 /* reads */ + 1 /* listing */));
}

TEST(GroupStats, SurvivesEveryFaultOfATree)
{
   EXPECT_EQ(CheckEveryFault(Tree(), {"-r", "group-stats", "-t", "-v", "-u", "mb"}),
             5 * 8 + kFaultsPerCall * (5 * 8 /* adds */ + 5 * 8 /* removes */ + 5 * 7 /* reads */ +
                                       5 /* listings */ + 4 /* child IDs */));
}

TEST(GroupStats, ReturnsTheStatusOfTheLastChildRead)
{
   Scenario scenario = Tree();
   scenario.Fail("Nevra_ParamListGetInt64", 2, 0xbad0007); // 4's only child
   RunResult run = RunReport(scenario, kShort);
   EXPECT_EQ(run.out, kShortHeader + "0,host,-1,2\n4,vms,0,1\n5,shell,0,0\n");
   EXPECT_EQ(run.exitStatus, 0);
   scenario = Tree();
   scenario.Fail("Nevra_ParamListGetInt64", 4, 0xbad0007); // the last of the start group
   run = RunReport(scenario, kShort);
   EXPECT_EQ(run.out, kShortHeader + "0,host,-1,2\n4,vms,0,1\n7,vm,4,1\n8,uw,7,0\n");
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 1);
}

// A read that says success and fills nothing gives zeros, and nothing of the group before.
TEST(GroupStats, ARecordThatIsNotFilledReadsAsZero)
{
   Scenario scenario;
   for (const int64_t group : {0, 1}) {
      scenario.Group(group).Name("group").Tag("tag").Parent(7).Flags(GROUP_VM);
      scenario.Group(group).Alloc({.min = 5, .max = 6, .shares = 8, .minLimit = 9});
      scenario.Group(group).MemoryStats(
         FilledRecord<GroupMemoryStatsRecord>(NodeId::sched_groups_stats_memoryStats));
   }
   scenario.Group(0).Children({1});
   for (unsigned read = 9; read <= 14; read++) {
      scenario.Fail("Nevra_Get", read, NEVRA_OK); // of group 1, all but its flags
   }
   const RunResult run = RunHostmem(scenario, {"-r", "group-stats", "-q"});
   EXPECT_EQ(run.OutLines()[2], "1,,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,vm,");
   EXPECT_EQ(run.err, "");
   EXPECT_THAT(run, RanCleanly());
}

} // namespace
