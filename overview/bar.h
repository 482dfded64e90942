// Bars of block characters.
#ifndef OVERVIEW_BAR_H
#define OVERVIEW_BAR_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "overview/display_text.h"

namespace overview {

// A bar as long as the part is of the whole, in exactly `columns` columns, to an eighth of a column in UTF-8.
// A part of more than nothing leaves a trace; one of less does not.
std::string Bar(int64_t part, int64_t whole, size_t columns, Charset charset);

} // namespace overview

#endif
