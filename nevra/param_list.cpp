#include "nevra/param_list.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

struct Nevra_ParamList::TextBlock {
   TextBlock *next;
   size_t used;
   size_t size;
   char bytes[];
};

namespace {

constexpr uint32_t kMostRecycled = 64;
Nevra_ParamList *recycled = nullptr;
uint32_t recycledCount = 0;

} // namespace

void Nevra_ParamList::FreeRecycled() noexcept
{
   while (recycled != nullptr) {
      std::free(std::exchange(recycled, recycled->nextFree));
   }
   recycledCount = 0;
}

// When the process ends, or unloads the library: a recorder does that after each snapshot.
[[gnu::destructor]] static void AtTheEnd()
{
   Nevra_ParamList::FreeRecycled();
}

Nevra_ParamList *Nevra_ParamList::Create(int kind, uint32_t capacity) noexcept
{
   Nevra_ParamList *list = recycled;
   if (list != nullptr) {
      recycled = list->nextFree;
      recycledCount--;
   } else {
      list = static_cast<Nevra_ParamList *>(std::malloc(sizeof(Nevra_ParamList)));
      if (list == nullptr) {
         return nullptr;
      }
   }
   list->kind = kind;
   list->capacity = capacity;
   list->used = 0;
   list->room = kInlineParams;
   list->params = list->inlineParams;
   list->texts = nullptr;
   list->nextFree = nullptr;
   return list;
}

void Nevra_ParamList::Destroy(Nevra_ParamList *list) noexcept
{
   if (list == nullptr) {
      return;
   }
   if (list->params != list->inlineParams) {
      std::free(list->params);
   }
   while (list->texts != nullptr) {
      TextBlock *next = list->texts->next;
      std::free(list->texts);
      list->texts = next;
   }
   if (recycledCount < kMostRecycled) {
      list->nextFree = recycled;
      recycled = list;
      recycledCount++;
   } else {
      std::free(list);
   }
}

bool Nevra_ParamList::Grow(uint32_t entries) noexcept
{
   const bool isInline = params == inlineParams;
   void *grown =
      std::realloc(isInline ? nullptr : params, static_cast<size_t>(entries) * sizeof(Nevra_Param));
   if (grown == nullptr) {
      return false;
   }
   params = static_cast<Nevra_Param *>(grown);
   if (isInline) {
      std::memcpy(params, inlineParams, used * sizeof(Nevra_Param));
   }
   room = entries;
   return true;
}

bool Nevra_ParamList::Reserve(uint32_t entries, size_t textBytes) noexcept
{
   if (entries > room && !Grow(entries)) {
      return false;
   }
   if (textBytes == 0) {
      return true;
   }
   TextBlock *block = static_cast<TextBlock *>(std::malloc(sizeof(TextBlock) + textBytes));
   if (block == nullptr) {
      return false;
   }
   block->next = texts;
   block->used = 0;
   block->size = textBytes;
   texts = block;
   return true;
}

char *Nevra_ParamList::AllocateText(size_t bytes) noexcept
{
   constexpr size_t kBlockBytes = 4096;
   if (texts == nullptr || texts->size - texts->used < bytes) {
      const size_t smallest = texts == nullptr ? 128 : kBlockBytes;
      if (!Reserve(0, std::max(bytes, smallest))) {
         return nullptr;
      }
   }
   char *text = texts->bytes + texts->used;
   texts->used += bytes;
   return text;
}

NevraStatus Nevra_ParamList::Add(Nevra_Param param) noexcept
{
   if (used == capacity) {
      return NEVRA_LIMIT_EXCEEDED;
   }
   if (used == room && !Grow(room <= kUnbounded / 2 ? room * 2 : kUnbounded)) {
      return NEVRA_OUT_OF_MEMORY;
   }
   params[used++] = param;
   return NEVRA_OK;
}

NevraStatus Nevra_ParamList::AddInt(int64_t value) noexcept
{
   return Add({value, nullptr});
}

NevraStatus Nevra_ParamList::AddText(std::string_view text) noexcept
{
   if (IsFull()) {
      return NEVRA_LIMIT_EXCEEDED;
   }
   char *copy = AllocateText(text.size() + 1);
   if (copy == nullptr) {
      return NEVRA_OUT_OF_MEMORY;
   }
   std::memcpy(copy, text.data(), text.size());
   copy[text.size()] = '\0';
   return Add({0, copy});
}

NevraStatus Nevra_ParamList::AddLastingText(const char *text) noexcept
{
   return Add({0, text});
}

NevraStatus Nevra_ParamList::RemoveLast() noexcept
{
   if (used == 0) {
      return NEVRA_NOT_FOUND;
   }
   used--;
   return NEVRA_OK;
}
