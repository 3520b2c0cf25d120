#include "zentra/Json.h"

#include <charconv>
#include <cstdio>
#include <algorithm>
#include <iterator>
#include <span>
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
  // The finished elements and members of every open container wait on two shared stacks
  // (elements_, members_), so that opening a container allocates nothing and closing one
  // moves its values into a vector of exactly the right size.
  struct Frame {
    bool isObject = false;
    // A member's key, or an element's start, has been read and its value is not done yet;
    // errors then belong to that member or element rather than to the container. An object's
    // member under construction is already on members_, with its key and a null value.
    bool inside = false;
    std::size_t start = 0;  // where the container's values begin on elements_ or members_
  };

  char peek() const { return pos_ < text_.size() ? text_[pos_] : '\0'; }
  bool atEnd() const { return pos_ >= text_.size(); }
  void skipSpace() {
    while (!atEnd() && isSpace(text_[pos_])) ++pos_;
  }
  String8 found() const;
  [[noreturn]] void fail(std::size_t at, const String8& reason) const;

  bool startValue(Value& scalar);
  bool isRepeatedKey(const Frame& frame, std::string_view key) const;
  Value closeObject(const Frame& frame);
  bool enterFirst();
  bool afterValue(Value&& value);
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
  std::vector<Value> elements_;
  std::vector<Member> members_;
  std::vector<std::size_t> keyStarts_;  // where each key of members_ begins in the text
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
  for (std::size_t i = 0; i < open_.size() && open_[i].inside; ++i) {
    const Frame& frame = open_[i];
    // A container's values end where the next container of the same kind begins.
    std::size_t end = frame.isObject ? members_.size() : elements_.size();
    for (std::size_t j = i + 1; j < open_.size(); ++j) {
      if (open_[j].isObject == frame.isObject) {
        end = open_[j].start;
        break;
      }
    }
    if (frame.isObject) {
      path.pushKey(members_[end - 1].key);
    } else {
      path.pushIndex(end - frame.start);
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
    Frame& frame = open_.emplace_back();
    frame.isObject = c == '{';
    frame.start = frame.isObject ? members_.size() : elements_.size();
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
bool Parser::afterValue(Value&& value) {
  Frame& frame = open_.back();
  if (frame.isObject) {
    members_.back().value = std::move(value);
  } else {
    elements_.push_back(std::move(value));
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
  // values would win is anybody's guess: refuse it, where the second one is.
  if (isRepeatedKey(frame, key)) fail(start, "duplicate key " + quote(key));
  members_.push_back(Member{std::move(key), Value()});
  keyStarts_.push_back(start);
  frame.inside = true;
  skipSpace();
  if (peek() != ':') fail(pos_, "expected ':', found " + found());
  ++pos_;
  skipSpace();
}

// Objects small enough to be scanned (a virtual router's handful of attributes) are checked
// as each key is read. Larger ones (thousands of interfaces) are checked once they are
// complete, through the sorted index their Value needs anyway: a hash set could be flooded
// with colliding keys, a sort cannot. The error is the same either way, at the first key that
// repeats an earlier one, unless the large object has a later fault of another kind.
bool Parser::isRepeatedKey(const Frame& frame, std::string_view key) const {
  if (members_.size() - frame.start >= Value::kIndexedFrom) return false;
  for (std::size_t i = frame.start; i < members_.size(); ++i) {
    if (members_[i].key == key) return true;
  }
  return false;
}

Value Parser::closeObject(const Frame& frame) {
  const std::size_t count = members_.size() - frame.start;
  const auto first = members_.begin() + static_cast<std::ptrdiff_t>(frame.start);
  std::vector<U32> byKey;
  if (count >= Value::kIndexedFrom) {
    byKey = Value::sortedByKey(std::span(&*first, count));
    std::size_t repeat = count;  // the earliest member whose key an earlier member has
    for (std::size_t i = 1; i < count; ++i) {
      if (first[byKey[i]].key == first[byKey[i - 1]].key)
        repeat = std::min<std::size_t>(repeat, byKey[i]);
    }
    if (repeat != count) {
      fail(keyStarts_[frame.start + repeat], "duplicate key " + quote(first[repeat].key));
    }
  }
  std::vector<Member> members(std::make_move_iterator(first),
                              std::make_move_iterator(members_.end()));
  members_.erase(first, members_.end());
  keyStarts_.resize(frame.start);
  return Value::indexedObject(std::move(members), std::move(byKey));
}

Value Parser::closeContainer() {
  const Frame& frame = open_.back();
  Value value;
  if (frame.isObject) {
    value = closeObject(frame);
  } else {
    const auto first = elements_.begin() + static_cast<std::ptrdiff_t>(frame.start);
    value = Value::array(std::vector<Value>(std::make_move_iterator(first),
                                            std::make_move_iterator(elements_.end())));
    elements_.erase(first, elements_.end());
  }
  open_.pop_back();
  return value;
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
  // Most numbers in a state document are small integers, which a double holds exactly.
  constexpr std::size_t kExactDigits = 15;
  if (peek() != '.' && peek() != 'e' && peek() != 'E' &&
      pos_ - start <= std::min(kExactDigits, limits_.maxStringBytes)) {
    const std::string_view text = text_.substr(start, pos_ - start);
    S64 integer = 0;
    for (const char c : text.substr(text.starts_with('-') ? 1 : 0))
      integer = integer * 10 + (c - '0');
    const double value = static_cast<double>(integer);
    return Value::parsedNumber(String8(text), text.starts_with('-') ? -value : value);
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
    if (out.empty() && run < text_.size() && text_[run] == '"') {
      // The common case, a string without escapes or non-ASCII: one copy, no appending.
      if (run - pos_ > limits_.maxStringBytes) append(out, text_.substr(pos_, run - pos_), start);
      out.assign(text_.data() + pos_, run - pos_);
      pos_ = run + 1;
      return out;
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
