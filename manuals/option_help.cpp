#include "manuals/option_help.h"

#include <cstring>

namespace {

constexpr char kUnitText[] =
   R"(Show memory in
.IR unit :
.B kb
(the default),
.BR mb ,
.B gb
or
.B pg
for pages of 4\ KB, in any case.
Figures are rounded up to whole units.
IDs, flags, shares, counts, times and percentages stay as they are.)";

constexpr char kInertUnitText[] =
   R"(Check the name of a unit
.RB ( kb ,
.BR mb ,
.B gb
or
.BR pg ,
in any case) and name it in the banner.
No figure of this report is converted.)";

constexpr OptionHelp kOptionHelp[] = {
   {nullptr, 'g', "gid", "ID", "start scheduler group",
    R"(Start at the scheduler group
.I ID
instead of the root group 0: that group and what is below it.
The decimal number is kept as a signed 32-bit one; a text that is not a number means 0.)"},
   {nullptr, 'l', "level", "levels", "levels of the hierarchy to show",
    R"(Walk this many levels of the group tree: 1 is the start group alone, 2 its children too, and so on.
The default, and the most, is 12.)"},
   {"group-stats", 'i', "iFilter", "flags", "groups to include, by flag",
    R"(Show only the groups that have one or more of the
.IR flags ,
names joined by
.RB \(oq : \(cq,
in any case; see
.BR FLAGS .
The groups below one that is left out are still looked at.
The default is all groups.)"},
   {"group-stats", 'e', "eFilter", "flags", "groups to exclude, by flag",
    R"(Leave out the groups that have one or more of the
.IR flags .
Exclusion wins over inclusion.)"},
   {"uw-stats", 'i', "iFilter", "types", "user worlds to include, by type",
    R"(Show only the user worlds of these
.IR types ,
names joined by
.RB \(oq : \(cq,
in any case; see
.BR FLAGS .
The default is all.)"},
   {"uw-stats", 'e', "eFilter", "types", "user worlds to exclude, by type",
    R"(Leave out the user worlds of these
.IR types .
Exclusion wins over inclusion.)"},
   {"dcpmm-stats", 't', "time", "seconds", "seconds to count in one iteration",
    R"(Let the counters count for this many
.I seconds
in each iteration, from 1 to 2147483647.
The default is 1.)"},
   {"dcpmm-stats", 'i', "iterations", "number", "number of iterations",
    R"(Reset the counters, let them count and read them this many times, from 1 to 2147483647.
The default is 1.)"},
   {"group-stats", 't', "tags", nullptr, "add a summary per group tag",
    R"(Add a summary with one row per group tag; see
.BR TAG\ SUMMARY .)"},
   {"vm-stats", 'x', "extra", nullptr, "show the display name and configuration path",
    R"(Show the columns
.B dname
and
.B quenPath
too, whatever
.B \-s
says.)"},
   {"heap-stats", 'u', "unit", "unit", "display unit",
    R"(Show memory in
.IR unit :
.B b
(bytes, the default),
.BR kb ,
.BR mb ,
.B gb
or
.B pg
for pages of 4\ KB, in any case.
Figures are rounded up to whole kilobytes first and then to whole units.)"},
   {"lpage-stats", 'u', "unit", "unit", "display unit (checked, without effect)",
    R"(Check the name of a unit
.RB ( kb ,
.BR mb ,
.B gb
or
.BR pg ,
in any case).
It has no effect: the figures are counts, and the banner always names the unit
.BR LPage\ (2M) .)"},
   {"pmem-regionstore-stats", 'u', "unit", "unit", "display unit (banner only)", kInertUnitText},
   {"pmem-extent-stats", 'u', "unit", "unit", "display unit (banner only)", kInertUnitText},
   {"pmem-region-numa-stats", 'u', "unit", "unit", "display unit (banner only)", kInertUnitText},
   {nullptr, 'u', "unit", "unit", "display unit", kUnitText},
   {nullptr, 's', "cSelect", "columns", "columns to show",
    R"(Show only these
.IR columns ,
names joined by
.RB \(oq : \(cq,
in any case and any order; see
.BR COLUMNS .
The selection only takes columns away: it never removes a key column, and never shows one that is hidden.
A name that no column has is ignored, so that a misspelt one shows too little, without a message.
Only the first 511 characters take part.)"},
   {"dcpmm-stats", 'q', "csvMode", nullptr, "rows as CSV on standard output instead of a file",
    R"(Print the counts as comma-separated values on standard output instead of writing a file.)"},
   {nullptr, 'q', "csvMode", nullptr, "comma-separated values instead of a table",
    R"(Print comma-separated values instead of an aligned table: the line of names and the rows, with no banner and
no rules.
Values are neither padded nor quoted, so that a comma in a name moves what follows it;
.BR hostmem\-export (8)
writes quoted CSV.)"},
   {"heap-stats", 'v', nullptr, nullptr, "describe the columns after the table",
    R"(Describe the columns shown, after the table; in CSV mode too.
In this report the short form alone does so.)"},
   {"heap-stats", 0, "verbose", nullptr, "drop the unit given before it: show bytes",
    R"(In this report, not the long form of
.BR \-v :
it drops a unit given before it, so that memory is shown in bytes, and describes nothing.)"},
   {"dcpmm-stats", 'v', "verbose", nullptr, "describe the columns of the CSV rows",
    R"(Describe the columns of the CSV rows on standard output, at the end.)"},
   {nullptr, 'v', "verbose", nullptr, "describe the columns after the table",
    R"(Describe the columns shown, after the table; in CSV mode too.)"},
};

bool SameName(const char *a, const char *b)
{
   return a == nullptr || b == nullptr ? a == b : std::strcmp(a, b) == 0;
}

bool TakesArgument(const ReportDescription &report, char letter)
{
   return std::strchr(report.shortOptions, letter)[1] == ':';
}

} // namespace

std::span<const OptionHelp> AllOptionHelp()
{
   return kOptionHelp;
}

const OptionHelp *FindOptionHelp(const char *report, char letter, const char *longName)
{
   for (const OptionHelp &help : kOptionHelp) {
      if ((help.report == nullptr || SameName(help.report, report)) && help.letter == letter &&
          SameName(help.longName, longName)) {
         return &help;
      }
   }
   return nullptr;
}

std::vector<ListedOption> ListOptions(const ReportDescription &report)
{
   std::vector<ListedOption> options;
   for (const char *letter = report.shortOptions; *letter != '\0'; letter++) {
      if (*letter != ':') {
         options.push_back({*letter, nullptr, letter[1] == ':'});
      }
   }
   for (const option *row = report.longOptions; row->name != nullptr; row++) {
      const char letter = static_cast<char>(row->val);
      const bool takesArgument = row->has_arg == required_argument;
      if (!HasOption(report, letter) || TakesArgument(report, letter) != takesArgument) {
         options.push_back({0, row->name, takesArgument});
         continue;
      }
      for (ListedOption &listed : options) {
         if (listed.letter == letter) {
            listed.longName = row->name;
         }
      }
   }
   return options;
}

bool HasOption(const ReportDescription &report, char letter)
{
   return letter != ':' && letter != '\0' && std::strchr(report.shortOptions, letter) != nullptr;
}
