// What a Linux kernel says about its memory beyond what the nodes hold: the lines of /proc/meminfo.
//
// A moment has it or not: a live Linux host does, another platform never, a snapshot when it was stored.
#ifndef OVERVIEW_KERNEL_DETAIL_H
#define OVERVIEW_KERNEL_DETAIL_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "nevra/kernel_detail.h"
#include "overview/host_rows.h"

namespace overview {

class KernelDetail {
 public:
   KernelDetail() = default;
   explicit KernelDetail(const nevra::KernelFigures &figures);

   // The amount of a line, in KB, by the kernel's name for it ("PageTables"); 0 where there is no such line.
   uint64_t Of(std::string_view name) const;
   bool Has(std::string_view name) const { return amounts.contains(name); }

   void Set(std::string_view name, uint64_t kb) { amounts.insert_or_assign(std::string(name), kb); }

 private:
   std::map<std::string, uint64_t, std::less<>> amounts;
};

// Whether the detail is of the host that the figures are of: the memory that its kernel manages is the same.
bool IsDetailOf(const HostFigures &host, const KernelDetail &detail);

} // namespace overview

#endif
