// The server's side of a reader: starts it, takes what it tells, and stops it when its time is up.
#ifndef EXPORTER_READER_PROCESS_H
#define EXPORTER_READER_PROCESS_H

#include <string>
#include <vector>

#include <sys/types.h>

#include "exporter/reader_message.h"
#include "exporter/report_reader.h"
#include "nevra/linux/kernel_file.h"

namespace exporter {

class ReaderProcess {
 public:
   // What a reader may tell, in bytes.
   explicit ReaderProcess(size_t mostBytes) : limit(mostBytes) {}
   ~ReaderProcess();
   ReaderProcess(const ReaderProcess &) = delete;
   ReaderProcess &operator=(const ReaderProcess &) = delete;

   // Starts one. False, with errno set, when the system has no room for it.
   bool Start(const ReadingChoices &choices);

   bool IsRunning() const { return pid > 0; }
   // Becomes readable when the reader has told something, or is gone. -1 while none runs.
   int Descriptor() const { return pipe.Get(); }

   // Takes what it has told. Returns whether it is done, for good or ill.
   bool Receive(Reading *reading);

   // Ends it, whatever it does, and takes what it has said on standard error, a line each.
   std::vector<std::string> Stop();

   // Without waiting, reaps the readers that have ended. Returns how many that were stopped have not ended
   // yet. The kernel lets go of a process only when the call that it is in comes back.
   size_t Reap();

 private:
   size_t limit;
   size_t received = 0;
   pid_t pid = -1;
   nevra::FileDescriptor pipe;
   nevra::FileDescriptor messages; // a file in memory: its standard error
   MessageParser parser;
   std::vector<pid_t> ended;
};

} // namespace exporter

#endif
