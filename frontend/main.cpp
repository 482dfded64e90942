// The command line of hostmem: the options of the tool as a whole, then one report.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include <fcntl.h>
#include <getopt.h>
#include <unistd.h>

#include "frontend/report_table.h"
#include "frontend/tool_options.h"
#include "frontend/usage.h"
#include "nevra/nevra.h"

namespace {

struct CommandLine {
   bool force = false;
   const char *cachePath = nullptr;
   const ReportEntry *report = nullptr; // none chosen
};

constexpr int kSuccess = 0;
constexpr int kFailure = 1;
constexpr int kGoOn = -1;

// Parses up to -r and its report type. Returns kGoOn, or the exit status of a run that ends here.
int ParseCommandLine(int argc, char **argv, CommandLine *commandLine)
{
   opterr = 0;
   int letter;
   while ((letter = getopt_long(argc, argv, kToolShortOptions, kToolLongOptions, nullptr)) != -1) {
      switch (letter) {
      case 'f':
         commandLine->force = true;
         break;
      case 'c':
         commandLine->cachePath = optarg;
         break;
      case 'h':
         PrintUsage(argv[0]);
         return kSuccess;
      case '?':
         Warning("Unexpected or out-of-sequence argument detected\n");
         PrintUsage(argv[0]);
         return kFailure;
      case 'r':
         commandLine->report = FindReport(optarg);
         if (commandLine->report == nullptr) {
            Warning("Invalid report %s\n", optarg);
            PrintUsage(argv[0]);
            return kFailure;
         }
         if (commandLine->cachePath != nullptr && commandLine->report->source == ReportSource::LiveOnly) {
            Warning("DCPMM report does not work on cache file\n");
            return kFailure;
         }
         return kGoOn;
      default:
         break;
      }
   }
   return kGoOn;
}

bool OpenCache(const char *path)
{
   const NevraStatus status = Nevra_UseCache(path, 0);
   if (status != NEVRA_OK) {
      Warning("Couldn't open cache file %s, error code: %u\n", path, status);
   }
   return status == NEVRA_OK;
}

// Whether the node definitions match the kernel's, or the run is forced.
bool CheckDefinitions(bool force)
{
   char kernelBuild[21] = "";
   const char *appBuild = "";
   const NevraStatus status = Nevra_CheckSig(kernelBuild, sizeof kernelBuild, &appBuild);
   if (status == NEVRA_OK) {
      return true;
   }
   kernelBuild[sizeof kernelBuild - 1] = '\0';
   Warning("%#x: md5 signature mismatch with running tarvos built on %s. (vs %s for app sysinfo)\n", status,
           kernelBuild, appBuild);
   if (!force) {
      Warning("Version check failed\n");
   }
   return force;
}

// If a standard stream is closed, the next open() would take its descriptor, and the stream's output would go
// to that file. /dev/null takes it instead, opened for reading, so that output still fails.
void HoldStandardStreams()
{
   for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; stream++) {
      if (fcntl(stream, F_GETFD) < 0) {
         open("/dev/null", O_RDONLY); // the lowest that is free
      }
   }
}

// A terminal gets each line as it comes; a file or a pipe gets a large report in large pieces.
void BufferStandardOutput()
{
   if (!isatty(STDOUT_FILENO)) {
      static char buffer[1 << 16];
      std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
   }
}

int Run(int argc, char **argv)
{
   CommandLine commandLine;
   const int exitStatus = ParseCommandLine(argc, argv, &commandLine);
   if (exitStatus != kGoOn) {
      return exitStatus;
   }
   if (commandLine.cachePath != nullptr && !OpenCache(commandLine.cachePath)) {
      return kFailure;
   }
   if (!CheckDefinitions(commandLine.force)) {
      return kFailure;
   }
   if (commandLine.report == nullptr) {
      PrintUsage(argv[0]);
      return kSuccess;
   }
   const ReportEntry &report = *commandLine.report;
   return report.run({report.name, argc, argv}) == NEVRA_OK ? kSuccess : kFailure;
}

// Whether all output has arrived: a report that is cut short by a full disk must not look like a whole one.
// The reports themselves do not look; what they ask of the platform does not depend on who reads along.
bool OutputArrived()
{
   const bool failedBefore = std::ferror(stdout) != 0;
   errno = 0;
   if (std::fflush(stdout) == 0 && !failedBefore) {
      return true;
   }
   Warning("Couldn't write the output: %s\n", std::strerror(errno != 0 ? errno : EIO));
   return false;
}

// operator new's exception is not caught anywhere. What was printed up to here is written.
void EndWithoutMemory()
{
   Warning("Out of memory\n");
   std::exit(kFailure);
}

} // namespace

int main(int argc, char **argv)
{
   std::set_new_handler(EndWithoutMemory);
   HoldStandardStreams();
   BufferStandardOutput();
   const int exitStatus = Run(argc, argv);
   return OutputArrived() ? exitStatus : kFailure;
}
