#include "reports/pmem/dcpmm_units.h"

#include <cinttypes>
#include <iterator>
#include <span>

#include <strings.h>

#include "nevra/records.h"
#include "sysinfo/param_list.h"
#include "sysinfo/status.h"

ReportColumn dcpmmColumns[] = {
   {"Socket", "Socket Number", 5, "d", kNotTotalled, kSelectable, kShown, Unit::Number, Role::Label},
   {"IMC", "IMC/M2M", 20, "s", kNotTotalled, kSelectable, kShown, Unit::Text, Role::Label},
   {"Channel", "Channel Number", 20, "s", kNotTotalled, kSelectable, kShown, Unit::Text, Role::Label},
   {"Event", "Name of the Hardware Event", 40, "s", kNotTotalled, kSelectable, kShown, Unit::Text,
    Role::Label},
   {"Counts", "Number of Counts", 40, "lu", kNotTotalled, kSelectable, kShown, Unit::Count, Role::Gauge},
   kEndOfColumns,
};

namespace {

// A value that is written to a register; sizes are in bytes.
struct ControlEvent {
   const char *name;
   uint32_t value;
   uint32_t address;
   uint32_t size;
};

constexpr ControlEvent controlEvents[] = {
   {"WPQ_EVENT", 0x4000e7, 0xd8, 4},
   {"CAS_COUNT_RD_EVENT", 0x400304, 0xdc, 4},
   {"CAS_COUNT_WR_EVENT", 0x400c04, 0xe0, 4},
   {"RPQ_EVENT", 0x4000e3, 0xe4, 4},
   {"M2M_TAG_DIRTY_EVENT", 0x40022c, 0x230, 4},
   {"M2M_TAG_CLEAN_EVENT", 0x40012c, 0x238, 4},
   {"M2M_WRITE_NI_EVENT", 0x408038, 0x240, 4},
   {"IMC_UNIT_CONTROL_FREEZE", 0x100, 0xf4, 4},
   {"M2M_UNIT_CONTROL_FREEZE", 0x100, 0x258, 4},
   {"IMC_UNIT_CONTROL_RESET", 0x102, 0xf4, 4},
   {"IMC_UNIT_CONTROL_UNFREEZE", 0, 0xf4, 4},
   {"M2M_UNIT_CONTROL_RESET", 0x102, 0x258, 4},
   {"M2M_UNIT_CONTROL_UNFREEZE", 0, 0x258, 4},
};

// A counter in two registers: the high one counts only in the bits of the mask.
struct CounterEvent {
   const char *name;
   uint32_t lowAddress;
   uint32_t highAddress;
   uint32_t highMask;
   uint32_t highShift;
   uint32_t size;
};

constexpr CounterEvent counterEvents[] = {
   {"UNC_M_PMM_WPQ_INSERTS", 0xa0, 0xa4, 0xffff, 32, 4},
   {"UNC_M_CAS_COUNT_RD", 0xa8, 0xac, 0xffff, 32, 4},
   {"UNC_M_CAS_COUNT_WR", 0xb0, 0xb4, 0xffff, 32, 4},
   {"UNC_M_PMM_RPQ_INSERTS", 0xb8, 0xbc, 0xffff, 32, 4},
   {"UNC_M2M_TAG_HIT_NM_RD_HIT_DIRTY", 0x208, 0x20c, 0xffff, 32, 4},
   {"UNC_M2M_TAG_HIT_NM_RD_HIT_CLEAN", 0x210, 0x214, 0xffff, 32, 4},
   {"UNC_M2M_IMC_WRITES_NI", 0x218, 0x21c, 0xffff, 32, 4},
};

constexpr const char *imcControlEvents[] = {"RPQ_EVENT", "WPQ_EVENT", "CAS_COUNT_WR_EVENT",
                                            "CAS_COUNT_RD_EVENT"};
constexpr const char *m2mControlEvents[] = {"M2M_TAG_CLEAN_EVENT", "M2M_TAG_DIRTY_EVENT",
                                            "M2M_WRITE_NI_EVENT"};
constexpr const char *imcCounterEvents[] = {"UNC_M_PMM_RPQ_INSERTS", "UNC_M_PMM_WPQ_INSERTS",
                                            "UNC_M_CAS_COUNT_WR", "UNC_M_CAS_COUNT_RD"};
constexpr const char *m2mCounterEvents[] = {"UNC_M2M_TAG_HIT_NM_RD_HIT_CLEAN",
                                            "UNC_M2M_TAG_HIT_NM_RD_HIT_DIRTY", "UNC_M2M_IMC_WRITES_NI"};

constexpr const char *kProgramEvent = "KelmarDCPMMProgramEvent";
constexpr const char *kReadCounters = "KelmarDCPMMReadCounters";

bool IsM2M(const DcpmmUnit &unit)
{
   return unit.slot == 8 || unit.slot == 9;
}

// What a unit is called in the output.
struct UnitLabels {
   DcpmmUnit unit;
   const char *name;
   const char *channel;
};

constexpr UnitLabels unitLabels[] = {
   {{10, 2}, "IMC-0", "Channel-0"}, {{10, 6}, "IMC-0", "Channel-1"}, {{11, 2}, "IMC-0", "Channel-2"},
   {{12, 2}, "IMC-1", "Channel-0"}, {{12, 6}, "IMC-1", "Channel-1"}, {{13, 2}, "IMC-1", "Channel-2"},
   {{8, 0}, "M2M-IMC-0", "N/A"},    {{9, 0}, "M2M-IMC-1", "N/A"},
};

// An unknown unit is labelled as the last one.
const UnitLabels &LabelsOf(const DcpmmUnit &unit)
{
   for (const UnitLabels &labels : unitLabels) {
      if (labels.unit.slot == unit.slot && labels.unit.function == unit.function) {
         return labels;
      }
   }
   return unitLabels[std::size(unitLabels) - 1];
}

// The event of a table by its name, in any case, or null.
template <typename Event> const Event *FindEvent(std::span<const Event> events, const char *name)
{
   for (const Event &event : events) {
      if (strcasecmp(event.name, name) == 0) {
         return &event;
      }
   }
   return nullptr;
}

struct AddressPart {
   const char *name; // in the message of a failure, after `prefix`
   int64_t value;
};

NevraStatus AddAddress(Nevra_ParamList *list, const char *prefix, std::span<const AddressPart> parts)
{
   for (const AddressPart &part : parts) {
      const NevraStatus status = Nevra_ParamListAddInt(list, part.value);
      if (status != NEVRA_OK) {
         std::printf("%s%s failure %u\n", prefix, part.name, status);
         return status;
      }
   }
   return NEVRA_OK;
}

NevraStatus SetRegister(const DcpmmSocket &socket, const DcpmmUnit &unit, const ControlEvent &event)
{
   ParamListPtr instance = CreateParamList(1);
   if (instance == nullptr) {
      std::printf("Cannot create instanceArgs");
      return NEVRA_OUT_OF_MEMORY;
   }
   constexpr const char *prefix = "Nevra_ParamListAddInt ";
   const AddressPart address[] = {{"seg", socket.segment}, {"bus", socket.bus},  {"slot", unit.slot},
                                  {"func", unit.function}, {"size", event.size}, {"control", event.address}};
   NevraStatus status = AddAddress(instance.get(), prefix, address);
   if (status != NEVRA_OK) {
      return status;
   }
   ParamListPtr input(Nevra_ParamListCreate(NEVRA_LIST_VALUES, 1));
   if (input == nullptr) {
      std::printf("cannot create inputArgs");
      return NEVRA_OUT_OF_MEMORY;
   }
   const AddressPart value[] = {{"event", event.value}};
   status = AddAddress(input.get(), prefix, value);
   if (status != NEVRA_OK) {
      return status;
   }
   status = Nevra_Set(NEVRA_NODE_hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr, instance.get(),
                      input.get(), 0, 0);
   if (status != NEVRA_OK) {
      std::printf("%s: error fetching PCI information %s\n", kProgramEvent,
                  ORSKA_ReturnStatusToString(status));
   }
   return status;
}

NevraStatus GetRegister(const Nevra_ParamList *instance, uint32_t size, uint32_t *value)
{
   PciConfigRegRecord record = {};
   const NevraStatus status =
      Nevra_Get(NEVRA_NODE_hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr, instance, &record, size);
   if (status != NEVRA_OK) {
      std::printf("%s: error fetching PCI information %s\n", kReadCounters,
                  ORSKA_ReturnStatusToString(status));
   }
   *value = record.value;
   return status;
}

// Turns the address of a counter's low register into that of its high register.
NevraStatus MoveToHighRegister(Nevra_ParamList *instance, const CounterEvent &event)
{
   NevraStatus status = Nevra_ParamListRemoveLastParam(instance);
   if (status != NEVRA_OK) {
      std::printf("%s: Nevra_ParamListRemoveLastParam failure %u\n", kReadCounters, status);
      return status;
   }
   status = Nevra_ParamListAddInt(instance, event.highAddress);
   if (status != NEVRA_OK) {
      std::printf("%s: Nevra_ParamListAddInt for highCounter failure %u\n", kReadCounters, status);
   }
   return status;
}

NevraStatus GetCounter(const DcpmmSocket &socket, const DcpmmUnit &unit, const CounterEvent &event,
                       uint64_t *count)
{
   ParamListPtr instance = CreateParamList(1);
   if (instance == nullptr) {
      std::printf("Cannot allocate instanceArgs");
      return NEVRA_OUT_OF_MEMORY;
   }
   const AddressPart address[] = {{"seg", socket.segment}, {"bus", socket.bus},
                                  {"slot", unit.slot},     {"func", unit.function},
                                  {"size", event.size},    {"lowCounter", event.lowAddress}};
   NevraStatus status = AddAddress(instance.get(), "Nevra_ParamListAddInt for ", address);
   if (status != NEVRA_OK) {
      return status;
   }
   uint32_t low;
   status = GetRegister(instance.get(), event.size, &low);
   if (status != NEVRA_OK) {
      return status;
   }
   status = MoveToHighRegister(instance.get(), event);
   if (status != NEVRA_OK) {
      return status;
   }
   uint32_t high;
   status = GetRegister(instance.get(), event.size, &high);
   if (status != NEVRA_OK) {
      return status;
   }
   *count = (uint64_t{high & event.highMask} << event.highShift) | low;
   return NEVRA_OK;
}

// The number of the first socket with the bus, or -1.
int FindSocket(const std::vector<DcpmmSocket> &sockets, int64_t bus)
{
   for (size_t number = 0; number < sockets.size(); number++) {
      if (sockets[number].bus == bus) {
         return static_cast<int>(number);
      }
   }
   return -1;
}

void PutCount(int socket, const DcpmmUnit &unit, const char *eventName, uint64_t count,
              const DcpmmOutput &output)
{
   const UnitLabels &labels = LabelsOf(unit);
   if (output.file == nullptr) {
      PutRow(*output.rows, RowKind::Data, dcpmmColumns, socket, labels.name, labels.channel, eventName,
             count);
   } else if (IsM2M(unit)) {
      std::fprintf(output.file, "\n  %d \t %s \t\t %s \t %" PRIu64, socket, labels.name, eventName, count);
   } else {
      std::fprintf(output.file, "\n  %d \t %s \t %s \t %s \t \t \t %" PRIu64, socket, labels.name,
                   labels.channel, eventName, count);
   }
}

NevraStatus ResetStep(const DcpmmSocket &socket, const DcpmmUnit &unit, const char *eventName,
                      const char *failure)
{
   const NevraStatus status = DcpmmProgramEvent(socket, unit, eventName);
   if (status != NEVRA_OK) {
      std::printf("%s: %s\n", "kelmarDCPMMResetUnit", failure);
   }
   return status;
}

} // namespace

NevraStatus DcpmmProgramEvent(const DcpmmSocket &socket, const DcpmmUnit &unit, const char *eventName)
{
   const ControlEvent *event = FindEvent<ControlEvent>(controlEvents, eventName);
   if (event == nullptr) {
      std::printf("%s: Invalid eventName %s\n", kProgramEvent, eventName);
      return NEVRA_FAILURE;
   }
   return SetRegister(socket, unit, *event);
}

NevraStatus DcpmmFreezeUnit(const DcpmmSocket &socket, const DcpmmUnit &unit)
{
   const bool isM2M = IsM2M(unit);
   const NevraStatus status =
      DcpmmProgramEvent(socket, unit, isM2M ? "M2M_UNIT_CONTROL_FREEZE" : "IMC_UNIT_CONTROL_FREEZE");
   if (status != NEVRA_OK) {
      std::printf("%s: Error in %s Unit Freeze\n", "kelmarDCPMMFreezeUnit", isM2M ? "M2M" : "IMC");
   }
   return status;
}

NevraStatus DcpmmProgramAllUnits(const DcpmmSocket &socket, const DcpmmUnit &unit)
{
   const std::span<const char *const> events =
      IsM2M(unit) ? std::span<const char *const>(m2mControlEvents) : imcControlEvents;
   for (const char *event : events) {
      const NevraStatus status = DcpmmProgramEvent(socket, unit, event);
      if (status != NEVRA_OK) {
         std::printf("%s: Error programming %s\n", "kelmarDCPMMProgramAllUnits", event);
         return status;
      }
   }
   return NEVRA_OK;
}

NevraStatus DcpmmResetUnit(const DcpmmSocket &socket, const DcpmmUnit &unit)
{
   if (IsM2M(unit)) {
      const NevraStatus status = ResetStep(socket, unit, "M2M_UNIT_CONTROL_RESET", "Error in M2M Unit Reset");
      return status != NEVRA_OK
                ? status
                : ResetStep(socket, unit, "M2M_UNIT_CONTROL_UNFREEZE", "Error in M2M Unit Unfreeze");
   }
   // Without "in". Kept for compatibility.
   const NevraStatus status = ResetStep(socket, unit, "IMC_UNIT_CONTROL_RESET", "Error IMC Unit Reset");
   return status != NEVRA_OK
             ? status
             : ResetStep(socket, unit, "IMC_UNIT_CONTROL_UNFREEZE", "Error in IMC Unit Unfreeze");
}

NevraStatus DcpmmReadCounter(const DcpmmSocket &socket, const DcpmmUnit &unit, const char *eventName,
                             const DcpmmOutput &output)
{
   const CounterEvent *event = FindEvent<CounterEvent>(counterEvents, eventName);
   if (event == nullptr) {
      std::printf("%s: Invalid event %s\n", kReadCounters, eventName);
      return NEVRA_FAILURE;
   }
   uint64_t count;
   const NevraStatus status = GetCounter(socket, unit, *event, &count);
   if (status != NEVRA_OK) {
      return status;
   }
   const int number = FindSocket(*output.sockets, socket.bus);
   if (number < 0) {
      std::printf("%s: Cannot find socket info\n", kReadCounters);
      return NEVRA_FAILURE;
   }
   PutCount(number, unit, eventName, count, output);
   return NEVRA_OK;
}

NevraStatus DcpmmReadAllCounters(const DcpmmSocket &socket, const DcpmmUnit &unit, const DcpmmOutput &output)
{
   NevraStatus status = DcpmmFreezeUnit(socket, unit);
   if (status != NEVRA_OK) {
      return status;
   }
   const std::span<const char *const> events =
      IsM2M(unit) ? std::span<const char *const>(m2mCounterEvents) : imcCounterEvents;
   for (const char *event : events) {
      status = DcpmmReadCounter(socket, unit, event, output);
      if (status != NEVRA_OK) {
         std::printf("%s: Error reading %s\n", "kelmarDCPMMReadAllCounters", event);
         return status;
      }
   }
   return NEVRA_OK;
}
