#include "nevra/linux/slab_heaps.h"

#include <algorithm>
#include <limits>

#include "nevra/linux/kernel_text.h"
#include "nevra/linux/shown_text.h"

namespace nevra {

namespace {

template <typename Integer> Integer Narrow(uint64_t value)
{
   return static_cast<Integer>(std::min(value, static_cast<uint64_t>(std::numeric_limits<Integer>::max())));
}

} // namespace

NevraStatus ListHeaps(LinuxHost &host, Nevra_ParamList &instances)
{
   if (host.SlabCaches().empty()) {
      return NEVRA_NOT_FOUND;
   }
   for (const SlabCache &cache : host.SlabCaches()) {
      const NevraStatus status = instances.IsFull() ? NEVRA_OK : instances.AddText(cache.name);
      if (status != NEVRA_OK) {
         return status;
      }
   }
   return NEVRA_OK;
}

NevraStatus ReadHeap(LinuxHost &host, std::string_view name, HeapStatsRecord &record)
{
   const std::vector<SlabCache> &caches = host.SlabCaches();
   const auto cache = std::find_if(caches.begin(), caches.end(),
                                   [name](const SlabCache &candidate) { return candidate.name == name; });
   if (cache == caches.end()) {
      return NEVRA_NOT_FOUND;
   }
   const uint64_t slabBytes = MultiplyClamped(cache->pagesPerSlab, PageKB() * 1024);
   const uint64_t size = MultiplyClamped(cache->slabs, slabBytes);
   const uint64_t objectBytes = MultiplyClamped(cache->objects, cache->objectBytes);
   const uint64_t avail =
      MultiplyClamped(SubtractClamped(cache->objects, cache->activeObjects), cache->objectBytes);
   StoreShownText(record.name, sizeof record.name, cache->name);
   record.dynGrow = 1;
   record.numRanges = Narrow<int32_t>(cache->slabs);
   record.overhead = Narrow<uint32_t>(SubtractClamped(size, objectBytes));
   record.size = Narrow<uint32_t>(size);
   record.avail = Narrow<uint32_t>(avail);
   record.pctFreeOfCur = size >= 100 ? Narrow<uint32_t>(avail / (size / 100)) : 0;
   record.avgAllocSize = Narrow<uint32_t>(cache->objectBytes);
   return NEVRA_OK;
}

} // namespace nevra
