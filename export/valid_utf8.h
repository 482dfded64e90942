// Names as machines take them.
#ifndef EXPORT_VALID_UTF8_H
#define EXPORT_VALID_UTF8_H

#include <string>
#include <string_view>

// A copy in which each byte that is no part of a UTF-8 character is U+FFFD, the replacement character.
std::string ValidUtf8(std::string_view text);

#endif
