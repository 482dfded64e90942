// What the measurements of whole programs share: where things are, made-up snapshots, rows of the table.
#ifndef BENCH_COMPARISON_H
#define BENCH_COMPARISON_H

#include <string>
#include <vector>

#include "bench/process.h"

struct Places {
   std::string bin;  // the folder with the programs
   std::string work; // a folder for snapshots and outputs, best in memory
};

// From "BIN WORK"; ends the program with a usage text otherwise.
Places PlacesFromArguments(int argc, char **argv);

// The command line of the tool with a snapshot of a made-up host, which is made on first use. `order` is
// "ordered" or "shuffled": whether the groups' IDs follow the tree.
std::vector<std::string> HostmemOnSnapshot(const Places &places, unsigned groups, const char *order,
                                           const std::vector<std::string> &report);
std::string SnapshotPath(const Places &places, unsigned groups, const char *order);

// Copies the header and the rows of a report's output, without the banner and the separators; or the rows
// alone.
void CopyTable(const std::string &report, const std::string &table, bool csv, bool header = true);

// The formatting of a table alone: the timed part of format_floor.
Contender FormattingFloor(const Places &places, const std::string &table);

size_t CountLines(const std::string &path);

// Ends the benchmark unless both files hold the same bytes: there would be nothing to compare.
void RequireSameBytes(const std::string &left, const std::string &right);

// The path of a program that is looked for as the shell does; empty when there is none.
std::string FindProgram(const std::string &name);

void PrintTableHead();

// One side of a row.
struct Side {
   std::string what; // in Markdown
   std::string rows; // of its output; empty where that says nothing
   Figures figures;
};

// Without `wall` the wall times say nothing, and no ratio is printed of them.
void PrintComparison(const Side &hostmem, const Side &other, bool wall = true);

// A row about what could not be measured.
void PrintUnmeasured(const std::string &hostmem, const std::string &other, const std::string &why);

#endif
