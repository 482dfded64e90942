#include "recorder/message.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "nevra/nevra.h"

namespace recorder {

void Complain(const std::string &subject, const std::string &problem)
{
   Warning("%s: %s: %s\n", program_invocation_short_name, subject.c_str(), problem.c_str());
}

bool FinishOutput()
{
   if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
      Complain("standard output", std::string("cannot be written: ") + std::strerror(errno));
      return false;
   }
   return true;
}

} // namespace recorder
