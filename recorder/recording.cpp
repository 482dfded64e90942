#include "recorder/recording.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include <dirent.h>
#include <sys/stat.h>

namespace recorder {

namespace {

struct CloseFolder {
   void operator()(DIR *folder) const { closedir(folder); }
};

// The names of the segments in a folder, in the order of recording.
bool ListSegments(const std::string &path, std::vector<std::string> *names)
{
   const std::unique_ptr<DIR, CloseFolder> folder(opendir(path.c_str()));
   if (folder == nullptr) {
      return false;
   }
   std::vector<std::pair<uint64_t, std::string>> found;
   errno = 0;
   while (const dirent *entry = readdir(folder.get())) {
      uint64_t sequence = 0;
      if (ParseSegmentName(entry->d_name, &sequence)) {
         found.emplace_back(sequence, entry->d_name);
      }
   }
   if (errno != 0) {
      return false;
   }
   std::ranges::sort(found);
   for (auto &[sequence, name] : found) {
      names->push_back(std::move(name));
   }
   return true;
}

} // namespace

void Recording::AddSegment(const std::string &path, const std::string &name)
{
   Segment segment;
   segment.path = path;
   segment.name = name;
   segment.firstFrame = frames.size();
   SegmentReader opened;
   if (opened.Open(path, readLimits, &segment.problem)) {
      segment.header = opened.Header();
      segment.fileBytes = opened.FileBytes();
      segment.isSealed = opened.IsSealed();
      segment.unfinishedBytes = opened.UnfinishedBytes();
      segment.problem = opened.Damage();
      segment.frameCount = opened.Frames().size();
      for (size_t i = 0; i < segment.frameCount; i++) {
         const SegmentFrame &frame = opened.Frames()[i];
         frames.push_back(
            {frame.header, static_cast<uint32_t>(segments.size()), static_cast<uint32_t>(i), frame.depth});
      }
   }
   segments.push_back(std::move(segment));
}

bool Recording::Open(const std::string &path, std::string *problem, const ReadLimits &limits)
{
   *this = Recording();
   readLimits = limits;
   struct stat status = {};
   if (stat(path.c_str(), &status) != 0) {
      *problem = std::string("cannot be read: ") + std::strerror(errno);
      return false;
   }
   if (!S_ISDIR(status.st_mode)) {
      AddSegment(path, path.substr(path.rfind('/') + 1));
      if (segments[0].frameCount == 0 && !segments[0].problem.empty()) {
         *problem = segments[0].problem;
         return false;
      }
      return true;
   }
   std::vector<std::string> names;
   if (!ListSegments(path, &names)) {
      *problem = std::string("cannot be read: ") + std::strerror(errno);
      return false;
   }
   for (const std::string &name : names) {
      AddSegment(path + '/' + name, name);
   }
   return true;
}

bool Recording::Read(size_t frame, std::vector<uint8_t> *snapshot, std::string *problem)
{
   if (frame >= frames.size()) {
      *problem = "no such frame";
      return false;
   }
   const Frame &wanted = frames[frame];
   const Segment &segment = segments[wanted.segment];
   std::string what;
   if (openSegment != wanted.segment) {
      openSegment = SIZE_MAX;
      if (!reader.Open(segment.path, readLimits, &what)) {
         *problem = segment.name + ": " + what;
         return false;
      }
      openSegment = wanted.segment;
   }
   // The segment may have grown since, and another file may have taken its place.
   const std::vector<SegmentFrame> &found = reader.Frames();
   if (wanted.position >= found.size() || found[wanted.position].header.sequence != wanted.header.sequence) {
      *problem = segment.name + ": it has changed";
      return false;
   }
   if (!reader.Read(wanted.position, snapshot, &what)) {
      *problem = segment.name + ": " + what;
      return false;
   }
   return true;
}

} // namespace recorder
