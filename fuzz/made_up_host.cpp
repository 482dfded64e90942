#include "fuzz/made_up_host.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>

#include "nevra/definitions.h"
#include "nevra/records.h"
#include "nevra/snapshot/snapshot_source.h"

// In one piece with the operations, whose source is theirs alone: every run has to begin without one.
#include "nevra/operations.cpp" // NOLINT(bugprone-suspicious-include)

namespace {

using nevra::FieldKind;
using nevra::NodeId;

constexpr uint32_t kMostQuestions = 2000;

// What a byte of the answers says; all others: as the sample.
enum AnswerKind : uint8_t { kFails = 1, kIsGone, kIsEmpty, kListsTwice, kListsItself, kIsLargest, kIsOther };

std::vector<uint8_t> sampleBytes;

struct Answers {
   std::span<const uint8_t> bytes;
   uint32_t questions = 0;

   uint8_t Take()
   {
      const uint8_t byte = bytes.empty() ? 0 : bytes.front();
      bytes = bytes.subspan(bytes.empty() ? 0 : 1);
      return byte;
   }
} answers;

// Other figures for everything that is one.
void ChangeFigures(const nevra::RecordLayout &layout, uint8_t kind, uint8_t *record)
{
   for (const nevra::RecordField &field : layout.fields) {
      for (uint32_t i = 0; i < field.count; i++) {
         uint8_t *at = record + field.offset + i * field.size;
         if (field.kind == FieldKind::Structure) {
            ChangeFigures(*field.structure, kind, at);
         } else if (field.kind != FieldKind::Text) {
            std::generate_n(at, field.size, [kind] { return kind == kIsLargest ? 0xff : answers.Take(); });
         }
      }
   }
}

class MadeUpHost : public nevra::Source {
 public:
   MadeUpHost() { OpenSnapshotSourceFromMemory(sampleBytes, "sample", &sample); }

   NevraStatus Get(const NevraNodeDef &node, const Nevra_ParamList &keys, void *record) override
   {
      const uint8_t kind = Question();
      if (kind == kFails || kind == kIsGone) {
         return kind == kFails ? Failure() : NEVRA_NOT_FOUND;
      }
      const NevraStatus status = GetSound(node, keys, record);
      // As many memory nodes as a report would ask for in an hour are not left to chance.
      if (status == NEVRA_OK && (kind == kIsLargest || kind == kIsOther) &&
          node.id != NodeId::memory_memInfo) {
         ChangeFigures(*node.record, kind, static_cast<uint8_t *>(record));
      }
      return status;
   }

   NevraStatus List(const NevraNodeDef &node, const Nevra_ParamList &keys,
                    Nevra_ParamList &instances) override
   {
      const uint8_t kind = Question();
      if (kind == kFails || kind == kIsGone) {
         return kind == kFails ? Failure() : NEVRA_NOT_FOUND;
      }
      NevraStatus status = kind == kIsEmpty ? NEVRA_OK : ListSound(node, keys, instances);
      if (kind == kListsTwice && status == NEVRA_OK) {
         status = ListSound(node, keys, instances);
      }
      if (kind == kListsItself && keys.Used() > 0 && keys[0].text == nullptr && !IsTextKey(node.listed)) {
         instances.AddInt(keys[0].integer);
      }
      return status;
   }

   NevraStatus Set(const NevraNodeDef &, const Nevra_ParamList &keys, const Nevra_ParamList &values) override
   {
      if (Question() == kFails) {
         return Failure();
      }
      registers[AddressOf(keys)] = values.Used() > 0 ? static_cast<uint32_t>(values[0].integer) : 0;
      return NEVRA_OK;
   }

   const char *Signature() const override { return sample->Signature(); }
   const char *KernelBuildText() const override { return sample->KernelBuildText(); }

 private:
   using Address = std::array<int64_t, nevra::kMaxKeys>;

   static uint8_t Question() { return ++answers.questions > kMostQuestions ? kFails : answers.Take(); }

   static NevraStatus Failure() { return NEVRA_FAILURE + answers.Take(); }

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

void BeginRun(std::span<const uint8_t> bytes)
{
   answers = {bytes};
}

void EndRun()
{
   source.reset();
   formerSources.clear();
}
