// The persistent-memory volumes: the namespaces of /sys/bus/nd/devices.
#ifndef NEVRA_LINUX_PMEM_VOLUMES_H
#define NEVRA_LINUX_PMEM_VOLUMES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "nevra/linux/kernel_file.h"

namespace nevra {

inline constexpr char kPmemDevices[] = "sys/bus/nd/devices";

struct Volume {
   std::string device; // namespace0.1
   std::string region; // region0
   std::string name;   // its UUID, or that of its device
   uint64_t bytes;
   std::string holder; // what makes a device of it: "btt0.1", "pfn0.1", "dax0.1"; empty if it is raw
};

struct PmemVolumes {
   std::vector<Volume> volumes; // by device
   std::map<std::string, size_t, std::less<>> byName;

   // Null when there is none.
   const Volume *Find(std::string_view name) const;
};

PmemVolumes ReadPmemVolumes(int root, KernelFileReader &files);

// The devices that are named by the prefix and a number, with dots perhaps; sorted.
std::vector<std::string> PmemDevicesNamed(int root, std::string_view prefix, KernelFileReader &files);

// The path of one of a device's files below the root.
std::string PmemFilePath(const std::string &device, const char *file);

// The first line of one of a device's files, or the number on it; empty, or 0, where there is none.
std::string ReadPmemText(int root, const std::string &device, const char *file, KernelFileReader &files,
                         Missing what = Missing::Nothing);
uint64_t ReadPmemNumber(int root, const std::string &device, const char *file, KernelFileReader &files);

} // namespace nevra

#endif
