// Reads the live source by node, key and record type.
#ifndef TESTS_NEVRA_LINUX_LIVE_SOURCE_H
#define TESTS_NEVRA_LINUX_LIVE_SOURCE_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "nevra/definitions.h"
#include "nevra/linux/linux_source.h"
#include "nevra/param_list.h"
#include "nevra/records.h"

// Records are packed: a test that compares a field whose offset is not aligned writes "+record.field", a
// value instead of a reference.
class LiveSource {
 public:
   explicit LiveSource(const std::string &root) : source(nevra::MakeLinuxSource(root)) {}

   nevra::Source &operator*() { return *source; }

   struct Key {
      Key(int64_t value) : integer(value), isText(false) {}
      Key(int value) : integer(value), isText(false) {}
      Key(uint32_t value) : integer(value), isText(false) {}
      Key(uint64_t value) : integer(static_cast<int64_t>(value)), isText(false) {}
      Key(const char *value) : integer(0), text(value), isText(true) {}
      Key(std::string value) : integer(0), text(std::move(value)), isText(true) {}
      int64_t integer;
      std::string text;
      bool isText;
   };

   template <typename Record> NevraStatus Get(nevra::NodeId id, const std::vector<Key> &keys, Record *record)
   {
      EXPECT_EQ(nevra::Definition(id).record->size, sizeof(Record));
      const ListPtr list = MakeList(keys);
      return source->Get(nevra::Definition(id), *list, record);
   }

   // The record; a failed read fails the test.
   template <typename Record> Record Read(nevra::NodeId id, const std::vector<Key> &keys = {})
   {
      Record record{};
      EXPECT_EQ(Get(id, keys, &record), NEVRA_OK) << nevra::Definition(id).path;
      return record;
   }

   template <typename Record> NevraStatus StatusOf(nevra::NodeId id, const std::vector<Key> &keys = {})
   {
      Record record{};
      return Get(id, keys, &record);
   }

   NevraStatus ListStatus(nevra::NodeId id, const std::vector<Key> &keys, std::vector<int64_t> *members)
   {
      const ListPtr list = MakeList(keys);
      const ListPtr instances(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, Nevra_ParamList::kUnbounded));
      const NevraStatus status = source->List(nevra::Definition(id), *list, *instances);
      for (uint32_t i = 0; status == NEVRA_OK && i < instances->Used(); i++) {
         EXPECT_EQ((*instances)[i].text, nullptr);
         members->push_back((*instances)[i].integer);
      }
      return status;
   }

   std::vector<int64_t> List(nevra::NodeId id, const std::vector<Key> &keys = {})
   {
      std::vector<int64_t> members;
      EXPECT_EQ(ListStatus(id, keys, &members), NEVRA_OK) << nevra::Definition(id).path;
      return members;
   }

   std::vector<std::string> ListTexts(nevra::NodeId id, const std::vector<Key> &keys = {})
   {
      const ListPtr list = MakeList(keys);
      const ListPtr instances(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, Nevra_ParamList::kUnbounded));
      EXPECT_EQ(source->List(nevra::Definition(id), *list, *instances), NEVRA_OK)
         << nevra::Definition(id).path;
      std::vector<std::string> texts;
      for (uint32_t i = 0; i < instances->Used(); i++) {
         texts.emplace_back((*instances)[i].text != nullptr ? (*instances)[i].text : "(no text)");
      }
      return texts;
   }

   struct DestroyList {
      void operator()(Nevra_ParamList *list) const { Nevra_ParamList::Destroy(list); }
   };
   using ListPtr = std::unique_ptr<Nevra_ParamList, DestroyList>;

   static ListPtr MakeList(const std::vector<Key> &keys, int kind = NEVRA_LIST_INSTANCE)
   {
      ListPtr list(Nevra_ParamList::Create(kind, static_cast<uint32_t>(keys.size())));
      for (const Key &key : keys) {
         EXPECT_EQ(key.isText ? list->AddText(key.text) : list->AddInt(key.integer), NEVRA_OK);
      }
      return list;
   }

 private:
   std::unique_ptr<nevra::Source> source;
};

#endif
