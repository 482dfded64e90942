// usage: rows_program csv|json|jsonl REPORT [OPTION...]
// Writes the rows of a report to standard output, as of host "elm" at the first second of 1970.
#include <cstdio>
#include <cstring>
#include <memory>

#include "export/row_writer.h"
#include "export/run_report.h"

int main(int argc, char **argv)
{
   if (argc < 3 || FindReport(argv[2]) == nullptr) {
      return 2;
   }
   const RowFormat format = std::strcmp(argv[1], "json") == 0    ? RowFormat::Json
                            : std::strcmp(argv[1], "jsonl") == 0 ? RowFormat::JsonLines
                                                                 : RowFormat::Csv;
   const std::unique_ptr<RowWriter> writer = MakeRowWriter(format, stdout);
   writer->SetMoment({"elm", 0});
   const NevraStatus status = RunReport(*FindReport(argv[2]), {argv + 3, argv + argc}, writer->AsOutput());
   writer->Finish();
   return status == NEVRA_OK ? 0 : 1;
}
