#include "overview/kernel_detail.h"

namespace overview {

namespace {

constexpr char kTotal[] = "MemTotal";

} // namespace

KernelDetail::KernelDetail(const nevra::KernelFigures &figures)
{
   for (const nevra::KernelFigure &figure : figures) {
      Set(figure.name, figure.kb);
   }
}

uint64_t KernelDetail::Of(std::string_view name) const
{
   const auto found = amounts.find(name);
   return found != amounts.end() ? found->second : 0;
}

bool IsDetailOf(const HostFigures &host, const KernelDetail &detail)
{
   return detail.Has(kTotal) && detail.Of(kTotal) == host.managedByMemMap;
}

} // namespace overview
