#include "definition_signature.h" // made by the build from the node definitions
#include "nevra/definitions.h"

namespace nevra {

const char *DefinitionSignature()
{
   return kDefinitionSignature;
}

} // namespace nevra
