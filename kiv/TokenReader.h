// SPDX-License-Identifier: Apache-2.0
#pragma once
// Reads the tokens of our value text forms, e.g. Value('Type', ** {'name': value}).
// Every error is a Kiv::RangeException whose message says what was expected and where.
#include <cstddef>
#include <optional>
#include <string_view>

#include "kiv/Types.h"

namespace Kiv {

bool isWhiteSpace(char c);

// Writes `text` so that TokenReader::readQuoted gives it back unchanged.
String8 quoteString(std::string_view text);

class TokenReader {
 public:
  using Iter = String8::const_iterator;

  // Columns in messages count from where `pos` stands now.
  TokenReader(Iter& pos, Iter end);
  // Columns in messages count from `begin` (the start of the whole text).
  TokenReader(Iter& pos, Iter end, Iter begin);
  TokenReader(const TokenReader&) = delete;
  TokenReader& operator=(const TokenReader&) = delete;

  void skipWhiteSpace();
  // Both skip white space first.
  bool atEnd();
  std::optional<char> peek();

  // Skips white space, then requires `literal`. A blank inside or at the end of the literal
  // stands for optional white space, so "} " also consumes the blanks after the brace.
  void expect(std::string_view literal);
  // As expect, but returns false (and reads nothing) when the literal is not there.
  bool accept(std::string_view literal);

  // 'text' with \' and \\ as the only escapes.
  String8 readQuoted();

  S32 readS32();
  U32 readU32();

  // Skips white space, then reads the longest run of characters accepted by `pred`.
  template <class Pred>
  String8 readWhile(Pred pred) {
    skipWhiteSpace();
    const Iter start = pos_;
    while (pos_ != end_ && pred(*pos_)) ++pos_;
    return String8(start, pos_);
  }

  std::size_t column() const { return static_cast<std::size_t>(pos_ - begin_); }
  // Throws "<what> at column N".
  [[noreturn]] void fail(std::string_view what) const;

 private:
  bool match(std::string_view literal);
  // Reads an optional '-' and the digits after it; returns the magnitude and whether it
  // overflowed 64 bits. `token` receives the text read, for messages.
  U64 readMagnitude(bool& negative, bool& overflow, String8& token);
  template <class T>
  T readInteger(const char* typeName);

  Iter& pos_;
  Iter end_;
  Iter begin_;
};

}  // namespace Kiv
