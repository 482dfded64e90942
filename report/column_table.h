// Column tables: what a report shows, one row per column.
//
// A table is an array of ReportColumn ended by a row whose name is null. Tables are static and belong to
// their report; the selection changes `width` and `shown` in place, once, before the first line is printed.
#ifndef REPORT_COLUMN_TABLE_H
#define REPORT_COLUMN_TABLE_H

#include <cstdint>
#include <string>

// What a value is measured in. Memory, alone, is shown in the unit that -u chooses.
enum class Unit : uint8_t {
   Text,
   YesNo,    // a flag, shown as y or n
   FlagList, // names of a FlagName table, joined by ':'
   Id,
   Number, // a position, an index, a setting
   BitMask,
   Memory,
   Bytes,
   Pages4KB,
   Blocks2MB,
   Count,
   Shares,
   Percent,
   Microseconds,
   Ticks, // of a clock of the kernel's own
   PagesPerSecond,
};

// What a value is to those who work with rows: a label says who a row is about or in what state, a gauge goes
// up and down, a counter only goes up while the host runs.
enum class Role : uint8_t { Label, Gauge, Counter };

// Whether a column says whom a row is about, if all columns before it do. Labels that come later are states,
// which change while the row stays the same one.
constexpr bool SaysWhom(Unit unit, Role role)
{
   return role == Role::Label && (unit == Unit::Text || unit == Unit::Id || unit == Unit::Number);
}

// The three flags of a column by name.
inline constexpr uint8_t kTotalled = 1;
inline constexpr uint8_t kNotTotalled = 0;
inline constexpr uint8_t kKey = 1;
inline constexpr uint8_t kSelectable = 0;
inline constexpr uint8_t kShown = 1;
inline constexpr uint8_t kHidden = 0;

struct ReportColumn {
   const char *name;        // header text, and the word by which -s selects it
   const char *description; // printed by -v
   uint8_t width;           // characters; widened to the name's length by ApplyColumnSelection
   const char *format;      // printf suffix: "u", "d", "c" 32-bit, "lu", "ld" 64-bit, "s" text
   uint8_t totalled;        // has a value on the Total row
   uint8_t key;             // never removed by -s
   uint8_t shown;           // printed
   Unit unit = Unit::Text;
   Role role = Role::Label;
};

// The row that ends a table.
inline constexpr ReportColumn kEndOfColumns = {nullptr, nullptr, 0, nullptr, 0, 0, 0};

// True when `name` is one of the ':'-separated words of `selection`, in any case. Only the first 511
// characters of the selection take part; a word that the cut goes through is compared as what is left of it.
bool IsColumnSelected(const char *selection, const char *name);

// Hides every shown column that is no key and not selected (null: none is hidden), and widens each column to
// its name. It never shows a hidden column. Warns about a selection of more than 512 characters.
void ApplyColumnSelection(ReportColumn *table, const char *selection);

// The shown names joined by ':'; "(all)" when every column is shown, "(none)" when none is.
std::string FormatSelectedColumns(const ReportColumn *table);

// The word for a unit in the manuals: "memory", "count", "2 MB".
const char *UnitWord(Unit unit);

#endif
