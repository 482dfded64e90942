#include "packaging/completions/shell_tables.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <initializer_list>
#include <sstream>

#include "frontend/report_table.h"
#include "frontend/tool_options.h"
#include "manuals/option_help.h"
#include "packaging/completions/metric_reports.h"
#include "report/display_unit.h"

namespace {

// A word that is offered, with what it means.
struct Choice {
   std::string word;
   std::string text;
};

struct OptionChoice {
   ListedOption option;
   std::string text;
};

struct ReportChoices {
   std::string name;
   std::vector<OptionChoice> options;
   std::vector<Choice> columns; // those that -s can choose among
   std::vector<Choice> units;
   std::vector<Choice> flags; // of -i and -e
};

std::string LowerCase(std::string text)
{
   std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
   return text;
}

// ---- what there is to offer

const char *ToolOptionText(const ListedOption &option)
{
   switch (option.letter != 0 ? option.letter : option.longName[0]) {
   case 'f':
      return option.takesArgument ? "as --force, but takes a word that nothing reads"
                                  : "continue even if the version check fails";
   case 'c':
      return "read from a snapshot";
   case 'r':
      return "report to print";
   default:
      return "show the usage text";
   }
}

std::vector<OptionChoice> ToolOptions()
{
   const ReportDescription tool = {
      .columns = nullptr, .shortOptions = kToolShortOptions, .longOptions = kToolLongOptions};
   std::vector<OptionChoice> options;
   for (const ListedOption &option : ListOptions(tool)) {
      options.push_back({option, ToolOptionText(option)});
   }
   return options;
}

// Those that the parser takes.
std::vector<Choice> Units(bool takesBytes)
{
   std::vector<Choice> units;
   for (const char *name : {"b", "kb", "mb", "gb", "pg"}) {
      DisplayUnit unit;
      if ((takesBytes || std::strcmp(name, "b") != 0) &&
          ParseDisplayUnit(name, takesBytes, &unit) == NEVRA_OK) {
         units.push_back({name, DisplayUnitName(unit)});
      }
   }
   return units;
}

std::vector<Choice> Columns(const ReportDescription &report)
{
   std::vector<Choice> columns;
   for (const ReportColumn *column = report.columns; column->name != nullptr; column++) {
      if (column->shown != 0) {
         std::string text = column->description;
         text.erase(text.find_last_not_of(' ') + 1);
         columns.push_back({column->name, text});
      }
   }
   return columns;
}

ReportChoices ReportChoicesOf(const ReportEntry &entry)
{
   const ReportDescription &report = *entry.description;
   ReportChoices choices;
   choices.name = entry.name;
   for (const ListedOption &option : ListOptions(report)) {
      const OptionHelp *help = FindOptionHelp(entry.name, option.letter, option.longName);
      choices.options.push_back({option, help != nullptr ? help->brief : ""});
   }
   if (HasOption(report, 's')) {
      choices.columns = Columns(report);
   }
   if (HasOption(report, 'u')) {
      choices.units = Units(report.takesBytes);
   }
   if (HasOption(report, 'e')) {
      for (const FlagName *flag = report.flagNames; flag->name != nullptr; flag++) {
         choices.flags.push_back({flag->name, ""});
      }
   }
   return choices;
}

std::vector<ReportChoices> AllReports()
{
   std::vector<ReportChoices> reports;
   for (const ReportEntry &report : Reports()) {
      reports.push_back(ReportChoicesOf(report));
   }
   return reports;
}

CommandOption AsCommandOption(const OptionChoice &choice)
{
   const ListedOption &option = choice.option;
   return {option.letter != 0 ? std::string("-") + option.letter : "",
           option.longName != nullptr ? std::string("--") + option.longName : "", option.takesArgument,
           choice.text};
}

std::vector<CommandOption> AsCommandOptions(const std::vector<OptionChoice> &choices)
{
   std::vector<CommandOption> options;
   std::transform(choices.begin(), choices.end(), std::back_inserter(options), AsCommandOption);
   return options;
}

// What the argument of an option is.
enum class ArgumentKind { Text, Words, Columns, Unit, Flags, Report, File, Folder };

ArgumentKind KindOfArgument(const CommandOption &option)
{
   const std::string &form = option.shortForm.empty() ? option.longForm : option.shortForm;
   const auto isAnyOf = [&form](std::initializer_list<const char *> forms) {
      return std::ranges::find(forms, form) != forms.end();
   };
   if (!option.words.empty()) {
      return ArgumentKind::Words;
   }
   if (isAnyOf({"-c", "-o", "--names", "--against", "--html", "--web.config.file"}) ||
       (form == "--dir" && option.text.find("segment") != std::string::npos)) { // a file of the folder
      return ArgumentKind::File;
   }
   if (isAnyOf({"-i", "-e"})) {
      return option.longForm.ends_with("Filter") ? ArgumentKind::Flags : ArgumentKind::Text;
   }
   return form == "-s"                   ? ArgumentKind::Columns
          : form == "-u"                 ? ArgumentKind::Unit
          : form == "-r"                 ? ArgumentKind::Report
          : isAnyOf({"--root", "--dir"}) ? ArgumentKind::Folder
                                         : ArgumentKind::Text;
}

// The units that every program but hostmem takes.
constexpr char kUnits[] = "kb mb gb";

// The reports that a program but hostmem takes: those that can be read of a snapshot, or those with metrics.
std::string ReportsOf(const ProgramHelp &program, const std::string &subcommand)
{
   const bool ofMetrics = program.name == "hostmem-exporter" || subcommand == "openmetrics";
   std::string names;
   for (const ReportEntry &report : Reports()) {
      if (ofMetrics ? HasMetrics(report.name) : report.source == ReportSource::LiveOrCache) {
         names += (names.empty() ? "" : " ") + std::string(report.name);
      }
   }
   return names;
}

std::string Words(const std::vector<Choice> &choices)
{
   std::string words;
   for (const Choice &choice : choices) {
      words += (words.empty() ? "" : " ") + choice.word;
   }
   return words;
}

// ---- bash

// The forms of the options; those with an argument alone where that is asked for.
std::string OptionWords(const std::vector<CommandOption> &options, bool withArgument)
{
   std::string words;
   for (const CommandOption &option : options) {
      if (withArgument && !option.takesArgument) {
         continue;
      }
      for (const std::string &form : {option.shortForm, option.longForm}) {
         if (!form.empty()) {
            words += (words.empty() ? "" : " ") + form;
         }
      }
   }
   return words;
}

struct BashCase {
   std::string name;
   std::string words;
};

// A function that prints the words that go with its argument, in lower case.
std::string BashFunction(const std::string &name, const std::vector<BashCase> &cases)
{
   std::string text = name + "()\n{\n   case $1 in\n";
   for (const BashCase &row : cases) {
      if (!row.words.empty()) {
         text += "   " + LowerCase(row.name) + ") echo '" + row.words + "' ;;\n";
      }
   }
   return text + "   esac\n}\n";
}

std::string BashHostmemTables()
{
   std::vector<BashCase> options = {{"''", OptionWords(AsCommandOptions(ToolOptions()), false)}};
   std::vector<BashCase> withArgument;
   std::vector<BashCase> columns;
   std::vector<BashCase> units;
   std::vector<BashCase> flags;
   std::vector<Choice> names;
   for (const ReportChoices &report : AllReports()) {
      names.push_back({report.name, ""});
      options.push_back({report.name, OptionWords(AsCommandOptions(report.options), false)});
      withArgument.push_back({report.name, OptionWords(AsCommandOptions(report.options), true)});
      columns.push_back({report.name, Words(report.columns)});
      units.push_back({report.name, Words(report.units)});
      flags.push_back({report.name, Words(report.flags)});
   }
   return "_hostmem_reports='" + Words(names) + "'\n" + BashFunction("_hostmem_options", options) +
          BashFunction("_hostmem_argument_options", withArgument) +
          BashFunction("_hostmem_columns", columns) + BashFunction("_hostmem_units", units) +
          BashFunction("_hostmem_flags", flags);
}

// What bash is to offer as the argument of an option: words, or what of them the script knows.
std::string BashOffer(const CommandOption &option, const std::string &reports)
{
   switch (KindOfArgument(option)) {
   case ArgumentKind::Words:
      return option.words;
   case ArgumentKind::Unit:
      return kUnits;
   case ArgumentKind::Report:
      return reports;
   case ArgumentKind::File:
      return "file";
   case ArgumentKind::Folder:
      return "folder";
   default:
      return "text";
   }
}

void AddBashArguments(const std::string &subcommand, const std::vector<CommandOption> &options,
                      const std::string &reports, std::vector<BashCase> *arguments)
{
   for (const CommandOption &option : options) {
      std::string pattern;
      for (const std::string &form : {option.shortForm, option.longForm}) {
         if (!form.empty()) {
            pattern += (pattern.empty() ? "'" : " | '") + subcommand + " " + form + "'";
         }
      }
      if (option.takesArgument) {
         arguments->push_back({pattern, BashOffer(option, reports)});
      }
   }
}

std::string BashSubcommandTables(const ProgramHelp &program)
{
   std::vector<Choice> names;
   std::vector<BashCase> options = {{"''", OptionWords(program.options, false)}};
   std::vector<BashCase> arguments;
   AddBashArguments("", program.options, ReportsOf(program, ""), &arguments);
   for (const CommandHelp &subcommand : program.subcommands) {
      names.push_back({subcommand.name, ""});
      options.push_back({subcommand.name, OptionWords(subcommand.options, false)});
      AddBashArguments(subcommand.name, subcommand.options, ReportsOf(program, subcommand.name), &arguments);
   }
   return '_' + ProgramId(program.name) + "_subcommands='" + Words(names) + "'\n" +
          BashFunction('_' + ProgramId(program.name) + "_options", options) +
          BashFunction('_' + ProgramId(program.name) + "_argument", arguments);
}

// ---- zsh

std::string Escape(const std::string &text, const char *special)
{
   std::string escaped;
   for (const char c : text) {
      escaped += std::strchr(special, c) != nullptr ? std::string("\\") + c : std::string(1, c);
   }
   return escaped;
}

// In single quotes, for both zsh and fish.
std::string Quote(const std::string &text)
{
   std::string quoted = "'";
   for (const char c : text) {
      quoted += c == '\'' ? "'\\''" : std::string(1, c);
   }
   return quoted + "'";
}

std::string ZshArray(const std::string &name, const std::vector<Choice> &choices)
{
   std::string text = "      " + name + "=(\n";
   for (const Choice &choice : choices) {
      const std::string meaning = choice.text.empty() ? "" : "[" + Escape(choice.text, "\\[]:") + "]";
      text += "         " + Quote(choice.word + meaning) + "\n";
   }
   return text + "      )\n";
}

// Names the action that completes the argument of an option.
std::string ZshAction(const CommandOption &option)
{
   switch (KindOfArgument(option)) {
   case ArgumentKind::Words:
      return ":word:(" + option.words + ")";
   case ArgumentKind::Columns:
      return ":column:_values -s \\: column $columns";
   case ArgumentKind::Unit:
      return ":unit:_values unit $units";
   case ArgumentKind::Flags:
      return ":flag:_values -s \\: flag $flags";
   case ArgumentKind::Report:
      return ":report:($reports)";
   case ArgumentKind::File:
      return ":file:_files";
   case ArgumentKind::Folder:
      return ":folder:_files -/";
   default:
      return ":" + (option.longForm.empty() ? "argument" : option.longForm.substr(2)) + ":";
   }
}

std::string ZshOptions(const std::string &name, const std::vector<CommandOption> &options)
{
   std::string text = "      " + name + "=(\n";
   for (const CommandOption &option : options) {
      const std::string meaning =
         "[" + Escape(option.text, "\\[]:") + "]" + (option.takesArgument ? ZshAction(option) : "");
      const bool both = !option.shortForm.empty() && !option.longForm.empty();
      const std::string exclusion = option.repeats ? "*"
                                    : both         ? "(" + option.shortForm + " " + option.longForm + ")"
                                                   : "";
      if (!option.shortForm.empty()) {
         text += "         ";
         text += Quote(exclusion + option.shortForm + (option.takesArgument ? "+" : "") + meaning) + "\n";
      }
      if (!option.longForm.empty()) {
         text += "         ";
         text += Quote(exclusion + option.longForm + (option.takesArgument ? "=" : "") + meaning) + "\n";
      }
   }
   return text + "      )\n";
}

std::string ZshHostmemTables()
{
   const std::vector<ReportChoices> reports = AllReports();
   std::string names;
   std::string cases = "   '')\n" + ZshOptions("arguments", AsCommandOptions(ToolOptions())) + "      ;;\n";
   for (const ReportChoices &report : reports) {
      names += (names.empty() ? "" : " ") + report.name;
      cases += "   " + LowerCase(report.name) + ")\n" +
               ZshOptions("arguments", AsCommandOptions(report.options)) +
               ZshArray("columns", report.columns) + ZshArray("units", report.units) +
               ZshArray("flags", report.flags) + "      ;;\n";
   }
   return "_hostmem_tables()\n{\n   reports=(" + names + ")\n   case ${(L)1} in\n" + cases + "   esac\n}\n";
}

std::string ZshSubcommandTables(const ProgramHelp &program)
{
   const std::string reports = ReportsOf(program, "");
   const auto tables = [&](const std::string &subcommand, const std::vector<CommandOption> &options) {
      const std::string own = ReportsOf(program, subcommand);
      return ZshOptions("arguments", options) + (own != reports ? "      reports=(" + own + ")\n" : "") +
             "      ;;\n";
   };
   std::string names;
   std::string cases = "   '')\n" + tables("", program.options);
   for (const CommandHelp &subcommand : program.subcommands) {
      names += "      " + Quote(subcommand.name + ":" + subcommand.text) + "\n";
      cases += "   " + subcommand.name + ")\n" + tables(subcommand.name, subcommand.options);
   }
   return '_' + ProgramId(program.name) + "_tables()\n{\n   units=(" + kUnits + ")\n   reports=(" + reports +
          ")\n   subcommands=(\n" + names + "   )\n   case $1 in\n" + cases + "   esac\n}\n";
}

// ---- fish

std::string FishOption(const std::string &start, const CommandOption &option, const std::string &arguments)
{
   std::string text = start;
   if (!option.shortForm.empty()) {
      text += " -s " + option.shortForm.substr(1);
   }
   if (!option.longForm.empty()) {
      text += " -l " + option.longForm.substr(2);
   }
   return text + (option.takesArgument ? " " + arguments : "") + " -d " + Quote(option.text) + "\n";
}

// `units` and `reports` are what -u and -r offer: words, or a command that prints them.
std::string FishOptions(const std::string &start, const std::vector<CommandOption> &options,
                        const std::string &units, const std::string &reports)
{
   const auto arguments = [&units, &reports](const CommandOption &option) -> std::string {
      switch (KindOfArgument(option)) {
      case ArgumentKind::Words:
         return "-x -a '" + option.words + "'";
      case ArgumentKind::Columns:
         return "-x -a '(__hostmem_list columns)'";
      case ArgumentKind::Unit:
         return "-x -a '" + units + "'";
      case ArgumentKind::Flags:
         return "-x -a '(__hostmem_list flags)'";
      case ArgumentKind::Report:
         return "-x -a '" + reports + "'";
      case ArgumentKind::File:
         return "-r -F";
      case ArgumentKind::Folder:
         return "-x -a '(__fish_complete_directories)'";
      default:
         return "-x";
      }
   };
   std::string text;
   for (const CommandOption &option : options) {
      text += FishOption(start, option, arguments(option));
   }
   return text;
}

// The lines of a switch that prints the choices, one per line, with its meaning after a tab.
std::string FishCase(const std::string &name, const std::vector<Choice> &choices)
{
   if (choices.empty()) {
      return "";
   }
   std::string text = "      case " + Quote(name) + "\n         printf '%s\\t%s\\n'";
   for (const Choice &choice : choices) {
      text += " \\\n            " + Quote(choice.word) + " " + Quote(choice.text);
   }
   return text + "\n";
}

std::string FishHostmemTables()
{
   constexpr char kUnitsOfReport[] = "(__hostmem_words units)";
   constexpr char kReports[] = "(__hostmem_words reports)";
   std::vector<Choice> names;
   std::string cases;
   std::string options = FishOptions("complete -c hostmem -n __hostmem_report_is",
                                     AsCommandOptions(ToolOptions()), kUnitsOfReport, kReports);
   for (const ReportChoices &report : AllReports()) {
      names.push_back({report.name, ""});
      const std::string lower = LowerCase(report.name);
      cases += FishCase(lower + " columns", report.columns) + FishCase(lower + " units", report.units) +
               FishCase(lower + " flags", report.flags);
      options += FishOptions("complete -c hostmem -n '__hostmem_report_is " + lower + "'",
                             AsCommandOptions(report.options), kUnitsOfReport, kReports);
   }
   return "function __hostmem_table\n   switch \"$argv\"\n" + FishCase(" reports", names) + cases +
          "   end\nend\n" + options;
}

std::string FishSubcommandTables(const ProgramHelp &program)
{
   const std::string start = "complete -c " + program.name;
   if (program.subcommands.empty()) {
      return start + " -f\n" + FishOptions(start, program.options, kUnits, ReportsOf(program, ""));
   }
   const std::string first = start + " -n __fish_use_subcommand";
   std::string text = FishOptions(first, program.options, kUnits, ReportsOf(program, ""));
   for (const CommandHelp &subcommand : program.subcommands) {
      text += first + " -f -a " + subcommand.name + " -d " + Quote(subcommand.text) + "\n" +
              FishOptions(start + " -n '__fish_seen_subcommand_from " + subcommand.name + "'",
                          subcommand.options, kUnits, ReportsOf(program, subcommand.name));
   }
   return text;
}

} // namespace

std::string ProgramId(const std::string &program)
{
   std::string id = program;
   std::ranges::replace(id, '-', '_');
   return id;
}

std::string HostmemTables(const std::string &shell)
{
   return shell == "bash"   ? BashHostmemTables()
          : shell == "zsh"  ? ZshHostmemTables()
          : shell == "fish" ? FishHostmemTables()
                            : "";
}

std::string SubcommandTables(const std::string &shell, const ProgramHelp &program)
{
   return shell == "bash"   ? BashSubcommandTables(program)
          : shell == "zsh"  ? ZshSubcommandTables(program)
          : shell == "fish" ? FishSubcommandTables(program)
                            : "";
}
