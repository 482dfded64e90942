// What is worth a look on a host, each with the figures that say so.
#ifndef OVERVIEW_FINDINGS_H
#define OVERVIEW_FINDINGS_H

#include <cstdint>
#include <string>
#include <vector>

#include "overview/host_rows.h"
#include "overview/kernel_detail.h"

namespace overview {

// A note asks for nothing; warnings and critical findings do, and decide what --check says.
enum class Severity : uint8_t { Note, Warning, Critical };

// "note", "warning", "critical"
const char *SeverityWord(Severity severity);

struct Finding {
   Severity severity = Severity::Note;
   std::string rule;    // its name: "vm-swapped"
   std::string subject; // whom it is about: a VM, a group, a heap; a stranger's name. Empty: the host
   std::string text;    // with figures: "has 565 MB swapped, 3.4 % of its 16.0 GB"
   std::string command; // which shows more: "hostmem -r swap-stats"
   double weight = 0;   // of the findings of a rule, the heavier ones come first
};

// What a moment is judged by. `before` is the same host earlier, or null; `detail` may be null.
struct Evidence {
   const HostRows &rows;
   const KernelDetail *detail = nullptr;
   const HostRows *before = nullptr;
   std::string command = "hostmem"; // by which hostmem shows the same moment, see CommandOf
};

// The findings, the most severe first.
std::vector<Finding> FindFindings(const Evidence &evidence);

} // namespace overview

#endif
