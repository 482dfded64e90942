#include "nevra/linux/linux_source.h"

namespace nevra {

namespace {

class LinuxSource : public Source {
 public:
   NevraStatus Get(const NevraNodeDef &, const Nevra_ParamList &, void *) override { return NEVRA_NOT_FOUND; }
   NevraStatus List(const NevraNodeDef &, const Nevra_ParamList &, Nevra_ParamList &) override
   {
      return NEVRA_NOT_FOUND;
   }
   NevraStatus Set(const NevraNodeDef &, const Nevra_ParamList &, const Nevra_ParamList &) override
   {
      return NEVRA_NOT_SUPPORTED;
   }
   const char *Signature() const override { return DefinitionSignature(); }
   const char *KernelBuildText() const override { return DefinitionBuildText(); }
};

} // namespace

std::unique_ptr<Source> MakeLinuxSource(const std::string &)
{
   return std::make_unique<LinuxSource>();
}

} // namespace nevra
