// A file mapped for reading, whatever happens to the file meanwhile.
#ifndef NEVRA_SNAPSHOT_FILE_MAP_H
#define NEVRA_SNAPSHOT_FILE_MAP_H

#include <cstddef>
#include <cstdint>
#include <memory>

namespace nevra {

// The bytes of a file, and a page of zeros after them, so that no text runs off the map. Unmapped with the
// last copy.
//
// A read of what is no longer there, because the file was cut short, raises SIGBUS. While any file is mapped,
// a handler is installed that then writes "NAME: changed while it was read" to standard error and ends the
// process with exit status 1, or the one that was set; it passes on every other SIGBUS to the handler that it
// found. `name` is copied.
//
// Null when there is no memory, with errno.
std::shared_ptr<const uint8_t> MapFile(int descriptor, size_t size, const char *name);

// The exit status of a process that ends because a mapped file was cut short.
void SetExitStatusOfCutFile(int status);

} // namespace nevra

#endif
