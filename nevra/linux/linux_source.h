// The live source: answers from the running Linux kernel, through /proc and /sys.
#ifndef NEVRA_LINUX_LINUX_SOURCE_H
#define NEVRA_LINUX_LINUX_SOURCE_H

#include <memory>
#include <string>

#include "nevra/kernel_detail.h"
#include "nevra/source.h"

namespace nevra {

// Reads below the folder `root`: "/" for this host, another folder for a recorded tree.
std::unique_ptr<Source> MakeLinuxSource(const std::string &root);

// The name that the host gives itself; empty when it gives none.
std::string ReadHostName(const std::string &root);

// The release of its kernel; empty when there is none.
std::string ReadKernelRelease(const std::string &root);

// What it says about its memory now; none when it says nothing.
KernelFigures ReadKernelDetail(const std::string &root);

} // namespace nevra

#endif
