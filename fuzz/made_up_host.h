// The platform of the command-line target: the library's own operations, before a host that is made up and
// answers as the input says. No kernel is asked, and no register of this machine written.
#ifndef FUZZ_MADE_UP_HOST_H
#define FUZZ_MADE_UP_HOST_H

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "nevra/source.h"

// What the host answers where the input says nothing else.
void SetSampleHost(const std::vector<uint8_t> &snapshot);

// A run of the tool begins: the host answers as `text` says, which stays the caller's.
//
// A line is the number of a question, from 1, and what is answered otherwise than by the sample: "12 1"
// fails, see AnswerKind, "12 7abc" has other figures, made of the bytes "abc", and "12 8abc" texts of them,
// without an end. "0 1" is a host of other definitions. After two thousand questions everything fails, so
// that every run comes to its end.
void BeginRun(std::string_view text);

// Whether texts are not what a platform gives: the tool bounds them, and prints them as they are.
bool HasWildAnswers();

// The run is over: the platform is as it was before the first.
void EndRun();

#endif
