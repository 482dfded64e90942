// Memory for the JSON library. Its own allocator gives null where there is none, and the library then writes
// there.
#ifndef SNAPSHOT_TOOL_JSON_MEMORY_H
#define SNAPSHOT_TOOL_JSON_MEMORY_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>

// An allocator as the library wants one; std::bad_alloc when memory is short.
struct JsonMemory {
   static constexpr bool kNeedFree = true;

   static void *Malloc(size_t size) { return size > 0 ? ::operator new(size) : nullptr; }
   static void *Realloc(void *block, size_t oldSize, size_t size)
   {
      void *moved = Malloc(size);
      if (block != nullptr && moved != nullptr) {
         std::memcpy(moved, block, std::min(oldSize, size));
      }
      Free(block);
      return moved;
   }
   static void Free(void *block) { ::operator delete(block); }
};

#endif
