// Files that are there whole or not at all.
#ifndef NEVRA_SNAPSHOT_REPLACE_FILE_H
#define NEVRA_SNAPSHOT_REPLACE_FILE_H

#include <cstdint>
#include <functional>
#include <span>
#include <string>

namespace nevra {

// Writes the parts, one after the other, to a temporary file beside `path`, syncs it and renames it to
// `path`. A link is followed; what is there and no regular file is left alone. On failure, and when an
// interrupt ends the process, the temporary file is removed and `path` is as it was; `*problem` then says
// why, without the path. Calls progress(bytes written) now and then, if there is one.
bool ReplaceFile(const char *path, std::span<const std::span<const uint8_t>> parts, std::string *problem,
                 const std::function<void(uint64_t)> &progress = nullptr);

} // namespace nevra

#endif
