// Runs the whole tool with any arguments, on a host that answers anything.
//
// The input is one argument per line; after the line "---" come the answers of the host.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <getopt.h>
#include <unistd.h>

#include "frontend/report_table.h"
#include "fuzz/captured_output.h"
#include "fuzz/fuzz_check.h"
#include "fuzz/made_up_host.h"
#include "fuzz/memory_folder.h"
#include "nevra/snapshot/snapshot_writer.h"
#include "report/table_output.h"
#include "snapshot-tool/json_import.h"

// The tool's main function, compiled under this name.
int HostmemMain(int argc, char **argv);

// Nobody waits here for counters to count.
extern "C" unsigned sleep(unsigned)
{
   return 0;
}

namespace {

constexpr size_t kMostArguments = 40;

struct Input {
   std::vector<std::string> arguments = {"hostmem"};
   std::string_view answers;
};

struct RunResult {
   int exitStatus;
   std::string output;
   bool hasWildTexts;
};

// ---- a run begins where the first began

int folderOfFuzzer = -1;
int folderOfRuns = -1;

std::vector<std::vector<ReportColumn>> columnsOfReports;

void RememberColumns()
{
   for (const ReportEntry &report : Reports()) {
      const ReportColumn *column = report.description->columns;
      std::vector<ReportColumn> columns;
      for (; column->name != nullptr; column++) {
         columns.push_back(*column);
      }
      columnsOfReports.push_back(std::move(columns));
   }
}

// The tables are a report's own, and a selection changes them for the rest of the process.
void RestoreColumns()
{
   for (size_t i = 0; i < Reports().size(); i++) {
      std::ranges::copy(columnsOfReports[i], const_cast<ReportColumn *>(Reports()[i].description->columns));
   }
}

// Counters are written to a file that is named after the time.
void RemoveFileOfCounters(const std::string &output)
{
   constexpr std::string_view kSaid = "Data output is being written to: ";
   const size_t at = output.find(kSaid);
   if (at != std::string::npos) {
      const size_t name = at + kSaid.size();
      unlink(output.substr(name, output.find('\n', name) - name).c_str());
   }
}

RunResult Run(Input input, size_t outputCapacity)
{
   std::vector<char *> argv;
   for (std::string &argument : input.arguments) {
      argv.push_back(argument.data());
   }
   argv.push_back(nullptr);
   optind = 0; // the scan begins anew
   Require(fchdir(folderOfRuns) == 0, "no folder");
   BeginRun(input.answers);
   RunResult result;
   {
      CapturedOutput output(outputCapacity);
      result.exitStatus = HostmemMain(static_cast<int>(argv.size()) - 1, argv.data());
      result.output = output.Text();
      kAlignedTable.End(); // a report that failed midway leaves its table open
   }
   result.hasWildTexts = HasWildAnswers();
   EndRun();
   RestoreColumns();
   RemoveFileOfCounters(result.output);
   Require(fchdir(folderOfFuzzer) == 0, "no folder");
   return result;
}

// ---- what must hold

bool IsShown(char c)
{
   const unsigned char byte = static_cast<unsigned char>(c);
   return (byte >= 0x20 && byte != 0x7f) || c == '\n' || c == '\t';
}

void CheckRun(const RunResult &run)
{
   Require(run.exitStatus == 0 || run.exitStatus == 1, "an exit status that there is none of");
   Require(run.hasWildTexts || std::ranges::all_of(run.output, IsShown),
           "a control character:\n" + run.output);
   // Some failures are told on standard error alone, and are no failure of the run.
   Require(run.exitStatus != 0 || run.output.empty() || run.output.ends_with('\n'),
           "a success that ends within a line:\n" + run.output);
}

// The same again, but for the last byte, which finds the disk full.
void CheckOnFullDisk(const Input &input, const RunResult &run, time_t begun)
{
   if (run.output.empty()) {
      return;
   }
   const RunResult again = Run(input, run.output.size() - 1);
   if (std::time(nullptr) == begun) { // which the banners show
      Require(again.output == run.output.substr(0, run.output.size() - 1),
              "another output for the same:\n" + run.output + "\n" + again.output);
      Require(again.exitStatus == 1, "a success on a full disk");
   }
}

// ---- input

// False for a path that leads out of the folder.
bool ParseInput(std::string_view text, Input *input)
{
   while (!text.empty() && input->arguments.size() < kMostArguments) {
      const size_t length = std::min(text.find('\n'), text.size());
      const std::string_view line = text.substr(0, length);
      text.remove_prefix(std::min(length + 1, text.size()));
      if (line == "---") {
         input->answers = text;
         break;
      }
      if (line.find('/') != std::string_view::npos) {
         return false;
      }
      input->arguments.emplace_back(line);
   }
   return true;
}

std::vector<uint8_t> ImportSample()
{
   FILE *file = std::fopen(SAMPLE_HOST, "r");
   Require(file != nullptr, "no sample: " SAMPLE_HOST);
   nevra::SnapshotTree tree;
   nevra::SnapshotImage image;
   std::string problem;
   Progress progress("importing", stderr, false, std::chrono::steady_clock::now);
   Require(ImportSnapshot(file, 0, &progress, &tree, &problem) && MakeSnapshotImage(&tree, &image, &problem),
           problem);
   std::fclose(file);
   return BytesOfImage(image);
}

void WriteFile(const std::string &path, const std::vector<uint8_t> &bytes)
{
   std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// A folder with a snapshot, and one that is damaged.
void MakeFolder(std::vector<uint8_t> snapshot)
{
   static const MemoryFolder folder("command-line");
   WriteFile(folder.Path() + "/host.snapshot", snapshot);
   snapshot[snapshot.size() / 2] ^= 1;
   WriteFile(folder.Path() + "/damaged.snapshot", snapshot);
   folderOfFuzzer = open(".", O_RDONLY | O_DIRECTORY);
   folderOfRuns = open(folder.Path().c_str(), O_RDONLY | O_DIRECTORY);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
   const std::vector<uint8_t> snapshot = ImportSample();
   SetSampleHost(snapshot);
   MakeFolder(snapshot);
   RememberColumns();
   return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
   Input input;
   if (ParseInput({reinterpret_cast<const char *>(data), size}, &input)) {
      const time_t begun = std::time(nullptr);
      const RunResult run = Run(input, size_t{1} << 30);
      CheckRun(run);
      CheckOnFullDisk(input, run, begun);
   }
   return 0;
}
