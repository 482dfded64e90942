#include "bench/comparison.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include <unistd.h>

Places PlacesFromArguments(int argc, char **argv)
{
   if (argc != 3) {
      std::fprintf(stderr, "usage: %s BIN WORK\n", argv[0]);
      std::exit(2);
   }
   std::filesystem::create_directories(argv[2]);
   return {argv[1], argv[2]};
}

std::string SnapshotPath(const Places &places, unsigned groups, const char *order)
{
   std::string path = places.work + "/" + std::to_string(groups) + "-" + order + ".snapshot";
   if (!std::filesystem::exists(path)) {
      RunOnce({places.bin + "/make_snapshot", std::to_string(groups), order, path}, "/dev/null");
   }
   return path;
}

std::vector<std::string> HostmemOnSnapshot(const Places &places, unsigned groups, const char *order,
                                           const std::vector<std::string> &report)
{
   std::vector<std::string> command = {places.bin + "/hostmem", "-c", SnapshotPath(places, groups, order),
                                       "-r"};
   command.insert(command.end(), report.begin(), report.end());
   return command;
}

void CopyTable(const std::string &report, const std::string &table, bool csv, bool header)
{
   std::ifstream from(report);
   std::ofstream to(table);
   bool inTable = csv;
   for (std::string line; std::getline(from, line);) {
      const bool isSeparator = !line.empty() && line[0] == '-';
      inTable = inTable || isSeparator;
      if (!inTable || isSeparator) {
         continue;
      }
      if (header) {
         to << line << '\n';
      }
      header = true;
   }
}

Contender FormattingFloor(const Places &places, const std::string &table)
{
   return {{places.bin + "/format_floor", table}, places.work + "/floor-output", true};
}

size_t CountLines(const std::string &path)
{
   std::ifstream file(path);
   return static_cast<size_t>(
      std::count(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>(), '\n'));
}

void RequireSameBytes(const std::string &left, const std::string &right)
{
   std::ifstream leftFile(left, std::ios::binary);
   std::ifstream rightFile(right, std::ios::binary);
   using Bytes = std::istreambuf_iterator<char>;
   if (!std::equal(Bytes(leftFile), Bytes(), Bytes(rightFile), Bytes())) {
      std::fprintf(stderr, "%s and %s are not the same\n", left.c_str(), right.c_str());
      std::exit(1);
   }
}

std::string FindProgram(const std::string &name)
{
   const char *path = std::getenv("PATH");
   std::istringstream folders(path != nullptr ? path : "/usr/bin:/bin");
   for (std::string folder; std::getline(folders, folder, ':');) {
      std::string program = folder + "/" + name;
      if (access(program.c_str(), X_OK) == 0) {
         return program;
      }
   }
   return "";
}

void PrintTableHead()
{
   std::printf("| hostmem | rows | against | rows | wall time, ms | ratio | CPU time, ms | ratio |\n"
               "|---|--:|---|--:|--:|--:|--:|--:|\n");
}

void PrintComparison(const Side &hostmem, const Side &other, bool wall)
{
   char ratio[32] = "";
   if (wall) {
      std::snprintf(ratio, sizeof ratio, "**%.2f**", hostmem.figures.seconds / other.figures.seconds);
   }
   std::printf("| %s | %s | %s | %s | %.2f : %.2f | %s | %.2f : %.2f | %.2f |\n", hostmem.what.c_str(),
               hostmem.rows.c_str(), other.what.c_str(), other.rows.c_str(), hostmem.figures.seconds * 1e3,
               other.figures.seconds * 1e3, ratio, hostmem.figures.cpuSeconds * 1e3,
               other.figures.cpuSeconds * 1e3, hostmem.figures.cpuSeconds / other.figures.cpuSeconds);
   std::fflush(stdout);
}

void PrintUnmeasured(const std::string &hostmem, const std::string &other, const std::string &why)
{
   std::printf("| %s | | %s | | %s | | | |\n", hostmem.c_str(), other.c_str(), why.c_str());
   std::fflush(stdout);
}
