#include "sysinfo/node_read.h"

#include "sysinfo/status.h"

NevraStatus Fail(const FailureMessage &message, NevraStatus status)
{
   if (message.text == nullptr) {
      return status;
   }
   switch (message.ending) {
   case FailureMessage::Plain:
      Warning("%s%s\n", message.text, message.rest);
      break;
   case FailureMessage::Number:
      Warning("%s%s%u\n", message.text, message.rest, status);
      break;
   case FailureMessage::Reason:
      Warning("%s%s%s\n", message.text, message.rest, ORSKA_ReturnStatusToString(status));
      break;
   }
   return status;
}

ParamListPtr MakeKeyList(uint32_t capacity, const FailureMessage &noList, std::initializer_list<NodeKey> keys,
                         NevraStatus *status)
{
   ParamListPtr list = CreateParamList(capacity);
   if (list == nullptr) {
      *status = Fail(noList, NEVRA_FAILURE);
      return nullptr;
   }
   for (const NodeKey &key : keys) {
      *status = key.text != nullptr ? Nevra_ParamListAddString(list.get(), key.text)
                                    : Nevra_ParamListAddInt(list.get(), key.number);
      if (*status != NEVRA_OK) {
         Fail(key.failure, *status);
         return nullptr;
      }
   }
   *status = NEVRA_OK;
   return list;
}

NevraStatus ReadNode(const NodeRead &read, std::initializer_list<NodeKey> keys, void *record,
                     size_t recordSize)
{
   NevraStatus status;
   const ParamListPtr list = MakeKeyList(read.capacity, read.noList, keys, &status);
   if (list == nullptr) {
      return status;
   }
   status = Nevra_Get(read.node, list.get(), record, recordSize);
   if (status != NEVRA_OK) {
      Fail(read.noRecord, status);
   }
   if (read.removesKey) {
      Nevra_ParamListRemoveLastParam(list.get());
   }
   return status;
}
