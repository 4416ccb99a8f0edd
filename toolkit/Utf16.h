// Names between the UTF-8 of the host's system and the UTF-16 of the toolkit.
#pragma once

#include <string>
#include <string_view>

namespace toolkit {

// Invalid sequences become U+FFFD, so that a bad name opens nothing rather than another file.
std::u16string ToUtf16(std::string_view utf8);
std::string ToUtf8(std::u16string_view utf16);

} // namespace toolkit
