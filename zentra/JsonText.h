#pragma once
// Byte-level pieces of reading JSON text that the parser needs but that are not parsing:
// UTF-8 checking and encoding, hex digits and the range of a number.
#include <cstddef>
#include <string_view>

#include "kiv/Types.h"

namespace Zentra::Json::Text {

// The value of a hexadecimal digit, or -1.
int hexDigit(char c);

// Length of the UTF-8 sequence starting at text[at] (RFC 3629: no overlong forms, no
// surrogates, nothing past U+10FFFF), or 0 if its bytes so far are wrong. A sequence cut
// short by the end of the text reports its full length; the caller sees it does not fit.
std::size_t utf8Length(std::string_view text, std::size_t at);

// `codePoint` must be a Unicode scalar value.
void appendUtf8(Kiv::String8& out, U32 codePoint);

// For a JSON number that a double cannot hold: whether it is too large rather than too small.
bool tooLargeForDouble(std::string_view number);

}  // namespace Zentra::Json::Text
