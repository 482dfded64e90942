// Texts on a terminal: what strangers named, made fit for it and cut to columns.
//
// A character takes as many columns as the C library says, so that UTF-8 needs a locale that has it.
#ifndef OVERVIEW_DISPLAY_TEXT_H
#define OVERVIEW_DISPLAY_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace overview {

enum class Charset : uint8_t { Ascii, Utf8 };

// Sets the process's locale for characters to that of the environment. UTF-8 if it has it.
Charset UseLocaleOfEnvironment();

enum class Align : uint8_t { Left, Right };

// The text in exactly `columns` columns: fit to be shown, with what the character set lacks as '?', cut with
// two dots at its end where it is too long, else padded.
std::string FitText(std::string_view text, size_t columns, Charset charset, Align align = Align::Left);

// The same of a name, with the dots in place of its middle: names differ at their ends.
std::string FitName(std::string_view name, size_t columns, Charset charset);

// The same, neither cut nor padded.
std::string TerminalText(std::string_view text, Charset charset);

// The columns that a text takes that is fit to be shown.
size_t ColumnsOf(std::string_view text);

} // namespace overview

#endif
