// The command line of hostmem-overview.
#include <algorithm>
#include <cstdio>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <tuple>

#include <CLI/CLI.hpp>

#include "nevra/nevra.h"
#include "overview/check.h"
#include "overview/overview_command.h"
#include "overview/screen.h"
#include "recorder/message.h"
#include "recorder/time_text.h"

namespace {

using overview::Form;
using overview::OverviewRequest;
using recorder::kExitDone;
using recorder::kExitFailed;
using recorder::kExitTrouble;

const std::string kFooter =
   std::string("TIME is ") + recorder::kTimeForms +
   ".\nThe last frame at or before it is taken.\n"
   "Exit status: 0 when done, 1 when something could not be read, 2 for a wrong command "
   "line;\nwith --check 0 (fine), 1 (warning), 2 (critical) or 3 (unknown).";

const std::map<std::string, DisplayUnit> kUnits = {{"kb", UNIT_KB}, {"mb", UNIT_MB}, {"gb", UNIT_GB}};

void AddMoments(CLI::App *app, OverviewRequest *request)
{
   CLI::Option *snapshot =
      app->add_option("-c,--cache", request->moment.snapshot, "Snapshot to show instead of this host")
         ->type_name("FILE");
   CLI::Option *folder =
      app->add_option("--dir", request->moment.folder, "Recording to show a moment of instead of this host")
         ->type_name("FOLDER")
         ->excludes(snapshot);
   app->add_option("--at", request->moment.time, "With --dir: TIME to show (default: the last of all)")
      ->type_name("TIME")
      ->needs(folder);
   app->add_option("--against", request->against,
                   "Show changes since a moment before: a snapshot or, with --dir, a TIME")
      ->type_name("MOMENT");
}

void AddForms(CLI::App *app, OverviewRequest *request)
{
   CLI::Option *findings = app->add_flag_callback(
      "--findings", [request] { request->form = Form::Findings; },
      "List all findings, and the command that shows more of each");
   app->add_flag_callback(
         "--check", [request] { request->form = Form::Check; },
         "Write one line and exit with 0, 1, 2 or 3, as plugins of monitoring systems do")
      ->excludes(findings);
   app->add_option_function<std::string>(
         "-u,--unit", [request](const std::string &unit) { request->unit = kUnits.at(unit); },
         "kb, mb or gb (default: that which suits each amount)")
      ->type_name("UNIT")
      ->check(CLI::IsMember({"kb", "mb", "gb"}));
   app->add_option("--width", request->columns, "Columns to use (default: the terminal's, else 80)")
      ->type_name("COLUMNS")
      ->check(CLI::Range(overview::kFewestColumns, size_t{1000}));
   app->add_option("--height", request->lines, "Lines to use (default: the terminal's, else 24)")
      ->type_name("LINES")
      ->check(CLI::Range(overview::kFewestLines, size_t{10000}));
}

void AddPage(CLI::App *app, OverviewRequest *request)
{
   CLI::Option *html =
      app->add_option("--html", request->html, "File for the overview as a page for a browser")
         ->type_name("FILE")
         ->excludes("--findings")
         ->excludes("--check");
   CLI::Option *folder = app->get_option("--dir");
   for (const auto &[name, time, help] :
        {std::tuple("--from", &request->from, "With --html and --dir: TIME of the first frame of a timeline"),
         std::tuple("--to", &request->to, "With --html and --dir: TIME of the last frame of a timeline")}) {
      app->add_option(name, *time, help)
         ->type_name("TIME")
         ->needs(html)
         ->needs(folder)
         ->excludes("--at")
         ->excludes("--against");
   }
   app->add_flag_callback(
         "-f,--force", [request] { request->ifHtmlExists = nevra::IfExists::Replace; },
         "With --html: replace a file that is there already")
      ->needs(html);
}

// Monitoring systems know one status for all that keeps a plugin from its work.
bool IsCheck(int argc, char **argv)
{
   return std::any_of(argv, argv + argc, [](std::string_view word) { return word == "--check"; });
}

int Run(int argc, char **argv)
{
   CLI::App app("Shows where the memory of a host went, who grew and who is short.", "hostmem-overview");
   app.set_version_flag("--version", "hostmem-overview " HOSTMEM_VERSION);
   app.footer(kFooter);
   OverviewRequest request;
   AddMoments(&app, &request);
   AddForms(&app, &request);
   AddPage(&app, &request);
   try {
      app.parse(argc, argv);
   } catch (const CLI::ParseError &error) {
      if (error.get_exit_code() == kExitDone) { // help, version
         app.exit(error);
         return recorder::FinishOutput() ? kExitDone : kExitFailed;
      }
      Warning("hostmem-overview: %s\nRun with --help for more information.\n", error.what());
      return IsCheck(argc, argv) ? overview::kCheckUnknown : kExitTrouble;
   }
   return OverviewCommand(request);
}

} // namespace

int main(int argc, char **argv)
{
   try {
      return Run(argc, argv);
   } catch (const std::bad_alloc &) {
      Warning("hostmem-overview: out of memory\n");
   } catch (const std::exception &error) {
      Warning("hostmem-overview: %s\n", error.what());
   }
   return IsCheck(argc, argv) ? overview::kCheckUnknown : kExitFailed;
}
