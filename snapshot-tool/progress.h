// One line of progress on a terminal, for work that takes longer than a second.
#ifndef SNAPSHOT_TOOL_PROGRESS_H
#define SNAPSHOT_TOOL_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>

class Progress {
 public:
   using Clock = std::function<std::chrono::steady_clock::time_point()>;

   // `what` is a verb's present participle ("reading"). Nothing is written to a stream that is no terminal.
   explicit Progress(const char *what);
   Progress(const char *what, FILE *stream, bool isTerminal, Clock clock);
   // Clears the line.
   ~Progress();
   Progress(const Progress &) = delete;
   Progress &operator=(const Progress &) = delete;

   // Call as often as you like. A total of 0 is unknown: `done` is then shown as it is.
   void Update(uint64_t done, uint64_t total);

 private:
   const char *what;
   FILE *stream;
   bool isTerminal;
   Clock clock;
   std::chrono::steady_clock::time_point next;
   bool isShown = false;
};

#endif
