#include "fuzz/memory_folder.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "fuzz/fuzz_check.h"

MemoryFolder::MemoryFolder(const std::string &name)
{
   const char *above = std::getenv("TMPDIR");
   path = std::string(above != nullptr ? above : "/dev/shm") + "/" + name + "-XXXXXX";
   Require(mkdtemp(path.data()) != nullptr, "no folder: " + path);
}

MemoryFolder::~MemoryFolder()
{
   std::error_code ignored;
   std::filesystem::remove_all(path, ignored);
}
