// comp-stats, as a whole process on the scripted platform.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scripted/scenario.h"
#include "tests/scripted/trace_lines.h"

using namespace scripted;

namespace {

constexpr const char *kStates[] = {"high", "clear", "soft", "hard", "low"};

const CompMemMapStats kMemMap = {.total = 1000001,
                                 .managedByMemMap = 1003,
                                 .reliableMem = 1004,
                                 .discarded = 1002,
                                 .buddyOvhd = 1007,
                                 .kernelCode = 1005,
                                 .dataAndHeap = 1006,
                                 .orskaClientConsumed = 1011,
                                 .otherConsumed = 1012,
                                 .rsvdLow = 1008,
                                 .free = 1013};

GlobalMemSchedInfo SchedInfo(uint32_t memState)
{
   GlobalMemSchedInfo info;
   std::memset(&info, 0xee, sizeof info);
   info.managedByMemSched = 1009;
   info.minFree = 1010;
   info.memState = memState;
   return info;
}

MemStateTransitions Transitions(uint32_t toHigher, uint32_t toLower)
{
   MemStateTransitions transitions;
   std::memset(&transitions, 0xee, sizeof transitions);
   transitions.numToHigher = toHigher;
   transitions.numToLower = toLower;
   return transitions;
}

// Every figure differs. State k went up 10 x (k + 1) times and down 100 x (k + 1) times.
Scenario Host(uint32_t memState = 2)
{
   Scenario scenario;
   scenario.Record(NodeId::memory_comprehensive, {}, kMemMap);
   scenario.Record(NodeId::sched_globalStats_memory_kelmar, {}, SchedInfo(memState));
   for (uint32_t i = 0; i < 5; i++) {
      scenario.Record(NodeId::sched_globalStats_memory_stateTransitions, {kStates[i]},
                      Transitions(10 * (i + 1), 100 * (i + 1)));
   }
   return scenario;
}

RunResult RunReport(const Scenario &scenario, const std::vector<std::string> &options = {})
{
   std::vector<std::string> arguments = {"-r", "comp-stats"};
   arguments.insert(arguments.end(), options.begin(), options.end());
   RunResult run = RunHostmem(scenario, arguments);
   EXPECT_THAT(run, RanCleanly());
   return run;
}

// 214 for the columns and 18 between them.
const std::string kSeparator = std::string(232, '-') + '\n';
const std::string kHeader =
   "     total  discarded managedByMemMap reliableMem kernelCode dataAndHeap  buddyOvhd    rsvdLow "
   "managedByMemSched    minFree orskaClientConsumed otherConsumed       free    numHigh   numClear    "
   "numSoft    numHard     numLow memState\n";
const std::string kCsvHeader =
   "total,discarded,managedByMemMap,reliableMem,kernelCode,dataAndHeap,buddyOvhd,rsvdLow,managedByMemSched,"
   "minFree,orskaClientConsumed,otherConsumed,free,numHigh,numClear,numSoft,numHard,numLow,memState\n";

std::string Banner(const std::string &unit = "KB", const std::string &selected = "(all)")
{
   return std::string("\n COMPREHENSIVE STATS: ") + kScriptedTimeText +
          "\n ---------------------------------------------\n   Unit             : " + unit +
          "\n   Selected columns : " + selected + "\n\n";
}

const std::string kDescriptions = "Description of report header labels:\n"
                                  "               total: Total physical memory on host\n"
                                  "           discarded: Discarded by tarvos  \n"
                                  "     managedByMemMap: Memory managed by MemMap\n"
                                  "         reliableMem: Reliable memory\n"
                                  "          kernelCode: Tarvos code region\n"
                                  "         dataAndHeap: Tarvos data and heap\n"
                                  "           buddyOvhd: Memmap buddy overhead \n"
                                  "             rsvdLow: Reserved low memory\n"
                                  "   managedByMemSched: Memory managed by MemSched\n"
                                  "             minFree: Min Free\n"
                                  " orskaClientConsumed: Consumed by tarvos clients\n"
                                  "       otherConsumed: Consumed by non-tarvos clients\n"
                                  "                free: Available (Free) physical memory\n"
                                  "             numHigh: Num times host in high state\n"
                                  "            numClear: Num times host in clear state\n"
                                  "             numSoft: Num times host in soft state\n"
                                  "             numHard: Num of times host in hard state\n"
                                  "              numLow: Num of times host in low state\n"
                                  "            memState: Current memory state\n";

TEST(CompStats, PrintsOneRow)
{
   const RunResult run = RunReport(Host());
   EXPECT_EQ(
      run.out,
      Banner() + kSeparator + kHeader + kSeparator +
         "   1000001       1002            1003        1004       1005        1006       1007       "
         "1008              1009       1010                1011          1012       1013         21        "
         "130        240        350        400     Soft\n" +
         kSeparator);
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
}

TEST(CompStats, LeavesTheTimeOutPastTheCalendarsLastYear)
{
   Scenario scenario = Host();
   scenario.Time(INT64_MAX);
   const RunResult run = RunReport(scenario);
   EXPECT_EQ(run.OutLines()[1], " COMPREHENSIVE STATS: ");
   EXPECT_EQ(run.OutLines()[2], " ---------------------------------------------");
   EXPECT_EQ(run.exitStatus, 0);
}

TEST(CompStats, PrintsCsv)
{
   const RunResult run = RunReport(Host(), {"-q"});
   EXPECT_EQ(run.out, kCsvHeader + "1000001,1002,1003,1004,1005,1006,1007,1008,1009,1010,1011,1012,1013,21,"
                                   "130,240,350,400,Soft\n");
   EXPECT_EQ(run.exitStatus, 0);
}

// ---- the order of calls

TraceLines KeylessRead(const std::string &node, size_t recordSize)
{
   return {"Nevra_ParamListCreate(1, 1) = #1",
           "Nevra_Get(" + node + ", #1 [], " + std::to_string(recordSize) + ") = 0",
           "Nevra_ParamListDestroy(#1)"};
}

TEST(CompStats, ReadsSevenRecordsEachWithAListOfItsOwn)
{
   TraceLines expected = {"Nevra_CheckSig(21) = 0"};
   expected += KeylessRead("memory_comprehensive", 88);
   expected += KeylessRead("sched_globalStats_memory_kelmar", 352);
   for (const char *state : kStates) {
      const std::string quoted = '"' + std::string(state) + '"';
      expected += {"Nevra_ParamListCreate(1, 2) = #1", "Nevra_ParamListAddString(#1, " + quoted + ") = 0",
                   "Nevra_Get(sched_globalStats_memory_stateTransitions, #1 [" + quoted + "], 32) = 0",
                   "Nevra_ParamListDestroy(#1)"};
   }
   for (const std::vector<std::string> &options :
        std::vector<std::vector<std::string>>{{}, {"-q"}, {"-v", "-s", "free"}, {"-u", "gb"}}) {
      EXPECT_EQ(JoinLines(RunReport(Host(), options).trace), JoinLines(expected));
   }
}

// ---- the state

TEST(CompStats, NamesTheMemoryState)
{
   const std::pair<uint32_t, const char *> kNames[] = {
      {0, "High"}, {1, "Clear"},   {2, "Soft"},    {3, "Hard"},
      {4, "Low"},  {5, "Unknown"}, {6, "Unknown"}, {UINT32_MAX, "Unknown"}};
   for (const auto &[state, name] : kNames) {
      EXPECT_EQ(RunReport(Host(state), {"-q", "-s", "memState"}).out,
                "memState\n" + std::string(name) + '\n');
   }
   // The column is as wide as its name, one more than "Unknown".
   EXPECT_EQ(RunReport(Host(9), {"-s", "memState"}).OutLines().at(9), " Unknown");
}

TEST(CompStats, CountsTheStatesOfAFreshHost)
{
   Scenario scenario = Host();
   for (const char *state : kStates) {
      scenario.Record(NodeId::sched_globalStats_memory_stateTransitions, {state}, Transitions(0, 0));
   }
   EXPECT_EQ(RunReport(scenario, {"-q", "-s", "numHigh:numClear:numSoft:numHard:numLow"}).out,
             "numHigh,numClear,numSoft,numHard,numLow\n1,0,0,0,0\n");
}

// Each count from its own two neighbours; the first up and the last down count nowhere.
TEST(CompStats, CountsAStateByTheTimesItWasEntered)
{
   const struct {
      int state;
      bool toHigher;
      const char *counts;
   } kCases[] = {{0, true, "1,0,0,0,0"},  {1, true, "8,0,0,0,0"},  {2, true, "1,7,0,0,0"},
                 {3, true, "1,0,7,0,0"},  {4, true, "1,0,0,7,0"},  {0, false, "1,7,0,0,0"},
                 {1, false, "1,0,7,0,0"}, {2, false, "1,0,0,7,0"}, {3, false, "1,0,0,0,7"},
                 {4, false, "1,0,0,0,0"}};
   for (const auto &one : kCases) {
      Scenario scenario = Host();
      for (int i = 0; i < 5; i++) {
         const uint32_t count = i == one.state ? 7 : 0;
         scenario.Record(NodeId::sched_globalStats_memory_stateTransitions, {kStates[i]},
                         one.toHigher ? Transitions(count, 0) : Transitions(0, count));
      }
      EXPECT_EQ(RunReport(scenario, {"-q", "-s", "numHigh:numClear:numSoft:numHard:numLow"}).OutLines().at(1),
                one.counts);
   }
}

TEST(CompStats, CountsIn32Bits)
{
   Scenario scenario = Host();
   for (const char *state : kStates) {
      scenario.Record(NodeId::sched_globalStats_memory_stateTransitions, {state},
                      Transitions(UINT32_MAX, UINT32_MAX));
   }
   EXPECT_EQ(RunReport(scenario, {"-q", "-s", "numHigh:numClear:numSoft:numHard:numLow"}).OutLines().at(1),
             "0,4294967294,4294967294,4294967294,4294967295");
}

// ---- units

TEST(CompStats, ConvertsEveryQuantityRoundingUp)
{
   Scenario scenario = Host();
   CompMemMapStats memMap = kMemMap;
   memMap.total = (uint64_t{3} << 20) + 1;
   memMap.free = 0;
   scenario.Record(NodeId::memory_comprehensive, {}, memMap);
   const std::string counts = ",21,130,240,350,400,Soft";
   EXPECT_EQ(RunReport(scenario, {"-q", "-u", "gb"}).OutLines().at(1), "4,1,1,1,1,1,1,1,1,1,1,1,0" + counts);
   EXPECT_EQ(RunReport(scenario, {"-q", "-u", "mb"}).OutLines().at(1),
             "3073,1,1,1,1,1,1,1,1,1,1,1,0" + counts);
   EXPECT_EQ(RunReport(scenario, {"-q", "-u", "kb"}).OutLines().at(1),
             "3145729,1002,1003,1004,1005,1006,1007,1008,1009,1010,1011,1012,0" + counts);
   EXPECT_EQ(RunReport(scenario, {"-q", "-u", "pg"}).OutLines().at(1),
             "786433,251,251,251,252,252,252,252,253,253,253,253,0" + counts);
}

TEST(CompStats, LeavesAllOnesAndNothingElseUnconverted)
{
   Scenario scenario = Host();
   CompMemMapStats memMap = kMemMap;
   memMap.total = UINT64_MAX;
   memMap.discarded = UINT64_MAX - 1023; // a large number like any other
   memMap.managedByMemMap = 0xFFFFFFFFF4;
   scenario.Record(NodeId::memory_comprehensive, {}, memMap);
   for (const char *unit : {"gb", "mb", "kb", "pg"}) {
      EXPECT_EQ(RunReport(scenario, {"-q", "-s", "total", "-u", unit}).OutLines().at(1),
                "18446744073709551615");
   }
   EXPECT_EQ(RunReport(scenario, {"-q", "-s", "discarded:managedByMemMap", "-u", "mb"}).OutLines().at(1),
             "18014398509481983,1073741824");
   EXPECT_EQ(RunReport(scenario, {"-s", "total:discarded:reliableMem"}).out,
             Banner("KB", "total:discarded:reliableMem") +
                "---------------------------------\n"
                "     total  discarded reliableMem\n"
                "---------------------------------\n"
                // 20 digits in 10, twice: the carry of 20 leaves the third cell -9.
                "18446744073709551615 18446744073709550592 1004     \n"
                "---------------------------------\n");
}

TEST(CompStats, NamesTheUnitInItsBanner)
{
   const std::pair<const char *, const char *> kUnits[] = {
      {"gb", "GB"}, {"MB", "MB"}, {"kb", "KB"}, {"Pg", "Page (4K)"}};
   for (const auto &[text, name] : kUnits) {
      EXPECT_EQ(RunReport(Host(), {"-u", text, "-s", "free"}).out.substr(0, Banner(name, "free").size()),
                Banner(name, "free"));
   }
}

TEST(CompStats, RefusesAUnitBeforeAnythingIsPrinted)
{
   for (const char *unit : {"b", "B", "tb", ""}) {
      for (const std::string option : {"-u", "--unit"}) {
         const RunResult run = RunReport(Host(), {option, unit, "-s", std::string(600, 'x')});
         EXPECT_EQ(run.out, "");
         EXPECT_EQ(run.err, "Invalid unit specified. Choose from {mb, kb, pg}\n");
         EXPECT_EQ(run.exitStatus, 1);
         EXPECT_EQ(run.Count("Nevra_ParamListCreate"), 0U);
      }
   }
}

// ---- options

TEST(CompStats, DescribesItsColumns)
{
   EXPECT_EQ(RunReport(Host(), {"-q", "-v", "-u", "mb"}).out,
             kCsvHeader + "977,1,1,1,1,1,1,1,1,1,1,1,1,21,130,240,350,400,Soft\n" + kDescriptions);
   const std::string table = RunReport(Host(), {"-v"}).out;
   EXPECT_EQ(table.substr(table.size() - kDescriptions.size() - kSeparator.size()),
             kSeparator + kDescriptions);
}

TEST(CompStats, ShowsTheSelectedColumnsOnly)
{
   EXPECT_EQ(RunReport(Host(), {"-s", "memState:FREE", "-v"}).out,
             Banner("KB", "free:memState") + "-------------------\n"
                                             "      free memState\n"
                                             "-------------------\n"
                                             "      1013     Soft\n"
                                             "-------------------\n"
                                             "Description of report header labels:\n"
                                             "                free: Available (Free) physical memory\n"
                                             "            memState: Current memory state\n");
}

TEST(CompStats, ShowsNothingWhenNothingIsSelected)
{
   EXPECT_EQ(RunReport(Host(), {"-s", "nothing"}).out, Banner("KB", "(none)") + "\n\n\n\n\n");
   EXPECT_EQ(RunReport(Host(), {"-s", "nothing", "-q"}).out, "\n\n");
}

TEST(CompStats, WarnsOfASelectionThatIsTooLong)
{
   const RunResult run = RunReport(Host(), {"-q", "-s", "free:" + std::string(600, 'x') + ":total"});
   EXPECT_EQ(run.out, "free\n1013\n");
   EXPECT_EQ(run.err, "Selected columns is too long, selection might be ignored.\n");
   EXPECT_EQ(run.exitStatus, 0);
}

TEST(CompStats, IgnoresWhatItDoesNotKnow)
{
   for (const std::vector<std::string> &options : std::vector<std::vector<std::string>>{{"-x"},
                                                                                        {"-g", "5"},
                                                                                        {"-l", "0"},
                                                                                        {"--level", "0"},
                                                                                        {"-i", "foo"},
                                                                                        {"-t"},
                                                                                        {"word"},
                                                                                        {"--gid=5"},
                                                                                        {"-c", "file"}}) {
      std::vector<std::string> all = options;
      all.insert(all.end(), {"-q", "-s", "free"});
      const RunResult run = RunReport(Host(), all);
      EXPECT_EQ(run.out, "free\n1013\n");
      EXPECT_EQ(run.err, "");
      EXPECT_EQ(run.exitStatus, 0);
   }
}

TEST(CompStats, TakesTheLastOfARepeatedOption)
{
   EXPECT_EQ(RunReport(Host(), {"-q", "-u", "b", "-s", "total", "-u", "mb", "-s", "free"}).out, "free\n1\n");
   EXPECT_EQ(RunReport(Host(), {"--csvMode", "--unit=mb", "--cSelect=free"}).out, "free\n1\n");
}

// ---- failures

// A failing call ends the report, with the header on screen; only a list that cannot be made is reported.
TEST(CompStats, EndsAtEveryFault)
{
   const std::string head = Banner() + kSeparator + kHeader + kSeparator;
   unsigned creates = 0;
   const unsigned faults = CheckEveryFault(Host(), {"-r", "comp-stats", "-v"}, [&](const Fault &fault) {
      ExpectedFault expected = {.exitStatus = 1, .err = "", .out = head};
      if (fault.operation == "Nevra_ParamListCreate") {
         creates++;
         expected.err = fault.call == 1 ? "KelmarCompGetMemMapStats: Nevra_ParamListCreate() failure\n"
                                        : "KelmarCompGetGlobalKelmar: Nevra_ParamListCreate() failure\n";
      }
      return expected;
   });
   EXPECT_EQ(creates, 7U);
   EXPECT_EQ(faults, 7 + kFaultsPerCall * (7 /* reads */ + 5 /* names */));
}

TEST(CompStats, ReadsNothingMoreAfterAFault)
{
   for (unsigned read = 1; read <= 7; read++) {
      Scenario scenario = Host();
      scenario.Fail("Nevra_Get", read, 0xbad0001);
      const RunResult run = RunReport(scenario, {"-q"});
      EXPECT_EQ(run.out, kCsvHeader);
      EXPECT_EQ(run.Count("Nevra_Get"), read);
      EXPECT_EQ(run.trace.back(), "Nevra_ParamListDestroy(#1)");
   }
   for (unsigned name = 1; name <= 5; name++) {
      Scenario scenario = Host();
      scenario.Fail("Nevra_ParamListAddString", name, 0xbad0014);
      const RunResult run = RunReport(scenario, {"-q"});
      EXPECT_EQ(run.Count("Nevra_Get"), 1 + name);
      EXPECT_EQ(run.trace.back(), "Nevra_ParamListDestroy(#1)");
   }
}

// A read that says success and fills nothing gives zeros.
TEST(CompStats, ARecordThatIsNotFilledReadsAsZero)
{
   Scenario scenario = Host();
   for (unsigned read = 1; read <= 7; read++) {
      scenario.Fail("Nevra_Get", read, NEVRA_OK);
   }
   const RunResult run = RunReport(scenario, {"-q"});
   EXPECT_EQ(run.out, kCsvHeader + "0,0,0,0,0,0,0,0,0,0,0,0,0,1,0,0,0,0,High\n");
   EXPECT_EQ(run.exitStatus, 0);
}

} // namespace
