#include "zentra/JsonText.h"

#include <algorithm>

namespace Zentra::Json::Text {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::size_t utf8Length(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(at);
  std::size_t length = 0;
  unsigned char low = 0x80, high = 0xBF;  // allowed range of the second byte
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  for (std::size_t i = 1; i < length && at + i < text.size(); ++i) {
    const unsigned char c = byte(at + i);
    if (i == 1 ? (c < low || c > high) : (c & 0xC0) != 0x80) return 0;
  }
  return length;
}

void appendUtf8(Kiv::String8& out, U32 codePoint) {
  if (codePoint < 0x80) {
    out += static_cast<char>(codePoint);
  } else if (codePoint < 0x800) {
    out += static_cast<char>(0xC0 | (codePoint >> 6));
    out += static_cast<char>(0x80 | (codePoint & 0x3F));
  } else if (codePoint < 0x10000) {
    out += static_cast<char>(0xE0 | (codePoint >> 12));
    out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (codePoint & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (codePoint >> 18));
    out += static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (codePoint & 0x3F));
  }
}

bool tooLargeForDouble(std::string_view number) {
  // Compares the decimal exponent of the leading significant digit with zero: numbers out of
  // a double's range are hundreds of orders of magnitude away from it, so this never errs.
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  std::size_t i = number.starts_with('-') ? 1 : 0;
  const std::size_t integerStart = i;
  while (i < number.size() && isDigit(number[i])) ++i;
  if (i == integerStart) return false;  // not a number at all
  long long leading = static_cast<long long>(i - integerStart) - 1;
  if (number[integerStart] == '0') {  // 0.000ddd: count the zeros after the point
    leading = -1;
    if (i < number.size() && number[i] == '.') {
      for (++i; i < number.size() && number[i] == '0'; ++i) --leading;
    }
  }
  while (i < number.size() && number[i] != 'e' && number[i] != 'E') ++i;
  long long exponent = 0;
  bool negative = false;
  if (i < number.size()) {
    ++i;
    if (i < number.size() && (number[i] == '-' || number[i] == '+')) {
      negative = number[i++] == '-';
    }
    for (; i < number.size() && isDigit(number[i]); ++i) {
      exponent = std::min(exponent * 10 + (number[i] - '0'), 1'000'000'000'000LL);
    }
  }
  return leading + (negative ? -exponent : exponent) >= 0;
}

}  // namespace Zentra::Json::Text
