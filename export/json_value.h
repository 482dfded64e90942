// Values and columns of a report as JSON.
#ifndef EXPORT_JSON_VALUE_H
#define EXPORT_JSON_VALUE_H

#include <string_view>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "export/row_writer.h"
#include "snapshot-tool/json_memory.h"

using JsonBuffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, JsonMemory>;
using JsonWriter = rapidjson::Writer<JsonBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>, JsonMemory>;

// A string. What could steer a terminal is escaped, what is not UTF-8 replaced.
void WriteJsonText(JsonWriter &out, std::string_view text);

void WriteJsonValue(JsonWriter &out, const CellValue &value);

// "host" and "time", as members of the object in hand.
void WriteJsonMoment(JsonWriter &out, const Moment &moment);

// [{"name": ..., "unit": ..., "role": ..., "description": ...}, ...], of the shown columns.
void WriteJsonColumns(JsonWriter &out, const TableHead &head, Counters counters);

// The shown columns of a row that have a value, as members of the object in hand.
void WriteJsonCells(JsonWriter &out, const ReportColumn *columns, RowKind kind, const CellValue *cells,
                    const double *rates);

// Writes what is in the buffer to a stream, and empties it.
void PutJson(JsonBuffer &buffer, FILE *file);

#endif
