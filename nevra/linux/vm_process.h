// Which processes are virtual machines, and what their command line says about them.
#ifndef NEVRA_LINUX_VM_PROCESS_H
#define NEVRA_LINUX_VM_PROCESS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nevra/linux/kernel_file.h"
#include "nevra/linux/process.h"

namespace nevra {

// True unless the kernel says that no process holds a virtual machine: looking for one means looking at the
// descriptors of every process.
bool MayRunVms(int root, KernelFileReader &files);

// A process that is an emulator by its name or its program, or that holds a VM's descriptor. The program is
// asked for only where there are several threads: a VM needs one for each of its processors, and one that
// looks after it. So are the descriptors, and only when `mayRunVms`.
bool IsVm(const Process &process, bool mayRunVms, KernelFileReader &files);

// What a VM was started with.
struct VmCommand {
   std::string name;                        // -name; empty when the command line has none
   std::string configPath;                  // the file that it was configured from; empty when there is none
   std::optional<uint64_t> memoryKB;        // -m
   std::optional<uint64_t> largestMemoryKB; // -m ...,maxmem=
   // The pieces that the guest's memory is made of from the start, each a mapping of its own; empty when the
   // command line does not say. Memory that is plugged in while the VM runs is not on its command line.
   std::vector<uint64_t> piecesKB;
};

VmCommand ReadVmCommand(const Process &process, KernelFileReader &files);

// The same from the words of a command line, each ended by a NUL.
VmCommand ParseVmCommand(std::string_view words);

} // namespace nevra

#endif
