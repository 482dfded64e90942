#include "nevra/definitions.h"
#include "nevra/nevra.h"

#define NEVRA_DEFINE_IDENTIFIER(node, ...)                                                                   \
   const NevraNode NEVRA_NODE_##node = &nevra::kDefinitionTable[static_cast<size_t>(nevra::NodeId::node)];

extern "C" {
NEVRA_NODES(NEVRA_DEFINE_IDENTIFIER)
}
