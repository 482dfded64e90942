#include "export/clickhouse_schema.h"

#include <algorithm>
#include <cctype>

#include "export/row_writer.h"

namespace {

constexpr char kDatabase[] = "hostmem";

// The report's name as a word of the language: "vm-stats" is vm_stats.
std::string TableName(const ReportEntry &report)
{
   std::string name = report.name;
   std::ranges::replace(name, '-', '_');
   return std::string(kDatabase) + "." + name;
}

std::string Quoted(std::string_view text)
{
   std::string quoted = "'";
   for (const char character : text) {
      if (character == '\'' || character == '\\') {
         quoted += '\\';
      }
      quoted += character;
   }
   return quoted + "'";
}

// An empty array and an empty text are values; the others have NULL where a row has no value.
const char *TypeOf(const ReportColumn &column)
{
   switch (column.unit) {
   case Unit::Text:
   case Unit::BitMask:
      return "LowCardinality(String)";
   case Unit::FlagList:
      return "Array(String)";
   case Unit::YesNo:
      return "Nullable(UInt8)";
   default:
      break;
   }
   switch (column.format[0]) {
   case 'u':
      return "Nullable(UInt32)";
   case 'd':
      return "Nullable(Int32)";
   default:
      return column.format[1] == 'd' ? "Nullable(Int64)" : "Nullable(UInt64)";
   }
}

std::string CommentOf(const ReportColumn &column)
{
   TableHead head = {};
   head.unit = UNIT_KB;
   const std::string unit = ShownUnit(column, head, Counters::Total);
   return unit.empty() ? column.description : std::string(column.description) + " (" + unit + ")";
}

void AddColumn(std::string *sql, std::string_view name, std::string_view type, std::string_view comment)
{
   sql->append("   `").append(name).append("` ").append(type);
   sql->append(" COMMENT ").append(Quoted(comment));
}

// What every row has.
void AddMoment(std::string *sql)
{
   AddColumn(sql, "host", "LowCardinality(String)", "Host that the row is of");
   *sql += ",\n";
   AddColumn(sql, "time", "DateTime('UTC')", "Moment that the row is of");
   *sql += ",\n";
   AddColumn(sql, "report", "LowCardinality(String)", "Report that the row is from");
   *sql += ",\n";
   const std::string kinds = std::string("Enum8('") + RowKindWord(RowKind::Data) + "' = 1, '" +
                             RowKindWord(RowKind::Tag) + "' = 2, '" + RowKindWord(RowKind::Total) + "' = 3)";
   AddColumn(sql, "row", kinds, "Kind of row: of one thing, of all with one tag, of all");
}

} // namespace

std::string ClickHouseDatabase()
{
   return std::string("CREATE DATABASE IF NOT EXISTS ") + kDatabase + ";\n";
}

std::string ClickHouseTable(const ReportEntry &report, std::string_view cluster)
{
   const std::string name = TableName(report);
   const std::string local = cluster.empty() ? name : name + "_local";
   std::string sql = "CREATE TABLE IF NOT EXISTS " + local + "\n(\n";
   AddMoment(&sql);
   for (const ReportColumn *column = report.description->columns; column->name != nullptr; column++) {
      sql += ",\n";
      AddColumn(&sql, column->name, TypeOf(*column), CommentOf(*column));
   }
   sql += "\n)\nENGINE = MergeTree\nPARTITION BY toDate(time)\nORDER BY (host, time, row);\n";
   if (!cluster.empty()) {
      sql += "CREATE TABLE IF NOT EXISTS " + name + " AS " + local + "\nENGINE = Distributed(" +
             Quoted(cluster) + ", " + kDatabase + ", " + local.substr(local.find('.') + 1) +
             ", cityHash64(host));\n";
   }
   return sql;
}

bool IsClusterName(std::string_view text)
{
   return !text.empty() && std::ranges::all_of(text, [](unsigned char character) {
      return std::isalnum(character) != 0 || character == '_' || character == '-' || character == '.';
   });
}
