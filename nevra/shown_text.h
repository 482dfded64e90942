// The gate that texts from outside pass before a terminal: names that strangers chose, and every message.
//
// A text is fit to be shown when it is UTF-8 without control characters (U+0000 to U+001f, U+007f to U+009f),
// line separators, and the marks that turn the direction of what follows them.
#ifndef NEVRA_SHOWN_TEXT_H
#define NEVRA_SHOWN_TEXT_H

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace nevra {

// Makes a text fit to be shown, in place: every byte of what is not becomes '?'.
void MakeShown(std::span<char> text);

// A copy that is fit to be shown.
std::string ShownText(std::string_view text);

// Stores the text in a field of `size` bytes, fit to be shown and terminated; what is too long is cut, never
// within a character.
void StoreShownText(char *field, size_t size, std::string_view text);

// Whether it would stay as it is.
bool IsShownText(std::string_view text);

} // namespace nevra

#endif
