#include "packaging/completions/command_help.h"

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

// A line of a section: a term, two blanks or more, and its text.
struct HelpLine {
   std::string term;
   std::string text;
};

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
         line = Trim(line);
         const size_t gap = line.find("  ");
         lines.push_back({line.substr(0, gap), gap == std::string::npos ? "" : Trim(line.substr(gap))});
      }
   }
   return lines;
}

// "-o,--output TEXT REQUIRED", "-f,--force Needs: --output"
CommandOption ParseOption(const HelpLine &line)
{
   std::istringstream words(line.term);
   std::string formsOfOption;
   std::string next;
   words >> formsOfOption >> next;
   CommandOption option = {"", "", !next.empty() && !next.ends_with(':'), Trim(line.text)};
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
      program->subcommands.push_back({line.term, line.text, Options(ofSubcommand)});
   }
   return !program->options.empty() || !program->subcommands.empty();
}
