// The tables that take the rows of the reports in ClickHouse.
#ifndef EXPORT_CLICKHOUSE_SCHEMA_H
#define EXPORT_CLICKHOUSE_SCHEMA_H

#include <string>
#include <string_view>

#include "frontend/report_table.h"

// The statements that make the database "hostmem" and the table of a report: a column for the host, for the
// moment, for the report and for the kind of row, as JSON lines have them, and one for each of the report's,
// those that only an option shows included.
// Amounts of memory are in KB. The figures of a row that has none, or that the host does not have, are NULL.
//
// With a `cluster`, the table of each server is called ..._local, and the table without this ending spreads
// the rows over the cluster's servers, by host, and reads from all of them.
std::string ClickHouseDatabase();
std::string ClickHouseTable(const ReportEntry &report, std::string_view cluster);

// Whether a text can be the name of a cluster: letters, digits, '_', '-' and '.'.
bool IsClusterName(std::string_view text);

#endif
