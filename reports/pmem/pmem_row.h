// The rows of the four persistent-memory volume reports: their columns, banner and printing.
#ifndef REPORTS_PMEM_PMEM_ROW_H
#define REPORTS_PMEM_PMEM_ROW_H

#include <cstddef>
#include <cstdint>

#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/flag_filter.h"

// In the order of their report types.
enum PmemReportMode : uint32_t {
   PMEM_REGIONSTORE = 0,
   PMEM_REGION = 1,
   PMEM_EXTENT = 2,
   PMEM_REGION_NUMA = 3
};
inline constexpr uint32_t kPmemModeCount = 4;

inline constexpr size_t kPMemNameLength = 36; // of a UUID's text

// One printed line; each mode prints some of the fields.
struct PMemRow {
   char volume[kPMemNameLength + 1];
   char region[kPMemNameLength + 1];
   uint64_t values[8]; // in the order of the mode's columns
   uint32_t flags;
   uint16_t managementTag;
   char numaAffinityMask[sizeof "0xffffffffffffffff"];
   char isClean; // 'y' or 'n'
};

// Region flags in printing order.
extern const FlagName regionFlagNames[];

// The mode's column table. `mode` is one of the four.
ReportColumn *PMemColumns(uint32_t mode);

// Prints the banner, unless in CSV mode, and then the table head.
void PMemPrintBanner(uint32_t mode, bool csvMode, DisplayUnit unit);

void PMemPrintRow(const PMemRow &row, bool csvMode, uint32_t mode);

#endif
