// What a program says of itself under --help.
#ifndef PACKAGING_COMPLETIONS_COMMAND_HELP_H
#define PACKAGING_COMPLETIONS_COMMAND_HELP_H

#include <string>
#include <vector>

struct CommandOption {
   std::string shortForm; // "-o"; empty: none
   std::string longForm;  // "--output"; empty: none
   bool takesArgument;
   std::string text;
   bool repeats = false;   // may be given more than once
   std::string words = {}; // that the argument is one of, with blanks between; empty: any
};

struct CommandHelp {
   std::string name;
   std::string text;
   std::vector<CommandOption> options;
};

struct ProgramHelp {
   std::string name;
   std::vector<CommandOption> options;
   std::vector<CommandHelp> subcommands; // or none
};

// Runs the program at `path` and each of its subcommands with --help. False when one of them cannot be run,
// or the program names neither options nor subcommands.
bool AskForHelp(const std::string &path, ProgramHelp *program);

#endif
