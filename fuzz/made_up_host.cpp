#include "fuzz/made_up_host.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>

#include "nevra/definitions.h"
#include "nevra/linux/kernel_text.h"
#include "nevra/records.h"
#include "nevra/snapshot/snapshot_source.h"

// In one piece with the operations, whose source is theirs alone: every run has to begin without one.
#include "nevra/operations.cpp" // NOLINT(bugprone-suspicious-include)

namespace {

using nevra::FieldKind;
using nevra::NodeId;

constexpr uint32_t kMostQuestions = 2000;

// What an answer is; any other kind: as the sample says.
enum AnswerKind : uint8_t {
   kFails = '1',
   kIsGone,
   kIsEmpty,
   kListsTwice,
   kListsItself,
   kIsLargest,
   kIsOther,
   kIsWild
};

std::vector<uint8_t> sampleBytes;

// How a question is answered.
struct Answer {
   uint8_t kind = 0;
   std::string_view bytes; // of figures, over and over

   uint8_t Take()
   {
      if (bytes.empty()) {
         return 0;
      }
      taken = taken < bytes.size() ? taken : 0;
      return static_cast<uint8_t>(bytes[taken++]);
   }

   size_t taken = 0;
};

std::map<uint64_t, Answer> answers; // by the number of the question
uint64_t questions = 0;

Answer NextAnswer()
{
   questions++;
   if (questions > kMostQuestions) {
      return {kFails, {}};
   }
   const auto answer = answers.find(questions);
   return answer != answers.end() ? answer->second : Answer();
}

NevraStatus FailureOf(Answer &answer)
{
   return answer.kind == kFails ? NEVRA_FAILURE + answer.Take() : NEVRA_NOT_FOUND;
}

// Other figures for everything that is one; of a wild answer other texts as well.
void ChangeFields(const nevra::RecordLayout &layout, Answer &answer, uint8_t *record)
{
   for (const nevra::RecordField &field : layout.fields) {
      for (uint32_t i = 0; i < field.count; i++) {
         uint8_t *at = record + field.offset + field.size * size_t{i};
         if (field.kind == FieldKind::Structure) {
            ChangeFields(*field.structure, answer, at);
         } else if (field.kind != FieldKind::Text || answer.kind == kIsWild) {
            std::generate_n(at, field.size,
                            [&] { return answer.kind == kIsLargest ? uint8_t{0xff} : answer.Take(); });
         }
      }
   }
}

class MadeUpHost : public nevra::Source {
 public:
   MadeUpHost() { OpenSnapshotSourceFromMemory(sampleBytes, "sample", &sample); }

   NevraStatus Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record) override
   {
      Answer answer = NextAnswer();
      if (answer.kind == kFails || answer.kind == kIsGone) {
         return FailureOf(answer);
      }
      const NevraStatus status = GetSound(node, keys, record);
      // As many memory nodes as a report would ask for in an hour are not left to chance.
      if (status == NEVRA_OK && answer.kind >= kIsLargest && answer.kind <= kIsWild &&
          node.id != NodeId::memory_memInfo) {
         ChangeFields(*node.record, answer, static_cast<uint8_t *>(record));
      }
      return status;
   }

   NevraStatus List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                    Nevra_ParamList &instances) override
   {
      Answer answer = NextAnswer();
      if (answer.kind == kFails || answer.kind == kIsGone) {
         return FailureOf(answer);
      }
      NevraStatus status = answer.kind == kIsEmpty ? NEVRA_OK : ListSound(node, keys, instances);
      if (answer.kind == kListsTwice && status == NEVRA_OK) {
         status = ListSound(node, keys, instances);
      }
      if (answer.kind == kListsItself && keys.Used() > 0 && keys[0].text == nullptr &&
          !IsTextKey(node.listed)) {
         instances.AddInt(keys[0].integer);
      }
      return status;
   }

   NevraStatus Set(const NevraNodeDef &, const Nevra_ParamList &keys, const Nevra_ParamList &values) override
   {
      Answer answer = NextAnswer();
      if (answer.kind == kFails || answer.kind == kIsGone) {
         return FailureOf(answer);
      }
      registers[AddressOf(keys)] = values.Used() > 0 ? static_cast<uint32_t>(values[0].integer) : 0;
      return NEVRA_OK;
   }

   const char *Signature() const override
   {
      return HasOtherDefinitions() ? "0123456789abcdef0123456789abcdef" : sample->Signature();
   }
   const char *KernelBuildText() const override { return "a build text longer than what is shown of it"; }

 private:
   using Address = std::array<int64_t, nevra::kMaxKeys>;

   // The question before the first.
   static bool HasOtherDefinitions() { return answers.contains(0); }

   static Address AddressOf(const Nevra_ParamList &keys)
   {
      Address address = {};
      for (uint32_t i = 0; i < keys.Used(); i++) {
         address[i] = keys[i].integer;
      }
      return address;
   }

   // The sample has no devices: two DIMMs, and a socket whose every register is there.
   NevraStatus GetSound(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record)
   {
      CpuInfoRecord cpu = {};
      PciConfigHeaderRecord header = {};
      PciConfigRegRecord pciRegister = {};
      switch (node.id) {
      case NodeId::hardware_cpu_cpuList:
         cpu.model = 85;
         std::memcpy(record, &cpu, sizeof cpu);
         return NEVRA_OK;
      case NodeId::hardware_pci_seg_bus_slot_func_pciConfigHeader:
         header.vendorID = 0x8086;
         header.deviceID = 0x2042;
         std::memcpy(record, &header, sizeof header);
         return NEVRA_OK;
      case NodeId::hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr:
         pciRegister.value = registers[AddressOf(keys)];
         std::memcpy(record, &pciRegister, sizeof pciRegister);
         return NEVRA_OK;
      default:
         return sample->Get(node, keys, record);
      }
   }

   NevraStatus ListSound(const NevraNodeDef &node, const Nevra_ParamList &keys, Nevra_ParamList &instances)
   {
      switch (node.id) {
      case NodeId::hardware_nvd_dimm:
         return instances.AddInt(0) == NEVRA_OK ? instances.AddInt(17) : NEVRA_LIMIT_EXCEEDED;
      case NodeId::hardware_pci_seg:
         return instances.AddInt(0);
      case NodeId::hardware_pci_seg_bus:
         return instances.AddInt(0x3a);
      case NodeId::hardware_pci_seg_bus_slot:
         return instances.AddInt(10);
      case NodeId::hardware_pci_seg_bus_slot_func:
         return instances.AddInt(2);
      default:
         return sample->List(node, keys, instances);
      }
   }

   std::unique_ptr<nevra::Source> sample;
   std::map<Address, uint32_t> registers;
};

} // namespace

namespace nevra {

// In the place of the live source.
std::unique_ptr<Source> MakeLinuxSource(const std::string &)
{
   return std::make_unique<MadeUpHost>();
}

} // namespace nevra

void SetSampleHost(const std::vector<uint8_t> &snapshot)
{
   sampleBytes = snapshot;
}

void BeginRun(std::string_view text)
{
   questions = 0;
   answers.clear();
   while (!text.empty()) {
      std::string_view line = nevra::TakeLine(text);
      const uint64_t question = nevra::ParseNumber(nevra::TakeWord(line)).value_or(0);
      if (line.size() > 1) {
         answers[question] = {static_cast<uint8_t>(line[1]), line.substr(2)};
      }
   }
}

bool HasWildAnswers()
{
   return std::ranges::any_of(answers, [](const auto &answer) { return answer.second.kind == kIsWild; });
}

void EndRun()
{
   source.reset();
   formerSources.clear();
}
