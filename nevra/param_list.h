// Parameter lists: the library's side of Nevra_ParamList.
//
// A list holds integers and texts in order. It grows on demand up to its capacity; texts are kept in the
// list's own storage. Small lists are recycled: a report makes and destroys several for every row.
#ifndef NEVRA_PARAM_LIST_H
#define NEVRA_PARAM_LIST_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

#include "nevra/nevra.h"

struct Nevra_Param {
   int64_t integer;
   const char *text; // null for an integer
};

// cppcheck-suppress noConstructor // Create fills in everything
struct Nevra_ParamList {
   static constexpr uint32_t kUnbounded = std::numeric_limits<uint32_t>::max();

   // Null when memory is short. The caller destroys the list.
   static Nevra_ParamList *Create(int kind, uint32_t capacity) noexcept;
   static void Destroy(Nevra_ParamList *list) noexcept;
   // Frees the lists that Destroy keeps for Create.
   static void FreeRecycled() noexcept;

   // Reserves room ahead of use: entries and bytes of text. False when memory is short.
   bool Reserve(uint32_t entries, size_t textBytes) noexcept;

   // "Limit exceeded" when the list is full, "Out of memory" when memory is short.
   NevraStatus AddInt(int64_t value) noexcept;
   NevraStatus AddText(std::string_view text) noexcept;   // copied
   NevraStatus AddLastingText(const char *text) noexcept; // outlives the list; not copied
   NevraStatus RemoveLast() noexcept;

   uint32_t Used() const { return used; }
   bool IsFull() const { return used == capacity; }
   const Nevra_Param &operator[](uint32_t index) const { return params[index]; }

   int kind;
   uint32_t capacity;
   uint32_t used;

 private:
   static constexpr uint32_t kInlineParams = 6;
   struct TextBlock;

   NevraStatus Add(Nevra_Param param) noexcept;
   bool Grow(uint32_t entries) noexcept;
   char *AllocateText(size_t bytes) noexcept;

   uint32_t room; // entries that `params` has room for
   Nevra_Param *params;
   TextBlock *texts;
   Nevra_ParamList *nextFree; // in the list of recycled lists
   Nevra_Param inlineParams[kInlineParams];
};

#endif
