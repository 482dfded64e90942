// Build step: writes the header with the definition signature, the MD5 of the definitions' canonical text.
#include <cstdio>
#include <string>

#include <md5.h>

#include "nevra/definitions.h"

int main()
{
   const std::string text = nevra::CanonicalDefinitionText();
   char digest[MD5_DIGEST_STRING_LENGTH];
   MD5Data(reinterpret_cast<const uint8_t *>(text.data()), text.size(), digest);
   std::printf("static constexpr char kDefinitionSignature[] = \"%s\";\n", digest);
   return 0;
}
