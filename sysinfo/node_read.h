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
NevraStatus Fail(const FailureMessage &message, NevraStatus status);

// A key with the message for when it cannot be added.
struct NodeKey {
   NodeKey(int64_t key, FailureMessage message = {}) : number(key), failure(message) {}
   NodeKey(const char *key, FailureMessage message = {}) : text(key), failure(message) {}

   const char *text = nullptr; // null: the key is the number
   int64_t number = 0;
   FailureMessage failure;
};

// A list of instance parameters with the keys, or null and the status: "Failure" when no list can be made.
ParamListPtr MakeKeyList(uint32_t capacity, const FailureMessage &noList, std::initializer_list<NodeKey> keys,
                         NevraStatus *status);

struct NodeRead {
   NevraNode node;
   uint32_t capacity; // of the parameter list
   FailureMessage noList = {};
   FailureMessage noRecord = {};
   bool removesKey = false; // takes the last key off the list again, as some readers do
};

// Fills the record. The status of the step that failed, which has been said.
NevraStatus ReadNode(const NodeRead &read, std::initializer_list<NodeKey> keys, void *record,
                     size_t recordSize);

#endif
