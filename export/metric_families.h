// What is exported as metrics, and which column of which report each figure comes from.
//
// Figures are in base units: bytes, seconds, ratios. A name is one of a leaf or of what contains leaves,
// never of both, so that sum() over one name counts nothing twice.
#ifndef EXPORT_METRIC_FAMILIES_H
#define EXPORT_METRIC_FAMILIES_H

#include <cstdint>
#include <span>

enum class MetricType : uint8_t { Gauge, Counter, Info, StateSet };

// What the rest adds up to, when only the largest are shown one by one.
enum class Rest : uint8_t {
   IsSum,
   IsNothing, // a limit, a ratio, a peak
};

// Whether a figure is there only where the page tables of processes are walked.
enum class Needs : uint8_t { Nothing, Walk };

// A family, or one part of it: parts stand side by side, have the same name, and differ in `label`.
struct MetricFamily {
   const char *name; // without the _total of a counter and the _info of an info
   MetricType type;
   const char *unit; // the last word of the name; empty for what has none
   const char *help;
   const char *report;
   const char *column; // null: an info has none, a gauge without one counts the rows
   Rest rest = Rest::IsSum;
   Needs needs = Needs::Nothing;
   const char *label = ""; // a label and its value: state="soft"
   double size = 1;        // base units, where the column counts things of a size of its own
};

// A label, and the column that its value comes from.
struct MetricLabel {
   const char *name;
   const char *column;
};

// Which rows of the reports are about the same subject.
enum class SubjectRows : uint8_t {
   Single,    // all: there is one subject
   ByKey,     // those with the same ID; in several reports
   ByLabels,  // none: each row is a subject
   ByName,    // those with the same labels, which add up
   Root,      // the root of the groups
   TopGroups, // the groups directly below the root
   Groups,    // the groups in which no other one is shown
};

// What families are about. Their rows are read together.
struct MetricSubject {
   SubjectRows rows;
   const char *key; // the column with the ID
   std::span<const MetricLabel> labels;
   std::span<const MetricLabel> infoLabels; // those of the info alone: what changes, such as IDs
   std::span<const MetricFamily> families;
   const char *largest; // the family by which some are larger than others; null: all are shown, or none
};

// By importance: where series are short, the first get theirs.
std::span<const MetricSubject> MetricSubjects();

// Those that have options of their own are among them.
extern const MetricSubject &kVmMetrics;
extern const MetricSubject &kProcessMetrics;

// The states of the host's memory, from most free memory to least, as the label has them.
inline constexpr const char *kMemoryStates[] = {"high", "clear", "soft", "hard", "low"};

// What an export says of itself. These come from no column.
extern const MetricSubject kHostInfoMetrics;   // hostmem_host_info
extern const MetricSubject kReportMetrics;     // success and duration of a report
extern const MetricSubject kCollectionMetrics; // the series that were left out

#endif
