// Runs of whole programs, measured.
#ifndef BENCH_PROCESS_H
#define BENCH_PROCESS_H

#include <cstddef>
#include <string>
#include <vector>

struct ProcessRun {
   double seconds = 0;         // wall time from spawn to exit
   size_t peakAnonymousKB = 0; // peak of the anonymous memory; only when sampled
   size_t peakResidentKB = 0;
   int exitStatus = -1;
   std::string standardError;
};

// Runs a program with standard output going to `outputPath`. With `sampleMemory` the run's anonymous memory
// is read from the kernel every few milliseconds.
ProcessRun RunProcess(const std::vector<std::string> &arguments, const std::string &outputPath,
                      bool sampleMemory = false);

// The fastest of `runs` runs: what the program needs, without what the machine did meanwhile. Ends the
// benchmark when a run exits with another status than 0.
ProcessRun FastestRun(const std::vector<std::string> &arguments, const std::string &outputPath, int runs);

#endif
