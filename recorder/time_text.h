// The moments that people name on the command line.
#ifndef RECORDER_TIME_TEXT_H
#define RECORDER_TIME_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>

namespace recorder {

// The forms, for help texts and messages.
inline constexpr char kTimeForms[] =
   "now, now-2h30m, 03:00, yesterday 03:00, 2026-01-31 23:59, 2026-01-31T23:59:59Z or @SECONDS";

// Reads a moment: seconds since 1970, UTC. `now` is the present one.
//
//    now, now-90s, now-2h30m    d, h, m and s, in this order
//    03:00, 03:00:30            the last time that the clock showed it, now included
//    today 03:00, yesterday 03:00
//    2026-01-31 23:59, 2026-01-31T23:59:59
//    2026-01-31T23:59:59Z       the same in UTC
//    @1769903999
//
// Without Z, times are of the zone of the process (TZ). One that the clock showed twice, when it was set
// back, is the later one (of those up to now); one that it skipped is as much later as the clock was set
// forward. False for any other text, with `*problem`.
bool ParseTime(std::string_view text, int64_t now, int64_t *seconds, std::string *problem);

} // namespace recorder

#endif
