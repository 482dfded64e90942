// For programs that carry the operations of nevra.h inside instead of taking them from libnevra.so.1: which
// source answers them.
#ifndef NEVRA_OPERATIONS_H
#define NEVRA_OPERATIONS_H

#include <memory>

#include "nevra/source.h"

namespace nevra {

// From here on every read of the process is answered by `next`, or by the running kernel when it is null.
// The source before is gone at once, unlike with Nevra_UseCache: no list that it filled may be in use.
void AnswerFrom(std::unique_ptr<Source> next);

} // namespace nevra

#endif
