// The storage that is a folder of this host.
#ifndef RECORDER_FOLDER_STORAGE_H
#define RECORDER_FOLDER_STORAGE_H

#include "nevra/linux/kernel_file.h"
#include "recorder/storage.h"

namespace recorder {

class FolderStorage : public Storage {
 public:
   explicit FolderStorage(std::string folderPath) : path(std::move(folderPath)) {}

   int TakeFolder() override;
   void ReleaseFolder() override;
   bool HasFolder() override;
   const std::string &Path() const override { return path; }
   int List(std::vector<StoredSegment> *segments) override;
   int Remove(const std::string &name) override;
   int Space(uint64_t *freeBytes, uint64_t *allBytes) override;
   int SyncFolder() override;
   int CreateSegment(const std::string &name) override;
   int Append(std::span<const uint8_t> bytes) override;
   int SyncSegment() override;
   void CloseSegment() override;
   bool HasSegment() override;

 private:
   int LockFolder();

   std::string path;
   nevra::FileDescriptor folder;
   nevra::FileDescriptor lock;
   nevra::FileDescriptor segment;
};

} // namespace recorder

#endif
