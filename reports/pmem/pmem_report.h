// The four persistent-memory volume reports, which share one entry:
// pmem-regionstore-stats, one row per volume; pmem-region-stats, one per region; pmem-extent-stats, one per
// extent; pmem-region-numa-stats, one per NUMA node of every region.
#ifndef REPORTS_PMEM_PMEM_REPORT_H
#define REPORTS_PMEM_PMEM_REPORT_H

#include <cstdint>

#include "nevra/nevra.h"
#include "report/report_description.h"
#include "reports/pmem/pmem_row.h"

// `mode` is one of the four.
ReportDescription DescribePMemReport(uint32_t mode);

// "Bad parameter" for a mode above 3 and for an unknown unit; "Limit exceeded" when a name does not fit its
// field. A failed read is reported and ends the rows, and the status is 0 nevertheless.
NevraStatus PMemReport(int argc, char **argv, uint32_t mode);

#endif
