// What a Linux kernel says about its memory beyond the records of the nodes: the lines of /proc/meminfo that
// are amounts, in its order. Which lines there are differs from kernel to kernel.
//
// It goes with the records that were read at the same time, and a snapshot keeps it beside them
// (SnapshotFile::kernelDetail). Of the running host, ReadKernelDetail (nevra/linux/linux_source.h) gives it.
#ifndef NEVRA_KERNEL_DETAIL_H
#define NEVRA_KERNEL_DETAIL_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace nevra {

struct KernelFigure {
   std::string name; // "MemTotal", "Active(anon)"
   uint64_t kb = 0;

   bool operator==(const KernelFigure &) const = default;
};

// Each name once; empty where the kernel says nothing, as on a host that does not run Linux.
using KernelFigures = std::vector<KernelFigure>;

// More lines than any kernel has, and longer names.
inline constexpr size_t kMaxKernelFigures = 256;
inline constexpr size_t kMaxKernelFigureName = 63;

// The largest amount: all of them together fit into a signed integer of 64 bits.
inline constexpr uint64_t kMaxKernelFigureKB = uint64_t{1} << 53;

// Names are ASCII without blanks and colons, and fit to be shown.
inline bool IsKernelFigureName(std::string_view name)
{
   return !name.empty() && name.size() <= kMaxKernelFigureName &&
          std::ranges::all_of(
             name, [](char character) { return character > ' ' && character < '\x7f' && character != ':'; });
}

// The figure of a name, or null.
inline const KernelFigure *FindKernelFigure(const KernelFigures &figures, std::string_view name)
{
   const auto found =
      std::ranges::find_if(figures, [&](const KernelFigure &figure) { return figure.name == name; });
   return found != figures.end() ? &*found : nullptr;
}

} // namespace nevra

#endif
