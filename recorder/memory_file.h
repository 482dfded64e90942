// A snapshot that another program is to read, in memory alone.
#ifndef RECORDER_MEMORY_FILE_H
#define RECORDER_MEMORY_FILE_H

#include <cstdint>
#include <span>
#include <string>

namespace recorder {

// Puts the bytes into a sealed file without a name, which stays open across exec, and gives the path by which
// this process and its successor open it. Empty when there is no memory, with errno.
std::string MakeMemoryFile(std::span<const uint8_t> bytes);

} // namespace recorder

#endif
