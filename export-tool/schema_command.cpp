#include "export-tool/schema_command.h"

#include <cstdio>

#include "export/clickhouse_schema.h"
#include "frontend/report_table.h"
#include "recorder/message.h"

int SchemaCommand(const SchemaRequest &request)
{
   if (request.engine != "clickhouse") {
      recorder::Complain(request.engine, "no such engine: clickhouse is");
      return recorder::kExitTrouble;
   }
   if (!request.cluster.empty() && !IsClusterName(request.cluster)) {
      recorder::Complain("--cluster", "a name has letters, digits, '_', '-' and '.'");
      return recorder::kExitTrouble;
   }
   std::fputs(ClickHouseDatabase().c_str(), stdout);
   for (const ReportEntry &report : Reports()) {
      if (report.source != ReportSource::LiveOnly) { // which is not exported
         std::printf("\n%s", ClickHouseTable(report, request.cluster).c_str());
      }
   }
   return recorder::FinishOutput() ? recorder::kExitDone : recorder::kExitFailed;
}
