// usage: make_completion SHELL PROGRAM TEMPLATE SCRIPT
// Makes a completion script: the template, with the tables in place of its line @TABLES@. PROGRAM is
// "hostmem", or the path of another program, which is asked for its help.
#include <cstdio>
#include <fstream>
#include <string>

#include "packaging/completions/shell_tables.h"

namespace {

std::string Tables(const std::string &shell, const std::string &program)
{
   if (program == "hostmem") {
      return HostmemTables(shell);
   }
   ProgramHelp help;
   return AskForHelp(program, &help) ? SubcommandTables(shell, help) : "";
}

} // namespace

int main(int argc, char **argv)
{
   if (argc != 5) {
      std::fprintf(stderr, "usage: %s SHELL PROGRAM TEMPLATE SCRIPT\n", argv[0]);
      return 2;
   }
   const std::string tables = Tables(argv[1], argv[2]);
   std::ifstream input(argv[3]);
   if (tables.empty() || !input) {
      std::fprintf(stderr, "%s: no tables for %s, or no template\n", argv[0], argv[2]);
      return 1;
   }
   std::ofstream output(argv[4]);
   for (std::string line; std::getline(input, line);) {
      output << (line == "@TABLES@" ? tables : line + "\n");
   }
   output.close();
   if (!output) {
      std::fprintf(stderr, "%s: cannot be written\n", argv[4]);
   }
   return output ? 0 : 1;
}
