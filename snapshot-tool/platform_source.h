// The node tree as hostmem sees it: through the libnevra.so.1 that the dynamic linker finds.
#ifndef SNAPSHOT_TOOL_PLATFORM_SOURCE_H
#define SNAPSHOT_TOOL_PLATFORM_SOURCE_H

#include <memory>
#include <string>

#include "nevra/source.h"

// Loads the library and checks that the kernel's node definitions are those of the library. Null with
// `*problem` when there is no library, when it lacks a symbol, or when the definitions differ. What the
// library says by itself, it says on standard error.
//
// The library is unloaded with the source: it may keep what it has read for as long as it is there, and the
// next source is to see the host anew.
std::unique_ptr<nevra::Source> OpenPlatformSource(std::string *problem);

#endif
