#include "fuzz/fuzz_check.h"

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

namespace {

// Before the fuzzer closes standard error, where the code under test tells its failures.
const int errorOutput = dup(STDERR_FILENO);

} // namespace

void Require(bool condition, const std::string &text)
{
   if (!condition) {
      dprintf(errorOutput, "ERROR: %s\n", text.c_str());
      std::abort();
   }
}
