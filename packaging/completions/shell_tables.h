// The words that the completion scripts offer, as tables in the language of each shell.
#ifndef PACKAGING_COMPLETIONS_SHELL_TABLES_H
#define PACKAGING_COMPLETIONS_SHELL_TABLES_H

#include <string>
#include <vector>

#include "packaging/completions/command_help.h"

// What the names of a program's tables and functions begin with, after an underscore: "hostmem_record".
std::string ProgramId(const std::string &program);

// The tables of hostmem: its options, the reports, and the options, columns, units and flags of each report.
// Empty for a shell that is none of "bash", "zsh" and "fish".
std::string HostmemTables(const std::string &shell);

// The tables of another program: its options, its subcommands if it has any, and their options.
std::string SubcommandTables(const std::string &shell, const ProgramHelp &program);

#endif
