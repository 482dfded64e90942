#include "fuzz/fuzz_check.h"

#include <cstdio>
#include <cstdlib>

void Require(bool condition, const std::string &text)
{
   if (!condition) {
      std::fprintf(stderr, "%s\n", text.c_str());
      std::abort();
   }
}
