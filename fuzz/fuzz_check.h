// What must hold, whatever the input.
#ifndef FUZZ_FUZZ_CHECK_H
#define FUZZ_FUZZ_CHECK_H

#include <string>

// Ends the process with the text when the condition does not hold.
void Require(bool condition, const std::string &text);

#endif
