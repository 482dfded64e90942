// Commands run by the shell.
#ifndef TESTS_SHELL_RUN_COMMAND_H
#define TESTS_SHELL_RUN_COMMAND_H

#include <string>
#include <vector>

struct CommandResult {
   std::string output; // standard output and standard error
   int exitStatus = -1;
};

// Runs the command and waits for it. The exit status is -1 if a signal ended it.
CommandResult RunCommand(const std::string &command);

std::vector<std::string> SplitLines(const std::string &text);

// Whether the shell finds a program of that name.
bool IsInstalled(const std::string &program);

// The text as one word of the shell.
std::string ShellWord(const std::string &text);

#endif
