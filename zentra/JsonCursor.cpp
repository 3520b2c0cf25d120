#include "zentra/JsonCursor.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

#include "zentra/JsonText.h"

namespace Zentra::Json {

using Kiv::String8;

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool isSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// Bytes that a string can hold as they are: anything but the quote, the backslash, control
// characters and the start of a multi-byte sequence, which needs checking.
constexpr std::array<bool, 256> kPlain = [] {
  std::array<bool, 256> plain{};
  for (int c = 0x20; c < 0x80; ++c) plain[static_cast<std::size_t>(c)] = c != '"' && c != '\\';
  return plain;
}();
bool isPlain(char c) {
  return kPlain[static_cast<unsigned char>(c)];
}

}  // namespace

Cursor::Cursor(std::string_view text, const Limits& limits) : text_(text), limits_(limits) {
  if (text_.size() > limits_.maxDocumentBytes) {
    throw ParseError(1, 1, "$",
                     "document of " + std::to_string(text_.size()) +
                         " bytes exceeds the size limit of " +
                         std::to_string(limits_.maxDocumentBytes) + " bytes");
  }
  if (text_.starts_with(kByteOrderMark)) begin_ = pos_ = kByteOrderMark.size();
  skipSpace();
}

void Cursor::skipSpace() {
  while (!atEnd() && isSpace(text_[pos_])) ++pos_;
}

String8 Cursor::found(std::size_t at) const {
  if (at >= text_.size()) return "end of document";
  const auto c = static_cast<unsigned char>(text_[at]);
  if (c >= 0x20 && c < 0x7F) return String8("'") + static_cast<char>(c) + "'";
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "byte 0x%02X", c);
  return buffer;
}

void Cursor::fail(std::size_t at, const String8& reason, std::size_t frames) const {
  // Positions are worked out only here, so that reading valid text never pays for them.
  std::size_t line = 1, column = 1;
  for (std::size_t i = begin_; i < at && i < text_.size(); ++i) {
    if (text_[i] == '\n') {
      ++line;
      column = 1;
    } else if ((static_cast<unsigned char>(text_[i]) & 0xC0) != 0x80) {
      ++column;
    }
  }
  throw ParseError(line, column, pathOf(frames), reason);
}

String8 Cursor::pathOf(std::size_t frames) const {
  Path path;
  String8 buffer;
  for (std::size_t i = 0; i < frames && open_[i].inside; ++i) {
    if (open_[i].isObject) {
      // Keys are decoded again here rather than kept: they were valid once, so this cannot fail.
      std::string_view key;
      string(open_[i].key, buffer, key);
      path.pushKey(key);
    } else {
      path.pushIndex(open_[i].index - 1);
    }
  }
  return path.str();
}

String8 Cursor::path() const {
  return pathOf(open_.size());
}

void Cursor::duplicateKey() const {
  std::string_view key;
  String8 buffer;
  string(open_.back().key, buffer, key);
  // The object is named, not the member: it is the object that is wrong.
  fail(open_.back().key, "duplicate key " + quote(key), open_.size() - 1);
}

Cursor::Kind Cursor::peek() {
  if (colonDue_) {
    colonDue_ = false;
    skipSpace();
    if (peekChar() != ':') fail(pos_, "expected ':', found " + found());
    ++pos_;
    skipSpace();
  }
  const auto literal = [&](std::string_view word) {
    if (text_.substr(pos_, word.size()) != word) {
      fail(pos_, "unknown literal, expected true, false or null");
    }
  };
  switch (peekChar()) {
    case '{':
      return Kind::Object;
    case '[':
      return Kind::Array;
    case '"':
      return Kind::String;
    case 't':
      literal("true");
      return Kind::Boolean;
    case 'f':
      literal("false");
      return Kind::Boolean;
    case 'n':
      literal("null");
      return Kind::Null;
    default:
      if (peekChar() == '-' || isDigit(peekChar())) return Kind::Number;
      fail(pos_, "expected a value, found " + found());
  }
}

bool Cursor::readBool() {
  const bool value = text_[pos_] == 't';
  pos_ += value ? 4 : 5;
  return value;
}

void Cursor::readNull() {
  pos_ += 4;
}

void Cursor::enterObject() {
  enter(true);
}

void Cursor::enterArray() {
  enter(false);
}

void Cursor::enter(bool isObject) {
  if (open_.size() >= limits_.maxDepth) {
    fail(pos_, "nesting exceeds the depth limit of " + std::to_string(limits_.maxDepth));
  }
  ++pos_;
  open_.push_back(Frame{isObject});
}

bool Cursor::next(Frame& frame, char close) {
  frame.inside = false;
  skipSpace();
  if (peekChar() == close) {
    ++pos_;
    open_.pop_back();
    return false;
  }
  if (frame.index != 0) {
    if (peekChar() != ',') {
      fail(pos_, String8("expected ',' or '") + close + "', found " + found());
    }
    const std::size_t comma = pos_++;
    skipSpace();
    if (peekChar() == close) fail(comma, String8("trailing comma before '") + close + "'");
  }
  ++frame.index;
  return true;
}

bool Cursor::nextMember(std::string_view& key) {
  Frame& frame = open_.back();
  if (!next(frame, '}')) return false;
  if (peekChar() != '"') {
    fail(pos_, String8("expected a member name in double quotes") +
                   (frame.index == 1 ? " or '}'" : "") + ", found " + found());
  }
  frame.key = pos_;
  pos_ = string(pos_, buffer_, key);
  frame.inside = true;
  // The colon is read with the value, so that a repeated key is reported before a missing colon.
  colonDue_ = true;
  return true;
}

bool Cursor::nextElement() {
  Frame& frame = open_.back();
  if (!next(frame, ']')) return false;
  frame.inside = true;
  return true;
}

void Cursor::finish() {
  skipSpace();
  if (!atEnd()) fail(pos_, "unexpected text after the document, found " + found());
}

Cursor::Number Cursor::readNumber() {
  const std::size_t start = pos_;
  const auto digits = [&] {
    while (isDigit(peekChar())) ++pos_;
  };
  if (peekChar() == '-') {
    ++pos_;
    if (!isDigit(peekChar())) fail(pos_, "expected a digit after '-', found " + found());
  }
  if (peekChar() == '0') {
    ++pos_;
    if (isDigit(peekChar())) fail(start, "leading zeros are not allowed in numbers");
  } else {
    digits();
  }
  // Most numbers in a state document are small integers, which a double holds exactly.
  constexpr std::size_t kExactDigits = 15;
  if (peekChar() != '.' && peekChar() != 'e' && peekChar() != 'E' &&
      pos_ - start <= std::min(kExactDigits, limits_.maxStringBytes)) {
    const std::string_view text = text_.substr(start, pos_ - start);
    S64 integer = 0;
    for (const char c : text.substr(text.starts_with('-') ? 1 : 0))
      integer = integer * 10 + (c - '0');
    const double value = static_cast<double>(integer);
    return Number{text, text.starts_with('-') ? -value : value};
  }
  if (peekChar() == '.') {
    ++pos_;
    if (!isDigit(peekChar())) fail(pos_, "expected a digit after '.', found " + found());
    digits();
  }
  if (peekChar() == 'e' || peekChar() == 'E') {
    ++pos_;
    if (peekChar() == '+' || peekChar() == '-') ++pos_;
    if (!isDigit(peekChar())) fail(pos_, "expected a digit in the exponent, found " + found());
    digits();
  }
  const std::string_view text = text_.substr(start, pos_ - start);
  if (text.size() > limits_.maxStringBytes) {
    fail(start, "number longer than the string length limit of " +
                    std::to_string(limits_.maxStringBytes) + " bytes");
  }
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc::result_out_of_range) {
    if (Text::tooLargeForDouble(text)) fail(start, "number is too large for a double");
    value = text.starts_with('-') ? -0.0 : 0.0;
  } else if (error != std::errc() || end != text.data() + text.size()) {
    fail(start, "number cannot be converted");  // the grammar above should prevent this
  }
  return Number{text, value};
}

std::string_view Cursor::readString() {
  std::string_view out;
  pos_ = string(pos_, buffer_, out);
  return out;
}

void Cursor::checkLength(std::size_t length, std::size_t stringStart) const {
  if (length > limits_.maxStringBytes) {
    fail(stringStart, "string longer than the length limit of " +
                          std::to_string(limits_.maxStringBytes) + " bytes");
  }
}

std::size_t Cursor::string(std::size_t at, String8& buffer, std::string_view& out) const {
  const std::size_t start = at;
  std::size_t pos = at + 1;
  // Piece by piece, checking the length as each piece is added, as the limit is on the decoded
  // string. Only escapes make a copy necessary: plain text to the closing quote, the common
  // case, ends in the first round as a view of the text.
  bool copied = false;
  std::size_t length = 0;
  const auto add = [&](std::string_view piece) {
    checkLength(length + piece.size(), start);
    length += piece.size();
    if (copied) buffer += piece;
  };
  for (;;) {
    std::size_t run = pos;
    while (run < text_.size() && isPlain(text_[run])) ++run;
    add(text_.substr(pos, run - pos));
    pos = run;
    if (pos >= text_.size()) fail(start, "unterminated string");
    const auto c = static_cast<unsigned char>(text_[pos]);
    if (c == '"') {
      out = copied ? std::string_view(buffer) : text_.substr(start + 1, pos - start - 1);
      return pos + 1;
    }
    if (c == '\\') {
      if (!copied) buffer.assign(text_.substr(start + 1, pos - start - 1));
      copied = true;
      String8 decoded;
      pos = escape(pos, decoded, start);
      add(decoded);
    } else if (c < 0x20) {
      char message[64];
      std::snprintf(message, sizeof message, "control character U+%04X must be escaped in a string",
                    c);
      fail(pos, message);
    } else {
      const std::size_t sequence = Text::utf8Length(text_, pos);
      if (sequence == 0) fail(pos, "invalid UTF-8 in string");
      if (pos + sequence > text_.size()) fail(start, "unterminated string");
      add(text_.substr(pos, sequence));
      pos += sequence;
    }
  }
}

std::size_t Cursor::escape(std::size_t at, String8& out, std::size_t stringStart) const {
  if (at + 1 >= text_.size()) fail(stringStart, "unterminated string");
  const char kind = text_[at + 1];
  constexpr std::string_view kEscaped = "\"\\/bfnrt";
  constexpr std::string_view kDecoded = "\"\\/\b\f\n\r\t";
  if (const std::size_t which = kEscaped.find(kind); which != std::string_view::npos) {
    out += kDecoded[which];
    return at + 2;
  }
  if (kind != 'u') fail(at, "invalid escape '\\' followed by " + found(at + 1));
  U32 codePoint = hex4(at + 2, at);
  std::size_t end = at + 6;
  if (codePoint >= 0xDC00 && codePoint <= 0xDFFF) {
    fail(at, "UTF-16 low surrogate without a high surrogate before it");
  }
  if (codePoint >= 0xD800 && codePoint <= 0xDBFF) {
    if (text_.substr(end, 2) != "\\u") {
      fail(at, "UTF-16 high surrogate without a low surrogate after it");
    }
    const U32 low = hex4(end + 2, end);
    if (low < 0xDC00 || low > 0xDFFF) {
      fail(at, "UTF-16 high surrogate without a low surrogate after it");
    }
    end += 6;
    codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (low - 0xDC00);
  }
  Text::appendUtf8(out, codePoint);
  return end;
}

U32 Cursor::hex4(std::size_t at, std::size_t escapeStart) const {
  U32 value = 0;
  for (std::size_t i = at; i < at + 4; ++i) {
    const int digit = i < text_.size() ? Text::hexDigit(text_[i]) : -1;
    if (digit < 0) fail(escapeStart, "'\\u' must be followed by four hexadecimal digits");
    value = value * 16 + static_cast<U32>(digit);
  }
  return value;
}

}  // namespace Zentra::Json
