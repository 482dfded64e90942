// The profiler on a platform that plays sockets with counters.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <stdlib.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/scripted/scenario.h"

namespace fs = std::filesystem;
using namespace scripted;

namespace {

constexpr const char *kFileName = "dcpmm-stats-20231114221320";
const std::string kRule = '\n' + std::string(79, '=') + '\n';

// What parts the iterations, on standard output and in the file.
std::string Completed(int iteration)
{
   return "\nITERATION " + std::to_string(iteration) + " COMPLETED\n" + kRule;
}

struct Unit {
   int slot;
   int function;
   const char *name;
   const char *channel;
   bool isM2M() const { return slot < 10; }
};

const Unit kUnits[] = {{10, 2, "IMC-0", "Channel-0"}, {10, 6, "IMC-0", "Channel-1"},
                       {11, 2, "IMC-0", "Channel-2"}, {12, 2, "IMC-1", "Channel-0"},
                       {12, 6, "IMC-1", "Channel-1"}, {13, 2, "IMC-1", "Channel-2"},
                       {8, 0, "M2M-IMC-0", "N/A"},    {9, 0, "M2M-IMC-1", "N/A"}};

struct Counter {
   const char *event;
   int low;
   int high;
};

const std::vector<Counter> kImcCounters = {{"UNC_M_PMM_RPQ_INSERTS", 0xb8, 0xbc},
                                           {"UNC_M_PMM_WPQ_INSERTS", 0xa0, 0xa4},
                                           {"UNC_M_CAS_COUNT_WR", 0xb0, 0xb4},
                                           {"UNC_M_CAS_COUNT_RD", 0xa8, 0xac}};
const std::vector<Counter> kM2MCounters = {{"UNC_M2M_TAG_HIT_NM_RD_HIT_CLEAN", 0x210, 0x214},
                                           {"UNC_M2M_TAG_HIT_NM_RD_HIT_DIRTY", 0x208, 0x20c},
                                           {"UNC_M2M_IMC_WRITES_NI", 0x218, 0x21c}};

const std::vector<Counter> &CountersOf(const Unit &unit)
{
   return unit.isM2M() ? kM2MCounters : kImcCounters;
}

// A value written to a register, and what is printed when that cannot be done.
struct Control {
   int value;
   int address;
   const char *failure;
};

std::vector<Control> FreezeOf(const Unit &unit)
{
   if (unit.isM2M()) {
      return {{0x100, 0x258, "kelmarDCPMMFreezeUnit: Error in M2M Unit Freeze\n"}};
   }
   return {{0x100, 0xf4, "kelmarDCPMMFreezeUnit: Error in IMC Unit Freeze\n"}};
}

std::vector<Control> ProgramOf(const Unit &unit)
{
   if (unit.isM2M()) {
      return {{0x40012c, 0x238, "kelmarDCPMMProgramAllUnits: Error programming M2M_TAG_CLEAN_EVENT\n"},
              {0x40022c, 0x230, "kelmarDCPMMProgramAllUnits: Error programming M2M_TAG_DIRTY_EVENT\n"},
              {0x408038, 0x240, "kelmarDCPMMProgramAllUnits: Error programming M2M_WRITE_NI_EVENT\n"}};
   }
   return {{0x4000e3, 0xe4, "kelmarDCPMMProgramAllUnits: Error programming RPQ_EVENT\n"},
           {0x4000e7, 0xd8, "kelmarDCPMMProgramAllUnits: Error programming WPQ_EVENT\n"},
           {0x400c04, 0xe0, "kelmarDCPMMProgramAllUnits: Error programming CAS_COUNT_WR_EVENT\n"},
           {0x400304, 0xdc, "kelmarDCPMMProgramAllUnits: Error programming CAS_COUNT_RD_EVENT\n"}};
}

std::vector<Control> ResetOf(const Unit &unit)
{
   if (unit.isM2M()) {
      return {{0x102, 0x258, "kelmarDCPMMResetUnit: Error in M2M Unit Reset\n"},
              {0, 0x258, "kelmarDCPMMResetUnit: Error in M2M Unit Unfreeze\n"}};
   }
   // Without "in". Kept for compatibility.
   return {{0x102, 0xf4, "kelmarDCPMMResetUnit: Error IMC Unit Reset\n"},
           {0, 0xf4, "kelmarDCPMMResetUnit: Error in IMC Unit Unfreeze\n"}};
}

struct Place {
   int segment;
   int bus;
};

uint64_t CountOf(int socket, const Unit &unit, const Counter &counter)
{
   return (uint64_t(socket + 1) << 32) + uint64_t(unit.slot * 65536 + unit.function * 4096 + counter.low);
}

constexpr NodeId kRegister = NodeId::hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr;
constexpr NodeId kHeader = NodeId::hardware_pci_seg_bus_slot_func_pciConfigHeader;

PciConfigHeaderRecord Device(uint16_t vendorID, uint16_t deviceID)
{
   PciConfigHeaderRecord header;
   memset(&header, 0xee, sizeof header);
   header.vendorID = vendorID;
   header.deviceID = deviceID;
   return header;
}

CpuInfoRecord Cpu(uint8_t model)
{
   CpuInfoRecord cpu;
   memset(&cpu, 0xee, sizeof cpu);
   cpu.model = model;
   return cpu;
}

void AddRegister(Scenario &scenario, const Place &place, const Unit &unit, int address, uint32_t value)
{
   scenario.Record(kRegister, {place.segment, place.bus, unit.slot, unit.function, 4, address},
                   PciConfigRegRecord{value});
}

// A host whose PCI tree has these sockets and nothing else; a segment's sockets stand together.
Scenario Sockets(const std::vector<Place> &places)
{
   Scenario scenario;
   scenario.Record(NodeId::hardware_cpu_cpuList, {0}, Cpu(85));
   scenario.List(NodeId::hardware_nvd_dimm, {}, {17});
   Keys segments;
   for (size_t socket = 0; socket < places.size(); socket++) {
      const Place &place = places[socket];
      if (socket == 0 || places[socket - 1].segment != place.segment) {
         segments.push_back(place.segment);
         Keys buses;
         for (const Place &other : places) {
            if (other.segment == place.segment) {
               buses.push_back(other.bus);
            }
         }
         scenario.List(NodeId::hardware_pci_seg_bus, {place.segment}, buses);
      }
      scenario.List(NodeId::hardware_pci_seg_bus_slot, {place.segment, place.bus}, {10});
      scenario.List(NodeId::hardware_pci_seg_bus_slot_func, {place.segment, place.bus, 10}, {2});
      scenario.Record(kHeader, {place.segment, place.bus, 10, 2}, Device(0x8086, 0x2042));
      for (const Unit &unit : kUnits) {
         for (const Counter &counter : CountersOf(unit)) {
            const uint64_t count = CountOf(static_cast<int>(socket), unit, counter);
            AddRegister(scenario, place, unit, counter.low, static_cast<uint32_t>(count));
            AddRegister(scenario, place, unit, counter.high, static_cast<uint32_t>(count >> 32));
         }
      }
   }
   return scenario.List(NodeId::hardware_pci_seg, {}, segments);
}

// A folder of its own for the output file.
class DcpmmStats : public testing::Test {
 protected:
   DcpmmStats()
   {
      std::string name = (std::filesystem::temp_directory_path() / "dcpmm-XXXXXX").string();
      folder = mkdtemp(name.data());
   }
   ~DcpmmStats() override { std::filesystem::remove_all(folder); }

   RunResult Run(const Scenario &scenario, const std::vector<std::string> &options = {},
                 RunOptions runOptions = {})
   {
      std::vector<std::string> arguments = {"-r", "dcpmm-stats"};
      arguments.insert(arguments.end(), options.begin(), options.end());
      runOptions.workingDirectory = folder;
      return RunHostmem(scenario, arguments, runOptions);
   }

   // The files of the folder.
   std::vector<std::string> Files() const
   {
      std::vector<std::string> names;
      for (const auto &entry : std::filesystem::directory_iterator(folder)) {
         names.push_back(entry.path().filename().string());
      }
      return names;
   }

   std::string Contents(const std::string &name) const
   {
      std::ifstream file(folder / name);
      std::ostringstream text;
      text << file.rdbuf();
      return text.str();
   }

   void ExpectRefused(const Scenario &scenario, const std::vector<std::string> &options,
                      const std::string &out, const std::string &err)
   {
      const RunResult run = Run(scenario, options);
      EXPECT_EQ(run.out, out);
      EXPECT_EQ(run.err, err);
      EXPECT_EQ(run.exitStatus, 1);
      EXPECT_EQ(run.Count("Nevra_Set"), 0u);
      EXPECT_EQ(Files(), std::vector<std::string>());
      EXPECT_THAT(run, RanCleanly());
   }

   std::filesystem::path folder;
};

const std::string kAnnouncement = std::string("Data output is being written to: ") + kFileName + '\n';

std::string Heading(int seconds)
{
   return "\nTime Interval: " + std::to_string(seconds) + '\n' + kRule +
          "\nSOCKET \t IMC \t CHANNEL \t \t EVENT \t \t \t\tCOUNTS \t";
}

// The lines of one iteration over so many sockets, in the file and as CSV.
std::string FileLines(int sockets)
{
   std::ostringstream lines;
   for (int socket = 0; socket < sockets; socket++) {
      for (const Unit &unit : kUnits) {
         for (const Counter &counter : CountersOf(unit)) {
            lines << "\n  " << socket << " \t " << unit.name;
            if (unit.isM2M()) {
               lines << " \t\t " << counter.event << " \t ";
            } else {
               lines << " \t " << unit.channel << " \t " << counter.event << " \t \t \t ";
            }
            lines << CountOf(socket, unit, counter);
         }
      }
   }
   return lines.str();
}

const std::string kCsvHeader = "Socket,IMC,Channel,Event,Counts\n";

std::string CsvLine(int socket, const Unit &unit, const Counter &counter)
{
   std::ostringstream line;
   line << socket << ',' << unit.name << ',' << unit.channel << ',' << counter.event << ','
        << CountOf(socket, unit, counter) << '\n';
   return line.str();
}

std::string CsvLines(int sockets)
{
   std::string lines;
   for (int socket = 0; socket < sockets; socket++) {
      for (const Unit &unit : kUnits) {
         for (const Counter &counter : CountersOf(unit)) {
            lines += CsvLine(socket, unit, counter);
         }
      }
   }
   return lines;
}

TEST_F(DcpmmStats, WritesTheCountsToAFileNamedAfterTheTime)
{
   const RunResult run = Run(Sockets({{0, 24}, {0, 58}}));
   EXPECT_EQ(run.out, kAnnouncement + Completed(1));
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_EQ(Files(), std::vector<std::string>{kFileName});
   EXPECT_EQ(Contents(kFileName), Heading(1) + FileLines(2) + Completed(1));
   EXPECT_EQ(run.Calls({"sleep"}), std::vector<std::string>{"sleep(1)"});
   EXPECT_THAT(run, RanCleanly());
}

TEST_F(DcpmmStats, FormatsTheLinesOfTheFile)
{
   Run(Sockets({{0, 24}}));
   const std::string contents = Contents(kFileName);
   EXPECT_NE(contents.find("\n  0 \t IMC-0 \t Channel-0 \t UNC_M_PMM_RPQ_INSERTS \t \t \t 4295631032\n"),
             std::string::npos);
   EXPECT_NE(contents.find("\n  0 \t M2M-IMC-1 \t\t UNC_M2M_IMC_WRITES_NI \t 4295557656\n"),
             std::string::npos);
}

TEST_F(DcpmmStats, RepeatsAsOftenAsAsked)
{
   for (const std::vector<std::string> &options :
        {std::vector<std::string>{"-t", "30", "-i", "3"}, {"--time=30", "--iterations", "3"}}) {
      const RunResult run = Run(Sockets({{0, 24}}), options);
      EXPECT_EQ(run.out, kAnnouncement + Completed(1) + Completed(2) + Completed(3));
      EXPECT_EQ(Contents(kFileName), Heading(30) + FileLines(1) + Completed(1) + FileLines(1) + Completed(2) +
                                        FileLines(1) + Completed(3));
      EXPECT_EQ(run.Calls({"sleep"}), (std::vector<std::string>(3, "sleep(30)")));
   }
}

TEST_F(DcpmmStats, PrintsRowsAndIterationsAsCsvAndMakesNoFile)
{
   const RunResult run = Run(Sockets({{0, 24}, {0, 58}}), {"-q", "-i", "2"});
   EXPECT_EQ(run.out, kCsvHeader + CsvLines(2) + Completed(1) + CsvLines(2) + Completed(2));
   EXPECT_EQ(run.err, "");
   EXPECT_EQ(run.exitStatus, 0);
   EXPECT_EQ(Files(), std::vector<std::string>());
   EXPECT_THAT(run, RanCleanly());
}

// As hostmem -q, but for what stands before each row.
TEST_F(DcpmmStats, HandsItsRowsToAnyOutput)
{
   RunOptions runOptions;
   runOptions.executable = ROWS_PROGRAM;
   runOptions.workingDirectory = folder;
   const auto rows = [&](const char *format) {
      return RunHostmem(Sockets({{0, 24}, {0, 58}}), {format, "dcpmm-stats", "-i", "2"}, runOptions);
   };
   const RunResult csv = rows("csv");
   std::string expected = "time,host,report,row,Socket,IMC,Channel,Event,Counts (count)\n";
   for (const std::string &line : SplitLines(CsvLines(2) + CsvLines(2))) {
      expected += "1970-01-01T00:00:00Z,elm,dcpmm-stats,data," + line + '\n';
   }
   EXPECT_EQ(csv.out, expected);
   EXPECT_THAT(csv, RanCleanly());

   const std::vector<std::string> json = rows("json").OutLines();
   EXPECT_EQ(json[2], R"({"row":"data","Socket":0,"IMC":"IMC-0","Channel":"Channel-0",)"
                      R"("Event":"UNC_M_PMM_RPQ_INSERTS","Counts":4295631032},)");
   EXPECT_EQ(Files(), std::vector<std::string>());
}

TEST_F(DcpmmStats, DescribesTheColumnsAtTheEnd)
{
   const std::string descriptions = "Description of report header labels:\n"
                                    "              Socket: Socket Number\n"
                                    "                 IMC: IMC/M2M\n"
                                    "             Channel: Channel Number\n"
                                    "               Event: Name of the Hardware Event\n"
                                    "              Counts: Number of Counts\n";
   EXPECT_EQ(Run(Sockets({{0, 24}}), {"-v"}).out, kAnnouncement + Completed(1) + descriptions);
   EXPECT_EQ(Run(Sockets({{0, 24}}), {"-q", "--verbose"}).out,
             kCsvHeader + CsvLines(1) + Completed(1) + descriptions);
}

TEST_F(DcpmmStats, ReadsTheCountersAnewInEveryIteration)
{
   Scenario scenario = Sockets({{0, 24}});
   scenario.ThenRecord(kRegister, {0, 24, 10, 2, 4, 0xb8}, PciConfigRegRecord{5});
   scenario.ThenRecord(kRegister, {0, 24, 10, 2, 4, 0xbc}, PciConfigRegRecord{0});
   const std::vector<std::string> lines = Run(scenario, {"-q", "-i", "2"}).OutLines();
   EXPECT_EQ(lines[1], "0,IMC-0,Channel-0,UNC_M_PMM_RPQ_INSERTS,4295631032");
   EXPECT_EQ(lines[31 + 4], "0,IMC-0,Channel-0,UNC_M_PMM_RPQ_INSERTS,5"); // the iteration has four lines
}

TEST_F(DcpmmStats, TakesSixteenBitsOfTheHighRegister)
{
   Scenario scenario = Sockets({{0, 24}});
   AddRegister(scenario, {0, 24}, kUnits[0], 0xbc, 0x12345);
   AddRegister(scenario, {0, 24}, kUnits[0], 0xb8, 0x10);
   AddRegister(scenario, {0, 24}, kUnits[7], 0x21c, 0xffffffff);
   AddRegister(scenario, {0, 24}, kUnits[7], 0x218, 0xffffffff);
   const std::vector<std::string> lines = Run(scenario, {"-q"}).OutLines();
   EXPECT_EQ(lines[1], "0,IMC-0,Channel-0,UNC_M_PMM_RPQ_INSERTS," + std::to_string(0x234500000010));
   EXPECT_EQ(lines[30], "0,M2M-IMC-1,N/A,UNC_M2M_IMC_WRITES_NI," + std::to_string(0xffffffffffff));
}

TEST_F(DcpmmStats, ProfilesOneCpuModelOnlyAndSaysSoBeforeItLooksAtTheOptions)
{
   Scenario scenario = Sockets({{0, 24}});
   scenario.Record(NodeId::hardware_cpu_cpuList, {0}, Cpu(143));
   for (const std::vector<std::string> &options :
        {std::vector<std::string>{}, {"-q"}, {"-t", "0"}, {"--nonsense"}}) {
      ExpectRefused(scenario, options, "\nProfiling not supported for this CPU Model: 143\n", "");
   }
}

TEST_F(DcpmmStats, RefusesNumbersThatAreNotAboveZero)
{
   const Scenario scenario = Sockets({{0, 24}});
   for (const char *text : {"0", "-1", "abc", "", "2147483648", "4294967297", "99999999999999999999"}) {
      ExpectRefused(scenario, {"-q", "-t", text}, "",
                    std::string("\nInvalid Time interval ") + text + ", must be > 0\n");
      ExpectRefused(scenario, {"-q", "-i", text}, "",
                    std::string("\nInvalid Iterations ") + text + ", must be > 0\n");
   }
   EXPECT_EQ(Run(scenario, {"-q", "-t", "2147483647"}).Calls({"sleep"}),
             std::vector<std::string>{"sleep(2147483647)"});
   EXPECT_EQ(Run(scenario, {"-q", "-t", "7x"}).Calls({"sleep"}), std::vector<std::string>{"sleep(7)"});
}

TEST_F(DcpmmStats, RefusesUnknownOptions)
{
   for (const char *option : {"-x", "-u", "--gid", "-h", "-t"}) {
      ExpectRefused(Sockets({{0, 24}}), {"-q", option}, "\n Invalid option", "");
   }
}

TEST_F(DcpmmStats, EndsWithoutDimms)
{
   Scenario scenario = Sockets({{0, 24}});
   scenario.List(NodeId::hardware_nvd_dimm, {}, {});
   ExpectRefused(scenario, {},
                 "\nNO AEP DIMMS IN THE PLATFORM."
                 "\nProfiling is not supported in NON-AEP platforms... Exiting",
                 "");
}

TEST_F(DcpmmStats, EndsWithoutSockets)
{
   const Place place = {0, 24};
   const auto expectNone = [&](const Scenario &scenario) {
      ExpectRefused(scenario, {"-q"}, "\n No Valid PCI BUS found.", "");
   };
   expectNone(Sockets({}));
   for (const auto &header : {Device(0x8087, 0x2042), Device(0x8086, 0x2043)}) {
      expectNone(Sockets({place}).Record(kHeader, {0, 24, 10, 2}, header));
   }
   Scenario elsewhere = Sockets({place});
   elsewhere.List(NodeId::hardware_pci_seg_bus_slot, {0, 24}, {9, 11, 10});
   for (const int slot : {9, 11}) {
      elsewhere.List(NodeId::hardware_pci_seg_bus_slot_func, {0, 24, slot}, {2});
      elsewhere.Record(kHeader, {0, 24, slot, 2}, Device(0x8086, 0x2042));
   }
   elsewhere.List(NodeId::hardware_pci_seg_bus_slot_func, {0, 24, 10}, {1, 6});
   for (const int function : {1, 6}) {
      elsewhere.Record(kHeader, {0, 24, 10, function}, Device(0x8086, 0x2042));
   }
   expectNone(elsewhere);
}

// The number of a socket is found by its bus alone.
TEST_F(DcpmmStats, NumbersSocketsByTheirBus)
{
   const std::vector<std::string> lines = Run(Sockets({{0, 24}, {1, 30}, {1, 24}}), {"-q"}).OutLines();
   ASSERT_EQ(lines.size(), 1 + 3 * 30u + 4u);
   EXPECT_EQ(lines[1].substr(0, 2), "0,");
   EXPECT_EQ(lines[31].substr(0, 2), "1,");
   EXPECT_EQ(lines[61].substr(0, 2), "0,");
}

TEST_F(DcpmmStats, LeavesNoFileWhenItCannotBeMade)
{
   std::filesystem::create_directory(folder / kFileName);
   const RunResult run = Run(Sockets({{0, 24}}));
   EXPECT_EQ(run.out, kAnnouncement + "\n Cannot Create report output file");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(run.Count("Nevra_Set"), 0u);
   EXPECT_THAT(run, RanCleanly());
}

// A stranger who can write to the folder knows the name.
TEST_F(DcpmmStats, NeverFollowsALinkOrWaitsForAFifo)
{
   const fs::path file = folder / kFileName;
   const fs::path victim = folder / "victim";
   std::ofstream(victim) << "precious";
   const std::function<void()> plants[] = {
      [&] { fs::create_symlink("victim", file); }, [&] { fs::create_symlink("missing", file); },
      [&] { fs::create_hard_link(victim, file); }, [&] { ASSERT_EQ(mkfifo(file.c_str(), 0666), 0); }};
   for (const auto &plant : plants) {
      plant();
      const RunResult run = Run(Sockets({{0, 24}}));
      EXPECT_EQ(run.out, kAnnouncement + "\n Cannot Create report output file");
      EXPECT_EQ(run.exitStatus, 1);
      EXPECT_EQ(run.Count("Nevra_Set"), 0u);
      EXPECT_THAT(run, RanCleanly());
      EXPECT_EQ(Contents("victim"), "precious");
      EXPECT_FALSE(fs::exists(folder / "missing"));
      fs::remove(file);
   }
}

TEST_F(DcpmmStats, WritesOverItsOwnFileOfTheSameSecond)
{
   std::ofstream(folder / kFileName) << std::string(100000, 'x');
   EXPECT_EQ(Run(Sockets({{0, 24}})).exitStatus, 0);
   EXPECT_LT(fs::file_size(folder / kFileName), 100000u);
}

TEST_F(DcpmmStats, NoticesThatTheFileCannotBeWritten)
{
   if (mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=4k") != 0) {
      GTEST_SKIP() << "no small file system without CAP_SYS_ADMIN";
   }
   const RunResult run = Run(Sockets({{0, 24}, {0, 30}, {0, 36}}), {"-v"});
   EXPECT_EQ(umount(folder.c_str()), 0);
   EXPECT_EQ(run.out, kAnnouncement + Completed(1) + "\n Cannot Write report output file");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_THAT(run, RanCleanly());
}

// The file does not take the descriptor of the closed stream, and so does not get its output.
TEST_F(DcpmmStats, KeepsItsFileCleanWhenStandardOutputIsClosed)
{
   RunOptions closed;
   closed.closedStreams = {STDIN_FILENO, STDOUT_FILENO};
   const RunResult run = Run(Sockets({{0, 24}}), {}, closed);
   EXPECT_EQ(run.err, "Couldn't write the output: Bad file descriptor\n");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(Contents(kFileName), Heading(1) + FileLines(1) + Completed(1));
}

TEST_F(DcpmmStats, OverwritesAFileOfTheSameName)
{
   std::ofstream(folder / kFileName) << std::string(100000, 'x');
   Run(Sockets({{0, 24}}));
   EXPECT_EQ(Contents(kFileName), Heading(1) + FileLines(1) + Completed(1));
}

TEST_F(DcpmmStats, SaysThatThereIsNoTime)
{
   const RunResult noTime = Run(Sockets({{0, 24}}).Time(-1));
   EXPECT_THAT(noTime.out, testing::MatchesRegex("time\\(\\) failed: .+\n"));
   EXPECT_EQ(noTime.exitStatus, 1);
   const RunResult noDate = Run(Sockets({{0, 24}}).Time(INT64_MAX));
   EXPECT_EQ(noDate.out, "localtime() failed: Value too large for defined data type\n");
   EXPECT_EQ(noDate.exitStatus, 1);
   EXPECT_EQ(Files(), std::vector<std::string>());
   EXPECT_EQ(Run(Sockets({{0, 24}}).Time(-1), {"-q"}).out, kCsvHeader + CsvLines(1) + Completed(1));
}

// ---- every call of a run, and what is printed when it fails

struct Call {
   std::string line;
   std::string failure; // "%u" stands for the status, "%s" for its text
   std::string printed; // on standard output before
};

class ExpectedCalls {
 public:
   std::vector<Call> calls;
   std::string printed;

   void Add(const std::string &line, const std::string &failure = "")
   {
      calls.push_back({line, failure, printed});
   }

   void Cpu()
   {
      Add("Nevra_CheckSig(21) = 0");
      Add("Nevra_ParamListCreate(1, 1) = #1", "ERROR: could not create cpuListInputParam: Failure\n");
      Add("Nevra_ParamListAddInt(#1, 0) = 0", "Nevra_ParamListAddInt cpuListInputParam Failure %s\n");
      Add("Nevra_Get(hardware_cpu_cpuList, #1 [0], 228) = 0", "ERROR: could not get cpuInfo: %s\n");
      Add("Nevra_ParamListDestroy(#1)");
   }

   void Dimms()
   {
      Add("Nevra_GetInstanceListAlloc(hardware_nvd_dimm, null) = 0 #1 [17]",
          "KelmarDCPMMCheckNVM: Nevra_GetInstanceListAlloc failure\n");
      Add("Nevra_ParamListUsedCount(#1) = 1");
      Add("Nevra_ParamListDestroy(#1)");
   }

   // One socket; `numbers` are its segment, bus, slot and function.
   void Socket(const int (&numbers)[4])
   {
      const char *const nodes[] = {"hardware_pci_seg", "hardware_pci_seg_bus", "hardware_pci_seg_bus_slot",
                                   "hardware_pci_seg_bus_slot_func"};
      const char *const names[] = {"segment", "bus", "slot", "func"};
      const char *const lists[] = {"segList", "busList", "slotList", "funcList"};
      Add("Nevra_ParamListCreate(1, 4) = #1", "DCPMM Profiler Info: Nevra_ParamListCreate Failure");
      std::string address;
      for (int level = 0; level < 4; level++) {
         const std::string info = std::string("DCPMM Profiler Info: NEVRA_NODE_") + nodes[level];
         const std::string list = '#' + std::to_string(level + 2);
         const std::string number = std::to_string(numbers[level]);
         Add(std::string("Nevra_GetInstanceListAlloc(") + nodes[level] + ", " +
                (level == 0 ? "null" : "#1 [" + address + ']') + ") = 0 " + list + " [" + number + ']',
             info + " Failure");
         Add("Nevra_ParamListUsedCount(" + list + ") = 1");
         Add("Nevra_ParamListGetParam(" + list + ", 0) = 0 " + number,
             info + ", Unable to get " + names[level] + " param from " + lists[level]);
         Add("Nevra_ParamGetInt(" + number + ')');
         Add("Nevra_ParamListAddInt(#1, " + number + ") = 0",
             info + ", Unable to add " + names[level] + " to paramList");
         address += (level > 0 ? ", " : "") + number;
      }
      Add("Nevra_Get(hardware_pci_seg_bus_slot_func_pciConfigHeader, #1 [" + address + "], 164) = 0",
          "DCPMM Profiler Info: NEVRA_NODE_hardware_pci_seg_bus_slot_func_pciConfigHeader, Unable to get "
          "pciConfiHeader");
      for (int level = 3; level >= 0; level--) {
         Add("Nevra_ParamListRemoveLastParam(#1) = 0", std::string("DCPMM Profiler Info: NEVRA_NODE_") +
                                                          nodes[level] + ", Unable to remove " +
                                                          names[level] + " from paramList");
         Add("Nevra_ParamListDestroy(#" + std::to_string(level + 2) + ')');
      }
      Add("Nevra_ParamListDestroy(#1)");
   }

   void Program(const Place &place, const Unit &unit, const std::vector<Control> &controls)
   {
      for (const Control &control : controls) {
         const std::string failure = control.failure;
         Add("Nevra_ParamListCreate(1, 1) = #1", "Cannot create instanceArgs" + failure);
         const std::string address =
            AddAddress(place, unit, control.address, "Nevra_ParamListAddInt ", "control", failure);
         const std::string value = std::to_string(control.value);
         Add("Nevra_ParamListCreate(0, 1) = #2", "cannot create inputArgs" + failure);
         Add("Nevra_ParamListAddInt(#2, " + value + ") = 0",
             "Nevra_ParamListAddInt event failure %u\n" + failure);
         Add("Nevra_Set(hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr, #1 [" + address + "], #2 [" +
                value + "], 0, 0) = 0",
             "KelmarDCPMMProgramEvent: error fetching PCI information %s\n" + failure);
         Add("Nevra_ParamListDestroy(#2)");
         Add("Nevra_ParamListDestroy(#1)");
      }
   }

   void Read(const Place &place, const Unit &unit, bool csvMode)
   {
      const std::string get = "Nevra_Get(hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr, #1 [";
      for (const Counter &counter : CountersOf(unit)) {
         const std::string failure =
            std::string("kelmarDCPMMReadAllCounters: Error reading ") + counter.event + '\n';
         const std::string fetch = "KelmarDCPMMReadCounters: error fetching PCI information %s\n" + failure;
         const std::string high = std::to_string(counter.high);
         Add("Nevra_ParamListCreate(1, 1) = #1", "Cannot allocate instanceArgs" + failure);
         const std::string address =
            AddAddress(place, unit, counter.low, "Nevra_ParamListAddInt for ", "lowCounter", failure);
         Add(get + address + "], 4) = 0", fetch);
         Add("Nevra_ParamListRemoveLastParam(#1) = 0",
             "KelmarDCPMMReadCounters: Nevra_ParamListRemoveLastParam failure %u\n" + failure);
         Add("Nevra_ParamListAddInt(#1, " + high + ") = 0",
             "KelmarDCPMMReadCounters: Nevra_ParamListAddInt for highCounter failure %u\n" + failure);
         Add(get + address.substr(0, address.rfind(' ') + 1) + high + "], 4) = 0", fetch);
         if (csvMode) {
            printed += CsvLine(0, unit, counter);
         }
         Add("Nevra_ParamListDestroy(#1)");
      }
   }

 private:
   std::string AddAddress(const Place &place, const Unit &unit, int address, const std::string &prefix,
                          const char *addressName, const std::string &failure)
   {
      const std::pair<const char *, int> kParts[] = {
         {"seg", place.segment},  {"bus", place.bus}, {"slot", unit.slot},
         {"func", unit.function}, {"size", 4},        {addressName, address}};
      std::string numbers;
      for (const auto &[name, number] : kParts) {
         Add("Nevra_ParamListAddInt(#1, " + std::to_string(number) + ") = 0",
             prefix + name + " failure %u\n" + failure);
         numbers += (numbers.empty() ? "" : ", ") + std::to_string(number);
      }
      return numbers;
   }
};

ExpectedCalls CallsOfARun(const Place &place, bool csvMode)
{
   ExpectedCalls expected;
   expected.Cpu();
   expected.Dimms();
   expected.Socket({place.segment, place.bus, 10, 2});
   expected.printed = csvMode ? kCsvHeader : kAnnouncement;
   for (const Unit &unit : kUnits) {
      expected.Program(place, unit, FreezeOf(unit));
   }
   for (const Unit &unit : kUnits) {
      expected.Program(place, unit, ProgramOf(unit));
   }
   for (const Unit &unit : kUnits) {
      expected.Program(place, unit, ResetOf(unit));
   }
   expected.Add("sleep(1)");
   for (const Unit &unit : kUnits) {
      expected.Program(place, unit, FreezeOf(unit));
      expected.Read(place, unit, csvMode);
   }
   return expected;
}

TEST_F(DcpmmStats, FreezesProgramsResetsWaitsAndReads)
{
   for (const bool csvMode : {false, true}) {
      const RunResult run = Run(Sockets({{2, 24}}), csvMode ? std::vector<std::string>{"-q"}
                                                            : std::vector<std::string>{"-t", "1"});
      std::vector<std::string> lines;
      for (const Call &call : CallsOfARun({2, 24}, csvMode).calls) {
         lines.push_back(call.line);
      }
      EXPECT_EQ(JoinLines(run.trace), JoinLines(lines));
   }
}

// All of a socket's units are frozen and programmed before the next socket's, and so with the resets and
// reads.
TEST_F(DcpmmStats, GoesSocketBySocket)
{
   const RunResult run = Run(Sockets({{0, 24}, {0, 58}}), {"-q", "-i", "2"});
   std::vector<std::string> buses; // of the register accesses, each run of one bus once
   std::vector<size_t> lengths;
   for (const std::string &line : run.Calls({"Nevra_Set", "Nevra_Get", "sleep"})) {
      std::string bus = line.starts_with("sleep")                      ? line
                        : line.find("#1 [0, 24,") != std::string::npos ? "24"
                                                                       : "58";
      if (!line.starts_with("sleep") && line.find("pciConfigReg") == std::string::npos) {
         continue;
      }
      if (buses.empty() || buses.back() != bus) {
         buses.push_back(bus);
         lengths.push_back(0);
      }
      lengths.back()++;
   }
   // Freeze and program; reset; read: 8 + 30, 16, and 8 freezes with two reads for each of 30 counters.
   EXPECT_EQ(buses, (std::vector<std::string>{"24", "58", "24", "58", "sleep(1)", "24", "58", "24", "58",
                                              "sleep(1)", "24", "58"}));
   EXPECT_EQ(lengths, (std::vector<size_t>{38, 38, 16, 16, 1, 68, 68, 16, 16, 1, 68, 68}));
}

const char *StatusText(NevraStatus status)
{
   switch (status) {
   case 0xbad0001:
      return "Failure";
   case 0xbad0003:
      return "Not found";
   case 0xbad0007:
      return "Bad parameter";
   case 0xbad0014:
      return "Out of memory";
   default:
      return "Not initialized";
   }
}

std::string WithStatus(std::string text, NevraStatus status)
{
   if (const size_t place = text.find("%u"); place != std::string::npos) {
      text.replace(place, 2, std::to_string(status));
   }
   if (const size_t place = text.find("%s"); place != std::string::npos) {
      text.replace(place, 2, StatusText(status));
   }
   return text;
}

bool IsFallible(const std::string &operation)
{
   for (const std::string &fallible : kFallibleOperations) {
      if (operation == fallible) {
         return true;
      }
   }
   return false;
}

class DcpmmStatsFaults : public DcpmmStats {
 protected:
   // Makes every stride-th call of a run fail, each with the next of the statuses: there is the message of
   // the call and that of the step that it belongs to, exit status 1, every list is freed, and the file,
   // where there is one by then, keeps the counts before the fault. Returns the number of faults.
   unsigned Check(const std::vector<std::string> &options, bool csvMode, unsigned stride)
   {
      std::map<std::string, unsigned> counts;
      unsigned fallible = 0;
      unsigned faults = 0;
      for (const Call &call : CallsOfARun({2, 24}, csvMode).calls) {
         const std::string operation = call.line.substr(0, call.line.find('('));
         if (!IsFallible(operation)) {
            continue;
         }
         counts[operation]++;
         if (fallible++ % stride == 0) {
            SCOPED_TRACE(call.line);
            CheckFault(call, operation, counts[operation], options,
                       kFaultStatuses[faults++ % kFaultStatuses.size()]);
         }
      }
      return faults;
   }

 private:
   void CheckFault(const Call &call, const std::string &operation, unsigned number,
                   const std::vector<std::string> &options, NevraStatus status)
   {
      const RunResult run = Run(Sockets({{2, 24}}).Fail(operation, number, status), options);
      EXPECT_EQ(run.out, call.printed + WithStatus(call.failure, status));
      EXPECT_EQ(run.err, "");
      EXPECT_EQ(run.exitStatus, 1);
      CheckFile(run, call.printed.starts_with(kAnnouncement));
      EXPECT_THAT(run, RanCleanly());
   }

   void CheckFile(const RunResult &run, bool isOpen)
   {
      if (!isOpen) {
         EXPECT_EQ(Files(), std::vector<std::string>());
         return;
      }
      size_t registersRead = 0;
      for (const std::string &call : run.Calls({"Nevra_Get"})) {
         registersRead += call.find("pciConfigReg_size_addr") != std::string::npos && call.ends_with(" = 0");
      }
      const std::string whole = FileLines(1);
      size_t end = 0; // two registers make a line
      for (size_t line = 0; line < registersRead / 2; line++) {
         end = std::min(whole.find('\n', end + 1), whole.size());
      }
      EXPECT_EQ(Contents(kFileName), Heading(1) + whole.substr(0, end));
      std::filesystem::remove(folder / kFileName);
   }
};

TEST_F(DcpmmStatsFaults, EndTheReportAndKeepWhatWasCounted)
{
   // The CPU, the DIMMs, the sockets, 62 registers written and 30 counters read.
   constexpr unsigned kCalls = 3u + 1u + 18u + 62u * 10u + 30u * 11u;
   constexpr unsigned kStride = kAreFaultsSampled ? 7 : 1;
   EXPECT_EQ(Check({}, false, kStride), (kCalls + kStride - 1) / kStride);
}

TEST_F(DcpmmStatsFaults, EndTheReportInCsvModeToo)
{
   EXPECT_EQ(Check({"-q"}, true, 7), (972u + 6u) / 7u);
}

TEST_F(DcpmmStats, KeepsTheCompletedIterationsWhenALaterOneFails)
{
   Scenario scenario = Sockets({{0, 24}});
   scenario.Fail("Nevra_Set", 62 + 1, 0xbad0007);
   const RunResult run = Run(scenario, {"-i", "2"});
   EXPECT_EQ(run.out, kAnnouncement + Completed(1) +
                         "KelmarDCPMMProgramEvent: error fetching PCI information Bad parameter\n"
                         "kelmarDCPMMResetUnit: Error IMC Unit Reset\n");
   EXPECT_EQ(run.exitStatus, 1);
   EXPECT_EQ(Contents(kFileName), Heading(1) + FileLines(1) + Completed(1));
}

} // namespace
