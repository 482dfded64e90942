#include "nevra/snapshot/snapshot_checksum.h"

#include <string>
#include <vector>

#define XXH_INLINE_ALL // no symbol of it is exported, and no library is needed
#include <xxhash.h>

#include "nevra/definitions.h"

namespace nevra {

uint64_t ChecksumOfBytes(const void *bytes, size_t size)
{
   return XXH3_64bits(bytes, size);
}

uint64_t ChecksumOfVectors(std::span<const std::span<const uint8_t>> vectors)
{
   XXH3_state_t state;
   XXH3_64bits_reset(&state);
   for (const std::span<const uint8_t> vector : vectors) {
      const uint64_t size = vector.size();
      XXH3_64bits_update(&state, &size, sizeof size);
      if (!vector.empty()) {
         XXH3_64bits_update(&state, vector.data(), vector.size());
      }
   }
   return XXH3_64bits_digest(&state);
}

namespace {

// One line of the canonical text per node, in the order of the table.
std::vector<uint64_t> ChecksumDefinitions()
{
   std::vector<uint64_t> checksums;
   const std::string text = CanonicalDefinitionText();
   for (size_t start = 0; start < text.size();) {
      const size_t end = text.find('\n', start);
      checksums.push_back(XXH3_64bits(text.data() + start, end - start));
      start = end + 1;
   }
   return checksums;
}

} // namespace

uint64_t ChecksumOfDefinition(std::string_view path)
{
   static const std::vector<uint64_t> checksums = ChecksumDefinitions();
   const NevraNodeDef *definition = FindDefinition(path);
   return definition != nullptr ? checksums.at(static_cast<size_t>(definition->id)) : 0;
}

} // namespace nevra
