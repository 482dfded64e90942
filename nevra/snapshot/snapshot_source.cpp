#include "nevra/snapshot/snapshot_source.h"

namespace nevra {

NevraStatus OpenSnapshotSource(const char *, std::unique_ptr<Source> *)
{
   return NEVRA_NOT_SUPPORTED;
}

} // namespace nevra
