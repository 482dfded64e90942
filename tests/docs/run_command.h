// Commands run by the shell, for the tests of what is documented.
#ifndef TESTS_DOCS_RUN_COMMAND_H
#define TESTS_DOCS_RUN_COMMAND_H

#include <string>
#include <vector>

struct CommandResult {
   std::string output; // standard output and standard error
   int exitStatus;
};

CommandResult RunCommand(const std::string &command);

std::vector<std::string> SplitLines(const std::string &text);

// Whether the shell finds a program of that name.
bool IsInstalled(const std::string &program);

// The text as one word of the shell.
std::string ShellWord(const std::string &text);

#endif
