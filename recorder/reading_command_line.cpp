#include "recorder/reading_command_line.h"

#include <memory>

#include <CLI/CLI.hpp>

#include "recorder/reading_commands.h"
#include "recorder/time_text.h"

namespace recorder {

namespace {

// What the subcommands are called with. Lives as long as an action or the parser may use it.
struct Arguments {
   std::string folder;
   std::string time;
   std::string output;
   nevra::IfExists ifExists = nevra::IfExists::Keep;
   bool allFrames = false;
   std::string format = "csv";
   SeriesRequest series;
   GrowRequest grow;
};
using ArgumentsPtr = std::shared_ptr<Arguments>;

class Commands {
 public:
   Commands(CLI::App *program, const std::string &folder, std::function<int()> *chosen)
       : app(program), arguments(std::make_shared<Arguments>()), action(chosen)
   {
      arguments->folder = folder;
   }

   // A subcommand with --dir. Whoever is called last before an action keeps the arguments alive.
   CLI::App *Add(const char *name, const char *help, int (*run)(const Arguments &, const CLI::App &))
   {
      CLI::App *subcommand = app->add_subcommand(name, help);
      subcommand->add_option("--dir", arguments->folder, "Folder of the recording, or a single segment")
         ->capture_default_str();
      subcommand->callback([given = arguments, subcommand, chosen = action, run] {
         *chosen = [given, subcommand, run] { return run(*given, *subcommand); };
      });
      return subcommand;
   }

   Arguments *Given() { return arguments.get(); }

 private:
   CLI::App *app;
   ArgumentsPtr arguments;
   std::function<int()> *action;
};

const std::string kTimeFooter =
   std::string("TIME is ") + kTimeForms + ".\nThe last frame at or before it is taken.";

void AddInspection(Commands *commands)
{
   CLI::App *list = commands->Add(
      "list", "Show segments, gaps and frames of note",
      [](const Arguments &given, const CLI::App &) { return ListCommand(given.folder, given.allFrames); });
   list->add_flag("-a,--all", commands->Given()->allFrames, "Show every frame");
   commands->Add("info", "Show what is recorded, in sum",
                 [](const Arguments &given, const CLI::App &) { return InfoCommand(given.folder); });
   commands->Add("verify", "Read and check every frame",
                 [](const Arguments &given, const CLI::App &) { return VerifyCommand(given.folder); });
}

void AddMoments(Commands *commands)
{
   Arguments *given = commands->Given();
   CLI::App *report = commands->Add("report", "Print a report of a moment, as hostmem does",
                                    [](const Arguments &of, const CLI::App &subcommand) {
                                       return ReportCommand(of.folder, of.time, subcommand.remaining());
                                    });
   report->add_option("TIME", given->time)->required();
   report->prefix_command();
   report->footer("What follows TIME is for hostmem: -r REPORT and the options of the report.\n" +
                  kTimeFooter);

   CLI::App *at = commands->Add("at", "Write the snapshot of a moment to a file",
                                [](const Arguments &of, const CLI::App &) {
                                   return AtCommand(of.folder, of.time, of.output, of.ifExists);
                                });
   at->add_option("TIME", given->time)->required();
   at->add_option("-o,--output", given->output, "File to write")->required();
   at->add_flag_callback(
      "-f,--force", [given] { given->ifExists = nevra::IfExists::Replace; },
      "Replace a file that is there already");
   at->footer(kTimeFooter);
}

void AddSeries(Commands *commands)
{
   Arguments *given = commands->Given();
   CLI::App *series = commands->Add("series", "Write the rows of a report over time",
                                    [](const Arguments &of, const CLI::App &subcommand) {
                                       SeriesRequest request = of.series;
                                       request.options = subcommand.remaining();
                                       request.jsonLines = of.format == "jsonl";
                                       return SeriesCommand(of.folder, request);
                                    });
   series->add_option("-r,--report", given->series.report, "Report to take the rows of")->required();
   series->add_option("--from", given->series.from, "TIME of the first frame (default: the first of all)");
   series->add_option("--to", given->series.to, "TIME of the last frame (default: the last of all)");
   series
      ->add_option("--match", given->series.matches,
                   "COLUMN=PATTERN: only rows that match, as names of files do; may be repeated")
      ->allow_extra_args(false);
   series->add_flag("--rate", given->series.rates, "Show counters as changes per second");
   series->add_option("--format", given->format, "csv or jsonl")
      ->check(CLI::IsMember({"csv", "jsonl"}))
      ->capture_default_str();
   series->allow_extras();
   series->footer("Other options are the report's own: -s COLUMNS, -u UNIT, ...\nTIME is " +
                  std::string(kTimeForms) + ".");
}

void AddGrow(Commands *commands)
{
   GrowRequest *grow = &commands->Given()->grow;
   CLI::App *subcommand =
      commands->Add("grow", "Show who uses more memory than before",
                    [](const Arguments &of, const CLI::App &) { return GrowCommand(of.folder, of.grow); });
   subcommand->add_option("--from", grow->from, "TIME before")->required();
   subcommand->add_option("--to", grow->to, "TIME after")->capture_default_str();
   subcommand->add_option("--by", grow->by, "vm, group, process or heap")
      ->check(CLI::IsMember({"vm", "group", "process", "heap"}))
      ->capture_default_str();
   subcommand->add_option("--top", grow->top, "Number of names to show")->capture_default_str();
   subcommand->add_option("-u,--unit", grow->unit, "kb, mb or gb")
      ->check(CLI::IsMember({"kb", "mb", "gb"}))
      ->capture_default_str();
   subcommand->footer(kTimeFooter);
}

} // namespace

bool HasSubcommand(const CLI::App &app, const std::string &name)
{
   return !app.get_subcommands([&](const CLI::App *subcommand) { return subcommand->check_name(name); })
              .empty();
}

void AddReadingCommands(CLI::App *app, const std::string &folder, std::function<int()> *action)
{
   Commands commands(app, folder, action);
   AddInspection(&commands);
   AddMoments(&commands);
   AddSeries(&commands);
   AddGrow(&commands);
}

} // namespace recorder
