#include "zentra/Json.h"

#include <charconv>
#include <cstdio>
#include <functional>
#include <set>
#include <utility>
#include <vector>

#include "zentra/JsonText.h"

namespace Zentra::Json {

using Kiv::String8;

ParseError::ParseError(std::size_t line, std::size_t column, String8 path, String8 reason)
    : Kiv::RangeException("line " + std::to_string(line) + ", column " + std::to_string(column) +
                          " (at " + path + "): " + reason),
      line_(line),
      column_(column),
      path_(std::move(path)),
      reason_(std::move(reason)) {}

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool isSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

// Builds the tree with an explicit stack of open containers instead of recursion, so that
// nesting costs heap (bounded by Limits::maxDepth) and never machine stack.
class Parser {
 public:
  Parser(std::string_view text, const Limits& limits) : text_(text), limits_(limits) {}
  Value run();

 private:
  struct Frame {
    bool isObject = false;
    // A member's key, or an element's start, has been read and its value is not done yet;
    // errors then belong to that member or element rather than to the container.
    bool inside = false;
    String8 key;
    std::vector<Value> elements;
    std::vector<Member> members;
    std::set<String8, std::less<>> keys;
  };

  char peek() const { return pos_ < text_.size() ? text_[pos_] : '\0'; }
  bool atEnd() const { return pos_ >= text_.size(); }
  void skipSpace() {
    while (!atEnd() && isSpace(text_[pos_])) ++pos_;
  }
  String8 found() const;
  [[noreturn]] void fail(std::size_t at, const String8& reason) const;

  bool startValue(Value& scalar);
  bool enterFirst();
  bool afterValue(Value value);
  void readKey(bool first);
  Value closeContainer();
  Value readNumber();
  Value readLiteral();
  String8 readString();
  void readEscape(String8& out, std::size_t stringStart);
  U32 readHex4(std::size_t at, std::size_t escapeStart) const;
  void append(String8& out, std::string_view piece, std::size_t stringStart) const;

  std::string_view text_;
  const Limits& limits_;
  std::size_t begin_ = 0;  // past the byte order mark, where line 1 column 1 is
  std::size_t pos_ = 0;
  std::vector<Frame> open_;
};

Value Parser::run() {
  if (text_.size() > limits_.maxDocumentBytes) {
    throw ParseError(1, 1, "$",
                     "document of " + std::to_string(text_.size()) +
                         " bytes exceeds the size limit of " +
                         std::to_string(limits_.maxDocumentBytes) + " bytes");
  }
  if (text_.starts_with(kByteOrderMark)) begin_ = pos_ = kByteOrderMark.size();
  skipSpace();
  Value value;
  for (;;) {
    // At the start of a value: a scalar completes at once, a container only once closed.
    if (!startValue(value)) {
      if (enterFirst()) continue;
      value = closeContainer();
    }
    for (;;) {
      if (open_.empty()) {
        skipSpace();
        if (!atEnd()) fail(pos_, "unexpected text after the document, found " + found());
        return value;
      }
      if (afterValue(std::move(value))) break;
      value = closeContainer();
    }
  }
}

String8 Parser::found() const {
  if (atEnd()) return "end of document";
  const auto c = static_cast<unsigned char>(text_[pos_]);
  if (c >= 0x20 && c < 0x7F) return String8("'") + static_cast<char>(c) + "'";
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "byte 0x%02X", c);
  return buffer;
}

void Parser::fail(std::size_t at, const String8& reason) const {
  // Positions are worked out only here, so that parsing valid text never pays for them.
  std::size_t line = 1, column = 1;
  for (std::size_t i = begin_; i < at && i < text_.size(); ++i) {
    if (text_[i] == '\n') {
      ++line;
      column = 1;
    } else if ((static_cast<unsigned char>(text_[i]) & 0xC0) != 0x80) {
      ++column;
    }
  }
  Path path;
  for (const Frame& frame : open_) {
    if (!frame.inside) break;
    if (frame.isObject) {
      path.pushKey(frame.key);
    } else {
      path.pushIndex(frame.elements.size());
    }
  }
  throw ParseError(line, column, path.str(), reason);
}

// Reads a scalar into `scalar` and returns true, or opens a container and returns false.
bool Parser::startValue(Value& scalar) {
  const char c = peek();
  if (!atEnd() && (c == '[' || c == '{')) {
    if (open_.size() >= limits_.maxDepth) {
      fail(pos_, "nesting exceeds the depth limit of " + std::to_string(limits_.maxDepth));
    }
    ++pos_;
    open_.emplace_back().isObject = c == '{';
    return false;
  }
  if (c == '"') {
    scalar = Value::string(readString());
  } else if (c == '-' || isDigit(c)) {
    scalar = readNumber();
  } else if (c == 't' || c == 'f' || c == 'n') {
    scalar = readLiteral();
  } else {
    fail(pos_, "expected a value, found " + found());
  }
  return true;
}

// Just past an opening bracket: true when a first member or element follows, false when the
// container is empty and already closed.
bool Parser::enterFirst() {
  skipSpace();
  Frame& frame = open_.back();
  if (peek() == (frame.isObject ? '}' : ']')) {
    ++pos_;
    return false;
  }
  if (frame.isObject) {
    readKey(true);
  } else {
    frame.inside = true;
  }
  return true;
}

// Adds a finished value to the innermost container: true when another member or element
// follows, false when the container has just been closed.
bool Parser::afterValue(Value value) {
  Frame& frame = open_.back();
  if (frame.isObject) {
    frame.members.push_back(Member{std::move(frame.key), std::move(value)});
  } else {
    frame.elements.push_back(std::move(value));
  }
  frame.inside = false;
  skipSpace();
  const char close = frame.isObject ? '}' : ']';
  if (peek() == close) {
    ++pos_;
    return false;
  }
  if (peek() != ',') {
    fail(pos_, String8("expected ',' or '") + close + "', found " + found());
  }
  const std::size_t comma = pos_++;
  skipSpace();
  if (peek() == close) fail(comma, String8("trailing comma before '") + close + "'");
  if (frame.isObject) {
    readKey(false);
  } else {
    frame.inside = true;
  }
  return true;
}

// Reads `"key" :` and leaves the parser at the member's value.
void Parser::readKey(bool first) {
  if (peek() != '"') {
    fail(pos_, String8("expected a member name in double quotes") + (first ? " or '}'" : "") +
                   ", found " + found());
  }
  const std::size_t start = pos_;
  String8 key = readString();
  Frame& frame = open_.back();
  // A repeated key in a state document is almost certainly a mistake, and which of the two
  // values would win is anybody's guess: refuse it.
  if (!frame.keys.insert(key).second) fail(start, "duplicate key " + quote(key));
  frame.key = std::move(key);
  frame.inside = true;
  skipSpace();
  if (peek() != ':') fail(pos_, "expected ':', found " + found());
  ++pos_;
  skipSpace();
}

Value Parser::closeContainer() {
  Frame frame = std::move(open_.back());
  open_.pop_back();
  if (frame.isObject) return Value::object(std::move(frame.members));
  return Value::array(std::move(frame.elements));
}

Value Parser::readLiteral() {
  for (const std::string_view word : {"true", "false", "null"}) {
    if (text_.substr(pos_, word.size()) == word) {
      pos_ += word.size();
      if (word == "null") return Value();
      return Value::boolean(word == "true");
    }
  }
  fail(pos_, "unknown literal, expected true, false or null");
}

Value Parser::readNumber() {
  const std::size_t start = pos_;
  const auto digits = [&] {
    while (isDigit(peek())) ++pos_;
  };
  if (peek() == '-') {
    ++pos_;
    if (!isDigit(peek())) fail(pos_, "expected a digit after '-', found " + found());
  }
  if (peek() == '0') {
    ++pos_;
    if (isDigit(peek())) fail(start, "leading zeros are not allowed in numbers");
  } else {
    digits();
  }
  if (peek() == '.') {
    ++pos_;
    if (!isDigit(peek())) fail(pos_, "expected a digit after '.', found " + found());
    digits();
  }
  if (peek() == 'e' || peek() == 'E') {
    ++pos_;
    if (peek() == '+' || peek() == '-') ++pos_;
    if (!isDigit(peek())) fail(pos_, "expected a digit in the exponent, found " + found());
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
  return Value::parsedNumber(String8(text), value);
}

String8 Parser::readString() {
  const std::size_t start = pos_++;
  String8 out;
  for (;;) {
    // Copy runs of plain ASCII at once; stop at anything that needs a closer look.
    std::size_t run = pos_;
    while (run < text_.size()) {
      const auto c = static_cast<unsigned char>(text_[run]);
      if (c == '"' || c == '\\' || c < 0x20 || c >= 0x80) break;
      ++run;
    }
    append(out, text_.substr(pos_, run - pos_), start);
    pos_ = run;
    if (atEnd()) fail(start, "unterminated string");
    const auto c = static_cast<unsigned char>(text_[pos_]);
    if (c == '"') {
      ++pos_;
      return out;
    }
    if (c == '\\') {
      readEscape(out, start);
    } else if (c < 0x20) {
      char buffer[64];
      std::snprintf(buffer, sizeof buffer, "control character U+%04X must be escaped in a string",
                    c);
      fail(pos_, buffer);
    } else {
      const std::size_t length = Text::utf8Length(text_, pos_);
      if (length == 0) fail(pos_, "invalid UTF-8 in string");
      if (pos_ + length > text_.size()) fail(start, "unterminated string");
      append(out, text_.substr(pos_, length), start);
      pos_ += length;
    }
  }
}

void Parser::readEscape(String8& out, std::size_t stringStart) {
  const std::size_t escape = pos_;
  if (escape + 1 >= text_.size()) fail(stringStart, "unterminated string");
  const char kind = text_[escape + 1];
  pos_ += 2;
  constexpr std::string_view kEscaped = "\"\\/bfnrt";
  constexpr std::string_view kDecoded = "\"\\/\b\f\n\r\t";
  if (const std::size_t which = kEscaped.find(kind); which != std::string_view::npos) {
    return append(out, kDecoded.substr(which, 1), stringStart);
  }
  if (kind != 'u') {
    pos_ = escape + 1;  // so that found() names the character after the backslash
    fail(escape, "invalid escape '\\' followed by " + found());
  }

  U32 codePoint = readHex4(pos_, escape);
  pos_ += 4;
  if (codePoint >= 0xDC00 && codePoint <= 0xDFFF) {
    fail(escape, "UTF-16 low surrogate without a high surrogate before it");
  }
  if (codePoint >= 0xD800 && codePoint <= 0xDBFF) {
    if (text_.substr(pos_, 2) != "\\u") {
      fail(escape, "UTF-16 high surrogate without a low surrogate after it");
    }
    const U32 low = readHex4(pos_ + 2, pos_);
    if (low < 0xDC00 || low > 0xDFFF) {
      fail(escape, "UTF-16 high surrogate without a low surrogate after it");
    }
    pos_ += 6;
    codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (low - 0xDC00);
  }
  String8 encoded;
  Text::appendUtf8(encoded, codePoint);
  append(out, encoded, stringStart);
}

U32 Parser::readHex4(std::size_t at, std::size_t escapeStart) const {
  U32 value = 0;
  for (std::size_t i = at; i < at + 4; ++i) {
    const int digit = i < text_.size() ? Text::hexDigit(text_[i]) : -1;
    if (digit < 0) fail(escapeStart, "'\\u' must be followed by four hexadecimal digits");
    value = value * 16 + static_cast<U32>(digit);
  }
  return value;
}

void Parser::append(String8& out, std::string_view piece, std::size_t stringStart) const {
  if (piece.size() > limits_.maxStringBytes - out.size()) {
    fail(stringStart, "string longer than the length limit of " +
                          std::to_string(limits_.maxStringBytes) + " bytes");
  }
  out += piece;
}

Value parse(std::string_view text, const Limits& limits) {
  return Parser(text, limits).run();
}

}  // namespace Zentra::Json
