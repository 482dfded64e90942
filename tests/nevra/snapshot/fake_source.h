// A source that answers from what a test puts into it, and notes what it was asked.
#ifndef TESTS_NEVRA_SNAPSHOT_FAKE_SOURCE_H
#define TESTS_NEVRA_SNAPSHOT_FAKE_SOURCE_H

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "nevra/source.h"
#include "tests/nevra/snapshot/small_tree.h"

class FakeSource : public nevra::Source {
 public:
   template <typename Record>
   void PutRecord(nevra::NodeId node, const std::vector<Key> &keys, const Record &record)
   {
      records[NameOf(node, keys)] = std::string(reinterpret_cast<const char *>(&record), sizeof record);
   }
   void PutStatus(nevra::NodeId node, const std::vector<Key> &keys, NevraStatus status)
   {
      statuses[NameOf(node, keys)] = status;
   }
   void PutList(nevra::NodeId node, const std::vector<Key> &keys, const std::vector<Key> &instances)
   {
      lists[NameOf(node, keys)] = instances;
   }

   NevraStatus Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record) override
   {
      const std::string name = Note(node.id, false, keys);
      const auto found = records.find(name);
      if (found == records.end()) {
         return StatusOf(name);
      }
      std::memcpy(record, found->second.data(), found->second.size());
      return NEVRA_OK;
   }
   NevraStatus List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                    Nevra_ParamList &instances) override
   {
      const std::string name = Note(node.id, true, keys);
      const auto found = lists.find(name);
      if (found == lists.end()) {
         return StatusOf(name);
      }
      for (const Key &instance : found->second) {
         if (const int64_t *integer = std::get_if<int64_t>(&instance)) {
            instances.AddInt(*integer);
         } else {
            instances.AddText(std::get<const char *>(instance));
         }
      }
      return NEVRA_OK;
   }
   NevraStatus Set(const NevraNodeDef &, const Nevra_ParamList &, const Nevra_ParamList &) override
   {
      return NEVRA_NOT_SUPPORTED;
   }
   nevra::KernelFigures KernelDetail() override { return kernelDetail; }
   const char *Signature() const override { return nevra::DefinitionSignature(); }
   const char *KernelBuildText() const override { return "fake 1"; }

   // Every question so far, as "node [keys]" for a record and "node* [keys]" for a listing.
   std::vector<std::string> questions;

   nevra::KernelFigures kernelDetail;

   static std::string NameOf(nevra::NodeId node, const std::vector<Key> &keys)
   {
      std::string name = std::to_string(static_cast<int>(node));
      for (const Key &key : keys) {
         name += ' ';
         name += std::holds_alternative<int64_t>(key) ? std::to_string(std::get<int64_t>(key))
                                                      : std::get<const char *>(key);
      }
      return name;
   }

 private:
   NevraStatus StatusOf(const std::string &name) const
   {
      const auto found = statuses.find(name);
      return found != statuses.end() ? found->second : NEVRA_NOT_FOUND;
   }

   std::string Note(nevra::NodeId node, bool isList, const Nevra_ParamList &list)
   {
      std::vector<Key> keys;
      std::string shown;
      for (uint32_t i = 0; i < list.Used(); i++) {
         if (list[i].text != nullptr) {
            keys.emplace_back(list[i].text);
            shown += (i > 0 ? ", " : "") + std::string(list[i].text);
         } else {
            keys.emplace_back(list[i].integer);
            shown += (i > 0 ? ", " : "") + std::to_string(list[i].integer);
         }
      }
      questions.push_back(nevra::Definition(node).path + std::string(isList ? "* [" : " [") + shown + ']');
      return NameOf(node, keys);
   }

   std::map<std::string, std::string> records;
   std::map<std::string, NevraStatus> statuses;
   std::map<std::string, std::vector<Key>> lists;
};

#endif
