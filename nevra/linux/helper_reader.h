// Reads files that may never come back.
//
// A few files of a process wait for its memory lock: cmdline, smaps, smaps_rollup. A process that hangs while
// it holds the lock, on a file system that does not answer for example, would take the report with it. Such a
// read is done by a helper process; when nothing comes back in time, the helper is left to itself, and the
// read has failed. It is no thread, as a process does not end before the last of its threads does.
#ifndef NEVRA_LINUX_HELPER_READER_H
#define NEVRA_LINUX_HELPER_READER_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include <sys/types.h>

namespace nevra {

class HelperReader {
 public:
   HelperReader() = default;
   HelperReader(const HelperReader &) = delete;
   HelperReader &operator=(const HelperReader &) = delete;
   ~HelperReader();

   // Begins to read a file below the folder, which has to be the same for all files. False when there is no
   // helper to be had; the caller reads the file itself then.
   bool Begin(int directory, const char *path);

   // The next bytes of the file, as read() gives them: 0 at the end, -1 with errno set on failure, with
   // ETIMEDOUT when nothing came for `milliseconds`.
   ssize_t Next(char *bytes, size_t size, int milliseconds);

   // Gives up on the rest of the file.
   void Stop();

 private:
   bool Start(int directory);
   void Abandon();
   ssize_t Receive(void *bytes, size_t size, int milliseconds);

   int channel = -1;
   bool isReading = false;
   uint32_t pending = 0; // bytes of the part that is being received
   std::vector<pid_t> helpers;
};

} // namespace nevra

#endif
