// The command line of hostmem-record.
#include <functional>
#include <new>

#include <CLI/CLI.hpp>

#include "nevra/nevra.h"
#include "recorder/commands.h"
#include "recorder/limit_text.h"
#include "recorder/reading_command_line.h"

namespace {

using namespace recorder;

constexpr char kExitStatuses[] = "Exit status: 0 when done, 1 when it failed, 2 for a wrong command line.";

struct RunTexts {
   std::string every = "60s";
   std::string keep = "14d";
   std::string maxBytes = "1G";
   std::string minFree = "5%";
};

int RefuseCommandLine(const std::string &problem)
{
   Warning("hostmem-record: %s\n", problem.c_str());
   Warning("Run with --help for more information.\n");
   return kExitTrouble;
}

CLI::App *AddRun(CLI::App *app, RunOptions *options, RunTexts *texts)
{
   CLI::App *run = app->add_subcommand("run", "Record this host until SIGTERM");
   run->add_option("--dir", options->folder, "Folder of the recording")->capture_default_str();
   run->add_option("--every", texts->every, "Interval between snapshots (s, m, h)")->capture_default_str();
   run->add_option("--keep", texts->keep, "Age from which on segments are removed (s, m, h, d)")
      ->capture_default_str();
   run->add_option("--max-bytes", texts->maxBytes, "Size that the recording never exceeds (K, M, G, T)")
      ->capture_default_str();
   run->add_option("--min-free", texts->minFree, "Space to leave free on the disk (%, K, M, G, T)")
      ->capture_default_str();
   run->add_option("--root", options->root, "Folder that stands for / (a recorded tree)");
   return run;
}

// Empty, or what is wrong.
std::string ParseRunTexts(const RunTexts &texts, RunOptions *options)
{
   if (!ParseDuration(texts.every, &options->interval) ||
       options->interval > int64_t{86400} * 1'000'000'000) {
      return "--every: no duration from 1s to 1d: " + texts.every;
   }
   if (!ParseDuration(texts.keep, &options->limits.keep)) {
      return "--keep: no duration: " + texts.keep;
   }
   if (!ParseSize(texts.maxBytes, &options->limits.maxBytes)) {
      return "--max-bytes: no size: " + texts.maxBytes;
   }
   options->limits.minFreeShare = 0;
   if (!ParseShare(texts.minFree, &options->limits.minFreeShare) &&
       !ParseSize(texts.minFree, &options->limits.minFreeBytes)) {
      return "--min-free: no size or percentage: " + texts.minFree;
   }
   return "";
}

int Run(int argc, char **argv)
{
   CLI::App app("Records the memory of a host over time, and looks back at it.", "hostmem-record");
   app.require_subcommand(1);
   app.set_version_flag("--version", "hostmem-record " HOSTMEM_VERSION);
   app.footer(kExitStatuses);
   RunOptions runOptions;
   RunTexts runTexts;
   CLI::App *run = AddRun(&app, &runOptions, &runTexts);
   std::function<int()> reading; // what the chosen subcommand does, unless it is run
   AddReadingCommands(&app, kDefaultFolder, &reading);

   if (argc > 1 && argv[1][0] != '-' && !HasSubcommand(app, argv[1])) {
      return RefuseCommandLine(std::string("unknown subcommand ") + argv[1]);
   }
   try {
      app.parse(argc, argv);
   } catch (const CLI::ParseError &error) {
      if (error.get_exit_code() == kExitDone) { // help, version
         app.exit(error);
         return std::fflush(stdout) == 0 ? kExitDone : kExitFailed;
      }
      return RefuseCommandLine(error.what());
   }
   if (*run) {
      const std::string problem = ParseRunTexts(runTexts, &runOptions);
      return problem.empty() ? RunCommand(runOptions) : RefuseCommandLine(problem);
   }
   return reading();
}

} // namespace

int main(int argc, char **argv)
{
   try {
      return Run(argc, argv);
   } catch (const std::bad_alloc &) {
      Complain("out of memory");
   } catch (const std::exception &error) {
      Complain(error.what());
   }
   return kExitFailed;
}
