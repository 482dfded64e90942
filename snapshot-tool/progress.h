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

   // The participle, for example "reading", says what is done. Nothing is written to what is no terminal.
   explicit Progress(const char *participle);
   Progress(const char *participle, FILE *output, bool outputIsTerminal, Clock now);
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
