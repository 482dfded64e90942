// Files that are there whole or not at all.
#ifndef NEVRA_SNAPSHOT_REPLACE_FILE_H
#define NEVRA_SNAPSHOT_REPLACE_FILE_H

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include <sys/stat.h>

namespace nevra {

// What becomes of a regular file that is there already.
enum class IfExists { Keep, Replace };

// Whether a file can be written at `path` as far as what is there goes. A link counts as what it is: who
// planted it would choose the file that is replaced.
bool CheckTarget(const char *path, IfExists ifExists, std::string *problem);

// Writes the parts, one after the other, to a temporary file beside `path`, syncs it and renames it to
// `path`; `mode` says who may read it, by default its owner alone. On failure, and when a signal ends the
// process, the temporary file is removed and `path` is as it was; `*problem` then says why, without the path.
// Calls progress(bytes written) now and then, if there is one.
bool ReplaceFile(const char *path, std::span<const std::span<const uint8_t>> parts, IfExists ifExists,
                 std::string *problem, const std::function<void(uint64_t)> &progress = nullptr,
                 mode_t mode = S_IRUSR | S_IWUSR);

} // namespace nevra

#endif
