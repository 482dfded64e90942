#include "snapshot-tool/progress.h"

#include <algorithm>
#include <cinttypes>

#include <unistd.h>

namespace {

constexpr std::chrono::milliseconds kFirst{1000};
constexpr std::chrono::milliseconds kLater{200};

} // namespace

Progress::Progress(const char *participle)
    : Progress(participle, stderr, isatty(STDERR_FILENO) != 0, std::chrono::steady_clock::now)
{
}

Progress::Progress(const char *participle, FILE *output, bool outputIsTerminal, Clock now)
    : what(participle), stream(output), isTerminal(outputIsTerminal), clock(std::move(now))
{
   next = clock() + kFirst;
}

Progress::~Progress()
{
   if (isShown) {
      std::fputs("\r\033[K", stream);
      std::fflush(stream);
   }
}

void Progress::Update(uint64_t done, uint64_t total)
{
   if (!isTerminal) {
      return;
   }
   const auto now = clock();
   if (now < next) {
      return;
   }
   next = now + kLater;
   isShown = true;
   if (total > 0) {
      std::fprintf(
         stream, "\r\033[K%s: %d%%", what,
         static_cast<int>(100.0 * static_cast<double>(std::min(done, total)) / static_cast<double>(total)));
   } else {
      std::fprintf(stream, "\r\033[K%s: %" PRIu64, what, done);
   }
   std::fflush(stream);
}
