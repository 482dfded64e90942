// Who uses more memory than before: the rows of a report at two moments, by name.
#ifndef EXPORT_GROWTH_H
#define EXPORT_GROWTH_H

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "export/row_writer.h"
#include "report/display_unit.h"

// What may grow, and which column says how large it is.
struct GrowthSubject {
   const char *word;              // "vm", as --by has it
   const char *report;            // whose rows are looked at
   const char *column;            // the figure, in KB
   const char *leftOut = nullptr; // groups with one of these flags are
};

// The subjects by name; null for another word.
const GrowthSubject *FindGrowthSubject(std::string_view word);
inline constexpr char kGrowthSubjectWords[] = "vm, group, process or heap";

// All rows of one name.
struct SizeOfName {
   uint64_t kb = 0;
   uint64_t rows = 0;
};
using SizesByName = std::map<std::string, SizeOfName>;

// Runs the subject's report on the source that answers the process. False when it fails; reasons are given in
// Warnings.
bool ReadSizes(const GrowthSubject &subject, SizesByName *sizes);

struct Growth {
   std::string name;
   SizeOfName before;
   SizeOfName now;

   int64_t Change() const { return static_cast<int64_t>(now.kb - before.kb); }
};

// Those that changed, by how much they grew; those that shrank come last.
std::vector<Growth> CompareSizes(const SizesByName &before, const SizesByName &now);

// Writes the line above the table, and an empty one: of which host, and of which moments.
void PrintMoments(const Moment &before, const Moment &now, FILE *file);

// Writes the `top` first of them as a table of at most 80 columns, and a line that says how many more there
// are. Amounts are in the unit: KB, MB or GB.
void PrintGrowth(const GrowthSubject &subject, const std::vector<Growth> &growths, size_t top,
                 DisplayUnit unit, FILE *file);

#endif
