// The part of hostmem-export that makes tables for the rows elsewhere.
#ifndef EXPORT_TOOL_SCHEMA_COMMAND_H
#define EXPORT_TOOL_SCHEMA_COMMAND_H

#include <string>

struct SchemaRequest {
   std::string engine;  // "clickhouse"
   std::string cluster; // empty: one server
};

// Prints the statements that make the tables of all reports. Writes its messages itself and returns the exit
// status: 0 when done, 1 when the output failed, 2 for what cannot be meant.
int SchemaCommand(const SchemaRequest &request);

#endif
