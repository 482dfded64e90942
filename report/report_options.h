// The command-line options of the reports.
//
// A report states its short option string and its long option table; a letter means the same in every report
// that has it. The scan goes on where the front end stopped, after -r and the report type.
#ifndef REPORT_REPORT_OPTIONS_H
#define REPORT_REPORT_OPTIONS_H

#include <cstdint>

#include <getopt.h>

#include "nevra/nevra.h"
#include "report/levels.h"
#include "report/table_output.h"

// What a report is called with.
struct ReportArguments {
   const char *name; // the report's type, as the table of reports has it
   int argc;
   char **argv;
   TableOutputs outputs = {};
};

// Where -u comes in: before the selection as in most reports, after it, or not at all.
enum class UnitOption : uint8_t { None, BeforeSelection, AfterSelection };

struct ReportOptions {
   uint64_t startGroupID = 0;           // -g: 32 bits, sign-extended
   uint32_t levels = MAX_LEVELS;        // -l
   const char *unitText = nullptr;      // -u
   char *inclusionText = nullptr;       // -i; split in place by ParseFlagFilter
   char *exclusionText = nullptr;       // -e
   const char *selection = nullptr;     // -s
   bool verbose = false;                // -v
   bool csv = false;                    // -q
   bool tags = false;                   // -t
   bool extra = false;                  // -x
   const TableOutput *output = nullptr; // selected by -q
};

// The rows of the long option tables, so that a name goes with one letter everywhere.
inline constexpr option kGidOption = {"gid", required_argument, nullptr, 'g'};
inline constexpr option kLevelOption = {"level", required_argument, nullptr, 'l'};
inline constexpr option kUnitOption = {"unit", required_argument, nullptr, 'u'};
inline constexpr option kInclusionOption = {"iFilter", required_argument, nullptr, 'i'};
inline constexpr option kExclusionOption = {"eFilter", required_argument, nullptr, 'e'};
inline constexpr option kVerboseOption = {"verbose", no_argument, nullptr, 'v'};
inline constexpr option kSelectionOption = {"cSelect", required_argument, nullptr, 's'};
inline constexpr option kCsvOption = {"csvMode", no_argument, nullptr, 'q'};
inline constexpr option kEndOfOptions = {nullptr, 0, nullptr, 0};

// The same options in the usage text. A report's section is what follows its name there, in quotes.
#define USAGE_REPORT_OPTIONS " report options\n"
#define USAGE_GID "      -g, --gid <groupID>       Start scheduler group ID\n"
#define USAGE_LEVEL "      -l, --level <# levels>    Levels of hierarchy to display\n"
#define USAGE_UNIT "      -u, --unit <unit type>    Display unit\n"
#define USAGE_FILTERS                                                                                        \
   "      -i, --iFilter <mask>      Inclusion filter\n"                                                      \
   "      -e, --eFilter <mask>      Exclusion filter\n"
#define USAGE_UNIT_NOTE "      Note 1: Unit type must be one of the following: gb, mb, kb, pg.\n"

// Records each option's argument; the last one wins. Unknown options are ignored. "Bad parameter", at once,
// for a level of 0.
NevraStatus ParseReportOptions(const ReportArguments &arguments, const char *shortOptions,
                               const option *longOptions, ReportOptions *options);

#endif
