#include "bench/group_database.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "frontend/report_table.h"
#include "report/column_table.h"
#include "report/report_description.h"

namespace {

const ReportColumn *GroupStatsColumns()
{
   return FindReport("group-stats")->description->columns;
}

} // namespace

void MakeGroupDatabase(const std::string &sqlite, const Places &places, const std::string &csv,
                       const std::string &database)
{
   std::string create = "CREATE TABLE groups(";
   for (const ReportColumn *column = GroupStatsColumns(); column->name != nullptr; column++) {
      create += std::string(column == GroupStatsColumns() ? "\"" : ", \"") + column->name +
                (std::strcmp(column->format, "s") == 0 ? "\" TEXT" : "\" INTEGER");
   }
   std::filesystem::remove(database);
   RunOnce({sqlite, "-batch", database, create + ")", ".import --csv --skip 1 " + csv + " groups"},
           places.work + "/output-of-import");
}

std::vector<std::string> PrintAsCsv(const std::string &sqlite, const std::string &database)
{
   return {sqlite, "-batch", "-readonly",           "-csv", "-header", "-newline",
           "\n",   database, "SELECT * FROM groups"};
}

std::vector<std::string> PrintAsTable(const std::string &sqlite, const std::string &database)
{
   std::string format;
   std::string values;
   for (const ReportColumn *column = GroupStatsColumns(); column->name != nullptr; column++) {
      const size_t width = std::max<size_t>(column->width, std::strlen(column->name));
      format += (format.empty() ? "%" : " %") + std::to_string(width) +
                (std::strcmp(column->format, "s") == 0 ? "s" : "d");
      values += std::string(", \"") + column->name + '"';
   }
   return {sqlite,  "-batch", "-readonly",
           "-list", database, "SELECT printf('" + format + "'" + values + ") FROM groups"};
}
