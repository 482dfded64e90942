// Runs hostmem on this machine, and takes its CSV apart.
#ifndef TESTS_LIVE_LIVE_REPORT_H
#define TESTS_LIVE_LIVE_REPORT_H

#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

struct LiveReport {
   // The figure in `column`; fails the test, and is -2, where there is no such column or no number in it.
   int64_t Figure(const std::vector<std::string> &row, const std::string &column) const;
   // The text in `column`; fails the test where there is no such column.
   std::string Text(const std::vector<std::string> &row, const std::string &column) const;
   // The row that has `text` in `column`; null where none has.
   const std::vector<std::string> *Find(const std::string &column, const std::string &text) const;

   std::vector<std::string> columns;
   std::vector<std::vector<std::string>> rows;
};

// Runs `hostmem -r REPORT -q` and the further arguments. Fails the test unless it exits 0, writes nothing to
// standard error but what the kernel refused, and each line has as many fields as the first.
LiveReport RunLiveReport(const std::string &report, const std::vector<std::string> &arguments = {});

// The groups of a process, of a VM's VMM and of its emulator.
std::string ProcessGroup(pid_t pid);
std::string VmmGroup(pid_t pid);
std::string EmulatorGroup(pid_t pid);

#endif
