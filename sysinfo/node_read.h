// Reading a node: make a parameter list, add the keys, get the record, and say what failed.
//
// Every reader says it in words of its own, which scripts know; so each step has its message beside it.
#ifndef SYSINFO_NODE_READ_H
#define SYSINFO_NODE_READ_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "nevra/nevra.h"
#include "sysinfo/param_list.h"

// What is said when a step fails: two texts and, by `ending`, nothing more, the status as a number or the
// status as text. Without a text nothing is said.
struct FailureMessage {
   enum Ending : uint8_t { Plain, Number, Reason };
   const char *text = nullptr;
   Ending ending = Plain;
   const char *rest = "";
};

// Says it, with a newline, and returns the status.
[[gnu::cold]] NevraStatus Fail(const FailureMessage &message, NevraStatus status);

inline constexpr FailureMessage kSilent = {};

// A key with the message for when it cannot be added, which is not copied: a NodeKey lives as long as the
// call.
struct NodeKey {
   NodeKey(int64_t key, const FailureMessage &message = kSilent)
       : number(key), isText(false), failure(&message)
   {
   }
   NodeKey(const char *key, const FailureMessage &message = kSilent)
       : text(key), isText(true), failure(&message)
   {
   }

   union {
      int64_t number;
      const char *text; // null goes to the platform as it is
   };
   bool isText;
   const FailureMessage *failure;
};

// A list of instance parameters with the keys, or null and the status: "Failure" when no list can be made.
inline ParamListPtr MakeKeyList(uint32_t capacity, const FailureMessage &noList,
                                std::initializer_list<NodeKey> keys, NevraStatus *status)
{
   ParamListPtr list = CreateParamList(capacity);
   if (list == nullptr) {
      *status = Fail(noList, NEVRA_FAILURE);
      return nullptr;
   }
   for (const NodeKey &key : keys) {
      *status = key.isText ? Nevra_ParamListAddString(list.get(), key.text)
                           : Nevra_ParamListAddInt(list.get(), key.number);
      if (*status != NEVRA_OK) {
         Fail(*key.failure, *status);
         return nullptr;
      }
   }
   *status = NEVRA_OK;
   return list;
}

// The messages are not copied: a NodeRead lives as long as the call.
struct NodeRead {
   NevraNode node;
   uint32_t capacity; // of the parameter list
   const FailureMessage &noList = kSilent;
   const FailureMessage &noRecord = kSilent;
   bool removesKey = false; // takes the last key off the list again, as some readers do
};

// Fills the record. The status of the step that failed, which has been said.
inline NevraStatus ReadNode(const NodeRead &read, std::initializer_list<NodeKey> keys, void *record,
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

#endif
