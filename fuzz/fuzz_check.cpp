#include "fuzz/fuzz_check.h"

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

namespace {

// The fuzzer closes standard error, to silence the code under test; this copy stays open.
const int errorOutput = dup(STDERR_FILENO);

} // namespace

void Require(bool condition, const std::string &text)
{
   if (!condition) {
      dprintf(errorOutput, "ERROR: %s\n", text.c_str());
      std::abort();
   }
}
