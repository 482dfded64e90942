// A folder of the process, in memory where the system has a place for that.
#ifndef FUZZ_MEMORY_FOLDER_H
#define FUZZ_MEMORY_FOLDER_H

#include <string>

class MemoryFolder {
 public:
   explicit MemoryFolder(const std::string &name); // in $TMPDIR, else /dev/shm
   ~MemoryFolder();                                // removes it, with all that is in it
   MemoryFolder(const MemoryFolder &) = delete;
   MemoryFolder &operator=(const MemoryFolder &) = delete;

   const std::string &Path() const { return path; }

 private:
   std::string path;
};

#endif
