// Names that strangers choose, made fit for a terminal and for a record's text field.
#ifndef NEVRA_SHOWN_TEXT_H
#define NEVRA_SHOWN_TEXT_H

#include <cstddef>
#include <string_view>

namespace nevra {

// Stores the text in a field of `size` bytes, terminated. Every byte that could steer a terminal, or that is
// no UTF-8, becomes '?'; what is too long is cut, never within a character.
void StoreShownText(char *field, size_t size, std::string_view text);

// Whether it would stay as it is.
bool IsShownText(std::string_view text);

} // namespace nevra

#endif
