// The PCI functions of the host.
#ifndef NEVRA_LINUX_PCI_DEVICES_H
#define NEVRA_LINUX_PCI_DEVICES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "nevra/linux/kernel_file.h"

namespace nevra {

inline constexpr char kPciDevices[] = "sys/bus/pci/devices";
inline constexpr size_t kPciAddressParts = 4;

// Segment, bus, slot, function.
using PciAddress = std::array<uint32_t, kPciAddressParts>;

// In ascending order, each once; none without a PCI bus.
std::vector<PciAddress> ReadPciAddresses(int root, KernelFileReader &files);

} // namespace nevra

#endif
