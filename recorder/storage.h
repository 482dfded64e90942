// What a recorder does with its folder: the few operations on files that a recording is written by. Tests put
// one in its place that stops at a given byte or fails.
//
// All return 0 or an errno.
#ifndef RECORDER_STORAGE_H
#define RECORDER_STORAGE_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace recorder {

struct StoredSegment {
   std::string name;
   uint64_t bytes = 0;
   int64_t changed = 0; // ns since 1970, UTC
};

class Storage {
 public:
   virtual ~Storage() = default;

   // Creates the folder, for its owner alone, if it is not there, and locks it until it is released. EBUSY
   // when another recorder has it.
   virtual int TakeFolder() = 0;
   virtual void ReleaseFolder() = 0;
   // Whether the path still leads to the folder that was taken.
   virtual bool HasFolder() = 0;
   virtual const std::string &Path() const = 0;

   // The segments in the folder, in the order of recording.
   virtual int List(std::vector<StoredSegment> *segments) = 0;
   virtual int Remove(const std::string &name) = 0;
   // Of the file system, in bytes: what is free for this process, and all of it.
   virtual int Space(uint64_t *freeBytes, uint64_t *allBytes) = 0;
   // Makes the names of new segments last.
   virtual int SyncFolder() = 0;

   // One segment is open at a time. Creating fails with EEXIST when there is one of that name.
   virtual int CreateSegment(const std::string &name) = 0;
   // Appends all of the bytes; on failure, some of them may have been.
   virtual int Append(std::span<const uint8_t> bytes) = 0;
   virtual int SyncSegment() = 0;
   virtual void CloseSegment() = 0;
   // Whether the open segment still has its name.
   virtual bool HasSegment() = 0;
};

} // namespace recorder

#endif
