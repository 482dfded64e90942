// The platform of the command-line target: the library's own operations, before a host that is made up and
// answers as the input says. No kernel is asked, and no register of this machine written.
#ifndef FUZZ_MADE_UP_HOST_H
#define FUZZ_MADE_UP_HOST_H

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "nevra/source.h"

// What the host answers where the input says nothing else.
void SetSampleHost(const std::vector<uint8_t> &snapshot);

// A run of the tool begins: the host answers by `answers`, which stay the caller's.
//
// Each question takes a byte. Most say "as the sample", some that it fails, lists nothing, everything twice
// or itself, or has other figures, from the bytes that follow. Texts stay as they are, since a platform ends
// and bounds them. After two thousand questions everything fails, so that every run comes to its end.
void BeginRun(std::span<const uint8_t> answers);

// The run is over: the platform is as it was before the first.
void EndRun();

#endif
