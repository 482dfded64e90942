// The grid alone: one row of ten numbers and a name, against the C library's printf.
#include <cstdio>
#include <iostream>

#include <benchmark/benchmark.h>

#include "report/grid.h"

namespace {

ReportColumn columns[] = {
   {"name", "", 28, "s", 0, 0, 1}, {"c1", "", 10, "lu", 0, 0, 1},  {"c2", "", 10, "lu", 0, 0, 1},
   {"c3", "", 10, "lu", 0, 0, 1},  {"c4", "", 10, "lu", 0, 0, 1},  {"c5", "", 10, "lu", 0, 0, 1},
   {"c6", "", 10, "lu", 0, 0, 1},  {"c7", "", 10, "lu", 0, 0, 1},  {"c8", "", 10, "lu", 0, 0, 1},
   {"c9", "", 10, "lu", 0, 0, 1},  {"c10", "", 10, "lu", 0, 0, 1}, kEndOfColumns,
};

constexpr uint64_t kFigure = 1234567;

void OpenSink()
{
   if (std::freopen("/dev/null", "w", stdout) == nullptr) {
      std::perror("/dev/null");
   }
}

void GridRow(benchmark::State &state)
{
   const bool csv = state.range(0) != 0;
   for (auto _ : state) {
      const CellValue cells[] = {"group-12345.scope",
                                 kFigure,
                                 kFigure,
                                 kFigure,
                                 kFigure,
                                 kFigure,
                                 kFigure,
                                 kFigure,
                                 kFigure,
                                 kFigure,
                                 kFigure};
      PrintReportRow(columns, csv, false, cells);
   }
}
BENCHMARK(GridRow)->Arg(0)->Arg(1);

// cppcheck-suppress constParameterCallback // the loop counts in it
void PrintfRow(benchmark::State &state)
{
   for (auto _ : state) {
      std::printf("%*s %*lu %*lu %*lu %*lu %*lu %*lu %*lu %*lu %*lu %*lu\n", 28, "group-12345.scope", 10,
                  kFigure, 10, kFigure, 10, kFigure, 10, kFigure, 10, kFigure, 10, kFigure, 10, kFigure, 10,
                  kFigure, 10, kFigure, 10, kFigure);
   }
}
BENCHMARK(PrintfRow);

// The report goes to standard error, since the rows go to standard output.
class ErrorReporter : public benchmark::ConsoleReporter {
 public:
   ErrorReporter() : ConsoleReporter(OO_Tabular) { SetOutputStream(&std::cerr); }
};

} // namespace

int main(int argc, char **argv)
{
   benchmark::Initialize(&argc, argv);
   OpenSink();
   ErrorReporter reporter;
   benchmark::RunSpecifiedBenchmarks(&reporter);
   return 0;
}
