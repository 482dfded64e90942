// Runs of whole programs, measured.
#ifndef BENCH_PROCESS_H
#define BENCH_PROCESS_H

#include <cstddef>
#include <string>
#include <vector>

struct ProcessRun {
   double seconds = 0;         // wall time from spawn to exit
   double cpuSeconds = 0;      // user and system time, of its children too
   size_t peakAnonymousKB = 0; // peak of the anonymous memory; only when sampled
   size_t peakResidentKB = 0;
   int exitStatus = -1;
   std::string standardError;
};

// Runs a program with standard output going to `outputPath`. With `sampleMemory` the run's anonymous memory
// is read from the kernel every few milliseconds.
ProcessRun RunProcess(const std::vector<std::string> &arguments, const std::string &outputPath,
                      bool sampleMemory = false);

// A program that is measured beside others.
struct Contender {
   std::vector<std::string> command;
   std::string outputPath;
   bool timesItself =
      false; // what counts are the nanoseconds, wall and CPU, that it prints to standard error
};

// What a contender needs, without what the machine did meanwhile: the least of its runs.
struct Figures {
   double seconds = 0;
   double cpuSeconds = 0;
};

// How often contenders are run: until the time is over, within the bounds.
struct Rounds {
   int least = 3;
   int most = 1000;
   double seconds = 3;
};

// Runs the contenders in turn, round after round, so that whatever changes on the machine meanwhile hits them
// all. Ends the benchmark when a run exits with another status than 0.
std::vector<Figures> RunInTurn(const std::vector<Contender> &contenders, const Rounds &rounds);

// Runs a program once; ends the benchmark when it exits with another status than 0.
void RunOnce(const std::vector<std::string> &arguments, const std::string &outputPath);

#endif
