// What all reports together ask a source, and what that costs.
#ifndef FUZZ_REPORT_WALK_H
#define FUZZ_REPORT_WALK_H

#include <cstdint>

#include "nevra/source.h"

// Walks the tree of groups as deep as reports do, and every listing with what it leads to, and reads every
// record on the way. Returns the work: one for each question and each listed value, and the bytes that were
// handed over. Stops above `most`.
uint64_t WalkAsReportsDo(nevra::Source &source, uint64_t most);

#endif
