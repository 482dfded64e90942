// What the four persistent-memory volume reports share: the frame, the walk over the volumes, and how they
// list and read what a volume holds.
#ifndef REPORTS_PMEM_PMEM_WALK_H
#define REPORTS_PMEM_PMEM_WALK_H

#include <cstddef>
#include <cstdint>

#include "nevra/nevra.h"
#include "report/figure_table.h"
#include "report/host_report.h"
#include "sysinfo/param_list.h"

inline constexpr size_t kPMemNameLength = 36; // of a UUID's text
using PMemName = char[kPMemNameLength + 1];

// The options and usage of all four reports.
inline constexpr char kPMemShortOptions[] = "s:u:vq";
inline constexpr option kPMemLongOptions[] = {kSelectionOption, kUnitOption, kVerboseOption, kCsvOption,
                                              kEndOfOptions};
inline constexpr char kPMemUsage[] = "\n" USAGE_UNIT;

// One run of a report.
struct PMemRun : HostRun {
   bool nameTooLong = false; // a name did not fit its field: the report is to stop
};

// Visits the volume at `index` of the list. False ends the walk: a failure has been reported where it is to
// be.
using PMemVisitVolume = bool (*)(const Nevra_ParamList *volumes, uint32_t index, PMemRun *run);

// A HostReport's rows: the walk over all volumes, after a rule of its own. A walk that ends early is no
// failure; "Limit exceeded" when a name did not fit.
NevraStatus PutPMemVolumes(PMemVisitVolume visit, HostRun *run);

template <PMemVisitVolume visit> NevraStatus PutPMemRows(HostRun *run)
{
   return PutPMemVolumes(visit, run);
}

// The report of a walk; the selection comes before the unit.
template <PMemVisitVolume visit> constexpr HostReport MakePMemReport(const char *title, ReportColumn *columns)
{
   return {.shortOptions = kPMemShortOptions,
           .longOptions = kPMemLongOptions,
           .title = title,
           .ruleLength = 49,
           .columns = columns,
           .unitOption = UnitOption::AfterSelection,
           .putRows = PutPMemRows<visit>};
}

// A parameter list with the name of a volume and, where there is one, of a region. Null after a failure,
// which is reported under the reader's name.
ParamListPtr CreateNameList(const char *reader, uint32_t capacity, const char *volume, const char *region);

// The same with a number after the names.
ParamListPtr CreateNumberedList(const char *reader, uint32_t capacity, const char *volume, const char *region,
                                int32_t number);

// A record read whose failure is reported under the reader's name.
bool GetRecord(const char *reader, NevraNode node, const Nevra_ParamList *params, void *record,
               size_t recordSize);

// Lists what a volume, or a region of it, has of a node. Null after a failure; that of the listing is silent.
ParamListPtr ListOf(const char *reader, NevraNode node, const char *volume, const char *region);

// A name whose reading is not checked: empty when it fails.
const char *NameAt(const Nevra_ParamList *list, uint32_t index);

// Copies the name of a volume or of a region (`what`) into a row. A name that does not fit is reported and
// ends the report.
bool CopyName(const char *name, const char *what, PMemName &field, PMemRun *run);

// Completes a row with its names and puts it out. `region` is null in the reports that have none.
template <typename Row, const auto &figures>
bool FinishRow(const FigureTable<Row, figures> &table, const char *volume, const char *region, Row *row,
               PMemRun *run)
{
   if (!CopyName(volume, "volume", row->volume, run)) {
      return false;
   }
   if constexpr (requires { row->region; }) {
      if (!CopyName(region, "region", row->region, run)) {
         return false;
      }
   }
   PutFigures(*run->output, table, *row, run->unit);
   return true;
}

#endif
