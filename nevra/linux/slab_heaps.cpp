#include "nevra/linux/slab_heaps.h"

#include <set>
#include <vector>

#include "nevra/linux/kernel_text.h"
#include "nevra/shown_text.h"

namespace nevra {

NevraStatus ListHeaps(LinuxHost &host, Nevra_ParamList &instances)
{
   if (host.SlabCaches().empty()) {
      return NEVRA_NOT_FOUND;
   }
   std::set<std::string_view> names;
   for (const SlabCache &cache : host.SlabCaches()) {
      const bool isListed = names.insert(cache.name).second && !instances.IsFull();
      const NevraStatus status = isListed ? instances.AddText(cache.name) : NEVRA_OK;
      if (status != NEVRA_OK) {
         return status;
      }
   }
   return NEVRA_OK;
}

NevraStatus ReadHeap(LinuxHost &host, std::string_view name, HeapStatsRecord &record)
{
   uint64_t objects = 0;
   uint64_t objectBytes = 0;
   uint64_t avail = 0;
   uint64_t slabs = 0;
   uint64_t size = 0;
   const std::vector<const SlabCache *> caches = host.SlabCachesNamed(name);
   for (const SlabCache *entry : caches) {
      const SlabCache &cache = *entry;
      const uint64_t unused = SubtractClamped(cache.objects, cache.activeObjects);
      const uint64_t slabBytes = MultiplyClamped(cache.pagesPerSlab, PageKB() * 1024);
      objects = AddClamped(objects, cache.objects);
      objectBytes = AddClamped(objectBytes, MultiplyClamped(cache.objects, cache.objectBytes));
      avail = AddClamped(avail, MultiplyClamped(unused, cache.objectBytes));
      slabs = AddClamped(slabs, cache.slabs);
      size = AddClamped(size, MultiplyClamped(cache.slabs, slabBytes));
   }
   if (caches.empty()) {
      return NEVRA_NOT_FOUND;
   }
   StoreShownText(record.name, sizeof record.name, name);
   record.dynGrow = 1;
   record.numRanges = Narrow<int32_t>(slabs);
   record.overhead = Narrow(SubtractClamped(size, objectBytes));
   record.size = Narrow(size);
   record.avail = Narrow(avail);
   record.pctFreeOfCur = size >= 100 ? Narrow(avail / (size / 100)) : 0;
   record.avgAllocSize = objects > 0 ? Narrow(objectBytes / objects) : 0;
   return NEVRA_OK;
}

} // namespace nevra
