// The group report's own rows as a table of an SQLite database, and the shell commands that print them just
// as the report does.
#ifndef BENCH_GROUP_DATABASE_H
#define BENCH_GROUP_DATABASE_H

#include <string>
#include <vector>

#include "bench/comparison.h"

// Makes a database of what `group-stats -q` printed.
void MakeGroupDatabase(const std::string &sqlite, const Places &places, const std::string &csv,
                       const std::string &database);

std::vector<std::string> PrintAsCsv(const std::string &sqlite, const std::string &database);

// Without the header line.
std::vector<std::string> PrintAsTable(const std::string &sqlite, const std::string &database);

#endif
