// The command line of hostmem-export.
#include <algorithm>
#include <new>

#include <CLI/CLI.hpp>

#include "export-tool/export_command.h"
#include "export-tool/schema_command.h"
#include "export/metric_options.h"
#include "nevra/nevra.h"
#include "recorder/message.h"
#include "recorder/reading_command_line.h"

namespace {

using recorder::kExitDone;
using recorder::kExitFailed;
using recorder::kExitTrouble;

constexpr char kFooter[] = "Exit status: 0 when done, 1 when it failed, 2 for a wrong command line.";
constexpr char kReportFooter[] =
   "Each -r REPORT takes what follows it as the report's own options: -s COLUMNS, -u UNIT, ...";

constexpr char kMetricFooter[] = "-r REPORT takes no options here. Without -r all reports are exported.";

int RefuseCommandLine(const std::string &problem)
{
   Warning("hostmem-export: %s\n", problem.c_str());
   Warning("Run with --help for more information.\n");
   return kExitTrouble;
}

// A format with the options that all have. Which one is chosen is the caller's to note.
CLI::App *AddFormat(CLI::App *app, const char *name, const char *help, ExportRequest *request)
{
   CLI::App *subcommand = app->add_subcommand(name, help);
   // Taken off the command line before; here for the help.
   subcommand->add_option("-r,--report", "Report to export; may be repeated")->type_name("REPORT");
   CLI::Option *snapshots =
      subcommand->add_option("-c,--cache", request->snapshots, "Snapshots to read instead of this host");
   CLI::Option *folder =
      subcommand->add_option("--dir", request->folder, "Recording to read instead of this host")
         ->excludes(snapshots);
   subcommand->add_option("--from", request->from, "With --dir: TIME of the first frame")->needs(folder);
   subcommand->add_option("--to", request->to, "With --dir: TIME of the last frame")->needs(folder);
   subcommand->add_option("-o,--output", request->output, "File to write instead of standard output");
   subcommand->add_flag_callback(
      "-f,--force", [request] { request->ifExists = nevra::IfExists::Replace; },
      "Replace a file that is there already");
   return subcommand;
}

CLI::App *AddRowFormat(CLI::App *app, const char *name, const char *help, RowFormat format,
                       ExportRequest *request)
{
   CLI::App *subcommand = AddFormat(app, name, help, request);
   subcommand->footer(kReportFooter);
   subcommand->callback([request, format] { request->format = format; });
   return subcommand;
}

CLI::App *AddSchema(CLI::App *app, SchemaRequest *request)
{
   CLI::App *subcommand = app->add_subcommand("schema", "The tables that take the rows in an SQL engine");
   subcommand->add_option("--engine", request->engine, "Engine: clickhouse")->required();
   subcommand->add_option("--cluster", request->cluster, "Cluster to spread the tables over, by host");
   return subcommand;
}

CLI::App *AddOpenMetrics(CLI::App *app, ExportRequest *request, MetricRequest *metrics)
{
   CLI::App *subcommand =
      AddFormat(app, "openmetrics", "Metrics, for Prometheus and what reads its format", request);
   AddMetricOptions(subcommand, &metrics->choices);
   subcommand->add_flag_callback(
      "--text", [metrics] { metrics->format = MetricFormat::Text004; },
      "Text format 0.0.4, which the textfile collector of node_exporter reads");
   subcommand->footer(kMetricFooter);
   return subcommand;
}

int Run(int argc, char **argv)
{
   CLI::App app("Exports the rows of the reports as data for machines.", "hostmem-export");
   app.require_subcommand(1);
   app.set_version_flag("--version", "hostmem-export " HOSTMEM_VERSION);
   app.footer(kFooter);
   ExportRequest request;
   AddRowFormat(&app, "json", "One JSON array, an object for each report and moment", RowFormat::Json,
                &request);
   AddRowFormat(&app, "jsonl", "A JSON object for each row", RowFormat::JsonLines, &request)
      ->add_flag("--rows-only", request.rowsOnly, "Leave out headers and notes");
   AddRowFormat(&app, "csv", "CSV of one report, with quotes where needed", RowFormat::Csv, &request);
   MetricRequest metrics;
   const CLI::App *openMetrics = AddOpenMetrics(&app, &request, &metrics);
   SchemaRequest schema;
   const CLI::App *schemaCommand = AddSchema(&app, &schema);
   if (argc > 1 && argv[1][0] != '-' && !recorder::HasSubcommand(app, argv[1])) {
      return RefuseCommandLine(std::string("unknown subcommand ") + argv[1]);
   }
   std::vector<std::string> words(argv + 1, argv + argc);
   if (!SplitReports(&words, &request.reports)) {
      return RefuseCommandLine("-r lacks the name of a report");
   }
   try {
      std::ranges::reverse(words); // as the library wants them
      app.parse(words);
   } catch (const CLI::ParseError &error) {
      if (error.get_exit_code() == kExitDone) { // help, version
         app.exit(error);
         return recorder::FinishOutput() ? kExitDone : kExitFailed;
      }
      return RefuseCommandLine(error.what());
   }
   if (schemaCommand->parsed()) {
      return request.reports.empty() ? SchemaCommand(schema) : RefuseCommandLine("schema takes no report");
   }
   return openMetrics->parsed() ? ExportMetricsCommand(request, metrics) : ExportCommand(request);
}

} // namespace

int main(int argc, char **argv)
{
   try {
      return Run(argc, argv);
   } catch (const std::bad_alloc &) {
      Warning("hostmem-export: out of memory\n");
   } catch (const std::exception &error) {
      Warning("hostmem-export: %s\n", error.what());
   }
   return kExitFailed;
}
