// Texts and numbers in the page's JSON.
#ifndef OVERVIEW_PAGE_TEXT_H
#define OVERVIEW_PAGE_TEXT_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "export/json_value.h"

namespace overview {

inline constexpr size_t kLongestText = 500; // bytes; what is longer is cut

// A string, which has passed nevra/shown_text.h: names come from strangers.
void WriteText(JsonWriter &out, std::string_view text);
void WriteTextMember(JsonWriter &out, const char *name, std::string_view text);
// An array of the first `most` lines.
void WriteLines(JsonWriter &out, const char *name, std::span<const std::string> lines, size_t most);

// An integer; one that a number of JavaScript cannot hold exactly becomes a text.
void WriteUnsigned(JsonWriter &out, uint64_t value);
void WriteSigned(JsonWriter &out, int64_t value);

// A text of JSON in which "<", ">", "&" and the line separators of JavaScript are escaped, so that it cannot
// end the script element that it is in. They occur in its strings only.
std::string EscapeForScript(std::string_view json);

} // namespace overview

#endif
