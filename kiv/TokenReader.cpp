// SPDX-License-Identifier: Apache-2.0
#include "kiv/TokenReader.h"

#include <limits>
#include <type_traits>

#include "kiv/Exception.h"

namespace Kiv {

namespace {

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

String8 describe(std::optional<char> c) {
  if (!c) return "end of text";
  return String8("'") + *c + "'";
}

}  // namespace

bool isWhiteSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

String8 quoteString(std::string_view text) {
  String8 out;
  out.reserve(text.size() + 2);
  out += '\'';
  for (char c : text) {
    if (c == '\'' || c == '\\') out += '\\';
    out += c;
  }
  out += '\'';
  return out;
}

TokenReader::TokenReader(Iter& pos, Iter end) : pos_(pos), end_(end), begin_(pos) {}

TokenReader::TokenReader(Iter& pos, Iter end, Iter begin) : pos_(pos), end_(end), begin_(begin) {}

void TokenReader::skipWhiteSpace() {
  while (pos_ != end_ && isWhiteSpace(*pos_)) ++pos_;
}

bool TokenReader::atEnd() {
  skipWhiteSpace();
  return pos_ == end_;
}

std::optional<char> TokenReader::peek() {
  skipWhiteSpace();
  if (pos_ == end_) return std::nullopt;
  return *pos_;
}

void TokenReader::fail(std::string_view what) const {
  throw RangeException(String8(what) + " at column " + std::to_string(column()));
}

bool TokenReader::match(std::string_view literal) {
  const Iter start = pos_;
  skipWhiteSpace();
  for (char c : literal) {
    if (isWhiteSpace(c)) {
      skipWhiteSpace();
    } else if (pos_ != end_ && *pos_ == c) {
      ++pos_;
    } else {
      pos_ = start;
      return false;
    }
  }
  return true;
}

void TokenReader::expect(std::string_view literal) {
  if (match(literal)) return;
  const std::size_t last = literal.find_last_not_of(" \t\n\r\f\v");
  const std::size_t first = literal.find_first_not_of(" \t\n\r\f\v");
  const std::string_view shown =
      last == std::string_view::npos ? literal : literal.substr(first, last - first + 1);
  const std::optional<char> found = peek();
  fail("expected '" + String8(shown) + "', found " + describe(found));
}

bool TokenReader::accept(std::string_view literal) {
  return match(literal);
}

String8 TokenReader::readQuoted() {
  skipWhiteSpace();
  if (pos_ == end_ || *pos_ != '\'') fail("expected a quoted string, found " + describe(peek()));
  const std::size_t startColumn = column();
  ++pos_;
  String8 text;
  while (pos_ != end_) {
    const char c = *pos_;
    if (c == '\'') {
      ++pos_;
      return text;
    }
    if (c == '\\') {
      const Iter next = pos_ + 1;
      if (next == end_ || (*next != '\'' && *next != '\\')) {
        fail(next == end_ ? String8("backslash at end of text")
                          : String8("bad escape '\\") + *next + "'");
      }
      text += *next;
      pos_ = next + 1;
      continue;
    }
    text += c;
    ++pos_;
  }
  throw RangeException("unterminated quoted string starting at column " +
                       std::to_string(startColumn));
}

U64 TokenReader::readMagnitude(bool& negative, bool& overflow, String8& token) {
  skipWhiteSpace();
  const Iter start = pos_;
  negative = pos_ != end_ && *pos_ == '-';
  if (negative) ++pos_;
  const Iter digits = pos_;
  U64 magnitude = 0;
  overflow = false;
  constexpr U64 kMax = std::numeric_limits<U64>::max();
  while (pos_ != end_ && isDigit(*pos_)) {
    const U64 digit = static_cast<U64>(*pos_ - '0');
    if (magnitude > (kMax - digit) / 10) overflow = true;
    if (!overflow) magnitude = magnitude * 10 + digit;
    ++pos_;
  }
  if (pos_ == digits) {
    pos_ = start;
    fail("expected an integer, found " + describe(peek()));
  }
  token.assign(start, pos_);
  return magnitude;
}

template <class T>
T TokenReader::readInteger(const char* typeName) {
  bool negative = false;
  bool overflow = false;
  String8 token;
  const U64 magnitude = readMagnitude(negative, overflow, token);
  const auto outOfRange = [&] {
    throw RangeException(String8("integer out of range for ") + typeName + ": " + token);
  };
  if (overflow) outOfRange();
  if constexpr (std::is_signed_v<T>) {
    constexpr U64 kMaxPositive = static_cast<U64>(std::numeric_limits<T>::max());
    if (negative) {
      if (magnitude > kMaxPositive + 1) outOfRange();
      // Written as -(m - 1) - 1 so that the minimum does not overflow on the way.
      return magnitude == 0 ? T{0} : static_cast<T>(-static_cast<T>(magnitude - 1) - 1);
    }
    if (magnitude > kMaxPositive) outOfRange();
    return static_cast<T>(magnitude);
  } else {
    if (negative || magnitude > std::numeric_limits<T>::max()) outOfRange();
    return static_cast<T>(magnitude);
  }
}

S32 TokenReader::readS32() {
  return readInteger<S32>("S32");
}
U32 TokenReader::readU32() {
  return readInteger<U32>("U32");
}

}  // namespace Kiv
