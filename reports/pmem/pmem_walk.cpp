#include "reports/pmem/pmem_walk.h"

#include <cstring>

#include "sysinfo/node_read.h"

NevraStatus PutPMemVolumes(PMemVisitVolume visit, HostRun *hostRun)
{
   PMemRun *run = static_cast<PMemRun *>(hostRun);
   run->output->Section();
   ParamListPtr volumes;
   if (ListInstances(NEVRA_NODE_memory_pmem_volumes, nullptr, &volumes) != NEVRA_OK) {
      return NEVRA_OK;
   }
   const uint32_t count = Nevra_ParamListUsedCount(volumes.get());
   for (uint32_t i = 0; i < count && visit(volumes.get(), i, run); i++) {
   }
   return run->nameTooLong ? NEVRA_LIMIT_EXCEEDED : NEVRA_OK;
}

ParamListPtr CreateNameList(const char *reader, uint32_t capacity, const char *volume, const char *region)
{
   const FailureMessage noName = {reader, FailureMessage::Plain, ": Nevra_ParamListAddString failure"};
   NevraStatus status;
   ParamListPtr params =
      MakeKeyList(capacity, {reader, FailureMessage::Plain, ": Nevra_ParamListCreate failure"},
                  {{volume, noName}}, &status);
   if (params != nullptr && region != nullptr && Nevra_ParamListAddString(params.get(), region) != NEVRA_OK) {
      Fail(noName, NEVRA_FAILURE);
      return nullptr;
   }
   return params;
}

ParamListPtr CreateNumberedList(const char *reader, uint32_t capacity, const char *volume, const char *region,
                                int32_t number)
{
   ParamListPtr params = CreateNameList(reader, capacity, volume, region);
   if (params != nullptr && Nevra_ParamListAddInt(params.get(), number) != NEVRA_OK) {
      Warning("%s: Nevra_ParamListAddInt failure\n", reader);
      return nullptr;
   }
   return params;
}

bool GetRecord(const char *reader, NevraNode node, const Nevra_ParamList *params, void *record,
               size_t recordSize)
{
   const bool read = Nevra_Get(node, params, record, recordSize) == NEVRA_OK;
   if (!read) {
      Warning("%s: Nevra_Get failure\n", reader);
   }
   return read;
}

ParamListPtr ListOf(const char *reader, NevraNode node, const char *volume, const char *region)
{
   ParamListPtr instances;
   ParamListPtr params = CreateNameList(reader, region != nullptr ? 2 : 1, volume, region);
   if (params != nullptr) {
      ListInstances(node, params.get(), &instances);
   }
   return instances;
}

const char *NameAt(const Nevra_ParamList *list, uint32_t index)
{
   const char *name = "";
   return Nevra_ParamListGetString(list, index, &name) == NEVRA_OK ? name : "";
}

bool CopyName(const char *name, const char *what, PMemName &field, PMemRun *run)
{
   const size_t length = std::strlen(name);
   if (length > kPMemNameLength) {
      Warning("PMemReport: %s name %s is longer than %zu characters\n", what, name, kPMemNameLength);
      run->nameTooLong = true;
      return false;
   }
   std::memcpy(field, name, length + 1);
   return true;
}
