// Any text as a moment of the command line, at any time, in zones whose clocks are set differently.
//
// The input is the present second, eight bytes, a byte that chooses the zone, and the text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <string>
#include <string_view>

#include "fuzz/fuzz_check.h"
#include "recorder/time_text.h"

namespace {

constexpr int64_t kLastSecond = 253402300799; // of the year 9999

constexpr const char *kZones[] = {"UTC0",     "CET-1CEST,M3.5.0,M10.5.0/3",       "EST5EDT,M3.2.0,M11.1.0",
                                  "IST-5:30", "LHST-10:30LHDT-11,M10.1.0,M4.1.0", "<-12>12",
                                  "<+14>-14"};

bool IsUpToNow(std::string_view text)
{
   return text.starts_with("now") || (text.size() > 2 && text[2] == ':');
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
   constexpr size_t kHead = sizeof(int64_t) + 1;
   if (size < kHead) {
      return 0;
   }
   int64_t now;
   std::memcpy(&now, data, sizeof now);
   // The years that a clock may show, without the ends, where a day more or less has no date.
   now = 1000000 + static_cast<int64_t>(static_cast<uint64_t>(now) % (kLastSecond - 2000000));
   setenv("TZ", kZones[data[sizeof now] % std::size(kZones)], 1);
   tzset();
   const std::string_view text(reinterpret_cast<const char *>(data) + kHead, size - kHead);
   int64_t seconds = -1;
   std::string problem;
   if (!recorder::ParseTime(text, now, &seconds, &problem)) {
      Require(!problem.empty(), "refused without a reason");
      return 0;
   }
   Require(problem.empty(), "taken, and a reason against it: " + problem);
   Require(seconds >= 0 && seconds <= kLastSecond, "a time that there is none of");
   Require(!IsUpToNow(text) || seconds <= now, "the last such time is still to come");
   return 0;
}
