#include "packaging/completions/command_help.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace {

std::string Trim(const std::string &text)
{
   const size_t first = text.find_first_not_of(' ');
   return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

bool ReadOutput(const std::string &command, std::string *output)
{
   FILE *pipe = popen(command.c_str(), "r");
   if (pipe == nullptr) {
      return false;
   }
   char buffer[4096];
   size_t length;
   while ((length = fread(buffer, 1, sizeof buffer, pipe)) > 0) {
      output->append(buffer, length);
   }
   return pclose(pipe) == 0;
}

// A line of a section: a term, two blanks or more, and its text; one blank where the term reaches to the
// text.
struct HelpLine {
   std::string term;
   std::string text;
};

constexpr size_t kTextColumn = 30;

HelpLine SplitTerm(const std::string &line)
{
   const size_t gap = line.find("  ", line.find_first_not_of(' '));
   const bool isFull = line.size() > kTextColumn && line[kTextColumn - 1] == ' ';
   const size_t end = gap == std::string::npos && isFull ? kTextColumn : std::min(gap, line.size());
   return {Trim(line.substr(0, end)), Trim(line.substr(end))};
}

// The lines below the heading "NAME:". A line without a term goes on with the text of the one before.
std::vector<HelpLine> Section(const std::string &help, const std::string &name)
{
   std::vector<HelpLine> lines;
   bool inside = false;
   std::istringstream input(help);
   for (std::string line; std::getline(input, line);) {
      if (line == name + ":") {
         inside = true;
      } else if (line.empty() || line[0] != ' ') {
         inside = false;
      } else if (inside && line.starts_with("   ") && !lines.empty()) {
         lines.back().text.append(" ").append(Trim(line));
      } else if (inside) {
         lines.push_back(SplitTerm(line));
      }
   }
   return lines;
}

// The words of "TEXT:{csv,jsonl}=csv", with blanks between.
std::string WordsOf(const std::string &term)
{
   const size_t begin = term.find('{');
   const size_t end = term.find('}');
   if (begin == std::string::npos || end == std::string::npos || end < begin) {
      return "";
   }
   std::string words = term.substr(begin + 1, end - begin - 1);
   std::ranges::replace(words, ',', ' ');
   return words;
}

// "-o,--output TEXT REQUIRED", "-f,--force Needs: --output"
CommandOption ParseOption(const HelpLine &line)
{
   std::istringstream words(line.term);
   std::string formsOfOption;
   std::string next;
   words >> formsOfOption >> next;
   CommandOption option = {.shortForm = "",
                           .longForm = "",
                           .takesArgument = !next.empty() && !next.ends_with(':'),
                           .text = line.text,
                           .repeats = line.term.find(" ...") != std::string::npos ||
                                      line.text.find("may be repeated") != std::string::npos,
                           .words = WordsOf(line.term)};
   std::istringstream forms(formsOfOption);
   for (std::string form; std::getline(forms, form, ',');) {
      (form.starts_with("--") ? option.longForm : option.shortForm) = form;
   }
   return option;
}

std::vector<CommandOption> Options(const std::string &help)
{
   std::vector<CommandOption> options;
   for (const HelpLine &line : Section(help, "Options")) {
      options.push_back(ParseOption(line));
   }
   return options;
}

// Those of `help`, and where it says that a report takes what follows, those that say which report and in
// which unit.
std::vector<CommandOption> OptionsOfSubcommand(const std::string &help)
{
   std::vector<CommandOption> options = Options(help);
   if (help.find("of the report.") == std::string::npos &&
       help.find("the report's own") == std::string::npos) {
      return options;
   }
   for (const CommandOption &option : {CommandOption{"-r", "--report", true, "report to print"},
                                       CommandOption{"-u", "--unit", true, "unit of memory"}}) {
      if (std::ranges::find(options, option.shortForm, &CommandOption::shortForm) == options.end()) {
         options.push_back(option);
      }
   }
   return options;
}

} // namespace

bool AskForHelp(const std::string &path, ProgramHelp *program)
{
   std::string help;
   if (!ReadOutput("'" + path + "' --help", &help)) {
      return false;
   }
   program->name = path.substr(path.rfind('/') + 1);
   program->options = Options(help);
   for (const HelpLine &line : Section(help, "Subcommands")) {
      std::string ofSubcommand;
      if (!ReadOutput("'" + path + "' " + line.term + " --help", &ofSubcommand)) {
         return false;
      }
      program->subcommands.push_back({line.term, line.text, OptionsOfSubcommand(ofSubcommand)});
   }
   return !program->options.empty() || !program->subcommands.empty();
}
