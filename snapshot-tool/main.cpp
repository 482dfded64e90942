// The command line of hostmem-snapshot.
#include <new>

#include <CLI/CLI.hpp>

#include "nevra/nevra.h"
#include "snapshot-tool/commands.h"
#include "snapshot-tool/growth_command.h"
#include "snapshot-tool/message.h"

namespace {

constexpr char kExitStatuses[] = "Exit status: 0 when done, 1 when it failed, 2 for a wrong command line.\n"
                                 "diff: 0 when the snapshots are the same, 1 when they differ, 2 on failure.";

struct Arguments {
   std::string file;
   std::string other;
   Output output;
   Anonymity anonymity;
   bool force = false;
   std::string root;
   GrowthRequest growth;
};

bool HasSubcommand(const CLI::App &app, const std::string &name)
{
   return !app.get_subcommands([&](const CLI::App *subcommand) { return subcommand->check_name(name); })
              .empty();
}

int RefuseCommandLine(const std::string &problem)
{
   Warning("hostmem-snapshot: %s\n", problem.c_str());
   Warning("Run with --help for more information.\n");
   return kExitTrouble;
}

std::string RefuseEmptyName(const std::string &path)
{
   return path.empty() ? "the name is empty" : "";
}

CLI::Option *AddOutputOption(CLI::App *subcommand, const char *help, Output *output)
{
   return subcommand->add_option("-o,--output", output->path, help)
      ->check(CLI::Validator(RefuseEmptyName, ""));
}

void AddAnonymityOptions(CLI::App *subcommand, Anonymity *anonymity)
{
   CLI::Option *anonymize =
      subcommand->add_flag("--anonymize", anonymity->isWanted, "Replace names by pseudonyms; figures stay");
   subcommand->add_option("--names", anonymity->names.path, "File to write the names to, by pseudonym")
      ->check(CLI::Validator(RefuseEmptyName, ""))
      ->needs(anonymize);
}

// NOLINTNEXTLINE(readability-function-size): one command line
int Run(int argc, char **argv, int *failed)
{
   CLI::App app("Makes and inspects snapshots, the cache files of hostmem -c.", "hostmem-snapshot");
   app.require_subcommand(1);
   app.set_version_flag("--version", "hostmem-snapshot " HOSTMEM_VERSION);
   app.footer(kExitStatuses);
   Arguments arguments;

   CLI::App *capture = app.add_subcommand("capture", "Take a snapshot of this host");
   AddOutputOption(capture, "File to write (default: HOST-TIME.snapshot in this folder)", &arguments.output);
   capture->add_option("--root", arguments.root, "Folder of a recorded tree, with its proc and sys");
   AddAnonymityOptions(capture, &arguments.anonymity);
   CLI::App *report = app.add_subcommand("report", "Print a report of a snapshot, as hostmem -c FILE does");
   report->add_option("FILE", arguments.file)->required();
   report->prefix_command();
   report->footer("What follows FILE is for hostmem: -r REPORT and the options of the report.");
   CLI::App *info = app.add_subcommand("info", "Show what a snapshot is of and what it holds");
   info->add_option("FILE", arguments.file)->required();
   CLI::App *verify = app.add_subcommand("verify", "Check all of a snapshot");
   verify->add_option("FILE", arguments.file)->required();
   CLI::App *exportJson = app.add_subcommand("export", "Write a snapshot to standard output as JSON");
   exportJson->add_option("FILE", arguments.file)->required();
   AddAnonymityOptions(exportJson, &arguments.anonymity);
   CLI::App *importJson = app.add_subcommand("import", "Make a snapshot of JSON");
   importJson->add_option("JSON", arguments.file, "File to read, - for standard input")->required();
   AddOutputOption(importJson, "File to write", &arguments.output)->required();
   CLI::App *diff = app.add_subcommand("diff", "Show where two snapshots differ");
   diff->add_option("A", arguments.file)->required();
   diff->add_option("B", arguments.other)->required();
   GrowthRequest *growth = &arguments.growth;
   CLI::Option *by = diff->add_option("--by", growth->by, "Who grew instead: vm, group, process or heap")
                        ->check(CLI::IsMember({"vm", "group", "process", "heap"}));
   diff->add_option("--top", growth->top, "With --by: number of names to show")
      ->needs(by)
      ->capture_default_str();
   diff->add_option("-u,--unit", growth->unit, "With --by: kb, mb or gb")
      ->needs(by)
      ->check(CLI::IsMember({"kb", "mb", "gb"}))
      ->capture_default_str();

   for (CLI::App *subcommand : {capture, exportJson, importJson}) {
      subcommand->add_flag("-f,--force", arguments.force, "Replace files that are there already");
   }

   if (argc > 1 && argv[1][0] != '-' && !HasSubcommand(app, argv[1])) {
      return RefuseCommandLine(std::string("unknown subcommand ") + argv[1]);
   }
   try {
      app.parse(argc, argv);
   } catch (const CLI::ParseError &error) {
      if (error.get_exit_code() == kExitDone) { // help, version
         app.exit(error);
         return FinishOutput() ? kExitDone : kExitTrouble;
      }
      return RefuseCommandLine(error.what());
   }
   if (arguments.force) {
      arguments.output.ifExists = nevra::IfExists::Replace;
      arguments.anonymity.names.ifExists = nevra::IfExists::Replace;
   }
   *failed = *diff ? kExitTrouble : kExitFailed;
   if (*capture) {
      return CaptureCommand(arguments.root, arguments.output, arguments.anonymity);
   }
   if (*report) {
      return ReportCommand(arguments.file, report->remaining());
   }
   if (*info) {
      return InfoCommand(arguments.file);
   }
   if (*verify) {
      return VerifyCommand(arguments.file);
   }
   if (*exportJson) {
      return ExportCommand(arguments.file, arguments.anonymity);
   }
   if (*importJson) {
      return ImportCommand(arguments.file, arguments.output);
   }
   if (*by) {
      return GrowthCommand(arguments.file, arguments.other, arguments.growth);
   }
   return DiffCommand(arguments.file, arguments.other);
}

} // namespace

int main(int argc, char **argv)
{
   int failed = kExitTrouble; // of the subcommand, once there is one
   try {
      return Run(argc, argv, &failed);
   } catch (const std::bad_alloc &) {
      Warning("hostmem-snapshot: out of memory\n");
   } catch (const std::exception &error) {
      Warning("hostmem-snapshot: %s\n", error.what());
   }
   return failed;
}
