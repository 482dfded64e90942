// What the queries of groups and memory clients report when one of their calls fails: the messages stated a
// second time, so that faults can be injected everywhere and each be held against them.
#ifndef TESTS_REPORTS_GROUP_QUERY_FAULTS_H
#define TESTS_REPORTS_GROUP_QUERY_FAULTS_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/scripted/scenario.h"

// The text of one of the injected statuses.
std::string StatusText(NevraStatus status);

// The trace line of the read or listing that the faulty call leads up to.
std::string ReadOfFault(const scripted::Fault &fault, const std::vector<std::string> &cleanTrace);

// A memory client's statistics, and the name by which a report calls their read.
struct StatsRead {
   std::string node;
   std::string operation;
};

// Everything that a fault in a read by one key, whose trace line is `read`, brings out on standard error.
std::string QueryMessages(const scripted::Fault &fault, const std::string &read,
                          const std::vector<StatsRead> &statsReads);

// The messages of a report's own for a fault in a read; nothing where QueryMessages has it all.
using OwnMessages =
   std::function<std::optional<std::string>(const scripted::Fault &, const std::string &read)>;

// Injects every fault into a report over group 1 alone that prints one row for it. Each fault must leave no
// row and the totals empty, end with exit status 1, and say what it should; but for failing removals, which
// change nothing.
void CheckFaultsLeaveNoRow(const scripted::Scenario &scenario, const std::string &report,
                           const std::vector<StatsRead> &statsReads, const OwnMessages &own = nullptr);

#endif
