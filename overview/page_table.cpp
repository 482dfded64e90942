#include "overview/page_table.h"

#include <algorithm>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "export/row_writer.h"
#include "overview/page_text.h"

namespace overview {

namespace {

const char *RoleWordOf(Role role)
{
   return role == Role::Gauge ? "gauge" : role == Role::Counter ? "counter" : "label";
}

void WriteCell(JsonWriter &out, const Cell &cell)
{
   switch (cell.kind) {
   case CellKind::Text:
   case CellKind::FlagList:
      WriteText(out, cell.text);
      break;
   case CellKind::Flag:
      out.String(cell.integer == 'y' ? "y" : "n");
      break;
   case CellKind::Signed:
      WriteSigned(out, static_cast<int64_t>(cell.integer));
      break;
   case CellKind::Unsigned:
      WriteUnsigned(out, cell.integer);
      break;
   case CellKind::Missing:
      out.Null();
      break;
   case CellKind::Blank:
      out.String("");
      break;
   }
}

bool IsSameCell(const Cell &a, const Cell &b)
{
   return a.kind == b.kind && a.integer == b.integer && a.text == b.text;
}

bool IsSameRow(const CollectedRow &a, const CollectedRow &b)
{
   return std::ranges::equal(a.cells, b.cells, IsSameCell);
}

// The rows of one kind, by what says whom each is about.
using RowsByKey = std::unordered_map<std::string, const CollectedRow *>;

class TableWriter {
 public:
   TableWriter(JsonWriter *writer, const CollectedTable &table, size_t most)
       : out(*writer), now(table), mostRows(most)
   {
   }

   void Write(const CollectedTable *before)
   {
      out.StartObject();
      WriteHead();
      const std::vector<const CollectedRow *> rows = DataRowsOf(now);
      const size_t shown = std::min(rows.size(), mostRows);
      out.Key("rows");
      WriteRows(std::span(rows).first(shown));
      out.Key("leftOut");
      out.Uint64(rows.size() - shown);
      if (before != nullptr) {
         WriteBefore(rows, shown, *before);
      }
      out.EndObject();
   }

 private:
   void WriteHead()
   {
      WriteTextMember(out, "report", now.report);
      WriteTextMember(out, "title", now.title);
      out.Key("columns");
      out.StartArray();
      for (const Column &column : now.columns) {
         if (column.isShown) {
            WriteColumn(column);
         }
      }
      out.EndArray();
      out.Key("footer");
      WriteFooter();
      WriteLines(out, "notes", now.notes, now.notes.size());
      out.Key("complete");
      out.Bool(now.isComplete);
   }

   void WriteColumn(const Column &column)
   {
      out.StartObject();
      WriteTextMember(out, "name", column.name);
      WriteTextMember(out, "unit", column.unitWord);
      WriteTextMember(out, "role", RoleWordOf(column.role));
      WriteTextMember(out, "description", column.description);
      out.EndObject();
   }

   // Sums: of a tag, of all.
   void WriteFooter()
   {
      out.StartArray();
      for (const CollectedRow &row : now.rows) {
         if (row.kind != RowKind::Data) {
            out.StartObject();
            WriteTextMember(out, "kind", RowKindWord(row.kind));
            out.Key("cells");
            WriteRow(row);
            out.EndObject();
         }
      }
      out.EndArray();
   }

   void WriteRow(const CollectedRow &row)
   {
      out.StartArray();
      for (size_t i = 0; i < now.columns.size(); i++) {
         const bool hasNoSum = row.kind == RowKind::Total && !now.columns[i].isTotalled;
         if (now.columns[i].isShown && hasNoSum) {
            out.String("");
         } else if (now.columns[i].isShown) {
            WriteCell(out, row.cells[i]);
         }
      }
      out.EndArray();
   }

   void WriteRows(std::span<const CollectedRow *const> rows)
   {
      out.StartArray();
      for (const CollectedRow *row : rows) {
         WriteRow(*row);
      }
      out.EndArray();
   }

   void WriteBefore(const std::vector<const CollectedRow *> &rows, size_t shown, const CollectedTable &before)
   {
      RowsByKey former;
      std::vector<std::string> order; // of the rows before, by key
      for (const CollectedRow *row : DataRowsOf(before)) {
         order.push_back(KeyOf(*row, former));
         former.emplace(order.back(), row);
      }
      RowsByKey seen;
      out.Key("before");
      out.StartArray();
      for (size_t i = 0; i < rows.size(); i++) {
         const std::string key = KeyOf(*rows[i], seen);
         seen.emplace(key, rows[i]);
         if (i < shown) {
            const auto found = former.find(key);
            WriteFormer(*rows[i], found != former.end() ? found->second : nullptr);
         }
      }
      out.EndArray();
      std::vector<const CollectedRow *> gone;
      for (const std::string &key : order) {
         if (!seen.contains(key) && gone.size() < mostRows) {
            gone.push_back(former.at(key));
         }
      }
      out.Key("gone");
      WriteRows(gone);
   }

   void WriteFormer(const CollectedRow &row, const CollectedRow *former)
   {
      if (former == nullptr) {
         out.Null();
      } else if (IsSameRow(row, *former)) {
         out.Int(0);
      } else {
         WriteRow(*former);
      }
   }

   static std::vector<const CollectedRow *> DataRowsOf(const CollectedTable &table)
   {
      std::vector<const CollectedRow *> rows;
      for (const CollectedRow &row : table.rows) {
         if (row.kind == RowKind::Data) {
            rows.push_back(&row);
         }
      }
      return rows;
   }

   // The labels that the row begins with, made unique among those that are there already.
   std::string KeyOf(const CollectedRow &row, const RowsByKey &others)
   {
      std::string key;
      for (size_t i = 0; i < now.columns.size() && SaysWhom(now.columns[i].unit, now.columns[i].role); i++) {
         const Cell &cell = row.cells[i];
         key += cell.kind == CellKind::Text ? cell.text : std::to_string(cell.integer);
         key += '\0';
      }
      if (!others.contains(key)) {
         return key;
      }
      // Rows of one key are numbered, so that many of them take no longer than as many others.
      size_t &same = repetitions[&others][key];
      std::string unique;
      do {
         unique = key + std::to_string(++same);
      } while (others.contains(unique));
      return unique;
   }

   JsonWriter &out;
   const CollectedTable &now;
   size_t mostRows;
   std::map<const RowsByKey *, std::unordered_map<std::string, size_t>> repetitions;
};

} // namespace

void WriteTable(JsonWriter &out, const CollectedTable &now, const CollectedTable *before, size_t mostRows)
{
   // The columns are the same, unless a report gave no table then.
   const bool isCompared = before != nullptr && before->columns.size() == now.columns.size();
   TableWriter(&out, now, mostRows).Write(isCompared ? before : nullptr);
}

} // namespace overview
