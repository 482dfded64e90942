// What a reader, a process of its own, tells the server through a pipe.
#ifndef EXPORTER_READER_MESSAGE_H
#define EXPORTER_READER_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "export/metric_collector.h"

namespace exporter {

// A report that has run, as in ReportRun; which one is told by its place among those that are run.
struct RunMessage {
   uint32_t report;
   uint32_t success;
   double seconds;
};

// What has been read so far.
struct Reading {
   std::string host;
   std::string problem;     // why nothing can be read
   std::string openMetrics; // whole families, in both formats
   std::string text004;
   std::vector<RunMessage> runs;
   uint64_t dropped = 0;
   bool isComplete = false;
};

// Writes messages. A write that fails ends the process: nobody waits for it any longer.
class MessageWriter {
 public:
   explicit MessageWriter(int pipe) : descriptor(pipe) {}

   void Host(std::string_view name) const;
   void Problem(std::string_view problem) const;
   void Families(std::string_view openMetrics, std::string_view text004) const;
   void Run(const RunMessage &run) const;
   void End(uint64_t dropped) const;

 private:
   void Put(uint32_t kind, std::string_view content) const;

   int descriptor;
};

// Takes bytes as they come.
class MessageParser {
 public:
   // False for what is no message.
   bool Take(std::string_view bytes, Reading *reading);

 private:
   static bool TakeMessage(uint32_t kind, std::string_view content, Reading *reading);

   std::string pending;
};

} // namespace exporter

#endif
