#include "tests/shell/run_command.h"

#include <cstdio>
#include <sstream>

#include <sys/wait.h>

CommandResult RunCommand(const std::string &command)
{
   CommandResult result;
   FILE *pipe = popen(("{ " + command + "\n} 2>&1").c_str(), "r");
   if (pipe == nullptr) {
      return result;
   }
   char buffer[4096];
   size_t length;
   while ((length = fread(buffer, 1, sizeof buffer, pipe)) > 0) {
      result.output.append(buffer, length);
   }
   const int status = pclose(pipe);
   result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
   return result;
}

std::vector<std::string> SplitLines(const std::string &text)
{
   std::vector<std::string> lines;
   std::istringstream input(text);
   for (std::string line; std::getline(input, line);) {
      lines.push_back(line);
   }
   return lines;
}

bool IsInstalled(const std::string &program)
{
   return RunCommand("command -v " + program).exitStatus == 0;
}

std::string ShellWord(const std::string &text)
{
   std::string word = "'";
   for (const char c : text) {
      word += c == '\'' ? "'\\''" : std::string(1, c);
   }
   return word + "'";
}
