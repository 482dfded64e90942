// The rows of a report at one moment after the other, on their way to a writer: which of them pass, and how
// fast their counters went up.
#ifndef RECORDER_SERIES_WRITER_H
#define RECORDER_SERIES_WRITER_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "export/row_writer.h"

namespace recorder {

// Rows pass whose column has a text that the pattern matches, as the shell matches names of files.
struct RowMatch {
   std::string column;
   std::string pattern;
};

// "name=db-*". False for a text without a column or "=".
bool ParseRowMatch(const std::string &text, RowMatch *match);

class SeriesWriter {
 public:
   // Rows that match all of `matches` go to `next`, with rates if it shows counters per second.
   SeriesWriter(RowWriter *next, std::vector<RowMatch> matches, Counters counters);

   // The moment of the tables that follow. `bootTime` is in ns since the host booted; `boot` differs from
   // boot to boot, and no rate goes across one.
   void SetMoment(const Moment &moment, int64_t bootTime, const std::string &boot);

   // The tables that follow are only looked at, for the rates of those after them.
   void SetSilent(bool silent) { isSilent = silent; }

   // The events of a report.
   TableOutput AsOutput();

   // Why rows could not be matched: a column that the table does not have or show. Empty as a rule.
   const std::string &Problem() const { return problem; }

 private:
   static SeriesWriter *Of(void *state) { return static_cast<SeriesWriter *>(state); }
   void Begin(const TableHead &head);
   void End();
   void Row(RowKind kind, const CellValue *cells);
   bool Matches(const CellValue *cells);
   void TakeRates(const CellValue *cells);
   std::string KeyOf(const CellValue *cells);

   RowWriter *writer;
   std::vector<RowMatch> rowMatches;
   Counters shown;
   bool isSilent = false;
   std::string problem;

   int64_t time = 0;
   std::string bootOfTime;
   double elapsed = 0; // seconds since the moment before; 0: not known

   const ReportColumn *columns = nullptr;
   std::vector<size_t> matchPositions; // of the matches' columns
   std::vector<size_t> keyPositions;   // of the columns that say whom a row is about
   std::vector<double> rates;          // of the row in hand, by column
   using CountsByKey = std::map<std::string, std::vector<uint64_t>>;
   CountsByKey before;
   CountsByKey now;
};

} // namespace recorder

#endif
