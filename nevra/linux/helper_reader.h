// Reads files that may never come back.
//
// A few files of a process wait for its memory lock: cmdline, smaps, smaps_rollup. A process that hangs while
// it holds the lock, on a file system that does not answer for example, would take the report with it. Such a
// read is done by a helper process; when nothing comes back in time, the helper is left to itself, and the
// read has failed. It is no thread, as a process does not end before the last of its threads does.
#ifndef NEVRA_LINUX_HELPER_READER_H
#define NEVRA_LINUX_HELPER_READER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>

#include <sys/types.h>

namespace nevra {

class HelperReader {
 public:
   HelperReader() = default;
   HelperReader(const HelperReader &) = delete;
   HelperReader &operator=(const HelperReader &) = delete;
   ~HelperReader();

   // Begins to read a file below the folder, which has to be the same for all files; what is left of the file
   // before is given up. The whole file has to come within `milliseconds`. False, with errno set, when there
   // is no helper to be had.
   bool Begin(int directory, const char *path, int milliseconds);

   // The next bytes of the file, as read() gives them: 0 at the end, -1 with errno set on failure, with
   // ETIMEDOUT when the time is up.
   ssize_t Next(char *bytes, size_t size);

   // Gives up on the rest of the file.
   void Stop();

 private:
   bool Start(int directory);
   void Abandon();
   ssize_t Receive(void *bytes, size_t size);

   int channel = -1;
   bool isReading = false;
   uint32_t pending = 0; // bytes of the part that is being received
   std::chrono::steady_clock::time_point deadline;
   std::list<pid_t> helper; // the one at the other end of the channel
};

} // namespace nevra

#endif
