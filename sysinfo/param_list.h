// Parameter lists on the tool's side: owned, so that every path frees them.
#ifndef SYSINFO_PARAM_LIST_H
#define SYSINFO_PARAM_LIST_H

#include <memory>

#include "nevra/nevra.h"

struct ParamListDestroyer {
   void operator()(Nevra_ParamList *list) const { Nevra_ParamListDestroy(list); }
};

// Destroys its list when it goes out of scope. Where the moment of the destruction is part of the order of
// platform calls (before a message, before the next read), reset() marks it.
using ParamListPtr = std::unique_ptr<Nevra_ParamList, ParamListDestroyer>;

// An empty list of instance parameters, or null.
inline ParamListPtr CreateParamList(uint32_t capacity)
{
   return ParamListPtr(Nevra_ParamListCreate(NEVRA_LIST_INSTANCE, capacity));
}

// Nevra_GetInstanceListAlloc into an owned list. `list` stays empty on failure; a platform that says success
// and hands over no list has failed.
inline NevraStatus ListInstances(NevraNode node, const Nevra_ParamList *params, ParamListPtr *list)
{
   Nevra_ParamList *instances = nullptr;
   const NevraStatus status = Nevra_GetInstanceListAlloc(node, params, &instances);
   if (status != NEVRA_OK) {
      return status;
   }
   list->reset(instances);
   return instances != nullptr ? NEVRA_OK : NEVRA_FAILURE;
}

#endif
