// Where a report's rows go.
//
// A report says what happens: a table begins, a row comes, a section starts, a note is to be read, the table
// ends. An output says what that looks like. An output is one TableOutput in a file of its own; hostmem has
// two, the aligned table and CSV.
#ifndef REPORT_TABLE_OUTPUT_H
#define REPORT_TABLE_OUTPUT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "report/column_table.h"
#include "report/display_unit.h"
#include "report/flag_filter.h"

enum class CellKind : uint8_t {
   Blank,    // no value
   Text,     // Text()
   Flag,     // Integer() is 'y' or 'n'
   FlagList, // the bits of Mask() by the names of Flags()
   Signed,   // Integer(), as int64_t
   Unsigned, // Integer()
   Missing,  // not available: a figure that the host does not have; Integer() is all ones
};

// One value of a row. Texts and flag names are not owned: they live until the row has been put out.
class CellValue {
 public:
   CellValue() = default;        // blank
   CellValue(const char *value); // null is an empty text
   CellValue(const char *value, size_t length)
       : text(value), size(static_cast<uint32_t>(length)), kind(CellKind::Text)
   {
   }
   CellValue(uint32_t mask, const FlagName *names) : flags(names), size(mask), kind(CellKind::FlagList) {}
   CellValue(char value) : integer(static_cast<unsigned char>(value)), kind(CellKind::Flag) {}
   CellValue(uint32_t value) : integer(value), kind(CellKind::Unsigned) {}
   CellValue(int32_t value) : CellValue(int64_t{value}) {}
   CellValue(uint64_t value)
       : integer(value), kind(value == NotAvailable ? CellKind::Missing : CellKind::Unsigned)
   {
   }
   CellValue(int64_t value)
       : integer(static_cast<uint64_t>(value)),
         kind(integer == NotAvailable ? CellKind::Missing : CellKind::Signed)
   {
   }

   CellKind Kind() const { return kind; }
   std::string_view Text() const
   {
      return kind == CellKind::Text ? std::string_view(text, size) : std::string_view();
   }
   uint64_t Integer() const { return integer; }
   const FlagName *Flags() const { return flags; }
   uint32_t Mask() const { return size; }

 private:
   union {
      uint64_t integer = 0;
      const char *text;
      const FlagName *flags;
   };
   uint32_t size = 0; // a text's length, a flag list's mask
   CellKind kind = CellKind::Blank;
};

// 'y' for true, 'n' for false: how a flag column shows its value.
inline char YesNo(bool value)
{
   return value ? 'y' : 'n';
}

// Passes a number on as a format of one has it, in the format's width and with its sign.
template <typename Take>
constexpr decltype(auto) PassNumber(const char *format, uint64_t number, const Take &take)
{
   switch (format[0]) {
   case 'l':
      return format[1] == 'd' ? take(static_cast<int64_t>(number)) : take(number);
   case 'd':
      return take(static_cast<int32_t>(number));
   default:
      return take(static_cast<uint32_t>(number));
   }
}

// The value as its column's format has it, so that every output shows the same number.
CellValue FitToColumn(const ReportColumn &column, CellValue value);

enum class RowKind : uint8_t {
   Data,
   Tag,   // the sum of the groups with one tag
   Total, // the sum of all rows; columns that are not totalled have no value
};

// A line of the banner.
struct BannerSetting {
   const char *name;
   CellValue value;
};

// What is known before the first row. Lives as long as the table.
struct TableHead {
   const char *report; // its type: "vm-stats"
   const char *title;  // "VIRTUAL MACHINE STATS"
   int ruleLength;     // dashes under the title
   const ReportColumn *columns;
   DisplayUnit unit; // of the columns whose unit is Memory
   std::span<const BannerSetting> settings;
};

// The events of one table, in order: begin; rows, parted by sections; notes; end. A report that fails on its
// way leaves out what has not happened yet. The profiler without -q has no table, since its counts go to a
// file: it sends notes and the end alone. `state` belongs to the output and goes to each of its functions.
struct TableOutput {
   void (*begin)(void *state, const TableHead &head);
   // `cells` has one value per column of the table, hidden columns included.
   void (*row)(void *state, RowKind kind, const CellValue *cells);
   // The rows before and those after belong to different sections. `title` may be null.
   void (*section)(void *state, const char *title);
   // A line for the reader, after the last row.
   void (*note)(void *state, const char *text);
   void (*end)(void *state);
   void *state;

   void Begin(const TableHead &head) const { begin(state, head); }
   void Row(RowKind kind, const CellValue *cells) const { row(state, kind, cells); }
   void Section(const char *title = nullptr) const { section(state, title); }
   void Note(const char *text) const { note(state, text); }
   void End() const { end(state); }
};

extern const TableOutput kAlignedTable; // for people; banner, rules, columns on a grid
extern const TableOutput kCsvTable;     // for scripts; a header line and the rows, nothing quoted

// The outputs that a run may choose from: `csv` with -q, else `table`.
struct TableOutputs {
   const TableOutput *table = &kAlignedTable;
   const TableOutput *csv = &kCsvTable;
};

// Puts out one row. It has as many values as the table has columns, or it does not compile.
template <size_t N>
void PutRow(const TableOutput &output, RowKind kind, const ReportColumn (&columns)[N],
            std::array<CellValue, N - 1> cells)
{
   for (size_t i = 0; i < cells.size(); i++) {
      cells[i] = FitToColumn(columns[i], cells[i]);
   }
   output.Row(kind, cells.data());
}

template <size_t N, typename... Values>
requires(sizeof...(Values) == N - 1) void PutRow(const TableOutput &output, RowKind kind,
                                                 const ReportColumn (&columns)[N], const Values &...values)
{
   PutRow(output, kind, columns, std::array<CellValue, N - 1>{CellValue(values)...});
}

// The description of every shown column, as notes.
void DescribeColumns(const TableOutput &output, const ReportColumn *table);

#endif
