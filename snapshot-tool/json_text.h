// Texts and bytes in the readable form. A text is a JSON string when it is UTF-8, and {"hex": "..."} when it
// is not.
#ifndef SNAPSHOT_TOOL_JSON_TEXT_H
#define SNAPSHOT_TOOL_JSON_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>

bool IsUtf8(std::string_view text);

std::string HexOfBytes(std::string_view bytes);

// False for a text that is not pairs of hexadecimal digits.
bool BytesOfHex(std::string_view hex, std::string *bytes);

#endif
