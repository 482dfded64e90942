// Where the rows of reports go as data for machines: JSON, JSON lines or CSV, on one stream.
//
// Each row has the host and the moment that it is of. A number is a number, a flag true or false, a list of
// flags a list; what the host does not have is null in JSON and nothing in CSV, and so is what has no value
// in a row, such as a total of what cannot be added, which JSON leaves out. Names that are not UTF-8 are made
// so.
#ifndef EXPORT_ROW_WRITER_H
#define EXPORT_ROW_WRITER_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "report/table_output.h"

// Which host rows are of, and when; seconds since 1970, UTC.
struct Moment {
   std::string host;
   int64_t seconds = 0;
};

// What a counter's column shows: its count, or its change per second since the moment before.
enum class Counters : uint8_t { Total, PerSecond };

class RowWriter {
 public:
   explicit RowWriter(FILE *stream) : file(stream) {}
   virtual ~RowWriter() = default;
   RowWriter(const RowWriter &) = delete;
   RowWriter &operator=(const RowWriter &) = delete;

   // Of the tables that follow.
   void SetMoment(const Moment &now) { moment = now; }
   void SetCounters(Counters shown) { counters = shown; }

   virtual void Begin(const TableHead &head) = 0;
   // `rates` is null, or has what to show per column instead of its value: a change per second; not a number
   // when it is not known. Only those of counters are looked at.
   virtual void Row(RowKind kind, const CellValue *cells, const double *rates) = 0;
   virtual void Note(const char *text) = 0;
   virtual void End() = 0;
   // After the last table. A report that failed has left its table open.
   virtual void Finish() = 0;

   // The events of a report, for this writer. It must outlive the report's run.
   TableOutput AsOutput();

 protected:
   FILE *file;
   Moment moment;
   Counters counters = Counters::Total;
};

enum class RowFormat : uint8_t {
   Json,      // one array with an object per table: what is known of it, its columns, its rows
   JsonLines, // an object per line: a header when the columns change, and a flat one for each row
   JsonRows,  // the same with nothing but the rows
   Csv,       // quoted as in RFC 4180, lines ended by a newline; a header line when the columns change
};

std::unique_ptr<RowWriter> MakeRowWriter(RowFormat format, FILE *stream);

// What one row is: "data", "tag" or "total".
const char *RowKindWord(RowKind kind);

// The word for what a column is measured in, the unit that -u chose included; empty for a text or a flag.
std::string ShownUnit(const ReportColumn &column, const TableHead &head, Counters counters);

// Whether a row of this kind has no value in the column.
inline bool IsLeftOut(RowKind kind, const ReportColumn &column, const CellValue &cell)
{
   return cell.Kind() == CellKind::Blank || (kind == RowKind::Total && !column.totalled);
}

#endif
