// Captures a host from kernel files that may hold anything: every node of the live source is read, and what
// comes out is checked, asked for again the other way round, and made a snapshot of.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "fuzz/linux_tree.h"
#include "fuzz/record_texts.h"
#include "nevra/definitions.h"
#include "nevra/linux/linux_source.h"
#include "nevra/records.h"
#include "nevra/snapshot/capture.h"
#include "nevra/snapshot/snapshot_file.h"
#include "nevra/snapshot/snapshot_verify.h"
#include "nevra/snapshot/snapshot_writer.h"

namespace {

using nevra::NodeId;

struct ListDeleter {
   void operator()(Nevra_ParamList *list) const { Nevra_ParamList::Destroy(list); }
};
using ListPtr = std::unique_ptr<Nevra_ParamList, ListDeleter>;

struct Param {
   int64_t integer;
   std::optional<std::string> text;

   auto operator<=>(const Param &) const = default;
};
using Params = std::vector<Param>;

Params ParamsOf(const Nevra_ParamList &list)
{
   Params params;
   for (uint32_t i = 0; i < list.Used(); i++) {
      params.push_back({list[i].integer,
                        list[i].text != nullptr ? std::optional<std::string>(list[i].text) : std::nullopt});
   }
   return params;
}

ListPtr ListOf(const Params &params)
{
   ListPtr list(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, nevra::kMaxKeys));
   for (const Param &param : params) {
      if (param.text.has_value()) {
         list->AddText(*param.text);
      } else {
         list->AddInt(param.integer);
      }
   }
   return list;
}

struct Answer {
   NevraStatus status = NEVRA_OK;
   std::vector<uint8_t> record;
   Params instances;

   bool operator==(const Answer &) const = default;
};

struct Question {
   const NevraNodeDef *node;
   bool isList;
   Params keys;
   Answer answer;
};

Answer Ask(nevra::Source &source, const NevraNodeDef &node, bool isList, const Nevra_ParamList &keys,
           uint32_t capacity = Nevra_ParamList::kUnbounded)
{
   Answer answer;
   if (isList) {
      const ListPtr list(Nevra_ParamList::Create(NEVRA_LIST_INSTANCE, capacity));
      answer.status = source.List(node, keys, *list);
      answer.instances = answer.status == NEVRA_OK ? ParamsOf(*list) : Params();
   } else {
      answer.record.assign(node.record->size, 0xa5);
      answer.status = source.Get(node, keys, answer.record.data());
      if (answer.status != NEVRA_OK) {
         answer.record.clear();
      }
   }
   return answer;
}

// ---- one answer

void CheckAnswer(const NevraNodeDef &node, const Answer &answer)
{
   Require(answer.status == NEVRA_OK || answer.status == NEVRA_NOT_FOUND,
           std::string(node.path) + ": neither an answer nor \"Not found\"");
   if (!answer.record.empty()) {
      RequireShownTexts(node, answer.record.data());
   }
   std::set<Param> instances;
   for (const Param &instance : answer.instances) {
      Require(instances.insert(instance).second, std::string(node.path) + ": lists an instance twice");
      Require(instance.text.has_value() == nevra::IsTextKey(node.listed),
              std::string(node.path) + ": lists an instance of another type");
      RequireShownInstance(node, instance.text.value_or(""));
   }
}

// Answers for the live source, and checks and notes what it says.
class CheckedSource : public nevra::Source {
 public:
   explicit CheckedSource(nevra::Source &checked) : source(checked) {}

   NevraStatus Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record) override
   {
      const Answer &answer = Note(node, false, keys);
      if (answer.status == NEVRA_OK) {
         std::memcpy(record, answer.record.data(), answer.record.size());
      }
      return answer.status;
   }

   NevraStatus List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                    Nevra_ParamList &instances) override
   {
      const Answer &answer = Note(node, true, keys);
      for (const Param &instance : answer.instances) {
         if (instance.text.has_value()) {
            instances.AddText(*instance.text);
         } else {
            instances.AddInt(instance.integer);
         }
      }
      return answer.status;
   }

   NevraStatus Set(const NevraNodeDef &, const Nevra_ParamList &, const Nevra_ParamList &) override
   {
      return NEVRA_NOT_SUPPORTED;
   }

   const char *Signature() const override { return source.Signature(); }
   nevra::KernelFigures KernelDetail() override { return source.KernelDetail(); }
   const char *KernelBuildText() const override { return source.KernelBuildText(); }

   std::vector<Question> questions;

 private:
   const Answer &Note(const NevraNodeDef &node, bool isList, const Nevra_ParamList &keys)
   {
      questions.push_back({&node, isList, ParamsOf(keys), Ask(source, node, isList, keys)});
      CheckAnswer(node, questions.back().answer);
      return questions.back().answer;
   }

   nevra::Source &source;
};

// ---- all answers

// Whatever was asked before, the same question gets the same answer.
void AskTheOtherWayRound(nevra::Source &source, const std::vector<Question> &questions)
{
   for (auto question = questions.rbegin(); question != questions.rend(); ++question) {
      const ListPtr keys = ListOf(question->keys);
      const Answer answer = Ask(source, *question->node, question->isList, *keys);
      Require(answer == question->answer, std::string(question->node->path) + ": answers otherwise");
      if (question->isList && answer.status == NEVRA_OK) {
         Params few = answer.instances;
         few.resize(std::min<size_t>(few.size(), 2));
         Require(Ask(source, *question->node, true, *keys, 2).instances == few,
                 std::string(question->node->path) + ": lists otherwise into a short list");
      }
   }
}

// Each group is a member of one group, which it says is its parent.
void CheckGroups(const std::vector<Question> &questions)
{
   std::map<int64_t, int64_t> parents;
   for (const Question &question : questions) {
      if (question.node->id == NodeId::sched_groups_members_groups) {
         for (const Param &member : question.answer.instances) {
            Require(parents.emplace(member.integer, question.keys[0].integer).second,
                    "a group in two groups");
         }
      }
   }
   for (const Question &question : questions) {
      if (question.node->id == NodeId::sched_groups_parentGroupID && question.answer.status == NEVRA_OK) {
         ParentGroupIDRecord record;
         std::memcpy(&record, question.answer.record.data(), sizeof record);
         const auto parent = parents.find(question.keys[0].integer);
         Require(record.parentGroupID == (parent != parents.end() ? parent->second : -1),
                 "a group's parent is another");
      }
   }
}

void CheckSnapshot(nevra::SnapshotTree *tree)
{
   nevra::SnapshotImage image;
   nevra::SnapshotFile file;
   std::string problem;
   tree->host = "host";
   Require(MakeSnapshotImage(tree, &image, &problem), problem);
   Require(OpenSnapshotBytes(BytesOfImage(image), &file, &problem) == NEVRA_OK, problem);
   Require(VerifySnapshot(file, &problem), problem);
}

// ---- registers

void CheckRegister(nevra::Source &source, Params keys, int64_t size, int64_t address)
{
   const NevraNodeDef &node =
      nevra::Definition(NodeId::hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr);
   keys.push_back({size, std::nullopt});
   keys.push_back({address, std::nullopt});
   const ListPtr list = ListOf(keys);
   const Answer before = Ask(source, node, false, *list);
   const ListPtr values(Nevra_ParamList::Create(NEVRA_LIST_VALUES, 1));
   values->AddInt(0x5a);
   if (before.status == NEVRA_OK && source.Set(node, *list, *values) == NEVRA_OK) {
      PciConfigRegRecord record;
      const Answer after = Ask(source, node, false, *list);
      Require(after.status == NEVRA_OK, "a register is gone that was written");
      std::memcpy(&record, after.record.data(), sizeof record);
      Require(record.value == 0x5a, "a register holds what it was set to");
   }
}

// Registers are files of the tree here.
void CheckRegisters(nevra::Source &source, const std::vector<Question> &questions)
{
   for (const Question &question : questions) {
      if (question.node->id == NodeId::hardware_pci_seg_bus_slot_func_pciConfigHeader &&
          question.answer.status == NEVRA_OK) {
         CheckRegister(source, question.keys, 1, 3);
         CheckRegister(source, question.keys, 4, 60);
         CheckRegister(source, question.keys, 2, 4094);
         CheckRegister(source, question.keys, 4, 4094);
      }
   }
}

bool HasLinksToDevices(const TreeEntries &entries)
{
   return std::ranges::any_of(entries, [](const auto &entry) {
      return entry.second.kind == TreeEntry::Kind::Link && entry.first.starts_with("sys");
   });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
   TreeEntries entries;
   if (!ParseLinuxTree({reinterpret_cast<const char *>(data), size}, &entries)) {
      return 0;
   }
   static LinuxTree tree;
   tree.Hold(entries);
   const std::unique_ptr<nevra::Source> source = nevra::MakeLinuxSource(tree.Root());
   CheckedSource checked(*source);
   nevra::SnapshotTree snapshot;
   std::string problem;
   Require(CaptureTree(
              checked, &snapshot, [](uint64_t) {}, &problem, nevra::kMaxSnapshotBytes),
           problem);
   AskTheOtherWayRound(*nevra::MakeLinuxSource(tree.Root()), checked.questions);
   CheckGroups(checked.questions);
   CheckSnapshot(&snapshot);
   if (!HasLinksToDevices(entries)) {
      CheckRegisters(*source, checked.questions);
      tree.ForgetRegisters();
   }
   return 0;
}
