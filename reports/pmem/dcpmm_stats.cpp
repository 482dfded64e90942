#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#include <fcntl.h>
#include <getopt.h>
#include <sys/stat.h>
#include <unistd.h>

#include "nevra/records.h"
#include "report/column_table.h"
#include "report/report_options.h"
#include "report/table_output.h"
#include "reports/pmem/dcpmm_sockets.h"
#include "reports/pmem/dcpmm_units.h"
#include "reports/report_list.h"
#include "sysinfo/param_list.h"
#include "sysinfo/status.h"

namespace {

constexpr uint8_t kProfiledModel = 85;
#define DCPMM_RULE "\n==============================================================================="

struct ProfilerOptions {
   int seconds = 1; // between programming and reading
   int iterations = 1;
   bool verbose = false;
   bool csv = false;
   const TableOutput *output = nullptr; // as -q chooses it
};

// The output file; `file` is null with -q, whose rows go to the table output.
struct OutputFile {
   char name[128];
   FILE *file;
};

NevraStatus ReadCpuModel(uint8_t *model)
{
   ParamListPtr params = CreateParamList(1);
   if (params == nullptr) {
      std::printf("ERROR: could not create cpuListInputParam: %s\n",
                  ORSKA_ReturnStatusToString(NEVRA_FAILURE));
      return NEVRA_FAILURE;
   }
   NevraStatus status = Nevra_ParamListAddInt(params.get(), 0);
   if (status != NEVRA_OK) {
      std::printf("Nevra_ParamListAddInt cpuListInputParam Failure %s\n", ORSKA_ReturnStatusToString(status));
      return status;
   }
   CpuInfoRecord cpu = {};
   status = Nevra_Get(NEVRA_NODE_hardware_cpu_cpuList, params.get(), &cpu, sizeof cpu);
   if (status != NEVRA_OK) {
      std::printf("ERROR: could not get cpuInfo: %s\n", ORSKA_ReturnStatusToString(status));
      return status;
   }
   *model = cpu.model;
   return NEVRA_OK;
}

NevraStatus CheckCpu()
{
   uint8_t model;
   const NevraStatus status = ReadCpuModel(&model);
   if (status != NEVRA_OK) {
      return status;
   }
   if (model != kProfiledModel) {
      std::printf("\nProfiling not supported for this CPU Model: %u\n", model);
      return NEVRA_FAILURE;
   }
   return NEVRA_OK;
}

// A decimal number above 0 that an int can hold.
bool ParsePositive(const char *text, int *number)
{
   const long value = std::strtol(text, nullptr, 10);
   *number = static_cast<int>(value);
   return value > 0 && value <= INT_MAX;
}

constexpr char kShortOptions[] = "t:i:vq";
constexpr option kLongOptions[] = {{"time", required_argument, nullptr, 't'},
                                   {"iterations", required_argument, nullptr, 'i'},
                                   kVerboseOption,
                                   kCsvOption,
                                   kEndOfOptions};

// An option that cannot be used ends the report, unlike in the other reports.
NevraStatus ParseProfilerOptions(const ReportArguments &arguments, ProfilerOptions *options)
{
   options->output = arguments.outputs.table;
   int letter;
   while ((letter = getopt_long(arguments.argc, arguments.argv, kShortOptions, kLongOptions, nullptr)) !=
          -1) {
      switch (letter) {
      case 't':
         if (!ParsePositive(optarg, &options->seconds)) {
            Warning("\nInvalid Time interval %s, must be > 0\n", optarg);
            return NEVRA_BAD_PARAMETER;
         }
         break;
      case 'i':
         if (!ParsePositive(optarg, &options->iterations)) {
            Warning("\nInvalid Iterations %s, must be > 0\n", optarg);
            return NEVRA_BAD_PARAMETER;
         }
         break;
      case 'v':
         options->verbose = true;
         break;
      case 'q':
         options->csv = true;
         options->output = arguments.outputs.csv;
         break;
      default:
         std::printf("\n Invalid option");
         return NEVRA_BAD_PARAMETER;
      }
   }
   return NEVRA_OK;
}

NevraStatus CheckDimms()
{
   ParamListPtr dimms;
   const NevraStatus status = ListInstances(NEVRA_NODE_hardware_nvd_dimm, nullptr, &dimms);
   if (status != NEVRA_OK) {
      std::printf("%s: Nevra_GetInstanceListAlloc failure\n", "KelmarDCPMMCheckNVM");
      return status;
   }
   if (Nevra_ParamListUsedCount(dimms.get()) == 0) {
      std::printf("\nNO AEP DIMMS IN THE PLATFORM.");
      std::printf("\nProfiling is not supported in NON-AEP platforms... Exiting");
      return NEVRA_NOT_FOUND;
   }
   return NEVRA_OK;
}

NevraStatus FindSockets(std::vector<DcpmmSocket> *sockets)
{
   const NevraStatus status = FindDcpmmSockets(sockets);
   if (status == NEVRA_OK && sockets->empty()) {
      std::printf("\n No Valid PCI BUS found.");
      return NEVRA_NOT_FOUND;
   }
   return status;
}

// "dcpmm-stats-" and the local date and time, in the current folder.
NevraStatus NameOutputFile(OutputFile *output)
{
   const time_t now = time(nullptr);
   if (now == static_cast<time_t>(-1)) {
      std::printf("time() failed: %s\n", std::strerror(errno));
      return NEVRA_FAILURE;
   }
   const tm *local = localtime(&now);
   if (local == nullptr) {
      std::printf("localtime() failed: %s\n", std::strerror(errno));
      return NEVRA_FAILURE;
   }
   std::snprintf(output->name, sizeof output->name, "dcpmm-stats-%04d%02d%02d%02d%02d%02d",
                 local->tm_year + 1900, local->tm_mon + 1, local->tm_mday, local->tm_hour, local->tm_min,
                 local->tm_sec);
   return NEVRA_OK;
}

// Anyone who can write to the folder can predict the name, so links and FIFOs are refused, and only a regular
// file of this user's own is overwritten.
FILE *CreateOutputFile(const char *name)
{
   constexpr int kFlags = O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
   int descriptor = open(name, kFlags | O_CREAT | O_EXCL, 0666);
   if (descriptor < 0 && errno == EEXIST) {
      descriptor = open(name, kFlags);
      struct stat facts;
      if (descriptor >= 0 &&
          (fstat(descriptor, &facts) != 0 || !S_ISREG(facts.st_mode) || facts.st_uid != geteuid() ||
           facts.st_nlink != 1 || ftruncate(descriptor, 0) != 0)) {
         close(descriptor);
         descriptor = -1;
      }
   }
   FILE *file = descriptor >= 0 ? fdopen(descriptor, "w") : nullptr;
   if (file == nullptr && descriptor >= 0) {
      close(descriptor);
   }
   return file;
}

// Opens the file and writes its heading. With -q there is no file, and the table output begins.
NevraStatus OpenOutput(const char *report, const ProfilerOptions &options, OutputFile *output)
{
   if (options.csv) {
      options.output->Begin({.report = report,
                             .title = "DCPMM STATS",
                             .ruleLength = 0,
                             .columns = dcpmmColumns,
                             .unit = UNIT_KB,
                             .settings = {}});
      return NEVRA_OK;
   }
   const NevraStatus status = NameOutputFile(output);
   if (status != NEVRA_OK) {
      return status;
   }
   std::printf("Data output is being written to: %s\n", output->name);
   output->file = CreateOutputFile(output->name);
   if (output->file == nullptr) {
      std::printf("\n Cannot Create report output file");
      return NEVRA_FAILURE;
   }
   std::fprintf(output->file, "\nTime Interval: %d\n", options.seconds);
   std::fputs(DCPMM_RULE "\n\nSOCKET \t IMC \t CHANNEL \t \t EVENT \t \t \t\tCOUNTS \t", output->file);
   return NEVRA_OK;
}

// Closes the file. After a failure it keeps what was counted up to there: hours of counting may be in it.
NevraStatus CloseOutput(OutputFile *output, NevraStatus status)
{
   if (output->file == nullptr) {
      return status;
   }
   const bool failed = std::ferror(output->file) != 0;
   if ((std::fclose(output->file) != 0 || failed) && status == NEVRA_OK) {
      std::printf("\n Cannot Write report output file");
      status = NEVRA_WRITE_ERROR;
   }
   return status;
}

// Does a step on all eight units of a socket; the first failure ends it.
template <typename Step> NevraStatus ForEachUnit(Step step)
{
   for (const DcpmmUnit &unit : kDcpmmUnits) {
      const NevraStatus status = step(unit);
      if (status != NEVRA_OK) {
         return status;
      }
   }
   return NEVRA_OK;
}

// All of a socket's units are frozen before the first of them is programmed.
NevraStatus ProgramSockets(const std::vector<DcpmmSocket> &sockets)
{
   for (const DcpmmSocket &socket : sockets) {
      NevraStatus status = ForEachUnit([&](const DcpmmUnit &unit) { return DcpmmFreezeUnit(socket, unit); });
      if (status == NEVRA_OK) {
         status = ForEachUnit([&](const DcpmmUnit &unit) { return DcpmmProgramAllUnits(socket, unit); });
      }
      if (status != NEVRA_OK) {
         return status;
      }
   }
   return NEVRA_OK;
}

NevraStatus ResetSockets(const std::vector<DcpmmSocket> &sockets)
{
   for (const DcpmmSocket &socket : sockets) {
      const NevraStatus status =
         ForEachUnit([&](const DcpmmUnit &unit) { return DcpmmResetUnit(socket, unit); });
      if (status != NEVRA_OK) {
         return status;
      }
   }
   return NEVRA_OK;
}

NevraStatus ReadSockets(const DcpmmOutput &output)
{
   for (const DcpmmSocket &socket : *output.sockets) {
      const NevraStatus status =
         ForEachUnit([&](const DcpmmUnit &unit) { return DcpmmReadAllCounters(socket, unit, output); });
      if (status != NEVRA_OK) {
         return status;
      }
   }
   return NEVRA_OK;
}

NevraStatus RunIteration(const DcpmmOutput &output, int seconds)
{
   const NevraStatus status = ResetSockets(*output.sockets);
   if (status != NEVRA_OK) {
      return status;
   }
   std::fflush(stdout); // what was said so far is on screen while the counters count
   sleep(static_cast<unsigned>(seconds));
   return ReadSockets(output);
}

// The line and the rule part the iterations, on standard output and in the file.
void CompleteIteration(int iteration, const DcpmmOutput &output)
{
   char line[sizeof "\nITERATION -2147483648 COMPLETED"];
   std::snprintf(line, sizeof line, "\nITERATION %d COMPLETED", iteration);
   for (const char *text : {static_cast<const char *>(line), DCPMM_RULE}) {
      output.rows->Note(text);
      if (output.file != nullptr) {
         std::fprintf(output.file, "%s\n", text);
      }
   }
}

NevraStatus Profile(const ProfilerOptions &options, const DcpmmOutput &output)
{
   NevraStatus status = ProgramSockets(*output.sockets);
   for (int done = 0; done < options.iterations && status == NEVRA_OK; done++) {
      status = RunIteration(output, options.seconds);
      if (status == NEVRA_OK) {
         CompleteIteration(done + 1, output);
      }
   }
   return status;
}

} // namespace

constinit const ReportDescription dcpmmStatsDescription = {
   .columns = dcpmmColumns,
   .shortOptions = kShortOptions,
   .longOptions = kLongOptions,
   .usage = USAGE_REPORT_OPTIONS "      -t, --time                Time to Sleep in Seconds.\n"
                                 "      -i, --iterations          Number of Iterations to run.\n"};

// Counts for a time, once or repeatedly, and writes the counts to a file named after the date and time, or
// with -q to the table output. The status of the step that ended it; the file then holds what was counted
// before.
NevraStatus DcpmmStatsReport(const ReportArguments &arguments)
{
   NevraStatus status = CheckCpu();
   if (status != NEVRA_OK) {
      return status;
   }
   ProfilerOptions options;
   status = ParseProfilerOptions(arguments, &options);
   if (status != NEVRA_OK) {
      return status;
   }
   status = CheckDimms();
   if (status != NEVRA_OK) {
      return status;
   }
   std::vector<DcpmmSocket> sockets;
   status = FindSockets(&sockets);
   if (status != NEVRA_OK) {
      return status;
   }
   OutputFile output = {};
   status = OpenOutput(arguments.name, options, &output);
   if (status != NEVRA_OK) {
      return status;
   }
   status = CloseOutput(&output, Profile(options, {&sockets, output.file, options.output}));
   if (status == NEVRA_OK) {
      if (options.verbose) {
         DescribeColumns(*options.output, dcpmmColumns);
      }
      options.output->End();
   }
   return status;
}
