// Processors, and the PCI devices with their configuration registers.
#ifndef NEVRA_LINUX_HARDWARE_NODES_H
#define NEVRA_LINUX_HARDWARE_NODES_H

#include <cstdint>

#include "nevra/definitions.h"
#include "nevra/linux/linux_host.h"
#include "nevra/nevra.h"
#include "nevra/param_list.h"
#include "nevra/records.h"

namespace nevra {

// "Not found" for a processor that /proc/cpuinfo does not list.
NevraStatus ReadCpuModel(LinuxHost &host, int64_t cpu, CpuInfoRecord &record);

// The segments, or the buses, slots or functions of what `keys` addresses, as numbers.
NevraStatus ListPci(LinuxHost &host, const Nevra_ParamList &keys, Nevra_ParamList &instances);

// The start of the configuration space of the function that `keys` address.
NevraStatus ReadPciHeader(LinuxHost &host, const Nevra_ParamList &keys, PciConfigHeaderRecord &record);

// One register: segment, bus, slot, function, size (1, 2 or 4 bytes), address. "Bad parameter" for a register
// that there cannot be, "Not found" for one that is not there or that the kernel refuses to read, "No
// permission" for one that it refuses to write, "Write error" for a write that failed.
NevraStatus ReadPciRegister(LinuxHost &host, const Nevra_ParamList &keys, PciConfigRegRecord &record);
NevraStatus WritePciRegister(LinuxHost &host, const Nevra_ParamList &keys, int64_t value);

} // namespace nevra

#endif
