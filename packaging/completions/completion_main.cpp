// usage: make_completion SHELL PROGRAM TEMPLATE SCRIPT
// Makes a completion script: the template, with the tables in place of its line @TABLES@, and the name of the
// program in place of PROGRAM_NAME, with "_" for "-" in place of PROGRAM_ID. PROGRAM is "hostmem", or the
// path of another program, which is asked for its help.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

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

std::string ReplaceAll(std::string text, std::string_view placeholder, std::string_view value)
{
   for (size_t at = 0; (at = text.find(placeholder, at)) != std::string::npos; at += value.size()) {
      text.replace(at, placeholder.size(), value);
   }
   return text;
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
   const std::string name = std::filesystem::path(argv[2]).filename();
   const std::string id = ProgramId(name);
   std::ofstream output(argv[4]);
   for (std::string line; std::getline(input, line);) {
      output << (line == "@TABLES@"
                    ? tables
                    : ReplaceAll(ReplaceAll(line, "PROGRAM_NAME", name), "PROGRAM_ID", id) + "\n");
   }
   output.close();
   if (!output) {
      std::fprintf(stderr, "%s: cannot be written\n", argv[4]);
   }
   return output ? 0 : 1;
}
