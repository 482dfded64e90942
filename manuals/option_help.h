// What the options mean, said once for the manual pages and the shell completions.
#ifndef MANUALS_OPTION_HELP_H
#define MANUALS_OPTION_HELP_H

#include <span>
#include <vector>

#include "report/report_description.h"

struct OptionHelp {
   const char *report;   // null: in every report that has the option
   char letter;          // 0: long form only
   const char *longName; // null: short form only
   const char *argument; // its name; null: none
   const char *brief;    // a few words, for the completions
   const char *text;     // roff, for the manuals
};

// Ordered as the manuals list them, an entry of one report before that of all.
std::span<const OptionHelp> AllOptionHelp();

// The entry for an option of a report; null when there is none.
const OptionHelp *FindOptionHelp(const char *report, char letter, const char *longName);

// One option of a report, as its tables have it.
struct ListedOption {
   char letter;          // 0: long form only
   const char *longName; // null: short form only
   bool takesArgument;
};

// The options of a report: each letter with the long name that goes with it. A long name whose argument
// differs from its letter's stands alone.
std::vector<ListedOption> ListOptions(const ReportDescription &report);

// Whether the report has the letter.
bool HasOption(const ReportDescription &report, char letter);

#endif
